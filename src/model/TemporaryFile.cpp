#include "model/TemporaryFile.h"

#include "model/Opening.h"

namespace lmimport {

std::shared_ptr<FileSource> MakeTemporaryFile(std::int64_t length) {
  const String name = PathTools::TempFileName(u"lmi");
  auto file = std::make_shared<FileSource>();
  const std::error_code error =
      file->Open(name, platform::Access::CreateTemporary, platform::Lock::None);
  if (error)
    throw RefusedOpen{
        Refusal::SystemFault, "no-temporary-file", -1, WhyNotOpened(name, error), {}, error};
  file->Reserve(length);
  return file;
}

}  // namespace lmimport
