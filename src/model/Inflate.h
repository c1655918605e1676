// The compression of zlib (RFC 1950), undone.
#pragma once

#include <lmimport/ByteSource.h>

#include <memory>

namespace lmimport {

/// False in a build without zlib: everything that is packed is refused then.
bool CanInflate();

/// What so many packed bytes can become at most.
constexpr std::int64_t LargestInflated(std::int64_t packed) {
  constexpr std::int64_t growth = 1032;  // of the densest stream
  return packed * growth;
}

/// The bytes that a stream of `size` packed bytes, from `position` on of the source, stands for, one
/// after the other. The source must outlive it.
class Inflater {
 public:
  Inflater(const ByteSource& source, std::int64_t position, std::int64_t size);
  ~Inflater();
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;

  /// The next bytes, as many as the target has room for; fewer where the stream ends, is cut off or
  /// damaged. Gives their number.
  std::size_t Read(std::span<std::byte> target);

  /// Reads past so many bytes. False where there aren't so many.
  bool Skip(std::int64_t count);

  /// Reads past all that there are; gives their number.
  std::int64_t SkipAll();

 private:
  struct Stream;

  const ByteSource& source_;
  std::int64_t position_;
  std::int64_t left_;  // packed bytes that aren't read yet
  std::unique_ptr<Stream> stream_;
};

}  // namespace lmimport
