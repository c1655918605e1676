#include "model/FileSource.h"

#include <lmimport/Text.h>

#include "platform/System.h"

namespace lmimport {
namespace {

std::string Reason(const std::error_code& error) {
  if (error == std::errc::is_a_directory) return "it is a folder";
  if (error == std::errc::operation_not_supported) return "it is no plain file";
  if (error == std::errc::too_many_symbolic_link_levels) return "it is a symbolic link";
  if (error == std::errc::too_many_links) return "it has other names, too";
  if (error == std::errc::text_file_busy || error == std::errc::operation_would_block)
    return "it is in use by another program";
  return error.message();
}

// What follows the last separator.
std::string TitleOf(const std::string& name) {
  return name.substr(name.rfind(static_cast<char>(platform::PathSeparator)) + 1);
}

}  // namespace

std::error_code FileSource::Open(const String& Path, platform::Access access, platform::Lock lock,
                                 const platform::Folder* folder) {
  const std::string name = ToUtf8(Path);
  if (name.find('\0') != std::string::npos)
    return std::make_error_code(std::errc::invalid_argument);
  const std::error_code error =
      file_.Open(folder != nullptr ? TitleOf(name) : name, access, lock, folder);
  if (!error) name_ = platform::AbsoluteName(name);
  return error;
}

std::error_code FileSource::CreateBeside(const FileSource& recording,
                                         const platform::Folder& folder, const String& Path) {
  name_ = ToUtf8(Path);
  return file_.CreateBeside(recording.file_, folder, TitleOf(name_));
}

std::shared_ptr<const ByteSource> FileSource::Beside(std::string_view name) const {
  const std::string path = name_.substr(0, name_.size() - TitleOf(name_).size()).append(name);
  if (!platform::FileExists(path)) return {};
  auto beside = std::make_shared<FileSource>();
  const std::error_code error =
      beside->Open(FromUtf8(path), platform::Access::Read, platform::Lock::Shared);
  if (error) throw std::system_error(error, path);
  return beside;
}

void FileSource::ThrowNamed(const char* what, std::error_code error) const {
  throw std::system_error(error, std::string("Can't ") + what + " \"" + name_ + "\"");
}

std::string WhyNotOpened(const String& path, const std::error_code& error) {
  return "Can't open \"" + ToUtf8(path) + "\": " + Reason(error);
}

}  // namespace lmimport
