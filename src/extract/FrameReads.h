// Whole frames of a block, all channels interleaved as in the file.
#pragma once

#include <lmimport/Types.h>

namespace lmimport {

class BinaryFile;
struct BlockRec;

/// KadrStart is counted from 1. Target has room for KadrCount frames; the sample of channel c in
/// frame f, both from 0, comes to element f * ChannelCount + c. Gives the number of frames
/// delivered, 0 for a range outside the block. Samples are converted as in channel reads.
Long ReadFramesInteger(BinaryFile& File, const BlockRec& Block, Integer* Target, Long KadrStart,
                       Long KadrCount);
Long ReadFramesSingle(BinaryFile& File, const BlockRec& Block, Single* Target, Long KadrStart,
                      Long KadrCount);
Long ReadFramesDouble(BinaryFile& File, const BlockRec& Block, Double* Target, Long KadrStart,
                      Long KadrCount);

}  // namespace lmimport
