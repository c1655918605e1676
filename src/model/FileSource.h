// A file of the system, as a source of bytes that can be written to, too.
#pragma once

#include <lmimport/ByteSource.h>
#include <lmimport/Text.h>

#include <functional>
#include <string>

#include "platform/File.h"

namespace lmimport {

/// Reads and writes by position. What the system can't do leaves as std::system_error with the name
/// of the file.
class FileSource final : public ByteSource {
 public:
  /// Why it can't be opened, if it can't. With a folder, it is looked up in it by the last part of
  /// its path, all of which is its name.
  std::error_code Open(const String& Path, platform::Access access, platform::Lock lock,
                       const platform::Folder* folder = nullptr);

  /// A new file beside the recording, in the folder that this was opened in: see platform::File.
  std::error_code CreateBeside(const FileSource& recording, const platform::Folder& folder,
                               const String& Path);

  std::int64_t Size() const override {
    return Named(*this, "get the size of", &platform::File::Size);
  }
  std::size_t ReadAt(std::int64_t position, std::span<std::byte> target) const override {
    return Named(*this, "read", &platform::File::ReadAt, position, target.data(), target.size());
  }
  std::shared_ptr<const ByteSource> Beside(std::string_view name) const override;

  Long Handle() const { return file_.Handle(); }
  String PathName() const { return FromUtf8(name_); }  // with its folder
  platform::FileTimes Times() const {
    return Named(*this, "get the date of", &platform::File::Times);
  }
  const platform::FileTimes& TimesAtOpen() const { return file_.TimesAtOpen(); }
  const platform::File& File() const { return file_; }
  platform::File& File() { return file_; }

  void WriteAt(std::int64_t position, const void* source, std::int64_t size) {
    Named(*this, "write", &platform::File::WriteAt, position, source,
          static_cast<std::size_t>(size));
  }
  void Resize(std::int64_t size) { Named(*this, "set the size of", &platform::File::Resize, size); }
  void Flush() { Named(*this, "write", &platform::File::Flush); }
  void Reserve(std::int64_t size) { Named(*this, "make room for", &platform::File::Reserve, size); }
  void Share() { Named(*this, "share", &platform::File::Share); }  // from now on others may read

 private:
  // A call of the file, whose fault goes on to the host with the name of the file.
  template <class Self, class Call, class... Arguments>
  static std::invoke_result_t<Call, decltype((std::declval<Self&>().file_)), Arguments...> Named(
      Self& self, const char* what, Call call, Arguments... arguments) {
    try {
      return std::invoke(call, self.file_, arguments...);
    } catch (const std::system_error& fault) {
      self.ThrowNamed(what, fault.code());
    }
  }
  [[noreturn]] void ThrowNamed(const char* what, std::error_code error) const;

  platform::File file_;
  std::string name_;  // with its folder, in the bytes of the system
};

/// "Can't open "NAME": it is a folder"
std::string WhyNotOpened(const String& path, const std::error_code& error);

}  // namespace lmimport
