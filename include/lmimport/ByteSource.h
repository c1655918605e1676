// A recording that is not a file of the system: memory, an archive, a browser, a test.
#pragma once

#include <lmimport/Types.h>

#include <cstddef>
#include <string_view>

namespace lmimport {

/// The bytes of a recording. Every call is const and comes from any thread, several at a time; what
/// can't be read leaves as an exception, best a std::system_error, and reaches the caller of the
/// read or open.
class LMIMPORT_API ByteSource {
 public:
  virtual ~ByteSource() = default;

  virtual std::int64_t Size() const = 0;  // bytes

  /// Reads all that the source holds of the target, which begins at `position`, 0 or more, and
  /// gives the number of bytes; fewer than the target has only at the end of the source.
  virtual std::size_t ReadAt(std::int64_t position, std::span<std::byte> target) const = 0;

  /// A file that lies beside the recording, such as a text header, by its name without a folder;
  /// null where there is none. One that is there and can't be read throws std::system_error.
  virtual std::shared_ptr<const ByteSource> Beside(std::string_view /*name*/) const { return {}; }
};

}  // namespace lmimport
