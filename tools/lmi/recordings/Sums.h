// Sums and extremes of many samples at once.
#pragma once

#include <cstdint>
#include <span>

namespace lmi {

/// Of samples, one at least and none of them NaN.
struct Sums {
  double Smallest, Largest, Mean;
  double SquaredDeviations;  // sum of them, from the mean
};

/// Of 16 bits at most 2^13 at a time, so that they add up exactly.
Sums SumsOf(std::span<const std::int16_t> samples);
Sums SumsOf(std::span<const std::int32_t> samples);
Sums SumsOf(std::span<const double> samples);

}  // namespace lmi
