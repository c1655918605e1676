// European Data Format: records of the samples of each signal in turn, 16-bit integers, behind a
// header, the layout of which stands with its reader. Where there are several signals, they are
// rewritten as frames, all signals at the rate of the fastest: a sample of a slower one stands
// several times in a row, and the last one of a record fills what is left of it.
#include <algorithm>
#include <cmath>

#include "converters/Converters.h"
#include "converters/EdfAnnotations.h"
#include "converters/EdfFrames.h"
#include "converters/EdfHeader.h"
#include "converters/FlatDataFile.h"
#include "model/Version.h"

namespace lmimport {
namespace {

constexpr std::int64_t EdfSmallestFile = 520;
constexpr Long EdfFileType = 9;
constexpr std::int64_t EdfRecordCountPosition = 236;

class EdfConverter {
 public:
  explicit EdfConverter(ImportState& state) : state_(state), file_(*state.DataFile) {}
  bool Convert();

 private:
  BlockRec& Block() { return state_.Blocks.front(); }
  void CountRecords();
  bool FillBlock();
  bool Calibrate(const EdfSignal& signal, std::size_t channel);
  void ReadAnnotations();
  void NoteAnnotations(const EdfAnnotationReport& report, std::int64_t position);
  void NoteSignals();
  bool MakeFlatFile();

  ImportState& state_;
  BinaryFile& file_;
  EdfHeader header_;
  std::int64_t maxRecordSamples_ = 0;
  std::int64_t totalRecordSamples_ = 0;
};

void EdfConverter::CountRecords() {
  for (const EdfSignal& signal : header_.Signals) {
    totalRecordSamples_ += signal.RecordSamples;
    if (signal.IsChannel())
      maxRecordSamples_ = std::max<std::int64_t>(maxRecordSamples_, signal.RecordSamples);
  }
  const std::int64_t recordBytes = totalRecordSamples_ * 2;
  const std::int64_t there =
      std::max<std::int64_t>(0, file_.Size() - header_.ChunkStart) / recordBytes;
  if (header_.RecordCount > there)
    state_.Warn(
        "data-cut-off", file_.Size(),
        Sentence("The header claims ", header_.RecordCount, " records of ", maxRecordSamples_,
                 " frames, and the file holds ", there, "; what is there is shown."));
  if (header_.RecordCount >= 1 && header_.RecordCount < there)
    state_.Note("records-left-out", EdfRecordCountPosition,
                Sentence("The header claims ", header_.RecordCount, " records, and the file holds ",
                         there, "; those behind the claim are left out."));
  if (header_.RecordCount < 1 || header_.RecordCount > there) header_.RecordCount = there;
}

bool EdfConverter::FillBlock() {
  BlockRec& block = state_.Blocks.emplace_back();
  const auto channels = std::ranges::count_if(header_.Signals, &EdfSignal::IsChannel);
  block.DimensionChannels(static_cast<Integer>(channels));
  block.Notes = header_.Notes;
  block.StartDateTime = header_.StartDateTime;
  block.ADCName = u"EDF";
  block.Resolution = 16;
  block.SamplingRate =
      static_cast<Single>(static_cast<Double>(maxRecordSamples_) / header_.RecordDuration);
  block.SizeChannel = HeldAsLong(header_.RecordCount * maxRecordSamples_);
  block.DataPtr = header_.ChunkStart;
  bool isSound = std::isfinite(block.SamplingRate);
  std::size_t channel = 0;
  for (const EdfSignal& signal : header_.Signals) {
    if (signal.IsChannel() && !Calibrate(signal, channel++)) isSound = false;
  }
  return isSound || state_.Refuse(Refusal::FormatError);
}

// Title, unit, scale and offset; false when the scale is no number. A range of equal ends gives an
// infinite one: each count then stands for the value of that end.
bool EdfConverter::Calibrate(const EdfSignal& signal, std::size_t channel) {
  Single& scale = Block().ChannelScale[channel];
  Single& offset = Block().ChannelOffset[channel];
  const std::int64_t counts = std::int64_t{signal.DigitalMax} - signal.DigitalMin;
  if (counts != HeldAsLong(counts)) throw std::range_error("EDF digital range is beyond 32 bits");
  scale = static_cast<Single>(static_cast<Double>(counts) /
                              (Double{signal.PhysicalMax} - signal.PhysicalMin));
  offset = static_cast<Single>(signal.PhysicalMax - signal.DigitalMax / Double{scale});
  state_.Channels[channel].ChannelTitle = signal.Label;
  String& unit = state_.Channels[channel].ChannelUnitName;
  unit = signal.Unit;
  if (unit == u"uV" || unit == u"mkV") {
    scale = static_cast<Single>(scale * 1000.0);
    offset = static_cast<Single>(offset / 1000.0);
    unit = u"mV";
  }
  return !std::isnan(scale);
}

void EdfConverter::ReadAnnotations() {
  std::int64_t samplesBefore = 0;
  const auto first = std::ranges::find_if(header_.Signals, [&](const EdfSignal& signal) {
    const bool found = signal.SignalKind == EdfSignal::Kind::Annotations;
    if (!found) samplesBefore += signal.RecordSamples;
    return found;
  });
  if (first == header_.Signals.end()) return;
  const std::int64_t position = header_.ChunkStart + 2 * samplesBefore;
  EdfAnnotationReport report;
  ReadEdfAnnotations(file_, state_.Texts, Block(), position, totalRecordSamples_ * 2,
                     std::int64_t{first->RecordSamples} * 2, header_.RecordCount,
                     header_.RecordDuration, report, state_.Progress);
  header_.MisreadUtf8 = header_.MisreadUtf8 || report.MisreadUtf8;
  NoteAnnotations(report, position);
}

void EdfConverter::NoteAnnotations(const EdfAnnotationReport& report, std::int64_t position) {
  const std::string leftOut = Listed({{"at the start or before it", report.AtOnset0},
                                      {"behind the end", report.BehindEnd},
                                      {"beyond the largest number of comments", report.OutOfRoom}});
  if (!leftOut.empty())
    state_.Note("annotations-left-out", position,
                Sentence("Annotations are left out: ", leftOut, "."));
  const auto signals =
      std::ranges::count(header_.Signals, EdfSignal::Kind::Annotations, &EdfSignal::SignalKind);
  if (signals > 1)
    state_.Note("annotations-left-out", header_.ChunkStart,
                Sentence("Of ", signals, " annotation signals, only the first is read."));
  if (report.FirstOnset != 0)
    state_.Warn("start-offset", position,
                Sentence("The first record begins ", report.FirstOnset,
                         " s behind the start time that is shown; comments stand as much late."));
  if (header_.IsDiscontinuous && report.Gaps > 0)
    state_.Warn("gaps-joined", header_.ChunkStart + report.FirstGapRecord * totalRecordSamples_ * 2,
                Sentence("The recording has ", report.Gaps,
                         " gaps (EDF+D), and is shown in one piece; the first stands before frame ",
                         report.FirstGapRecord * maxRecordSamples_ + 1, ", which was taken at ",
                         report.FirstGapOnset, " s."));
}

void EdfConverter::NoteSignals() {
  const auto beyond =
      std::ranges::count(header_.Signals, EdfSignal::Kind::BeyondLimit, &EdfSignal::SignalKind);
  if (beyond > 0)
    state_.Note(
        "signals-left-out", 0,
        Sentence(beyond, " signals behind the first ", LargestChannelCount, " are left out."));
  const auto fills = std::ranges::count_if(header_.Signals, [this](const EdfSignal& signal) {
    return signal.IsChannel() && maxRecordSamples_ % signal.RecordSamples != 0;
  });
  if (fills > 0)
    state_.Warn("rates-not-multiples", 0,
                Sentence("The largest rate is no whole multiple of that of ", fills,
                         " channels: their samples stand too early, and the last of each record "
                         "fills the rest of it."));
  if (header_.MisreadUtf8)
    state_.Warn("text-utf8", 0,
                "Texts of the file are UTF-8, and are shown by another code page; the page 65001 "
                "shows them.");
}

bool EdfConverter::MakeFlatFile() {
  const std::int64_t channels = Block().ChannelCount;
  FlatDataFile flat(state_, header_.RecordCount * maxRecordSamples_ * channels * 2);
  if (!flat.FindOrCreate()) return false;
  if (!flat.IsUpToDate()) {
    EdfFrames frames(file_, flat, state_.Progress, totalRecordSamples_, maxRecordSamples_);
    std::int64_t place = 0;
    for (const EdfSignal& signal : header_.Signals) {
      if (signal.IsChannel()) frames.AddChannel(place, signal.RecordSamples);
      place += signal.RecordSamples;
    }
    frames.Write(header_.ChunkStart, header_.RecordCount);
  }
  flat.Adopt();
  Block().DataPtr = 0;
  return true;
}

bool EdfConverter::Convert() {
  if (!file_.IsOpen() || file_.Size() < EdfSmallestFile) return false;
  if (!ReadEdfHeader(state_, header_)) return false;
  CountRecords();
  if (!FillBlock()) return false;
  ReadAnnotations();
  NoteSignals();
  if (header_.Signals.size() > 1 && !MakeFlatFile()) return false;
  state_.FinishFile(FourCharacters("data"), LibraryMajor, LibraryMinor, EdfFileType);
  return true;
}

}  // namespace

bool ConvertEdfFile(ImportState& state) {
  return EdfConverter(state).Convert();
}

}  // namespace lmimport
