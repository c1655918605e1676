// European Data Format: a header, whose layout is told where it is read, and records of the samples of
// each signal in turn, 16-bit integers. By its layout they are read where they lie. As written, where
// there are several signals, they are rewritten as frames, all signals at the rate of the fastest: a sample of a slower one is repeated, and the last
// one of a record fills what is left of it.
#include <algorithm>
#include <cmath>

#include "converters/Converters.h"
#include "converters/EdfAnnotations.h"
#include "converters/EdfFrames.h"
#include "converters/EdfInPlace.h"
#include "converters/FlatDataFile.h"

namespace lmimport {
namespace {

constexpr std::int64_t EdfSmallestFile = 520, EdfHeaderBytes = 256, EdfRecordCountPosition = 236;

// The first annotation signal, or the end.
auto FindAnnotations(const EdfLayout& layout) {
  return std::ranges::find(layout.Header.Signals, EdfSignal::Kind::Annotations,
                           &EdfSignal::SignalKind);
}

void NoteMisreadUtf8(Opening& opening) {
  opening.Warn("text-utf8", -1,
               "Texts of the file are UTF-8, and are shown by another code page; the page 65001 "
               "shows them.");
}

void NoteAnnotations(Opening& opening, const EdfLayout& layout, const EdfAnnotationReport& report,
                     std::int64_t position) {
  const std::string leftOut = Listed({{"at the start or before it", report.AtOnset0},
                                      {"past the end", report.PastEnd},
                                      {"beyond the largest number of comments", report.OutOfRoom}});
  if (!leftOut.empty())
    opening.Note("annotations-left-out", {position, 0}, "Annotations are left out: ", leftOut, ".");
  if (report.FirstOnset != 0)
    opening.Warn("start-offset", {position, 0}, "The first record begins ", report.FirstOnset,
                 " s after the start time that is shown; comments are as much late.");
  if (layout.Header.IsDiscontinuous && report.Gaps > 0)
    opening.Warn("gaps-joined",
                 {layout.Header.ChunkStart + report.FirstGapRecord * layout.RecordBytes(), 0},
                 "The recording has ", report.Gaps,
                 " gaps (EDF+D), and is shown in one piece; the first is before frame ",
                 report.FirstGapRecord * layout.MaxRecordSamples + 1, ", which was taken at ",
                 report.FirstGapOnset, " s.");
  if (report.Durations > 0 || report.JoinedTexts > 0)
    opening.Warn("annotation-texts", {position, 0}, "Of the annotations, ", report.Durations,
                 " have a duration, which is shown as the beginning of their text, and ",
                 report.JoinedTexts, " have several texts, which are shown as one.");
  if (report.MisreadUtf8 && !layout.Header.MisreadUtf8) NoteMisreadUtf8(opening);
}

void ReadAnnotations(Opening& opening, const EdfLayout& layout) {
  const EdfHeader& header = layout.Header;
  const auto annotations = FindAnnotations(layout);
  std::int64_t samplesBefore = 0;
  for (auto signal = header.Signals.begin(); signal != annotations; ++signal)
    samplesBefore += signal->RecordSamples;
  const std::int64_t position = header.ChunkStart + 2 * samplesBefore;
  EdfAnnotationReport report;
  ReadEdfAnnotations(opening.DataFile, opening.Texts, opening.Store.Blocks.front(), position,
                     layout.RecordBytes(), std::int64_t{annotations->RecordSamples} * 2,
                     header.RecordCount, static_cast<Single>(header.RecordDuration), report,
                     opening.Progress);
  NoteAnnotations(opening, layout, report, position);
}

void MakeFlatFile(Opening& opening, const EdfLayout& layout) {
  const EdfHeader& header = layout.Header;
  BlockRec& block = opening.Store.Blocks.front();
  FlatDataFile flat(opening, header.RecordCount * layout.MaxRecordSamples * block.FrameBytes());
  flat.FindOrCreate();
  if (!flat.IsUpToDate()) {
    EdfFrames frames(opening.DataFile, flat, opening.Progress, layout.TotalRecordSamples,
                     layout.MaxRecordSamples);
    std::int64_t place = 0;
    for (const EdfSignal& signal : header.Signals) {
      if (signal.IsChannel()) frames.AddChannel(place, signal.RecordSamples);
      place += signal.RecordSamples;
    }
    frames.Write(header.ChunkStart, header.RecordCount);
  }
  flat.Adopt();
}

void CountRecords(Opening& opening, EdfLayout& layout) {
  EdfHeader& header = layout.Header;
  for (const EdfSignal& signal : header.Signals) {
    layout.TotalRecordSamples += signal.RecordSamples;
    if (signal.IsChannel())
      layout.MaxRecordSamples =
          std::max<std::int64_t>(layout.MaxRecordSamples, signal.RecordSamples);
  }
  const std::int64_t size = opening.DataFile.Size();
  const std::int64_t there =
      std::max<std::int64_t>(0, size - header.ChunkStart) / layout.RecordBytes();
  if (header.RecordCount > there)
    opening.Warn("data-cut-off", {size, 0}, "The header claims ", header.RecordCount,
                 " records of ", layout.MaxRecordSamples, " frames, and the file holds ", there,
                 "; what is there is shown.");
  if (header.RecordCount >= 1 && header.RecordCount < there)
    opening.Note("records-left-out", {EdfRecordCountPosition, 0}, "The header claims ",
                 header.RecordCount, " records, and the file holds ", there,
                 "; those past the claim are left out.");
  if (header.RecordCount < 1 || header.RecordCount > there) header.RecordCount = there;
}

bool IsMicrovolt(const String& unit) {
  return unit == u"uV" || unit == u"mkV";
}

// Title, unit, scale and offset. A range of equal ends gives an infinite scale: each count is then
// the value of that end.
void Calibrate(Opening& opening, const EdfSignal& signal, std::size_t channel) {
  BlockRec& block = opening.Store.Blocks.front();
  Single& scale = block.ChannelScale[channel];
  Single& offset = block.ChannelOffset[channel];
  const std::int64_t counts = std::int64_t{signal.DigitalMax} - signal.DigitalMin;
  if (counts != HeldAsLong(counts))
    Refuse(Refusal::RangeFault, "number-too-large", -1, "EDF digital range is beyond 32 bits");
  scale = Narrowed(static_cast<Double>(counts) / (Double{signal.PhysicalMax} - signal.PhysicalMin),
                   "EDF counts per unit");
  offset = Narrowed(signal.PhysicalMax - signal.DigitalMax / Double{scale}, "EDF offset");
  opening.Store.Channel(channel).ChannelTitle = signal.Label;
  String& unit = opening.Store.Channel(channel).ChannelUnitName;
  unit = signal.Unit;
  if (IsMicrovolt(unit)) {
    scale = Narrowed(scale * 1000.0, "EDF counts per mV");
    offset = static_cast<Single>(offset / 1000.0);
    unit = u"mV";
  }
}

void TellFields(Opening& opening, const EdfHeader& header) {
  if (!opening.Rules.KeepsFields) return;
  TellEdfHeader(opening, header);
  std::size_t channel = 0;
  for (std::size_t i = 0; i < header.Signals.size(); ++i) {
    if (header.Signals[i].IsChannel()) TellEdfSignal(opening, header, i, 0, channel++);
  }
  opening.TellFormula(
      "count / scale + single(physical maximum - digital maximum / scale), scale = "
      "single((digital maximum - digital minimum) / (physical maximum - physical minimum)); "
      "a thousandth of it where the physical dimension is uV or mkV");
}

void FillBlock(Opening& opening, const EdfLayout& layout) {
  const EdfHeader& header = layout.Header;
  BlockRec& block = opening.Store.Blocks.emplace_back();
  block.DimensionChannels(static_cast<Integer>(layout.Count(&EdfSignal::IsChannel)));
  block.Notes = header.Notes;
  block.StartDateTime = header.StartDateTime;
  block.ADCName = u"EDF";
  block.Resolution = 16;
  block.SamplingRate =
      static_cast<Single>(static_cast<Double>(layout.MaxRecordSamples) / header.RecordDuration);
  block.SizeChannel = HeldAsLong(header.RecordCount * layout.MaxRecordSamples);
  block.DataPtr = header.ChunkStart;
  std::size_t channel = 0;
  for (const EdfSignal& signal : header.Signals) {
    if (signal.IsChannel()) Calibrate(opening, signal, channel++);
  }
  Opening::CheckNumbers(block);
  TellFields(opening, header);
}

void NoteSignals(Opening& opening, const EdfLayout& layout) {
  const auto annotationSignals = layout.Count(
      [](const EdfSignal& signal) { return signal.SignalKind == EdfSignal::Kind::Annotations; });
  if (annotationSignals > 1)
    opening.Note("annotations-left-out", layout.Header.ChunkStart, "Of ", annotationSignals,
                 " annotation signals, only the first is read.");
  const auto beyond = layout.Count(
      [](const EdfSignal& signal) { return signal.SignalKind == EdfSignal::Kind::BeyondLimit; });
  if (beyond > 0)
    opening.Note("signals-left-out", -1, beyond, " signals after the first ", LargestChannelCount,
                 " are left out.");
  const auto fills = layout.Count([&layout](const EdfSignal& signal) {
    return signal.IsChannel() && layout.MaxRecordSamples % signal.RecordSamples != 0;
  });
  const auto slower = layout.Count([&layout](const EdfSignal& signal) {
    return signal.IsChannel() && signal.RecordSamples < layout.MaxRecordSamples;
  });
  if (slower > fills)
    opening.Note("rates-raised", {-1, 0}, slower - fills,
                 " of the channels have a lower rate than the others; their samples are repeated.");
  if (fills > 0)
    opening.Warn("rates-not-multiples", {-1, 0},
                 "The largest rate is not a whole multiple of that of ", fills,
                 " channels: their samples are shown too early, and the last of each "
                 "record fills the rest of it.");
  const auto inMicrovolts = [](const EdfSignal& signal) {
    return signal.IsChannel() && IsMicrovolt(signal.Unit);
  };
  if (const auto changed = layout.Count(inMicrovolts); changed > 0)
    opening.Warn("unit-changed", {-1, 0}, changed, " of ", layout.Count(&EdfSignal::IsChannel),
                 " channels are in microvolts, and shown in mV.");
  const auto lookAlikes = layout.Count([&layout](const EdfSignal& signal) {
    return signal.SignalKind == EdfSignal::Kind::Annotations &&
           (!layout.Header.IsPlus || signal.Label != EdfAnnotationLabel(layout.Header));
  });
  if (lookAlikes > 0)
    opening.Warn(
        "signals-as-annotations", -1, lookAlikes,
        " of the signals are taken for annotations by the beginning of their label; in a plain EDF "
        "file, or with more in the label, they are signals like others.");
  if (layout.Header.MisreadUtf8) NoteMisreadUtf8(opening);
}

}  // namespace

void ConvertEdfFile(Opening& opening) {
  opening.NeedBytes(opening.IsPublished() ? EdfHeaderBytes : EdfSmallestFile, "an EDF file",
                    Refusal::UnknownFormat);
  const auto layout = std::make_shared<EdfLayout>();
  layout->Header = ReadEdfHeader(opening);
  CountRecords(opening, *layout);
  if (opening.IsPublished()) return ReadEdfInPlace(opening, layout);
  FillBlock(opening, *layout);
  if (FindAnnotations(*layout) != layout->Header.Signals.end())
    opening.DoOrDefer(Later::Comments,
                      [layout](Opening& later) { ReadAnnotations(later, *layout); });
  NoteSignals(opening, *layout);
  if (layout->Header.Signals.size() > 1) {
    opening.Store.Blocks.front().DataPtr = 0;
    opening.DoOrDefer(Later::Samples, [layout](Opening& later) { MakeFlatFile(later, *layout); });
  }
  opening.FinishFile(FourCharacters("data"));
}

}  // namespace lmimport
