// A file without a name, for samples that must be unpacked or rewritten.
#pragma once

#include "model/FileSource.h"

namespace lmimport {

/// Empty, with room for `length` bytes; it goes with the object, also after a crash. Refuses the open
/// where none can be made, and throws std::system_error with its name where there is no room.
std::shared_ptr<FileSource> MakeTemporaryFile(std::int64_t length);

}  // namespace lmimport
