// The part of a host's range that lies in a block.
#pragma once

#include <algorithm>

#include "model/Records.h"

namespace lmimport {

/// Cuts the range, Start counted from 1, to the frames of the block. False: nothing is left, and
/// the two have no meaning any more. The first element delivered is always sample Start.
inline bool ClampRange(const BlockRec& Block, Long& Start, Long& Count) {
  const std::int64_t first = std::max<std::int64_t>(Start, 1);
  const std::int64_t end = std::int64_t{Start} + Count;
  const std::int64_t count = std::min(end, std::int64_t{Block.SizeChannel} + 1) - first;
  if (count < 1) return false;
  Start = static_cast<Long>(first);
  Count = static_cast<Long>(count);
  return true;
}

}  // namespace lmimport
