// What the samples of a channel are like, in one pass.
#pragma once

#include <lmimport/Recording.h>

#include <functional>
#include <limits>

#include "recordings/Selection.h"

namespace lmi {

/// Of the samples of a channel, in units. What is not a number is counted, and no part of the rest.
struct Statistics {
  std::int64_t Samples = 0;  // with those that are not a number
  std::int64_t NotNumbers = 0;
  static constexpr double NoValue = std::numeric_limits<double>::quiet_NaN();
  double Smallest = NoValue, Largest = NoValue, Mean = NoValue;  // NaN where there is none
  double SquaredDeviations = 0;                                  // sum of them, from the mean
  // Two samples or more in a row at the smallest or largest count that the stored bits can have:
  // the converter was at its limit.
  std::int64_t FullScaleRuns = 0, FullScaleSamples = 0;
  // One value for a second or more, and for ten samples at least; or for all of a shorter block.
  std::int64_t FlatRuns = 0;
  double LongestFlat = 0;       // seconds
  double LongestFlatStart = 0;  // seconds from the start of the recording

  double Deviation() const;  // of the samples themselves: divided by their number
  double RootMeanSquare() const;

  /// With the samples of another stretch.
  void Add(const Statistics& other);
};

/// For each channel of the part, in one pass over its frames. Calls progress(frames) for each piece,
/// and ends where it gives false.
std::vector<Statistics> Measure(const lmimport::Recording& recording, const Part& part,
                                const std::function<bool(std::int64_t)>& progress);

}  // namespace lmi
