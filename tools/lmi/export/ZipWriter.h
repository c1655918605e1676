// An archive of files that aren't compressed, by PKWARE's published layout (APPNOTE 6.3), with its
// 64-bit fields where a file or the archive needs them.
#pragma once

#include <string>
#include <vector>

#include "export/FileWriter.h"

namespace lmi {

class ZipWriter {
 public:
  explicit ZipWriter(const NewFile& file) : writer_(file) {}

  /// A file of this name and size; its bytes follow.
  void Begin(const std::string& name, std::int64_t size);
  void Write(const void* data, std::size_t size);
  void End();

  /// The directory at the end.
  void Close();

 private:
  struct Entry {
    std::string Name;
    std::uint64_t Size;
    std::uint64_t Position;
    std::uint32_t Crc;
  };
  void Put(const std::string& bytes) { writer_.Write(bytes.data(), bytes.size()); }
  std::string DirectoryEntry(const Entry& entry) const;

  FileWriter writer_;
  std::vector<Entry> entries_;
};

}  // namespace lmi
