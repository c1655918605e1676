// European Data Format, by its published header (B. Kemp et al., "A simple format for exchange of
// digitized polygraphic recordings", 1992) and with the annotations of EDF+. All header fields are
// ASCII text, padded with blanks; with n signals, each field of a signal stands n times in a row.
//
//   offset  width  field                         signal field, from offset 256 on
//        0      8  version: "0"                    16  label
//        8     80  patient                         80  transducer
//       88     80  recording                        8  unit
//      168      8  start date, dd.mm.yy             8  physical minimum
//      176      8  start time, hh.mm.ss             8  physical maximum
//      184      8  bytes of the header              8  digital minimum
//      192     44  reserved: "EDF+C", "EDF+D"       8  digital maximum
//      236      8  records, or -1                  80  prefiltering
//      244      8  seconds of a record              8  samples of a record
//      252      4  signals                         32  reserved
//
// The records follow: the samples of each signal in turn, 16-bit integers. Where there are several
// signals, they are rewritten as frames, all signals at the rate of the fastest: a sample of a
// slower one stands several times in a row, and the last one of a record fills what is left of it.
#include <cmath>

#include "converters/Converters.h"
#include "converters/EdfAnnotations.h"
#include "converters/EdfFrames.h"
#include "converters/FlatDataFile.h"
#include "model/Date.h"
#include "model/Version.h"

namespace lmimport {
namespace {

constexpr std::int64_t EdfSmallestFile = 520;
constexpr Long EdfLargestSignalCount = 16384;
constexpr Long EdfFileType = 9;
constexpr std::u16string_view EdfVersion = u"0       ";
constexpr std::u16string_view EdfAnnotationLabel = u"EDF Annotations";
constexpr std::u16string_view EdfDiscontinuous = u"EDF+D";

constexpr std::int64_t EdfRecordCountPosition = 236;
constexpr std::int64_t EdfIdentificationBytes = 80;
constexpr std::int64_t EdfNumberBytes = 8;
constexpr std::int64_t EdfReservedBytes = 44;
constexpr std::int64_t EdfSignalCountBytes = 4;
constexpr std::int64_t EdfLabelBytes = 16;
constexpr std::int64_t EdfSkippedBytes = 80;  // transducer, and prefiltering
constexpr std::int64_t EdfSignalReservedBytes = 32;

struct EdfSignal {
  enum class Kind : Integer { BeyondLimit = -1, Channel = 0, Annotations = 1 };

  Kind SignalKind = Kind::Channel;
  Single PhysicalMin = 0;
  Single PhysicalMax = 0;
  Long DigitalMin = 0;
  Long DigitalMax = 0;
  Long RecordSamples = 0;

  bool IsChannel() const { return SignalKind == Kind::Channel; }
};

// "##?##?##": three numbers of two digits.
bool IsTriple(const String& text) {
  constexpr std::u16string_view digits = u"0123456789";
  if (text.size() != 8) return false;
  for (const std::size_t i : {0U, 1U, 3U, 4U, 6U, 7U}) {
    if (digits.find(text[i]) == std::u16string_view::npos) return false;
  }
  return true;
}

// The number at place 0, 1 or 2 of such a text.
int NumberOf(const String& triple, std::size_t place) {
  return (triple[place * 3] - u'0') * 10 + (triple[place * 3 + 1] - u'0');
}

class EdfConverter {
 public:
  explicit EdfConverter(ImportState& state) : state_(state), file_(*state.DataFile) {}
  bool Convert();

 private:
  BlockRec& Block() { return state_.Blocks.front(); }
  String Field(std::int64_t width);
  Long WholeNumber(std::int64_t width, std::string_view name);
  bool RefuseVersion(const String& version);
  bool ReadFileHeader();
  void ReadStart();
  bool ReadSignals();
  void ReadUnits();
  bool ReadRecordSizes();
  void CountRecords();
  bool FillBlock();
  bool Calibrate(const EdfSignal& signal, std::size_t channel);
  void ReadAnnotations();
  void NoteAnnotations(const EdfAnnotationReport& report, std::int64_t position);
  void NoteSignals();
  bool MakeFlatFile();

  ImportState& state_;
  BinaryFile& file_;
  std::vector<EdfSignal> signals_;
  Long headerBytes_ = 0;
  std::int64_t recordCount_ = 0;
  Single recordDuration_ = 0;
  bool discontinuous_ = false;
  bool misreadUtf8_ = false;
  std::int64_t maxRecordSamples_ = 0;
  std::int64_t totalRecordSamples_ = 0;
  std::int64_t chunkStart_ = 0;
};

String EdfConverter::Field(std::int64_t width) {
  std::string bytes(static_cast<std::size_t>(width), '\0');
  bytes.resize(static_cast<std::size_t>(file_.ReadBytes(bytes.data(), width)));
  misreadUtf8_ = misreadUtf8_ || state_.Texts.MisreadsUtf8(bytes);
  return state_.Texts.Text(bytes);
}

Long EdfConverter::WholeNumber(std::int64_t width, std::string_view name) {
  return ParseWholeNumber(Field(width), name);
}

bool EdfConverter::RefuseVersion(const String& version) {
  const auto isPrintable = [](char16_t c) { return c >= u' ' && c < 0x7f; };
  if (std::ranges::all_of(version, isPrintable))
    state_.Warn("version-not-read", 0,
                Sentence("The file states the version \"", ToUtf8(TrimBlanks(version)),
                         "\"; EDF has version 0."));
  return state_.Refuse(Refusal::UnknownFormat);
}

bool EdfConverter::ReadFileHeader() {
  file_.Seek(0);
  const String version = Field(EdfNumberBytes);
  if (version != EdfVersion) return RefuseVersion(version);
  BlockRec& block = state_.Blocks.emplace_back();
  block.Notes = TrimBlanks(Field(EdfIdentificationBytes));
  block.Notes += u"\r\n";
  block.Notes += TrimBlanks(Field(EdfIdentificationBytes));
  ReadStart();
  headerBytes_ = WholeNumber(EdfNumberBytes, "EDF header bytes");
  discontinuous_ = Field(EdfReservedBytes).starts_with(EdfDiscontinuous);
  recordCount_ = WholeNumber(EdfNumberBytes, "EDF record count");
  recordDuration_ = ParseSingle(Field(EdfNumberBytes));
  if (!(recordDuration_ > 0)) recordDuration_ = 1;
  const Long signals = WholeNumber(EdfSignalCountBytes, "EDF signal count");
  if (signals < 1 || signals > EdfLargestSignalCount) return state_.Refuse(Refusal::UnknownFormat);
  signals_.resize(static_cast<std::size_t>(signals));
  return true;
}

void EdfConverter::ReadStart() {
  constexpr int firstYearOf1900s = 30;
  const String date = Field(EdfNumberBytes);
  const String time = Field(EdfNumberBytes);
  Date& start = Block().StartDateTime;
  if (!IsTriple(date)) {
    start = file_.FileDateTime();
    return;
  }
  const int year = NumberOf(date, 2);
  start = DateSerial(year + (year < firstYearOf1900s ? 2000 : 1900), NumberOf(date, 1),
                     NumberOf(date, 0));
  if (IsTriple(time)) start += TimeSerial(NumberOf(time, 0), NumberOf(time, 1), NumberOf(time, 2));
}

bool EdfConverter::ReadSignals() {
  Integer channels = 0;
  for (EdfSignal& signal : signals_) {
    String label = TrimBlanks(Field(EdfLabelBytes));
    if (label.starts_with(EdfAnnotationLabel)) {
      signal.SignalKind = EdfSignal::Kind::Annotations;
    } else if (channels < LargestChannelCount) {
      state_.Channels[static_cast<std::size_t>(channels++)].ChannelTitle = std::move(label);
    } else {
      signal.SignalKind = EdfSignal::Kind::BeyondLimit;
    }
  }
  if (channels < 1) return state_.Refuse(Refusal::UnknownFormat);
  Block().DimensionChannels(channels);
  const auto count = static_cast<std::int64_t>(signals_.size());
  file_.Skip(EdfSkippedBytes * count);
  ReadUnits();
  for (EdfSignal& signal : signals_) signal.PhysicalMin = ParseSingle(Field(EdfNumberBytes));
  for (EdfSignal& signal : signals_) signal.PhysicalMax = ParseSingle(Field(EdfNumberBytes));
  for (EdfSignal& signal : signals_)
    signal.DigitalMin = WholeNumber(EdfNumberBytes, "EDF digital minimum");
  for (EdfSignal& signal : signals_)
    signal.DigitalMax = WholeNumber(EdfNumberBytes, "EDF digital maximum");
  file_.Skip(EdfSkippedBytes * count);
  return ReadRecordSizes();
}

void EdfConverter::ReadUnits() {
  std::size_t channel = 0;
  for (const EdfSignal& signal : signals_) {
    String unit = TrimBlanks(Field(EdfNumberBytes));
    if (unit == u"uV") unit = u"mkV";
    if (signal.IsChannel()) state_.Channels[channel++].ChannelUnitName = std::move(unit);
  }
}

bool EdfConverter::ReadRecordSizes() {
  bool isDamaged = false;
  for (EdfSignal& signal : signals_) {
    signal.RecordSamples = WholeNumber(EdfNumberBytes, "EDF samples of a record");
    totalRecordSamples_ += signal.RecordSamples;
    if (signal.IsChannel())
      maxRecordSamples_ = std::max<std::int64_t>(maxRecordSamples_, signal.RecordSamples);
    isDamaged = isDamaged || signal.RecordSamples < (signal.IsChannel() ? 1 : 0);
  }
  file_.Skip(EdfSignalReservedBytes * static_cast<std::int64_t>(signals_.size()));
  return !isDamaged || state_.Refuse(Refusal::FormatError);
}

void EdfConverter::CountRecords() {
  chunkStart_ = std::max<std::int64_t>(headerBytes_, file_.Position());
  const std::int64_t recordBytes = totalRecordSamples_ * 2;
  const std::int64_t there = std::max<std::int64_t>(0, file_.Size() - chunkStart_) / recordBytes;
  if (recordCount_ > there)
    state_.Warn("data-cut-off", file_.Size(),
                Sentence("The header claims ", recordCount_, " records of ", maxRecordSamples_,
                         " frames, and the file holds ", there, "; what is there is shown."));
  if (recordCount_ >= 1 && recordCount_ < there)
    state_.Note("records-left-out", EdfRecordCountPosition,
                Sentence("The header claims ", recordCount_, " records, and the file holds ", there,
                         "; those behind the claim are left out."));
  if (recordCount_ < 1 || recordCount_ > there) recordCount_ = there;
}

bool EdfConverter::FillBlock() {
  BlockRec& block = Block();
  block.ADCName = u"EDF";
  block.Resolution = 16;
  block.SamplingRate =
      static_cast<Single>(static_cast<Double>(maxRecordSamples_) / recordDuration_);
  block.SizeChannel = HeldAsLong(recordCount_ * maxRecordSamples_);
  block.DataPtr = chunkStart_;
  bool isSound = std::isfinite(block.SamplingRate);
  std::size_t channel = 0;
  for (const EdfSignal& signal : signals_) {
    if (signal.IsChannel() && !Calibrate(signal, channel++)) isSound = false;
  }
  return isSound || state_.Refuse(Refusal::FormatError);
}

// False when the scale is no number. A range of equal ends gives an infinite one: each count then
// stands for the value of that end.
bool EdfConverter::Calibrate(const EdfSignal& signal, std::size_t channel) {
  Single& scale = Block().ChannelScale[channel];
  Single& offset = Block().ChannelOffset[channel];
  const std::int64_t counts = std::int64_t{signal.DigitalMax} - signal.DigitalMin;
  if (counts != HeldAsLong(counts)) throw std::range_error("EDF digital range is beyond 32 bits");
  scale = static_cast<Single>(static_cast<Double>(counts) /
                              (Double{signal.PhysicalMax} - signal.PhysicalMin));
  offset = static_cast<Single>(signal.PhysicalMax - signal.DigitalMax / Double{scale});
  String& unit = state_.Channels[channel].ChannelUnitName;
  if (unit == u"mkV") {
    scale = static_cast<Single>(scale * 1000.0);
    offset = static_cast<Single>(offset / 1000.0);
    unit = u"mV";
  }
  return !std::isnan(scale);
}

void EdfConverter::ReadAnnotations() {
  std::int64_t samplesBefore = 0;
  const auto first = std::ranges::find_if(signals_, [&](const EdfSignal& signal) {
    const bool found = signal.SignalKind == EdfSignal::Kind::Annotations;
    if (!found) samplesBefore += signal.RecordSamples;
    return found;
  });
  if (first == signals_.end()) return;
  const std::int64_t position = chunkStart_ + 2 * samplesBefore;
  EdfAnnotationReport report;
  ReadEdfAnnotations(file_, state_.Texts, Block(), position, totalRecordSamples_ * 2,
                     std::int64_t{first->RecordSamples} * 2, recordCount_, recordDuration_, report,
                     state_.Progress);
  misreadUtf8_ = misreadUtf8_ || report.MisreadUtf8;
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
      std::ranges::count(signals_, EdfSignal::Kind::Annotations, &EdfSignal::SignalKind);
  if (signals > 1)
    state_.Note("annotations-left-out", chunkStart_,
                Sentence("Of ", signals, " annotation signals, only the first is read."));
  if (report.FirstOnset != 0)
    state_.Warn("start-offset", position,
                Sentence("The first record begins ", report.FirstOnset,
                         " s behind the start time that is shown; comments stand as much late."));
  if (discontinuous_ && report.Gaps > 0)
    state_.Warn("gaps-joined", chunkStart_ + report.FirstGapRecord * totalRecordSamples_ * 2,
                Sentence("The recording has ", report.Gaps,
                         " gaps (EDF+D), and is shown in one piece; the first stands before frame ",
                         report.FirstGapRecord * maxRecordSamples_ + 1, ", which was taken at ",
                         report.FirstGapOnset, " s."));
}

void EdfConverter::NoteSignals() {
  const auto beyond =
      std::ranges::count(signals_, EdfSignal::Kind::BeyondLimit, &EdfSignal::SignalKind);
  if (beyond > 0)
    state_.Note(
        "signals-left-out", 0,
        Sentence(beyond, " signals behind the first ", LargestChannelCount, " are left out."));
  const auto fills = std::ranges::count_if(signals_, [this](const EdfSignal& signal) {
    return signal.IsChannel() && maxRecordSamples_ % signal.RecordSamples != 0;
  });
  if (fills > 0)
    state_.Warn("rates-not-multiples", 0,
                Sentence("The largest rate is no whole multiple of that of ", fills,
                         " channels: their samples stand too early, and the last of each record "
                         "fills the rest of it."));
  if (misreadUtf8_)
    state_.Warn("text-utf8", 0,
                "Texts of the file are UTF-8, and are shown by another code page; the page 65001 "
                "shows them.");
}

bool EdfConverter::MakeFlatFile() {
  const std::int64_t channels = Block().ChannelCount;
  FlatDataFile flat(state_, recordCount_ * maxRecordSamples_ * channels * 2);
  if (!flat.FindOrCreate()) return false;
  if (!flat.IsUpToDate()) {
    EdfFrames frames(totalRecordSamples_, maxRecordSamples_);
    std::int64_t place = 0;
    for (const EdfSignal& signal : signals_) {
      if (signal.IsChannel()) frames.AddChannel(place, signal.RecordSamples);
      place += signal.RecordSamples;
    }
    frames.Write(file_, chunkStart_, recordCount_, flat, state_.Progress);
  }
  flat.Adopt();
  Block().DataPtr = 0;
  return true;
}

bool EdfConverter::Convert() {
  if (!file_.IsOpen() || file_.Size() < EdfSmallestFile) return false;
  if (!ReadFileHeader() || !ReadSignals()) return false;
  CountRecords();
  if (!FillBlock()) return false;
  ReadAnnotations();
  NoteSignals();
  if (signals_.size() > 1 && !MakeFlatFile()) return false;
  state_.FinishFile(FourCharacters("data"), LibraryMajor, LibraryMinor, EdfFileType);
  return true;
}

}  // namespace

bool ConvertEdfFile(ImportState& state) {
  return EdfConverter(state).Convert();
}

}  // namespace lmimport
