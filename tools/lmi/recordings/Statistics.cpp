#include "recordings/Statistics.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "recordings/Samples.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr std::int64_t FewestOfFlat = 10;
constexpr double FlatSeconds = 1;

// Each is compiled for wider vectors too, and chosen by the processor at hand.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && \
    !defined(__SANITIZE_ADDRESS__)
#define LMI_VECTOR_LOOP __attribute__((target_clones("avx2", "default")))
#else
#define LMI_VECTOR_LOOP
#endif

// Sums of a run of samples, none of which is NaN. Plain loops over lanes, which the compiler turns
// into vector instructions.
struct Sums {
  double Smallest, Largest, Mean, SquaredDeviations;
};

template <class T>
std::pair<T, T> ExtremesOf(std::span<const T> x) {
  constexpr std::size_t lanes = 16;
  std::array<T, lanes> low;
  std::array<T, lanes> high;
  low.fill(x[0]);
  high.fill(x[0]);
  std::size_t i = 0;
  for (; i + lanes <= x.size(); i += lanes) {
    for (std::size_t k = 0; k < lanes; ++k) {
      low[k] = x[i + k] < low[k] ? x[i + k] : low[k];
      high[k] = x[i + k] > high[k] ? x[i + k] : high[k];
    }
  }
  for (; i < x.size(); ++i) {
    low[0] = std::min(low[0], x[i]);
    high[0] = std::max(high[0], x[i]);
  }
  return {std::ranges::min(low), std::ranges::max(high)};
}

// Sum, and sum of squares.
LMI_VECTOR_LOOP std::pair<std::int64_t, std::int64_t> WholeSums(const std::int16_t* x,
                                                                std::size_t n) {
  constexpr std::size_t lanes = 16;
  std::array<std::int64_t, lanes> squares{};
  std::int64_t sum = 0;
  std::size_t i = 0;
  while (i + lanes <= n) {
    std::array<std::int32_t, lanes> sums{};
    // So few that a lane stays within 32 bits.
    const std::size_t end = std::min(n, i + lanes * 4096);
    for (; i + lanes <= end; i += lanes) {
      for (std::size_t k = 0; k < lanes; ++k) {
        const std::int32_t v = x[i + k];
        sums[k] += v;
        squares[k] += static_cast<std::uint32_t>(v * v);
      }
    }
    for (const std::int32_t one : sums) sum += one;
  }
  std::int64_t allSquares = 0;
  for (const std::int64_t one : squares) allSquares += one;
  for (; i < n; ++i) {
    sum += x[i];
    allSquares += std::int64_t{x[i]} * x[i];
  }
  return {sum, allSquares};
}

LMI_VECTOR_LOOP std::pair<std::int16_t, std::int16_t> WholeExtremes(const std::int16_t* x,
                                                                    std::size_t n) {
  std::int16_t low = x[0];
  std::int16_t high = x[0];
  for (std::size_t i = 0; i < n; ++i) {
    low = std::min(low, x[i]);
    high = std::max(high, x[i]);
  }
  return {low, high};
}

// Whole numbers of 16 bits add up exactly: 2^13 of them, squared, and times their number.
Sums SumsOf(std::span<const std::int16_t> x) {
  const auto [sum, squares] = WholeSums(x.data(), x.size());
  const auto [low, high] = WholeExtremes(x.data(), x.size());
  const auto count = static_cast<std::int64_t>(x.size());
  return {static_cast<double>(low), static_cast<double>(high),
          static_cast<double>(sum) / static_cast<double>(count),
          static_cast<double>(count * squares - sum * sum) / static_cast<double>(count)};
}

template <class T>
Sums SumsOf(std::span<const T> x) {
  constexpr std::size_t lanes = 8;
  const auto sumOf = [x](auto term) {
    std::array<double, lanes> sums{};
    std::size_t i = 0;
    for (; i + lanes <= x.size(); i += lanes) {
      for (std::size_t k = 0; k < lanes; ++k) sums[k] += term(static_cast<double>(x[i + k]));
    }
    for (; i < x.size(); ++i) sums[0] += term(static_cast<double>(x[i]));
    double sum = 0;
    for (const double one : sums) sum += one;
    return sum;
  };
  const double mean = sumOf([](double v) { return v; }) / static_cast<double>(x.size());
  const double squares = sumOf([mean](double v) { return (v - mean) * (v - mean); });
  const auto [low, high] = ExtremesOf(x);
  return {static_cast<double>(low), static_cast<double>(high), mean, squares};
}

// Runs of one value, over all pieces of a channel.
template <class T>
class RunFinder {
 public:
  explicit RunFinder(std::int64_t shortest) : shortest_(std::max<std::int64_t>(2, shortest)) {}

  void Take(std::span<const T> x) {
    const std::int64_t size = std::ssize(x);
    std::int64_t i = 0;
    while (i < size && length_ > 0 && At(x, i) == value_) ++i;
    length_ += i;
    if (i < size) {
      End();
      TakeRest(x, i);
    }
    position_ += size;
  }
  void End() {
    if (length_ >= shortest_) {
      ++Count;
      if (length_ > Longest) {
        Longest = length_;
        LongestStart = start_;
      }
    }
    length_ = 0;
  }

  std::int64_t Count = 0;
  std::int64_t Longest = 0;  // samples
  std::int64_t LongestStart = 0;

 private:
  static T At(std::span<const T> x, std::int64_t i) { return x[static_cast<std::size_t>(i)]; }

  // A run that is long enough has the same value at two of the places that are half its length
  // apart, so only those are looked at.
  void TakeRest(std::span<const T> x, std::int64_t first) {
    const std::int64_t size = std::ssize(x);
    const std::int64_t step = std::max<std::int64_t>(1, shortest_ / 2);
    std::int64_t bound = first;
    for (std::int64_t j = first; j + step < size;) {
      if (At(x, j) != At(x, j + step)) {
        j += step;
        continue;
      }
      const auto [from, to] = Around(x, j, bound);
      if (to == size) break;
      start_ = position_ + from;
      length_ = to - from;
      End();
      bound = j = to;
    }
    const auto [from, to] = Around(x, size - 1, bound);
    value_ = At(x, size - 1);
    start_ = position_ + from;
    length_ = to - from;
  }

  static std::pair<std::int64_t, std::int64_t> Around(std::span<const T> x, std::int64_t i,
                                                      std::int64_t bound) {
    const T value = At(x, i);
    std::int64_t from = i;
    while (from > bound && At(x, from - 1) == value) --from;
    std::int64_t to = i + 1;
    while (to < std::ssize(x) && At(x, to) == value) ++to;
    return {from, to};
  }

  std::int64_t shortest_;
  std::int64_t position_ = 0;
  T value_{};
  std::int64_t start_ = 0;
  std::int64_t length_ = 0;
};

// One channel of a part, piece by piece, in counts or values.
template <class T>
class Meter {
 public:
  Meter(const Block& block, const Channel& channel, const Part& part)
      : block_(block),
        channel_(channel),
        part_(part),
        flat_(std::min(part.Frames(), std::max(FewestOfFlat, SamplesOf(FlatSeconds)))) {
    const double highest = std::ldexp(1.0, block.CountBits - 1);
    smallestCount_ = -highest;
    // The low two bits of 16 may be no data.
    largestCount_ = highest - (block.CountBits == 16 && block.SampleBits == 16 ? 4 : 1);
  }

  void Take(std::span<const T> samples) {
    Statistics piece;
    piece.Samples = std::ssize(samples);
    flat_.Take(samples);
    if constexpr (std::floating_point<T>) {
      numbers_.clear();
      for (const T sample : samples) {
        if (!std::isnan(sample)) numbers_.push_back(sample);
      }
      piece.NotNumbers = std::ssize(samples) - std::ssize(numbers_);
      samples = numbers_;
    }
    Sums sums{Statistics::NoValue, Statistics::NoValue, Statistics::NoValue, 0};
    if (!samples.empty()) sums = SumsOf(samples);
    if (std::integral<T> && (sums.Smallest <= smallestCount_ || sums.Largest >= largestCount_))
      TakeFullScale(samples);
    else
      atLimit_ = 0;
    piece.Smallest = sums.Smallest;
    piece.Largest = sums.Largest;
    piece.Mean = sums.Mean;
    piece.SquaredDeviations = sums.SquaredDeviations;
    all_.Add(piece);
  }

  Statistics Result() {
    flat_.End();
    Statistics result = all_;
    if (std::integral<T>) {
      const double factor = channel_.Factor;
      const double one = all_.Smallest * factor + channel_.Offset;
      const double other = all_.Largest * factor + channel_.Offset;
      result.Smallest = std::fmin(one, other);
      result.Largest = std::fmax(one, other);
      result.Mean = all_.Mean * factor + channel_.Offset;
      result.SquaredDeviations = all_.SquaredDeviations * factor * factor;
    }
    result.FlatRuns = flat_.Count;
    const double rate = block_.SamplingRate;
    if (flat_.Count > 0 && rate > 0) {
      result.LongestFlat = static_cast<double>(flat_.Longest) / rate;
      result.LongestFlatStart =
          block_.StartTime + static_cast<double>(part_.First + flat_.LongestStart) / rate;
    }
    return result;
  }

 private:
  std::int64_t SamplesOf(double seconds) const {
    const double samples = std::ceil(seconds * block_.SamplingRate);
    return samples > 0 && samples < 1e15 ? static_cast<std::int64_t>(samples) : 0;
  }

  void TakeFullScale(std::span<const T> samples) {
    for (const T sample : samples) {
      const auto count = static_cast<double>(sample);
      const bool isAt = count <= smallestCount_ || count >= largestCount_;
      atLimit_ = isAt ? atLimit_ + 1 : 0;
      if (atLimit_ == 2) {
        ++all_.FullScaleRuns;
        ++all_.FullScaleSamples;
      }
      all_.FullScaleSamples += atLimit_ >= 2 ? 1 : 0;
    }
  }

  const Block& block_;
  const Channel& channel_;
  const Part& part_;
  Statistics all_;
  RunFinder<T> flat_;
  double smallestCount_;
  double largestCount_;
  std::int64_t atLimit_ = 0;  // samples in a row, the last of them the last that was seen
  std::vector<T> numbers_;
};

template <class T>
std::vector<Statistics> MeasureAs(const Recording& recording, const Part& part,
                                  const std::function<bool(std::int64_t)>& progress) {
  const Block& block = recording.Blocks()[part.Block];
  const std::size_t channels = part.Channels.size();
  std::vector<Meter<T>> meters;
  for (const std::size_t channel : part.Channels)
    meters.emplace_back(block, block.Channels[channel], part);
  FrameReader<T> reader(recording, part);
  constexpr std::size_t columnSamples = 1 << 13;
  std::vector<T> column(columnSamples);
  for (;;) {
    const std::int64_t first = reader.Position();
    const std::span<const T> frames = reader.Next();
    if (frames.empty()) break;
    const std::size_t count = frames.size() / channels;
    for (std::size_t start = 0; start < count; start += columnSamples) {
      const std::size_t size = std::min(columnSamples, count - start);
      for (std::size_t c = 0; c < channels; ++c) {
        const T* source = frames.data() + start * channels + c;
        if (channels == 1) {
          meters[c].Take({source, size});
          continue;
        }
        for (std::size_t i = 0; i < size; ++i) column[i] = source[i * channels];
        meters[c].Take({column.data(), size});
      }
    }
    if (!progress(reader.Position() - first)) break;
  }
  std::vector<Statistics> results;
  for (Meter<T>& meter : meters) results.push_back(meter.Result());
  return results;
}

}  // namespace

double Statistics::Deviation() const {
  const std::int64_t count = Samples - NotNumbers;
  return count > 0 ? std::sqrt(SquaredDeviations / static_cast<double>(count))
                   : Statistics::NoValue;
}

double Statistics::RootMeanSquare() const {
  const std::int64_t count = Samples - NotNumbers;
  return count > 0 ? std::sqrt(Mean * Mean + SquaredDeviations / static_cast<double>(count))
                   : Statistics::NoValue;
}

void Statistics::Add(const Statistics& other) {
  const auto count = static_cast<double>(Samples - NotNumbers);
  const auto otherCount = static_cast<double>(other.Samples - other.NotNumbers);
  Samples += other.Samples;
  NotNumbers += other.NotNumbers;
  FullScaleRuns += other.FullScaleRuns;
  FullScaleSamples += other.FullScaleSamples;
  FlatRuns += other.FlatRuns;
  if (other.LongestFlat > LongestFlat) {
    LongestFlat = other.LongestFlat;
    LongestFlatStart = other.LongestFlatStart;
  }
  if (count == 0) {
    Smallest = other.Smallest;
    Largest = other.Largest;
    Mean = other.Mean;
    SquaredDeviations = other.SquaredDeviations;
  } else if (otherCount > 0) {
    // Chan, Golub and LeVeque: means and deviations of two sets make those of both.
    const double apart = other.Mean - Mean;
    const double all = count + otherCount;
    Smallest = std::min(Smallest, other.Smallest);
    Largest = std::max(Largest, other.Largest);
    Mean += apart * otherCount / all;
    SquaredDeviations += other.SquaredDeviations + apart * apart * count * otherCount / all;
  }
  if (Samples == NotNumbers) Smallest = Largest = Mean = Statistics::NoValue;
}

std::vector<Statistics> Measure(const Recording& recording, const Part& part,
                                const std::function<bool(std::int64_t)>& progress) {
  const Block& block = recording.Blocks()[part.Block];
  if (block.RealSamples) return MeasureAs<double>(recording, part, progress);
  if (block.SampleBits <= 16) return MeasureAs<std::int16_t>(recording, part, progress);
  return MeasureAs<std::int32_t>(recording, part, progress);
}

}  // namespace lmi
