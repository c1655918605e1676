// Samples of one channel out of the interleaved frames of a block.
#pragma once

#include <lmimport/Types.h>

namespace lmimport {

class BinaryFile;
struct BlockRec;

/// Channel is counted from 0, SampleStart from 1. Target has room for SampleCount samples. Gives
/// the number delivered, 0 for a channel or range outside the block.
///
/// Integer output is the stored count, or (value - ChannelOffset) * ChannelScale of a stored real
/// number; Single and Double output is count / ChannelScale + ChannelOffset, or the stored number.
Long ReadChannelInteger(BinaryFile& File, const BlockRec& Block, Integer Channel, Integer* Target,
                        Long SampleStart, Long SampleCount);
Long ReadChannelSingle(BinaryFile& File, const BlockRec& Block, Integer Channel, Single* Target,
                       Long SampleStart, Long SampleCount);
Long ReadChannelDouble(BinaryFile& File, const BlockRec& Block, Integer Channel, Double* Target,
                       Long SampleStart, Long SampleCount);

}  // namespace lmimport
