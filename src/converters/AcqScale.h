// ACQ channels of Doubles have no scale in the file: one is fitted to their range.
#pragma once

#include <span>

#include "converters/AcqChannel.h"
#include "model/BinaryFile.h"
#include "model/Progress.h"

namespace lmimport {

/// Sets MinValue and MaxValue of the channels of a file of nothing but Doubles at one rate, as far
/// as the file holds their samples; NaN is passed over.
void ScanAcqDoubles(std::span<AcqChannel> AcqChannels, BinaryFile& File, std::int64_t DataStart,
                    std::int64_t FrameCount, Progress& Progress);

/// Sets ChannelScale and ChannelOffset of the Double channels of the block, such that their range is
/// 64000 counts; a constant channel gets 1000 and its value.
void FitAcqScale(BlockRec& Block, std::span<const AcqChannel> AcqChannels);

}  // namespace lmimport
