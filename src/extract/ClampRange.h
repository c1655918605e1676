// The part of a host's range that lies in a block.
#pragma once

#include <lmimport/Types.h>

namespace lmimport {

struct BlockRec;

/// Cuts the range, Start counted from 1, to the frames of the block. False: nothing is left, and
/// the two have no meaning any more. The first element delivered is always sample Start.
bool ClampRange(const BlockRec& Block, Long& Start, Long& Count);

}  // namespace lmimport
