#include "extract/Overview.h"

#include <array>
#include <cmath>
#include <vector>

#include "extract/Routes.h"

namespace lmimport {
namespace {

// The first sample of a bin, counted from the first of all: count * bin / bins, in 64 bits.
std::int64_t StartOfBin(std::int64_t count, std::int64_t bin, std::int64_t bins) {
  if (bin >= bins) return count;
  return count / bins * bin + count % bins * bin / bins;
}

// Bins that are filled one after the other.
template <class Stored>
class Bins {
 public:
  Bins(const BlockRec& block, std::size_t channel, std::int64_t count, std::span<Extremes> bins)
      : convert_(block, channel), count_(count), bins_(bins) {
    if constexpr (std::integral<Stored>) flip_ = SignFlip<Stored>(block);
  }

  bool AreFull() const { return number_ == std::ssize(bins_); }

  /// Where the current one ends, counted from the first sample of all.
  std::int64_t End() const { return StartOfBin(count_, number_ + 1, std::ssize(bins_)); }

  void Take(const Stored* samples, std::size_t n) {
    FindExtremes(samples, flip_, n, smallest_, largest_);
  }

  void Finish() {
    bins_[static_cast<std::size_t>(number_++)] = Values();
    smallest_ = Highest;
    largest_ = Lowest;
  }

 private:
  using Limits = std::numeric_limits<Stored>;
  static constexpr Stored Highest = Limits::has_infinity ? Limits::infinity() : Limits::max();
  static constexpr Stored Lowest = Limits::has_infinity ? -Limits::infinity() : Limits::lowest();

  // A scale can be negative, and turns 0 into NaN where it is 0 itself.
  Extremes Values() const {
    constexpr Double none = std::numeric_limits<Double>::quiet_NaN();
    if (!(smallest_ <= largest_)) return {none, none};
    Double one = convert_.OfSigned(smallest_);
    Double other = convert_.OfSigned(largest_);
    if (std::isnan(one)) one = other;
    if (std::isnan(other)) other = one;
    return {std::min(one, other), std::max(one, other)};
  }

  const Conversion<Stored, Double> convert_;
  std::int64_t count_;
  std::span<Extremes> bins_;
  std::int64_t number_ = 0;
  Stored flip_{};
  Stored smallest_ = Highest;
  Stored largest_ = Lowest;
};

// Bins of one channel, from pieces of its samples that come one after the other.
template <class Stored>
void Fill(Bins<Stored>& bins, const Stored* samples, std::size_t start, std::size_t n) {
  for (std::size_t i = 0; i < n;) {
    const auto position = static_cast<std::int64_t>(start + i);
    while (bins.End() <= position) bins.Finish();
    const std::size_t batch = std::min(n - i, static_cast<std::size_t>(bins.End() - position));
    bins.Take(samples + i, batch);
    i += batch;
  }
}

template <class Stored>
void ReadRoute(const ByteSource& source, const BlockRec& block, std::size_t channel,
               std::int64_t first, std::int64_t count, std::span<Extremes> target) {
  const std::int64_t there = std::clamp<std::int64_t>(block.SizeChannel - first, 0, count);
  Bins<Stored> bins(block, channel, count, target);
  const Frames<Stored> frames(source, block, first, static_cast<std::size_t>(there));
  frames.ReadChannelInPieces(channel, [&](const Stored* samples, std::size_t start, std::size_t n) {
    Fill(bins, samples, start, n);
  });
  while (!bins.AreFull()) bins.Finish();
}

template <class Stored>
void ReadFrameRoute(const ByteSource& source, const BlockRec& block, std::int64_t first,
                    std::int64_t count, std::span<Extremes> target) {
  const auto channels = static_cast<std::size_t>(block.ChannelCount);
  const std::int64_t there = std::clamp<std::int64_t>(block.SizeChannel - first, 0, count);
  const std::size_t parts = target.size() / channels;
  std::vector<Extremes> columns(parts * channels);  // channel by channel
  std::vector<Bins<Stored>> bins;
  bins.reserve(channels);
  for (std::size_t c = 0; c < channels; ++c)
    bins.emplace_back(block, c, count, std::span(columns).subspan(c * parts, parts));
  std::array<Stored, BatchSize> picked;
  const Frames<Stored> frames(source, block, first, static_cast<std::size_t>(there));
  frames.ReadInPieces([&](const Stored* piece, std::size_t start, std::size_t n) {
    // Batch by batch, so that a batch is in the first cache for all channels.
    for (std::size_t i = 0; i < n; i += BatchSize) {
      const std::size_t batch = std::min(BatchSize, n - i);
      for (std::size_t c = 0; c < channels; ++c) {
        DownSample(piece + i * channels + c, channels, batch, picked.data());
        Fill(bins[c], picked.data(), start + i, batch);
      }
    }
  });
  for (std::size_t c = 0; c < channels; ++c) {
    while (!bins[c].AreFull()) bins[c].Finish();
    for (std::size_t i = 0; i < parts; ++i) target[i * channels + c] = columns[c * parts + i];
  }
}

}  // namespace

void ReadOverview(const ByteSource& source, const BlockRec& block, std::size_t channel,
                  std::int64_t first, std::int64_t count, std::span<Extremes> bins) {
  if (bins.empty()) return;
  SelectRoute(block, [&]<class Stored>() {
    ReadRoute<Stored>(source, block, channel, first, count, bins);
  });
}

void ReadFrameOverview(const ByteSource& source, const BlockRec& block, std::int64_t first,
                       std::int64_t count, std::span<Extremes> bins) {
  if (bins.size() < static_cast<std::size_t>(block.ChannelCount)) return;
  SelectRoute(block,
              [&]<class Stored>() { ReadFrameRoute<Stored>(source, block, first, count, bins); });
}

}  // namespace lmimport
