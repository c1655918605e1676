#include "export/EdfPlan.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <set>
#include <stdexcept>
#include <tuple>

#include "export/EdfScale.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr double GoodRate = 1e-7;                // relative
constexpr std::int64_t LargestRecord = 5000000;  // samples, of the library that writes
constexpr std::int64_t GoodRecord = 30720;       // samples, of the format's recommendation
constexpr std::int64_t SmallestRecord = 64;      // samples; less are outweighed by its time stamp
constexpr double LongestRecord = 60;             // seconds
constexpr std::int64_t LargestSearch = 20000;

// What a signal is, so that it can go on after a gap.
std::string ChannelsOf(const ExportTask& task, const Part& part) {
  const Block& block = task.BlockOf(part);
  std::string text =
      fmt::format("{} {} {}", block.SamplingRate, block.SampleBits, block.RealSamples);
  for (const std::size_t c : part.Channels) {
    const Channel& channel = block.Channels[c];
    text += fmt::format("\n{}\t{}\t{}\t{}", channel.Title, channel.Unit, channel.Factor,
                        channel.Offset);
  }
  return text;
}

std::vector<EdfSegment> SegmentsOf(const ExportTask& task) {
  std::vector<EdfSegment> segments;
  for (const Part& part : task.Parts()) {
    if (part.Frames() == 0) continue;
    const double rate = EdfRateOf(task, part);
    const double start = task.StartOf(part);
    const double end = start + static_cast<double>(part.Frames()) / rate;
    const auto belongs = [&](const EdfSegment& segment) {
      double slowest = rate;
      for (const Part* other : segment.Parts) slowest = std::min(slowest, EdfRateOf(task, *other));
      const double slack = 1 / slowest;
      return std::abs(segment.Start - start) < slack / 2 && std::abs(segment.End - end) < slack;
    };
    // Blocks of one time lie next to each other, but for those of other rates.
    const auto found = std::ranges::find_if(segments, belongs);
    if (found == segments.end())
      segments.push_back({start, end, {&part}});
    else
      found->Parts.push_back(&part);
  }
  std::ranges::stable_sort(segments, {}, &EdfSegment::Start);
  return segments;
}

// How good records of a duration are: less is better, the first number that differs decides.
using Score = std::tuple<double, bool, bool, bool, bool, double, double>;

class RecordSearch {
 public:
  RecordSearch(const ExportTask& task, const EdfFile& file) : file_(file) {
    for (const Part* part : file.Segments.front().Parts) {
      rates_.push_back(EdfRateOf(task, *part));
      channels_.push_back(std::ssize(part->Channels));
    }
    slowest_ = static_cast<std::size_t>(std::ranges::min_element(rates_) - rates_.begin());
    for (const EdfSegment& segment : file.Segments) {
      std::int64_t samples = 0;
      for (const Part* part : segment.Parts) samples += part->Frames() * std::ssize(part->Channels);
      smallest_ = std::min(smallest_, samples);
    }
  }

  EdfRecords Find() {
    for (const std::int64_t frames : Candidates()) Try(frames);
    if (best_.Frames.empty())
      throw std::runtime_error("no record of EDF holds samples of all these rates");
    return best_;
  }

 private:
  std::set<std::int64_t> Candidates() const;
  void Try(std::int64_t framesOfSlowest);
  double PaddingOf(const EdfRecords& records, bool& overlaps) const;

  const EdfFile& file_;
  std::vector<double> rates_;
  std::vector<std::int64_t> channels_;
  std::size_t slowest_ = 0;
  std::int64_t smallest_ = SmallestRecord;  // samples; not more than a segment has
  EdfRecords best_;
  Score bestScore_;
};

// Frames of the slowest rate in a record: the first ones, what divides its segments, and those of
// round times.
std::set<std::int64_t> RecordSearch::Candidates() const {
  std::set<std::int64_t> candidates;
  const double rate = rates_[slowest_];
  const double most = std::min(LongestRecord * rate, static_cast<double>(LargestRecord));
  const double few = std::min(most, static_cast<double>(LargestSearch));
  for (std::int64_t n = 1; n == 1 || static_cast<double>(n) <= few; ++n) candidates.insert(n);
  for (const double seconds : {0.1, 0.2, 0.25, 0.5, 1.0, 2.0, 5.0, 10.0}) {
    if (seconds * rate >= 1 && seconds * rate <= most)
      candidates.insert(std::llround(seconds * rate));
  }
  std::int64_t common = 0;
  for (const EdfSegment& segment : file_.Segments)
    common = std::gcd(common, segment.Parts[slowest_]->Frames());
  for (std::int64_t n = 1; n * n <= common && n <= LargestSearch; ++n) {
    if (common % n != 0) continue;
    const std::int64_t other = common / n;
    candidates.insert(n);
    if (static_cast<double>(other) <= most) candidates.insert(other);
  }
  return candidates;
}

double RecordSearch::PaddingOf(const EdfRecords& records, bool& overlaps) const {
  double padding = 0;
  for (std::size_t i = 0; i < file_.Segments.size(); ++i) {
    const EdfSegment& segment = file_.Segments[i];
    const std::int64_t count = records.CountOf(segment);
    for (std::size_t p = 0; p < segment.Parts.size(); ++p) {
      const std::int64_t more = count * records.Frames[p] - segment.Parts[p]->Frames();
      padding = std::max(padding, static_cast<double>(more) / rates_[p]);
    }
    const double end = segment.Start + static_cast<double>(count) * records.Duration();
    const bool isLast = i + 1 == file_.Segments.size();
    overlaps = overlaps || (!isLast && end > file_.Segments[i + 1].Start + 0.5 / rates_[slowest_]);
  }
  return padding;
}

void RecordSearch::Try(std::int64_t framesOfSlowest) {
  EdfRecords records;
  const double seconds = static_cast<double>(framesOfSlowest) / rates_[slowest_];
  records.Seconds = EdfNumber(seconds);
  if (records.Seconds.empty() || records.Duration() <= 0) return;
  std::int64_t samples = 0;
  for (std::size_t i = 0; i < rates_.size(); ++i) {
    const double frames = std::nearbyint(rates_[i] * seconds);
    const double rate = frames / records.Duration();
    records.RateError = std::max(records.RateError, std::abs(rate - rates_[i]) / rates_[i]);
    records.Frames.push_back(static_cast<std::int64_t>(frames));
    samples += records.Frames.back() * channels_[i];
  }
  if (samples > LargestRecord || std::ranges::count(records.Frames, 0) > 0) return;
  const double rateError = records.RateError <= GoodRate ? 0 : records.RateError;
  if (!best_.Frames.empty() && rateError > std::get<0>(bestScore_)) return;
  bool overlaps = false;
  records.Padding = PaddingOf(records, overlaps);
  const bool isSmall = smallest_ > samples;
  const bool isPadded = records.Padding > 0;
  const Score score = {rateError,
                       overlaps,
                       isSmall,
                       isPadded,
                       samples > GoodRecord,
                       records.Padding,
                       std::abs(std::log10(seconds))};
  if (!best_.Frames.empty() && !(score < bestScore_)) return;
  best_ = std::move(records);
  bestScore_ = score;
}

}  // namespace

double EdfRateOf(const ExportTask& task, const Part& part) {
  const double rate = task.BlockOf(part).SamplingRate;
  return rate > 0 && std::isfinite(rate) ? rate : 1;
}

double EdfRecords::Duration() const {
  return std::strtod(Seconds.c_str(), nullptr);
}

std::int64_t EdfRecords::CountOf(const EdfSegment& segment) const {
  std::int64_t count = 0;
  for (std::size_t i = 0; i < Frames.size(); ++i)
    count = std::max(count, (segment.Parts[i]->Frames() + Frames[i] - 1) / Frames[i]);
  return count;
}

std::vector<EdfFile> PlanEdfFiles(const ExportTask& task) {
  std::vector<EdfFile> files;
  for (EdfSegment& segment : SegmentsOf(task)) {
    std::string channels;
    double fastest = 0;
    for (const Part* part : segment.Parts) {
      channels += ChannelsOf(task, *part) + "\n\n";
      fastest = std::max(fastest, EdfRateOf(task, *part));
    }
    const auto goesOn = [&](const EdfFile& file) {
      return file.Channels == channels && segment.Start > file.Segments.back().End - 0.5 / fastest;
    };
    const auto found = std::ranges::find_if(files, goesOn);
    EdfFile& file = found == files.end() ? files.emplace_back(EdfFile{{}, channels}) : *found;
    file.Segments.push_back(std::move(segment));
  }
  if (files.empty()) throw std::runtime_error("there is no sample in what is asked for");
  return files;
}

EdfRecords PlanEdfRecords(const ExportTask& task, const EdfFile& file) {
  return RecordSearch(task, file).Find();
}

}  // namespace lmi
