// The range of each channel of floating-point samples, for formats that state no scale.
#pragma once

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

#include "model/HeaderView.h"
#include "model/Progress.h"
#include "model/Records.h"

namespace lmimport {

/// The least and the greatest value of each channel; NaN is passed over. The frames go past in rows
/// of several frames, so that the loop over a row is one vector loop, whatever the number of
/// channels.
template <class Real>
class FrameRange {
 public:
  explicit FrameRange(std::size_t channels)
      : channels_(channels),
        row_(channels * std::max<std::size_t>(1, RowValues / channels)),
        least_(row_, std::numeric_limits<Real>::infinity()),
        greatest_(row_, -std::numeric_limits<Real>::infinity()) {}

  /// Frames, one after the other; only at the end of all one that isn't whole.
  void Take(const Real* values, std::size_t count) {
    for (std::size_t i = 0; i < count; i += row_) TakeRow(values + i, std::min(row_, count - i));
  }

  /// False, and nothing is set, when the channel had nothing but NaN.
  bool Of(std::size_t channel, Real& least, Real& greatest) const {
    Real low = least_[channel];
    Real high = greatest_[channel];
    for (std::size_t i = channel; i < row_; i += channels_) {
      low = std::min(low, least_[i]);
      high = std::max(high, greatest_[i]);
    }
    if (!(low <= high)) return false;
    least = low;
    greatest = high;
    return true;
  }

 private:
  static constexpr std::size_t RowValues = 64;

  // A NaN compares false, and so passes by.
  void TakeRow(const Real* values, std::size_t count) {
    Real* least = least_.data();
    Real* greatest = greatest_.data();
    for (std::size_t i = 0; i < count; ++i) {
      least[i] = values[i] < least[i] ? values[i] : least[i];
      greatest[i] = values[i] > greatest[i] ? values[i] : greatest[i];
    }
  }

  std::size_t channels_;
  std::size_t row_;
  std::vector<Real> least_;
  std::vector<Real> greatest_;
};

/// The range of `count` values, in either byte order, from `dataStart` on, as many of them as the file holds.
template <class Real>
FrameRange<Real> ScanFrames(BinaryFile& file, std::int64_t dataStart, std::int64_t channels,
                            std::int64_t count, Progress& progress, bool bigEndian = false) {
  constexpr std::int64_t width = sizeof(Real);
  constexpr std::int64_t pieceValues = 512LL * 1024 / width;
  const std::int64_t there = std::max<std::int64_t>(0, file.Size() - dataStart) / width;
  const std::int64_t end = std::min(count, there);
  const std::int64_t step = std::min(end, pieceValues / channels * channels);
  const auto piece = std::make_unique_for_overwrite<Real[]>(static_cast<std::size_t>(step));
  FrameRange<Real> range(static_cast<std::size_t>(channels));
  for (std::int64_t i = 0; i < end; i += step) {
    progress.Report(dataStart + i * width, file.Size());
    file.Seek(dataStart + i * width);
    const std::int64_t done = file.ReadArray(piece.get(), std::min(end - i, step));
    if (bigEndian) std::transform(piece.get(), piece.get() + done, piece.get(), Swapped<Real>);
    range.Take(piece.get(), static_cast<std::size_t>(done));
  }
  return range;
}

/// Calls fit(channel, least, greatest) for each channel of the block that has a number in the file,
/// as far as the file holds them.
template <class Real, class Fit>
void ScanBlock(BinaryFile& file, const BlockRec& block, Progress& progress, Fit fit) {
  const std::int64_t frames = block.FramesIn(file.Size());
  const auto scan = [&](std::int64_t position, std::int64_t channels) {
    return ScanFrames<Real>(file, position, channels, frames * channels, progress, block.BigEndian);
  };
  const auto take = [&](const FrameRange<Real>& range, std::size_t place, std::size_t channel) {
    Real least = 0;
    Real greatest = 0;
    if (range.Of(place, least, greatest)) fit(channel, least, greatest);
  };
  const std::size_t channels = block.ChannelIndex.size();
  if (block.Lanes.Starts.empty()) {
    const auto range = scan(block.DataPtr, block.ChannelCount);
    for (std::size_t c = 0; c < channels; ++c) take(range, c, c);
  } else {  // columns, one after the other
    for (std::size_t c = 0; c < channels; ++c)
      take(scan(block.DataPtr + block.Lanes.Starts[c], 1), 0, c);
  }
}

}  // namespace lmimport
