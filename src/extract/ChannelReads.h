// Samples of one channel out of the interleaved frames of a block.
#pragma once

#include <lmimport/ByteSource.h>

#include "extract/ClampRange.h"

namespace lmimport {

/// Samples from `first` on, from 0, all of which lie in the block; T is Integer, Long, Single or
/// Double. Count output is the stored count, or (value - ChannelOffset) * ChannelScale of a stored
/// real number, rounded to nearest, ties to even, NaN as 0, and held at the limits of T; Single and
/// Double output is count / ChannelScale + ChannelOffset, or the stored number.
template <class T>
void ReadSamples(const ByteSource& source, const BlockRec& block, std::size_t channel,
                 std::int64_t first, std::span<T> target);

/// Channel is counted from 0, SampleStart from 1. Target has room for SampleCount samples. Gives
/// the number delivered, 0 for a channel or range outside the block.
template <class T>
Long ReadChannel(const ByteSource& File, const BlockRec& Block, Integer Channel, T* Target,
                 Long SampleStart, Long SampleCount) {
  if (Channel < 0 || Channel >= Block.ChannelCount) return 0;
  if (!ClampRange(Block, SampleStart, SampleCount)) return 0;
  ReadSamples(File, Block, static_cast<std::size_t>(Channel), std::int64_t{SampleStart} - 1,
              std::span(Target, static_cast<std::size_t>(SampleCount)));
  return SampleCount;
}
inline constexpr auto ReadChannelInteger = &ReadChannel<Integer>;
inline constexpr auto ReadChannelSingle = &ReadChannel<Single>;
inline constexpr auto ReadChannelDouble = &ReadChannel<Double>;

}  // namespace lmimport
