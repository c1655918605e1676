// Bytes into a new file, in large pieces, also back where a header waits for a number.
#pragma once

#include <cstdint>
#include <string>

#include "output/Output.h"

namespace lmi {

/// What fails is an OutputFailed of the file's own place.
class FileWriter {
 public:
  explicit FileWriter(const NewFile& file);
  ~FileWriter();
  FileWriter(const FileWriter&) = delete;
  FileWriter& operator=(const FileWriter&) = delete;

  void Write(const void* data, std::size_t size);  // at the end
  void WriteAt(std::int64_t position, const void* data, std::size_t size);
  void ReadAt(std::int64_t position, void* data, std::size_t size) const;
  std::int64_t Position() const { return position_; }  // the end of what is written
  void Close();

 private:
  [[noreturn]] void Fail() const;
  std::string name_;
  int file_;
  std::int64_t position_ = 0;
};

}  // namespace lmi
