#include "recordings/Statistics.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <mutex>
#include <thread>

#include "recordings/Runs.h"
#include "recordings/Samples.h"
#include "recordings/Sums.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr std::int64_t FewestOfFlat = 10;
constexpr double FlatSeconds = 1;

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
