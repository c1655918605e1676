#include "export/CsvTable.h"

#include <fmt/compile.h>

#include <algorithm>
#include <cmath>

#include "output/Digits.h"
#include "output/Interrupt.h"
#include "output/Output.h"
#include "output/Text.h"
#include "recordings/Samples.h"

namespace lmi {
namespace {

using namespace lmimport;

// The line of titles and units, without its end.
std::string HeadOf(const Recording& recording, const Part& part, const CsvStyle& style) {
  const Block& block = recording.Blocks()[part.Block];
  std::vector<std::string> fields;
  if (style.BlockNumbers) fields.emplace_back("Block");
  if (style.Times == "seconds") fields.emplace_back("Time [s]");
  if (style.Times == "clock") fields.emplace_back("Time");
  if (style.Times == "frame") fields.emplace_back("Frame");
  const std::vector<std::string> names = ChannelNames(recording, part.Block);
  for (const std::size_t channel : part.Channels) {
    const std::string unit = OneLine(block.Channels[channel].Unit);
    // Counts are in no unit.
    const std::string inUnit =
        unit.empty() || style.As == "integer" ? "" : fmt::format(" [{}]", unit);
    if (style.Bins == 0) fields.push_back(names[channel] + inUnit);
    for (const char* what : {"smallest", "largest", "mean"}) {
      if (style.Bins > 0) fields.push_back(fmt::format("{} {}{}", names[channel], what, inUnit));
    }
  }
  if (style.Comments) fields.emplace_back("Comment");
  std::string line;
  for (const std::string& field : fields) {
    if (!line.empty()) line += style.Separator;
    line += CsvField(field, style.Separator);
  }
  return line;
}

// The field of the time of a frame.
class TimeField {
 public:
  TimeField(const Recording& recording, const Block& block, const CsvStyle& style)
      : style_(style), start_(block.StartTime), rate_(block.SamplingRate) {
    const double last = start_ + static_cast<double>(block.FrameCount) / rate_;
    digits_ = Digits::OfStep(1 / (rate_ * 100), last);  // a hundredth of a frame
    if (style.Times != "clock") return;
    clock_ = *recording.Start();
  }

  void Append(fmt::memory_buffer& line, std::int64_t frame) const {
    if (style_.Times == "frame") {
      fmt::format_to(std::back_inserter(line), FMT_COMPILE("{}"), frame + 1);
    } else if (style_.Times == "seconds") {
      digits_.Append(line, start_ + static_cast<double>(frame) / rate_, style_.Decimal);
    } else {
      const std::string text =
          ClockText(clock_, start_ + static_cast<double>(frame) / rate_, 1 / rate_);
      line.append(text);
    }
  }

 private:
  const CsvStyle& style_;
  double start_;
  double rate_;
  double clock_ = 0;
  Digits digits_;
};

// The comments of a part, once each, in the line of their frame.
class CommentField {
 public:
  CommentField(const Block& block, const Part& part, const std::vector<const Comment*>& comments,
               const CsvStyle& style)
      : style_(style) {
    for (const Comment* comment : comments) {
      const std::int64_t frame = FrameOf(block, *comment);
      if (frame < part.First || frame > part.End || part.Frames() == 0) continue;
      comments_.emplace_back(std::min(frame, part.End - 1), &comment->Text);
    }
    std::ranges::stable_sort(comments_, {}, &std::pair<std::int64_t, const std::string*>::first);
  }

  std::size_t Count() const { return comments_.size(); }

  void Append(fmt::memory_buffer& line, std::int64_t beforeFrame) {
    if (!style_.Comments) return;
    std::string text;
    for (; next_ < comments_.size() && comments_[next_].first < beforeFrame; ++next_)
      text += fmt::format("{}{}", text.empty() ? "" : "; ", OneLine(*comments_[next_].second));
    line.append(style_.Separator);
    line.append(CsvField(text, style_.Separator));
  }

 private:
  const CsvStyle& style_;
  std::vector<std::pair<std::int64_t, const std::string*>> comments_;
  std::size_t next_ = 0;
};

// The smallest, the largest and the sum of a channel in a stretch, without what is not a number.
struct Bin {
  double Smallest = NAN;
  double Largest = NAN;
  double Sum = 0;
  std::int64_t Count = 0;

  void Take(double value) {
    if (std::isnan(value)) return;
    Smallest = Count == 0 ? value : std::min(Smallest, value);
    Largest = Count == 0 ? value : std::max(Largest, value);
    Sum += value;
    ++Count;
  }
  double Mean() const { return Count > 0 ? Sum / static_cast<double>(Count) : NAN; }
};

template <class T>
class PartWriter {
 public:
  PartWriter(const Recording& recording, const Part& part,
             const std::vector<const Comment*>& comments, const CsvStyle& style)
      : block_(recording.Blocks()[part.Block]),
        part_(part),
        style_(style),
        time_(recording, block_, style),
        comments_(block_, part, comments, style),
        reader_(recording, part) {
    for (const std::size_t channel : part.Channels)
      digits_.push_back(DigitsOf(block_.Channels[channel]));
    if (style.Bins > 0 && part.Frames() > 0) nextEdge_ = EdgeOf(1);
  }

  std::size_t Comments() const { return comments_.Count(); }

  /// Calls progress(frames) for each piece, and ends where that gives false.
  template <class Progress>
  void Write(Progress progress) {
    bins_.resize(reader_.Channels());
    for (;;) {
      const std::int64_t first = reader_.Position();
      const std::span<const T> samples = reader_.Next();
      if (samples.empty()) break;
      style_.Bins > 0 ? AddBins(samples, first) : AddFrames(samples, first);
      lmi::Write(lines_.data(), lines_.size());
      lines_.clear();
      if (!progress(reader_.Position() - first)) return;
    }
  }

 private:
  Digits DigitsOf(const Channel& channel) const {
    if (style_.Digits > 0) return Digits::Significant(style_.Digits);
    if (std::integral<T>) return Digits::OfStep(1, INT32_MAX);
    return std::same_as<T, float> ? Digits::OfSingle() : Digits::Of(block_, channel);
  }

  void NextField() {
    if (!isFirst_) lines_.append(style_.Separator);
    isFirst_ = false;
  }

  void Begin(std::int64_t frame) {
    isFirst_ = true;
    if (style_.BlockNumbers) {
      NextField();
      fmt::format_to(std::back_inserter(lines_), FMT_COMPILE("{}"), part_.Block + 1);
    }
    if (style_.Times == "none") return;
    NextField();
    time_.Append(lines_, frame);
  }

  void End(std::int64_t nextFrame) {
    comments_.Append(lines_, nextFrame);
    lines_.push_back('\n');
  }

  void AddFrames(std::span<const T> samples, std::int64_t first) {
    const std::size_t channels = reader_.Channels();
    for (std::size_t i = 0; i * channels < samples.size(); ++i) {
      const std::int64_t frame = first + static_cast<std::int64_t>(i);
      if ((frame - part_.First) % style_.Every != 0) continue;
      Begin(frame);
      for (std::size_t c = 0; c < channels; ++c) {
        NextField();
        AddSample(samples[i * channels + c], c);
      }
      End(frame + std::min(style_.Every, part_.End - frame));
    }
  }

  void AddSample(T sample, std::size_t channel) {
    if constexpr (std::integral<T>) {
      const fmt::format_int text(sample);
      lines_.append(text.data(), text.data() + text.size());
    } else {
      digits_[channel].Append(lines_, sample, style_.Decimal);
    }
  }

  // The frame with which a bin begins.
  std::int64_t EdgeOf(std::int64_t bin) const {
    const std::int64_t bins = std::min(style_.Bins, part_.Frames());
    return part_.First + static_cast<std::int64_t>(static_cast<long double>(part_.Frames()) *
                                                   static_cast<long double>(bin) /
                                                   static_cast<long double>(bins));
  }

  void AddBins(std::span<const T> samples, std::int64_t first) {
    const std::size_t channels = bins_.size();
    for (std::size_t i = 0; i * channels < samples.size(); ++i) {
      for (std::size_t c = 0; c < channels; ++c)
        bins_[c].Take(static_cast<double>(samples[i * channels + c]));
      if (first + static_cast<std::int64_t>(i) + 1 == nextEdge_) EndBin();
    }
  }

  void EndBin() {
    Begin(EdgeOf(bin_));
    for (std::size_t c = 0; c < bins_.size(); ++c) {
      for (const double value : {bins_[c].Smallest, bins_[c].Largest, bins_[c].Mean()}) {
        NextField();
        digits_[c].Append(lines_, value, style_.Decimal);
      }
      bins_[c] = {};
    }
    End(nextEdge_);
    nextEdge_ = EdgeOf(++bin_ + 1);
  }

  const Block& block_;
  const Part& part_;
  const CsvStyle& style_;
  TimeField time_;
  CommentField comments_;
  FrameReader<T> reader_;
  std::vector<Digits> digits_;
  std::vector<Bin> bins_;
  std::int64_t bin_ = 0;
  std::int64_t nextEdge_ = 0;
  fmt::memory_buffer lines_;
  bool isFirst_ = true;  // no field of the line is there yet
};

template <class T>
void WriteParts(const Recording& recording, const std::vector<Part>& parts, const CsvStyle& style,
                ProgressLine& progress) {
  std::int64_t total = 0;
  for (const Part& part : parts) total += part.Frames();
  std::int64_t done = 0;
  std::string head;
  std::vector<std::vector<const Comment*>> comments(parts.size());
  if (style.Comments) comments = CommentsOf(recording, parts);
  std::size_t unshown = 0;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    PartWriter<T> writer(recording, parts[i], comments[i], style);
    unshown += comments[i].size() - writer.Comments();
    const std::string own = HeadOf(recording, parts[i], style);
    if (style.Header && own != head) Print("{}{}\n", head.empty() ? "" : "\n", own);
    head = own;
    writer.Write([&](std::int64_t frames) {
      done += frames;
      progress.Show(static_cast<double>(done) / static_cast<double>(total));
      return !IsInterrupted();
    });
  }
  if (unshown > 0)
    Say("lmi: {} at no frame that is written, as in a gap or past the end\n",
        Numbered(unshown, "comment"));
}

}  // namespace

void WriteCsv(const Recording& recording, const std::vector<Part>& parts, const CsvStyle& style,
              ProgressLine& progress) {
  if (style.Times == "clock" && !recording.Start())
    throw std::invalid_argument("the recording states no start, so there is no clock");
  if (style.As == "integer") return WriteParts<std::int32_t>(recording, parts, style, progress);
  if (style.As == "single") return WriteParts<float>(recording, parts, style, progress);
  WriteParts<double>(recording, parts, style, progress);
}

}  // namespace lmi
