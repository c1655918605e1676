#include "extract/Overview.h"

#include <array>
#include <cmath>

#include "extract/Routes.h"

namespace lmimport {
namespace {

// The first sample of a bin, counted from the first of all: count * bin / bins, in 64 bits.
std::int64_t StartOfBin(std::int64_t count, std::int64_t bin, std::int64_t bins) {
  if (bin >= bins) return count;
  return count / bins * bin + count % bins * bin / bins;
}

// The extremes of one bin as it grows, as stored.
template <class Stored>
class Bin {
 public:
  void Take(const Stored* samples, Stored flip, std::size_t n) {
    FindExtremes(samples, flip, n, smallest_, largest_);
  }

  // A scale can be negative, and turns 0 into NaN where it is 0 itself.
  Extremes Values(const Conversion<Stored, Double>& convert) const {
    constexpr Double none = std::numeric_limits<Double>::quiet_NaN();
    if (!(smallest_ <= largest_)) return {none, none};
    Double one = convert.OfSigned(smallest_);
    Double other = convert.OfSigned(largest_);
    if (std::isnan(one)) one = other;
    if (std::isnan(other)) other = one;
    return {std::min(one, other), std::max(one, other)};
  }

 private:
  using Limits = std::numeric_limits<Stored>;
  Stored smallest_ = Limits::has_infinity ? Limits::infinity() : Limits::max();
  Stored largest_ = Limits::has_infinity ? -Limits::infinity() : Limits::lowest();
};

template <class Stored>
void ReadRoute(const ByteSource& source, const BlockRec& block, std::size_t channel,
               std::int64_t first, std::int64_t count, std::span<Extremes> bins) {
  const std::int64_t there = std::clamp<std::int64_t>(block.SizeChannel - first, 0, count);
  const Conversion<Stored, Double> convert(block, channel);
  const auto channels = static_cast<std::size_t>(block.ChannelCount);
  const std::int64_t binCount = std::ssize(bins);
  Stored flip{};
  if constexpr (std::integral<Stored>) flip = SignFlip<Stored>(block);
  std::int64_t number = 0;
  std::int64_t end = StartOfBin(count, 1, binCount);
  Bin<Stored> bin;
  const auto finishBin = [&] {
    bins[static_cast<std::size_t>(number)] = bin.Values(convert);
    bin = {};
    end = StartOfBin(count, ++number + 1, binCount);
  };
  std::array<Stored, BatchSize> picked;
  const Frames<Stored> frames(source, block, first, static_cast<std::size_t>(there));
  frames.ReadInPieces([&](const Stored* piece, std::size_t start, std::size_t n) {
    for (std::size_t i = 0; i < n;) {
      const auto position = static_cast<std::int64_t>(start + i);
      while (end <= position) finishBin();
      std::size_t batch = std::min(n - i, static_cast<std::size_t>(end - position));
      const Stored* samples = piece + i * channels;
      if (channels > 1) {
        batch = std::min(batch, BatchSize);
        DownSample(samples + channel, channels, batch, picked.data());
        samples = picked.data();
      }
      bin.Take(samples, flip, batch);
      i += batch;
    }
  });
  while (number < binCount) finishBin();
}

}  // namespace

void ReadOverview(const ByteSource& source, const BlockRec& block, std::size_t channel,
                  std::int64_t first, std::int64_t count, std::span<Extremes> bins) {
  if (bins.empty()) return;
  SelectRoute(block, [&]<class Stored>() {
    ReadRoute<Stored>(source, block, channel, first, count, bins);
  });
}

}  // namespace lmimport
