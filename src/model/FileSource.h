// A file of the system, as a source of bytes that can be written to, too.
#pragma once

#include <lmimport/ByteSource.h>

#include <string>

#include "platform/File.h"

namespace lmimport {

/// Reads and writes by position. What the system can't do leaves as std::system_error with the name
/// of the file.
class FileSource final : public ByteSource {
 public:
  /// Why it can't be opened, if it can't.
  std::error_code Open(const String& Path, platform::Access access, platform::Lock lock,
                       unsigned rights = 0666);

  std::int64_t Size() const override;
  std::size_t ReadAt(std::int64_t position, std::span<std::byte> target) const override;
  std::shared_ptr<const ByteSource> Beside(std::string_view name) const override;

  Long Handle() const { return file_.Handle(); }
  const String& PathName() const { return pathName_; }  // with its folder
  platform::FileTimes Times() const;
  const platform::FileTimes& TimesAtOpen() const { return file_.TimesAtOpen(); }
  unsigned RightsBeside() const;  // that a file beside this one may be created with

  void WriteAt(std::int64_t position, const void* source, std::int64_t size);
  void Resize(std::int64_t size);
  void Flush();
  void NarrowRightsTo(const FileSource& other) { file_.NarrowRightsTo(other.file_); }
  void Share();  // from now on others may read, and still not write

 private:
  platform::File file_;
  String pathName_;
};

/// "Can't open "NAME": it is a folder"
std::string WhyNotOpened(const String& path, const std::error_code& error);

}  // namespace lmimport
