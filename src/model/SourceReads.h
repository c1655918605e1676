// Reads from a source, which a host can have written.
#pragma once

#include <lmimport/ByteSource.h>

#include <algorithm>

namespace lmimport {

/// No more than the target has room for, whatever the source says that it read.
inline std::size_t ReadSource(const ByteSource& source, std::int64_t position,
                              std::span<std::byte> target) {
  return std::min(source.ReadAt(position, target), target.size());
}

/// In bytes, and such that a thousand times as many can be counted.
inline std::int64_t SizeOfSource(const ByteSource& source) {
  return std::clamp<std::int64_t>(source.Size(), 0, std::int64_t{1} << 53);
}

}  // namespace lmimport
