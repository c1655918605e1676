#include "recordings/Statistics.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <mutex>
#include <thread>

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

// Runs of one value, of pieces that follow each other. What is found in one stretch of a channel can
// be joined with what is found in the next: the run at the start is kept until then.
template <class T>
class RunFinder {
 public:
  explicit RunFinder(std::int64_t shortest) : shortest_(std::max<std::int64_t>(2, shortest)) {}

  void Take(std::span<const T> x) {
    const std::int64_t size = std::ssize(x);
    if (size == 0) return;
    if (position_ == 0) value_ = x[0];
    std::int64_t i = 0;
    while (i < size && At(x, i) == value_) ++i;
    length_ += i;
    if (i < size) {
      End();
      TakeRest(x, i);
    }
    position_ += size;
  }

  void Join(const RunFinder& next) {
    if (next.position_ == 0) return;
    const T value = next.hasLead_ ? next.leadValue_ : next.value_;
    const std::int64_t length = next.hasLead_ ? next.leadLength_ : next.length_;
    if (position_ > 0 && value == value_) {
      length_ += length;
    } else {
      if (position_ > 0) End();
      value_ = value;
      start_ = position_;
      length_ = length;
    }
    if (next.hasLead_) {
      End();
      Count += next.Count;
      if (next.Longest > Longest) {
        Longest = next.Longest;
        LongestStart = position_ + next.LongestStart;
      }
      value_ = next.value_;
      start_ = position_ + next.start_;
      length_ = next.length_;
    }
    position_ += next.position_;
  }

  void Finish() {
    End();
    Close(0, leadLength_);
  }

  std::int64_t Count = 0;
  std::int64_t Longest = 0;  // samples
  std::int64_t LongestStart = 0;

 private:
  static T At(std::span<const T> x, std::int64_t i) { return x[static_cast<std::size_t>(i)]; }

  void End() {
    if (hasLead_) {
      Close(start_, length_);
    } else {
      hasLead_ = true;
      leadValue_ = value_;
      leadLength_ = length_;
    }
    length_ = 0;
  }

  void Close(std::int64_t start, std::int64_t length) {
    if (length < shortest_) return;
    ++Count;
    if (length > Longest) {
      Longest = length;
      LongestStart = start;
    }
  }

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
      Close(position_ + from, to - from);
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
  std::int64_t position_ = 0;  // samples that were taken
  T value_{};                  // of the run that goes on
  std::int64_t start_ = 0;
  std::int64_t length_ = 0;
  bool hasLead_ = false;  // the run at the start has ended
  T leadValue_{};
  std::int64_t leadLength_ = 0;
};

// Runs of two samples or more at the limits of the counts, joined likewise.
class LimitRuns {
 public:
  void Take(bool isAtLimit) {
    std::int64_t& run = isAllAtLimit_ ? lead_ : tail_;
    if (isAtLimit) {
      ++run;
      return;
    }
    if (!isAllAtLimit_) Close(tail_);
    isAllAtLimit_ = false;
    tail_ = 0;
  }

  void Join(const LimitRuns& next) {
    const std::int64_t joined = (isAllAtLimit_ ? lead_ : tail_) + next.lead_;
    (isAllAtLimit_ ? lead_ : tail_) = joined;
    if (next.isAllAtLimit_) return;
    if (!isAllAtLimit_) Close(joined);
    isAllAtLimit_ = false;
    tail_ = next.tail_;
    Count += next.Count;
    Samples += next.Samples;
  }

  void Finish() {
    Close(lead_);
    Close(tail_);
    lead_ = tail_ = 0;
  }

  std::int64_t Count = 0;
  std::int64_t Samples = 0;

 private:
  void Close(std::int64_t length) {
    if (length < 2) return;
    ++Count;
    Samples += length;
  }

  bool isAllAtLimit_ = true;  // so far
  std::int64_t lead_ = 0;     // samples of the run at the start
  std::int64_t tail_ = 0;     // of the one that goes on, where that is another
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
      limits_.Take(false);
    piece.Smallest = sums.Smallest;
    piece.Largest = sums.Largest;
    piece.Mean = sums.Mean;
    piece.SquaredDeviations = sums.SquaredDeviations;
    all_.Add(piece);
  }

  /// With the stretch that follows.
  void Join(const Meter& next) {
    all_.Add(next.all_);
    flat_.Join(next.flat_);
    limits_.Join(next.limits_);
  }

  Statistics Result() {
    flat_.Finish();
    limits_.Finish();
    Statistics result = all_;
    result.FullScaleRuns = limits_.Count;
    result.FullScaleSamples = limits_.Samples;
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
      limits_.Take(count <= smallestCount_ || count >= largestCount_);
    }
  }

  const Block& block_;
  const Channel& channel_;
  const Part& part_;
  Statistics all_;
  RunFinder<T> flat_;
  double smallestCount_;
  double largestCount_;
  LimitRuns limits_;
  std::vector<T> numbers_;
};

// The channels of a stretch of the part, piece by piece.
template <class T>
class Stretch {
 public:
  Stretch(const Recording& recording, const Part& whole, std::int64_t first, std::int64_t end)
      : recording_(recording), part_(whole) {
    const Block& block = recording.Blocks()[whole.Block];
    for (const std::size_t channel : whole.Channels)
      meters_.emplace_back(block, block.Channels[channel], whole);
    part_.First = first;
    part_.End = end;
  }

  void Measure(const std::function<bool(std::int64_t)>& progress) {
    constexpr std::size_t columnSamples = 1 << 13;
    const std::size_t channels = meters_.size();
    std::vector<T> column(columnSamples);
    FrameReader<T> reader(recording_, part_);
    for (;;) {
      const std::int64_t first = reader.Position();
      const std::span<const T> frames = reader.Next();
      if (frames.empty()) return;
      const std::size_t count = frames.size() / channels;
      for (std::size_t start = 0; start < count; start += columnSamples) {
        const std::size_t size = std::min(columnSamples, count - start);
        for (std::size_t c = 0; c < channels; ++c) {
          const T* source = frames.data() + start * channels + c;
          if (channels == 1) {
            meters_[c].Take({source, size});
            continue;
          }
          for (std::size_t i = 0; i < size; ++i) column[i] = source[i * channels];
          meters_[c].Take({column.data(), size});
        }
      }
      if (!progress(reader.Position() - first)) return;
    }
  }

  void Join(const Stretch& next) {
    for (std::size_t c = 0; c < meters_.size(); ++c) meters_[c].Join(next.meters_[c]);
  }

  std::vector<Statistics> Results() {
    std::vector<Statistics> results;
    results.reserve(meters_.size());
    for (Meter<T>& meter : meters_) results.push_back(meter.Result());
    return results;
  }

 private:
  const Recording& recording_;
  Part part_;
  std::vector<Meter<T>> meters_;
};

// Long parts are cut, so that all processors have a stretch.
template <class T>
std::vector<Statistics> MeasureAs(const Recording& recording, const Part& part,
                                  const std::function<bool(std::int64_t)>& progress) {
  constexpr std::int64_t worthCutting = 1 << 20;  // samples
  const bool isLong = part.Frames() * std::ssize(part.Channels) >= worthCutting;
  const std::int64_t count = isLong ? std::max(1U, std::thread::hardware_concurrency()) : 1;
  const auto stretch = [&](std::int64_t i) {
    const std::int64_t frames = part.Frames() / count;
    const std::int64_t end = i + 1 < count ? part.First + frames * (i + 1) : part.End;
    return Stretch<T>(recording, part, part.First + frames * i, end);
  };
  Stretch<T> first = stretch(0);
  std::vector<Stretch<T>> others;
  others.reserve(static_cast<std::size_t>(count - 1));
  for (std::int64_t i = 1; i < count; ++i) others.push_back(stretch(i));
  std::mutex guard;
  std::exception_ptr fault;
  bool goesOn = true;
  const auto guarded = [&](std::int64_t frames) {
    const std::scoped_lock lock(guard);
    goesOn = goesOn && progress(frames);
    return goesOn;
  };
  const auto work = [&](Stretch<T>& own) {
    try {
      own.Measure(guarded);
    } catch (...) {
      const std::scoped_lock lock(guard);
      fault = std::current_exception();
      goesOn = false;
    }
  };
  {
    std::vector<std::jthread> helpers;
    helpers.reserve(others.size());
    for (Stretch<T>& other : others) helpers.emplace_back(work, std::ref(other));
    work(first);
  }
  if (fault) std::rethrow_exception(fault);
  for (const Stretch<T>& other : others) first.Join(other);
  return first.Results();
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
