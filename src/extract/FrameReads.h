// Whole frames of a block, all channels interleaved as in the file.
#pragma once

#include <lmimport/ByteSource.h>

#include "extract/ClampRange.h"

namespace lmimport {

/// As many frames as the target has room for, from frame `first` on, from 0, all of which lie in the
/// block: the sample of channel c in frame first + i comes to element i * ChannelCount + c. Samples
/// are converted as in channel reads.
template <class T>
void ReadWholeFrames(const ByteSource& source, const BlockRec& block, std::int64_t first,
                     std::span<T> target);

/// KadrStart is counted from 1. Target has room for KadrCount frames. Gives the number of frames
/// delivered, 0 for a range outside the block.
template <class T>
Long ReadFrames(const ByteSource& File, const BlockRec& Block, T* Target, Long KadrStart,
                Long KadrCount) {
  if (!ClampRange(Block, KadrStart, KadrCount)) return 0;
  const auto channels = static_cast<std::size_t>(Block.ChannelCount);
  ReadWholeFrames(File, Block, std::int64_t{KadrStart} - 1,
                  std::span(Target, static_cast<std::size_t>(KadrCount) * channels));
  return KadrCount;
}
inline constexpr auto ReadFramesInteger = &ReadFrames<Integer>;
inline constexpr auto ReadFramesSingle = &ReadFrames<Single>;
inline constexpr auto ReadFramesDouble = &ReadFrames<Double>;

}  // namespace lmimport
