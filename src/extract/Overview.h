// The extremes of stretches of a channel, for who draws it.
#pragma once

#include <lmimport/ByteSource.h>

#include "model/Records.h"

namespace lmimport {

/// Smallest and largest value, as Double reads give them, of each bin: `count` samples from `first`
/// on, from 0, are cut into as many parts as there are bins, as equal as whole samples can be. What
/// lies past the end of the block is no sample, and NaN is passed over; a bin without a value gets
/// NaN.
void ReadOverview(const ByteSource& source, const BlockRec& block, std::size_t channel,
                  std::int64_t first, std::int64_t count, std::span<Extremes> bins);

/// The same for all channels in one pass: of part i, that of channel c comes to element
/// i * channels + c; there are as many parts as the bins have room for.
void ReadFrameOverview(const ByteSource& source, const BlockRec& block, std::int64_t first,
                       std::int64_t count, std::span<Extremes> bins);

}  // namespace lmimport
