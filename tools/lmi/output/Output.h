// Where a command writes: standard output, watched, or a file that gets its name when it is whole.
// A reader that has gone ends the command quietly, a full disk with a message. Neither is a fault
// of the current recording, so neither is a std::exception.
#pragma once

#include <fmt/core.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

namespace lmi {

struct OutputClosed {};  // the other end of the pipe has gone

struct OutputFailed {
  std::string Name;
  std::string Reason;
};

/// A file that is written beside its place, and comes there when it is whole; without Commit it
/// just goes.
class NewFile {
 public:
  /// Throws OutputFailed where the folder takes no file.
  explicit NewFile(std::filesystem::path place);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  /// Where it is written until then.
  const std::filesystem::path& Path() const { return path_; }
  const std::filesystem::path& Place() const { return place_; }
  void Commit();

 private:
  std::filesystem::path place_;
  std::filesystem::path path_;
  bool isWhole_ = false;  // or never was beside its place
};

/// What Write and Print write from now on goes to this file, as long as it lives.
class OutputTo {
 public:
  explicit OutputTo(const NewFile& file);
  ~OutputTo();
  /// Ends it; what the system says only now, as of a disk on the network, is thrown.
  void Close();
  OutputTo(const OutputTo&) = delete;
  OutputTo& operator=(const OutputTo&) = delete;

 private:
  std::string name_;
  std::FILE* file_;
};

void Write(const void* data, std::size_t size);
void Flush();

template <class... Arguments>
void Print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  const std::string text = fmt::format(format, std::forward<Arguments>(arguments)...);
  Write(text.data(), text.size());
}

/// To standard error, whatever becomes of it: what can't be said there is no fault.
template <class... Arguments>
void Say(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
  const std::string text = fmt::format(format, std::forward<Arguments>(arguments)...);
  std::fwrite(text.data(), 1, text.size(), stderr);
}

}  // namespace lmi
