// EDF+, by the published format (B. Kemp, J. Olivan: "European data format 'plus'", 2003). Blocks of
// one time are signals of a file, gaps of time those of EDF+D. EDFlib lays out the header and the
// records; it writes contiguous records of at least a millisecond, its own texts of physical limits
// and comments of 40 characters. So what the header says is set afterwards, comments are a signal of
// their own before EDFlib's, which is then empty, and time stamps say when a record really is.
#include <edflib.h>
#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include "export/EdfPlan.h"
#include "export/EdfScale.h"
#include "export/EightBitText.h"
#include "export/ExportFormats.h"
#include "export/FileWriter.h"
#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr std::size_t MostSignals = EDFLIB_MAXSIGNALS - 2;
constexpr std::size_t LabelWidth = 16;
constexpr std::size_t NumberWidth = 8;
constexpr std::int64_t RecordingPosition = 88;
constexpr std::size_t RecordingWidth = 80;
constexpr std::int64_t ReservedPosition = 192;
constexpr std::int64_t DurationPosition = 244;
constexpr std::int64_t HeaderUnit = 256;  // bytes: of the file, and of each signal
constexpr int PlaceOfUnit = 96;           // in the columns of the signals, as bytes of each
constexpr int PlaceOfMinimum = 104;
constexpr int PlaceOfMaximum = 112;
constexpr int PlaceOfFrames = 216;
constexpr double GoodError = 0.05;  // of a step
constexpr double GoodRate = 1e-6;

// One signal, over all segments.
struct Signal {
  std::size_t Part;     // among those of a segment
  std::size_t Channel;  // among those of the part
  int Number;           // in the recording
  std::string Label;
  EdfScale Scale;
  double Factor;  // digital = (sample * Factor + Offset), rounded; of counts 1 and the shift
  double Offset;
};

// The samples of a part, a record at a time; after the last one, that again.
class Source {
 public:
  virtual ~Source() = default;
  virtual void Next(std::int64_t frames) = 0;
  /// Of the current record.
  virtual void Take(const Signal& signal, std::span<short> digital) const = 0;
};

template <class T>
class SourceOf : public Source {
 public:
  SourceOf(ExportTask& task, const Part& part)
      : task_(task), channels_(part.Channels.size()), reader_(task.Recording(), part) {}

  void Next(std::int64_t frames) override {
    first_ += current_;
    current_ = static_cast<std::size_t>(frames);
    held_.erase(held_.begin(), held_.begin() + static_cast<std::ptrdiff_t>(Taken()));
    first_ = 0;
    while (held_.size() < current_ * channels_) {
      const std::span<const T> samples = reader_.Next();
      if (samples.empty()) {
        if (held_.size() < channels_) held_.resize(channels_);
        while (held_.size() < current_ * channels_)
          held_.push_back(held_[held_.size() - channels_]);
        break;
      }
      held_.insert(held_.end(), samples.begin(), samples.end());
      task_.Advance(static_cast<std::int64_t>(samples.size()));
    }
  }

  void Take(const Signal& signal, std::span<short> digital) const override {
    const T* next = held_.data() + first_ * channels_ + signal.Channel;
    for (short& sample : digital) {
      const double wanted = std::nearbyint(*next * signal.Factor + signal.Offset);
      const double held =
          std::clamp<double>(wanted, signal.Scale.DigitalMin, signal.Scale.DigitalMax);
      sample = static_cast<short>(std::isnan(wanted) ? signal.Scale.DigitalMin : held);
      next += channels_;
    }
  }

 private:
  std::size_t Taken() const { return std::min(held_.size(), first_ * channels_); }

  ExportTask& task_;
  std::size_t channels_;
  FrameReader<T> reader_;
  std::vector<T> held_;
  std::size_t first_ = 0;    // frame of the current record in held_
  std::size_t current_ = 0;  // frames of it
};

std::unique_ptr<Source> MakeSource(ExportTask& task, const Part& part) {
  if (task.BlockOf(part).RealSamples) return std::make_unique<SourceOf<double>>(task, part);
  return std::make_unique<SourceOf<std::int32_t>>(task, part);
}

std::string Padded(std::string text, std::size_t width) {
  text.resize(width, ' ');
  return text;
}

// "+12.5": seconds from the start that the header states.
std::string StampText(double seconds) {
  std::string text = fmt::format("{:+.7f}", seconds);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text == "-0" ? "+0" : text;
}

std::string RecordStamp(double seconds) {
  return StampText(seconds) + "\x14\x14" + std::string(1, '\0');
}

class Writer {
 public:
  Writer(ExportTask& task, const EdfFile& file, const NewFile& place)
      : task_(task), file_(file), place_(place), records_(PlanEdfRecords(task, file)) {}
  ~Writer() {
    if (handle_ >= 0) edfclose_file(handle_);
  }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void Write() {
    FindSignals();
    FindStart();
    FindComments();
    Open();
    for (const EdfSegment& segment : file_.Segments) WriteSegment(segment);
    Close();
    SayWhatChanged();
  }

 private:
  void FindSignals();
  void FindStart();
  void FindComments();
  void Open();
  void WriteSegment(const EdfSegment& segment);
  void WriteRecord(std::vector<std::unique_ptr<Source>>& sources, double time);
  std::string CommentsFor(double time);
  void Close();
  void SetHeader(std::string& header, bool hasGaps) const;
  void SetColumn(std::string& header, int place, std::size_t signal, const std::string& text,
                 std::size_t width) const;
  void SayWhatChanged();
  void Check(bool good) const {
    if (good) return;
    throw OutputFailed{place_.Place().string(),
                       errno != 0 ? std::strerror(errno) : "EDFlib can't write it"};
  }
  std::size_t AllSignals() const { return signals_.size() + (comments_.empty() ? 1 : 2); }

  ExportTask& task_;
  const EdfFile& file_;
  const NewFile& place_;
  EdfRecords records_;
  std::vector<Signal> signals_;
  int handle_ = -1;
  bool hasStart_ = false;
  std::array<int, 6> start_ = {1985, 1, 1, 0, 0, 0};  // by the format, where there is none
  double fraction_ = 0;                               // of a second, from that to the first sample
  std::vector<std::string> comments_;                 // as lists of the annotations signal
  std::size_t nextComment_ = 0;
  std::size_t commentBytes_ = 0;  // of that signal in a record
  std::vector<double> times_;     // of the records
};

void Writer::FindSignals() {
  const EdfSegment& first = file_.Segments.front();
  for (std::size_t p = 0; p < first.Parts.size(); ++p) {
    const Block& block = task_.BlockOf(*first.Parts[p]);
    for (std::size_t i = 0; i < first.Parts[p]->Channels.size(); ++i) {
      const Channel& channel = block.Channels[first.Parts[p]->Channels[i]];
      Extremes all{NAN, NAN};
      for (const EdfSegment& segment : file_.Segments) {
        const Part& part = *segment.Parts[p];
        const Extremes values = ExtremesOf(task_, part, part.Channels[i]);
        all = {std::fmin(all.Smallest, values.Smallest), std::fmax(all.Largest, values.Largest)};
      }
      Signal signal{p, i, channel.Number, ToAscii(channel.Title), FindEdfScale(block, channel, all),
                    1, 0};
      if (signal.Label.empty()) signal.Label = fmt::format("ch{}", channel.Number);
      const EdfScale& scale = signal.Scale;
      if (scale.Counts) {
        signal.Offset = -static_cast<double>(scale.Shift);
      } else {
        signal.Factor = channel.Factor * scale.InUnit / scale.Factor();
        signal.Offset = (channel.Offset * scale.InUnit - scale.Offset()) / scale.Factor();
      }
      signals_.push_back(std::move(signal));
    }
  }
  std::ranges::stable_sort(signals_, {}, &Signal::Number);
  if (signals_.size() > MostSignals)
    throw std::runtime_error(fmt::format("EDF is written with up to {} signals, and there are {}",
                                         MostSignals, signals_.size()));
}

void Writer::FindStart() {
  constexpr int firstYear = 1985;
  constexpr int lastYear = 2084;
  const std::optional<Date> clock = task_.Recording().Start();
  if (!clock) return;
  const std::string text = ClockText(*clock, file_.Segments.front().Start, 1e-6);
  std::array<int, 7> found{};
  const int fields = std::sscanf(text.c_str(), "%d-%d-%dT%d:%d:%d.%d", &found[0], &found[1],
                                 &found[2], &found[3], &found[4], &found[5], &found[6]);
  hasStart_ = fields == 7 && found[0] >= firstYear && found[0] <= lastYear;
  if (!hasStart_) return task_.Say("its start is not in the years 1985 to 2084, and is not kept");
  std::copy_n(found.begin(), start_.size(), start_.begin());
  fraction_ = found[6] / 1e6;
}

// As many bytes in each record that all find room; a list is never split.
void Writer::FindComments() {
  constexpr std::size_t stamp = 32;
  constexpr std::size_t longest = 4000;  // of a text, in bytes
  const double origin = file_.Segments.front().Start - fraction_;
  std::size_t all = 0;
  std::size_t largest = 0;
  std::int64_t count = 0;
  for (const EdfSegment& segment : file_.Segments) {
    count += records_.CountOf(segment);
    for (const Part* part : segment.Parts) {
      for (const Comment* comment : task_.CommentsOf(*part)) {
        std::string list = StampText(comment->Time - origin);
        if (comment->Duration >= 0) list += "\x15" + StampText(comment->Duration).substr(1);
        std::string text = OneLine(comment->Text);
        if (text.size() > longest) {
          task_.Say(fmt::format("comments are cut to {} bytes", longest));
          while (text.size() > longest || (text.back() & 0xc0) == 0x80) text.pop_back();
          if ((text.back() & 0x80) != 0) text.pop_back();
        }
        list += "\x14" + text + "\x14" + std::string(1, '\0');
        all += list.size();
        largest = std::max(largest, list.size());
        comments_.push_back(std::move(list));
      }
    }
  }
  commentBytes_ = stamp + all / static_cast<std::size_t>(count) + largest;
  commentBytes_ += commentBytes_ % 2;
}

void Writer::Open() {
  errno = 0;
  const std::size_t signals = AllSignals() - 1;
  handle_ = edfopen_file_writeonly(place_.Path().c_str(), EDFLIB_FILETYPE_EDFPLUS,
                                   static_cast<int>(signals));
  Check(handle_ >= 0);
  for (std::size_t i = 0; i < signals; ++i) {
    const bool isSignal = i < signals_.size();
    const int number = static_cast<int>(i);
    const auto frames =
        isSignal ? records_.Frames[signals_[i].Part] : static_cast<std::int64_t>(commentBytes_ / 2);
    Check(edf_set_samplefrequency(handle_, number, static_cast<int>(frames)) == 0);
    Check(edf_set_digital_minimum(handle_, number,
                                  isSignal ? signals_[i].Scale.DigitalMin : INT16_MIN) == 0);
    Check(edf_set_digital_maximum(handle_, number,
                                  isSignal ? signals_[i].Scale.DigitalMax : INT16_MAX) == 0);
    // Set to what they are in the end.
    Check(edf_set_physical_minimum(handle_, number, -1) == 0);
    Check(edf_set_physical_maximum(handle_, number, 1) == 0);
    Check(edf_set_label(handle_, number,
                        isSignal ? signals_[i].Label.c_str() : "EDF Annotations") == 0);
  }
  Check(edf_set_startdatetime(handle_, start_[0], start_[1], start_[2], start_[3], start_[4],
                              start_[5]) == 0);
  std::string device = ToAscii(task_.BlockOf(*file_.Segments.front().Parts.front()).Device);
  std::ranges::replace(device, ' ', '_');
  if (!device.empty()) edf_set_equipment(handle_, device.c_str());
}

void Writer::WriteSegment(const EdfSegment& segment) {
  std::vector<std::unique_ptr<Source>> sources;
  for (const Part* part : segment.Parts) sources.push_back(MakeSource(task_, *part));
  const double start = segment.Start - file_.Segments.front().Start + fraction_;
  const std::int64_t count = records_.CountOf(segment);
  for (std::int64_t i = 0; i < count; ++i) {
    times_.push_back(start + static_cast<double>(i) * records_.Duration());
    WriteRecord(sources, times_.back());
  }
}

void Writer::WriteRecord(std::vector<std::unique_ptr<Source>>& sources, double time) {
  for (std::size_t p = 0; p < sources.size(); ++p) sources[p]->Next(records_.Frames[p]);
  std::vector<short> digital;
  errno = 0;
  for (const Signal& signal : signals_) {
    digital.resize(static_cast<std::size_t>(records_.Frames[signal.Part]));
    sources[signal.Part]->Take(signal, digital);
    Check(edfwrite_digital_short_samples(handle_, digital.data()) == 0);
  }
  if (comments_.empty()) return;
  const std::string lists = CommentsFor(time);
  digital.resize(commentBytes_ / 2);
  std::memcpy(digital.data(), lists.data(), commentBytes_);
  Check(edfwrite_digital_short_samples(handle_, digital.data()) == 0);
}

std::string Writer::CommentsFor(double time) {
  std::string lists = RecordStamp(time);
  while (nextComment_ < comments_.size() &&
         lists.size() + comments_[nextComment_].size() < commentBytes_)
    lists += comments_[nextComment_++];
  lists.resize(commentBytes_, '\0');
  return lists;
}

void Writer::SetColumn(std::string& header, int place, std::size_t signal, const std::string& text,
                       std::size_t width) const {
  const std::size_t at =
      HeaderUnit + static_cast<std::size_t>(place) * AllSignals() + signal * width;
  header.replace(at, width, Padded(text, width));
}

void Writer::SetHeader(std::string& header, bool hasGaps) const {
  header.replace(DurationPosition, NumberWidth, Padded(records_.Seconds, NumberWidth));
  if (hasGaps) header.replace(ReservedPosition, 5, "EDF+D");
  if (!hasStart_) {
    std::string recording = header.substr(RecordingPosition, RecordingWidth);
    const std::string none = "01-JAN-1985";
    const std::size_t at = recording.find(none);
    if (at != std::string::npos) recording.replace(at, none.size(), "X");
    header.replace(RecordingPosition, RecordingWidth, Padded(recording, RecordingWidth));
  }
  for (std::size_t i = 0; i < signals_.size(); ++i) {
    const EdfScale& scale = signals_[i].Scale;
    SetColumn(header, 0, i, signals_[i].Label, LabelWidth);
    SetColumn(header, PlaceOfUnit, i, scale.Unit, NumberWidth);
    SetColumn(header, PlaceOfMinimum, i, scale.PhysicalMin, NumberWidth);
    SetColumn(header, PlaceOfMaximum, i, scale.PhysicalMax, NumberWidth);
  }
}

void Writer::Close() {
  const int handle = handle_;
  handle_ = -1;
  errno = 0;
  Check(edfclose_file(handle) == 0);
  FileWriter file(place_);
  std::string header(static_cast<std::size_t>(HeaderUnit) * (AllSignals() + 1), '\0');
  file.ReadAt(0, header.data(), header.size());
  std::int64_t recordBytes = 0;
  std::int64_t stampBytes = 0;
  for (std::size_t i = 0; i < AllSignals(); ++i) {
    const std::size_t at = HeaderUnit + PlaceOfFrames * AllSignals() + i * NumberWidth;
    stampBytes = 2 * std::strtoll(header.substr(at, NumberWidth).c_str(), nullptr, 10);
    recordBytes += stampBytes;
  }
  bool hasGaps = false;
  for (std::size_t i = 0; i < times_.size(); ++i) {
    const double expected = i == 0 ? times_[0] : times_[i - 1] + records_.Duration();
    hasGaps = hasGaps || std::abs(times_[i] - expected) > 1e-6;
    // The first annotations signal has the time stamps; in another they would be empty comments.
    std::string stamp = comments_.empty() ? RecordStamp(times_[i]) : std::string();
    stamp.resize(static_cast<std::size_t>(stampBytes), '\0');
    const auto record = static_cast<std::int64_t>(i + 1) * recordBytes;
    file.WriteAt(std::ssize(header) + record - stampBytes, stamp.data(), stamp.size());
  }
  if (!hasGaps && file_.Segments.size() > 1)
    task_.Say("blocks that follow each other without a gap are joined");
  SetHeader(header, hasGaps);
  file.WriteAt(0, header.data(), header.size());
  file.Close();
  std::error_code error;
  const auto size = std::filesystem::file_size(place_.Path(), error);
  errno = ENOSPC;
  Check(!error && size == header.size() + times_.size() * static_cast<std::size_t>(recordBytes));
}

void Writer::SayWhatChanged() {
  double worst = 0;
  std::string cut;
  for (const Signal& signal : signals_) {
    const EdfScale& scale = signal.Scale;
    const Part& part = *file_.Segments.front().Parts[signal.Part];
    const Block& block = task_.BlockOf(part);
    const Channel& channel = block.Channels[part.Channels[signal.Channel]];
    if (!scale.Counts)
      task_.Say(fmt::format("{} are scaled to 16 bits",
                            block.RealSamples ? "real numbers" : "counts of more than 16 bits"));
    if (scale.Counts) worst = std::max(worst, scale.Error);
    if (scale.InUnit != 1)
      task_.Say(fmt::format("the unit of \"{}\" is \"{}\"", signal.Label, scale.Unit));
    const bool isKept = signal.Label == channel.Title && signal.Label.size() <= LabelWidth;
    if (!isKept && !channel.Title.empty()) cut = cut.empty() ? OneLine(channel.Title) : cut;
  }
  if (!cut.empty())
    task_.Say(fmt::format("titles are ASCII of up to 16 characters, unlike \"{}\"", cut));
  if (worst > GoodError)
    task_.Say(
        fmt::format("values are off by up to {:.2g} of a step: a scale has 8 characters", worst));
  if (records_.RateError > GoodRate)
    task_.Say(fmt::format("rates are off by {:.2g}, as records of {} s have whole samples",
                          records_.RateError, records_.Seconds));
  if (records_.Padding > 0)
    task_.Say(fmt::format("the last record is filled up with the last sample, for {:.4g} s",
                          records_.Padding));
}

}  // namespace

void ExportEdf(ExportTask& task) {
  for (const EdfFile& file : PlanEdfFiles(task)) {
    const NewFile& place = task.FileOf(*file.Segments.front().Parts.front());
    Writer(task, file, place).Write();
  }
}

}  // namespace lmi
