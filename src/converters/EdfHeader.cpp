// European Data Format, by its published header (B. Kemp et al., "A simple format for exchange of
// digitized polygraphic recordings", 1992) and with the annotations of EDF+. All header fields are
// ASCII text, padded with blanks; with n signals, each field of a signal is there n times in a row.
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
#include "converters/EdfHeader.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "model/Date.h"

namespace lmimport {
namespace {

constexpr Long EdfLargestSignalCount = 16384;
constexpr std::u16string_view EdfVersion = u"0       ";
constexpr std::string_view BdfVersion = "\xff\x42IOSEMI";
constexpr std::u16string_view EdfDiscontinuous = u"DF+D", EdfPlus = u"DF+";  // after E or B

constexpr std::int64_t EdfIdentificationBytes = 80, EdfNumberBytes = 8, EdfReservedBytes = 44,
                       EdfSignalCountBytes = 4, EdfLabelBytes = 16;
constexpr std::int64_t EdfSkippedBytes = 80;  // transducer, and prefiltering
constexpr std::int64_t EdfSignalReservedBytes = 32;

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

class EdfHeaderReader {
 public:
  EdfHeaderReader(Opening& opening, EdfHeader& header)
      : opening_(opening), file_(opening.DataFile), header_(header) {}

  void Read() {
    ReadRecording();
    ReadSignals();
  }

 private:
  std::string Bytes(std::int64_t width);
  String Field(std::int64_t width) { return TextOf(Bytes(width)); }
  String TrimmedField(std::int64_t width);
  String TextOf(std::string_view bytes);
  Double Number(std::string_view name);
  Long WholeNumber(std::int64_t width, std::string_view name);
  void RefuseVersion(const String& version) const;
  void ReadRecording();
  void ReadStart();
  void ReadSignals();
  void ReadLabels();
  bool IsAnnotations(const String& label) const;
  void ReadRecordSizes();

  Opening& opening_;
  BinaryFile& file_;
  EdfHeader& header_;
};

std::string EdfHeaderReader::Bytes(std::int64_t width) {
  std::string bytes(static_cast<std::size_t>(width), '\0');
  bytes.resize(static_cast<std::size_t>(file_.ReadBytes(bytes.data(), width)));
  return bytes;
}

String EdfHeaderReader::TextOf(std::string_view bytes) {
  header_.MisreadUtf8 = header_.MisreadUtf8 || opening_.Texts.MisreadsUtf8(bytes);
  return opening_.Texts.Text(bytes);
}

// A blank is a blank in every code page.
String EdfHeaderReader::TrimmedField(std::int64_t width) {
  const std::string bytes = Bytes(width);
  return TextOf(WithoutBlanks(std::string_view(bytes)));
}

Double EdfHeaderReader::Number(std::string_view name) {
  const std::int64_t position = file_.Position();
  const std::string bytes = Bytes(EdfNumberBytes);
  if (opening_.IsPublished()) return ParseDouble(std::string_view(bytes));
  const Single number = ParseSingle(std::string_view(bytes));
  if (std::isinf(number))
    Refuse(Refusal::RangeFault, "number-too-large", position, name, " \"", bytes,
           "\" is too large for a Single");
  return number;
}

Long EdfHeaderReader::WholeNumber(std::int64_t width, std::string_view name) {
  const std::int64_t position = file_.Position();
  const std::string bytes = Bytes(width);
  try {
    return ParseWholeNumber(bytes, name);
  } catch (const std::invalid_argument& fault) {
    Refuse(Refusal::TextFault, "not-a-number", position, fault.what());
  } catch (const std::range_error& fault) {
    Refuse(Refusal::RangeFault, "number-too-large", position, fault.what());
  }
}

void EdfHeaderReader::RefuseVersion(const String& version) const {
  const auto isPrintable = [](char16_t c) { return c >= u' ' && c < 0x7f; };
  if (std::ranges::all_of(version, isPrintable))
    Refuse(Refusal::UnknownFormat, "version-not-read", 0, "The file states the version \"",
           ToUtf8(TrimBlanks(version)), "\"; EDF has version 0.");
  RefuseAsUnknown(0, "The file is named ", ToUtf8(LastFour(opening_.Store.FileName)),
                  ", but doesn't begin with the version of that format.");
}

void EdfHeaderReader::ReadRecording() {
  file_.Seek(0);
  const std::string version = Bytes(EdfNumberBytes);
  header_.IsBdf = opening_.IsPublished() && version == BdfVersion;
  const String versionText = opening_.Texts.Text(version);
  if (!header_.IsBdf && versionText != EdfVersion) RefuseVersion(versionText);
  header_.Notes = TrimmedField(EdfIdentificationBytes);
  header_.Notes += u"\r\n";
  header_.Notes += TrimmedField(EdfIdentificationBytes);
  ReadStart();
  header_.ChunkStart = WholeNumber(EdfNumberBytes, "EDF header bytes");
  const String reserved = Field(EdfReservedBytes);
  const auto kind = reserved.substr(std::min<std::size_t>(1, reserved.size()));
  header_.IsPlus = kind.starts_with(EdfPlus);
  header_.IsDiscontinuous = kind.starts_with(EdfDiscontinuous);
  header_.RecordCount = WholeNumber(EdfNumberBytes, "EDF record count");
  header_.RecordDuration = Number("EDF record duration");
  if (!(header_.RecordDuration > 0)) header_.RecordDuration = 1;
  const std::int64_t position = file_.Position();
  const Long signals = WholeNumber(EdfSignalCountBytes, "EDF signal count");
  if (signals < 1 || signals > EdfLargestSignalCount)
    RefuseAsUnknown(position, "The header states ", signals, " signals.");
  // Labels that the file doesn't hold are followed by digital limits that it doesn't hold either.
  if (file_.Size() < file_.Position() + EdfLabelBytes * signals)
    Refuse(Refusal::TextFault, "not-a-number", file_.Size(),
           "EDF digital minimum \"\" is no number");
  header_.Signals.resize(static_cast<std::size_t>(signals));
}

void EdfHeaderReader::ReadStart() {
  constexpr int firstYearOf1900s = 30;
  constexpr int firstOfLayout = 85;  // of the 1900s, by the layout
  const std::int64_t position = file_.Position();
  const String date = Field(EdfNumberBytes);
  const String time = Field(EdfNumberBytes);
  Date& start = header_.StartDateTime;
  if (!IsTriple(date)) {
    start = opening_.DateOfFile();
    return;
  }
  header_.HasStart = true;
  const bool published = opening_.IsPublished();
  const int year = NumberOf(date, 2);
  const int of1900s = published ? firstOfLayout : firstYearOf1900s;
  start = DateSerial(year + (year < of1900s ? 2000 : 1900), NumberOf(date, 1), NumberOf(date, 0));
  if (!published && year >= firstYearOf1900s && year < firstOfLayout)
    opening_.Warn("year-of-1900s", {position, 0}, "The year ", year, " is shown as ", 1900 + year,
                  "; by the layout of the format it is ", 2000 + year, ".");
  if (IsTriple(time)) start += TimeSerial(NumberOf(time, 0), NumberOf(time, 1), NumberOf(time, 2));
}

void EdfHeaderReader::ReadSignals() {
  std::vector<EdfSignal>& signals = header_.Signals;
  const std::int64_t count = std::ssize(signals);
  ReadLabels();
  file_.Skip(EdfSkippedBytes * count);
  for (EdfSignal& signal : signals) signal.Unit = TrimmedField(EdfNumberBytes);
  for (EdfSignal& signal : signals) signal.PhysicalMin = Number("EDF physical minimum");
  for (EdfSignal& signal : signals) signal.PhysicalMax = Number("EDF physical maximum");
  for (EdfSignal& signal : signals)
    signal.DigitalMin = WholeNumber(EdfNumberBytes, "EDF digital minimum");
  for (EdfSignal& signal : signals)
    signal.DigitalMax = WholeNumber(EdfNumberBytes, "EDF digital maximum");
  file_.Skip(EdfSkippedBytes * count);
  ReadRecordSizes();
  file_.Skip(EdfSignalReservedBytes * count);
  header_.ChunkStart = std::max(header_.ChunkStart, file_.Position());
}

// As written, by the beginning of the label alone.
bool EdfHeaderReader::IsAnnotations(const String& label) const {
  const std::u16string_view annotations = EdfAnnotationLabel(header_);
  if (!opening_.IsPublished()) return label.starts_with(annotations);
  return header_.IsPlus && label == annotations;
}

void EdfHeaderReader::ReadLabels() {
  Integer channels = 0;
  for (EdfSignal& signal : header_.Signals) {
    signal.Label = TrimmedField(EdfLabelBytes);
    if (IsAnnotations(signal.Label))
      signal.SignalKind = EdfSignal::Kind::Annotations;
    else if (channels == opening_.LargestChannels())
      signal.SignalKind = EdfSignal::Kind::BeyondLimit;
    else
      ++channels;
  }
  if (channels == 0) RefuseAsUnknown(file_.Position(), "The file has annotations, but no signal.");
}

void EdfHeaderReader::ReadRecordSizes() {
  const std::int64_t position = file_.Position();
  bool isDamaged = false;
  for (EdfSignal& signal : header_.Signals) {
    signal.RecordSamples = WholeNumber(EdfNumberBytes, "EDF samples of a record");
    isDamaged = isDamaged || signal.RecordSamples < (signal.IsChannel() ? 1 : 0);
  }
  if (isDamaged)
    RefuseAsDamaged(position, "A signal has no samples in a record, or less than none.");
}

// A field as it is written, read again, so that an open that keeps none has no work with it.
void TellText(Opening& opening, const Place& place, std::int64_t width, std::string_view name,
              std::string_view meaning) {
  String text;
  opening.DataFile.Seek(place.Position);
  opening.DataFile.ReadFixedString(text, width);
  opening.Tell(place, name, TrimBlanks(text), meaning);
}

}  // namespace

std::u16string_view EdfAnnotationLabel(const EdfHeader& header) {
  return header.IsBdf ? u"BDF Annotations" : u"EDF Annotations";
}

void TellEdfHeader(Opening& opening, const EdfHeader& header) {
  constexpr std::int64_t date = 168, time = 176, duration = 244;
  if (!opening.Rules.KeepsFields) return;
  TellText(opening, 0, EdfNumberBytes, "version",
           header.IsBdf ? "samples are 24-bit integers" : "samples are 16-bit integers");
  if (header.HasStart) {
    TellText(opening, date, EdfNumberBytes, "startdate of recording", "start, dd.mm.yy");
    TellText(opening, time, EdfNumberBytes, "starttime of recording", "start, hh.mm.ss");
  }
  TellText(opening, duration, EdfNumberBytes, "duration of a data record",
           "seconds, of the samples of a record");
}

// Each field is there for each signal in a row.
void TellEdfSignal(Opening& opening, const EdfHeader& header, std::size_t signal, std::size_t block,
                   std::size_t channel) {
  struct SignalField {
    std::int64_t BytesBefore;  // of the fields before it, of one signal
    std::string_view Name;
    std::string_view Meaning;
  };
  constexpr std::array fields = {
      SignalField{96, "physical dimension", "unit of values"},
      SignalField{104, "physical minimum", "value at the digital minimum"},
      SignalField{112, "physical maximum", "value at the digital maximum"},
      SignalField{120, "digital minimum", "count of the physical minimum"},
      SignalField{128, "digital maximum", "count of the physical maximum"},
      SignalField{216, "nr of samples in each data record", "samples per duration of a record"}};
  constexpr std::int64_t firstField = 256;
  if (!opening.Rules.KeepsFields) return;
  const std::int64_t signals = std::ssize(header.Signals);
  for (const auto& [bytesBefore, name, meaning] : fields)
    TellText(opening,
             Place::OfChannel(firstField + bytesBefore * signals +
                                  EdfNumberBytes * static_cast<std::int64_t>(signal),
                              channel, block),
             EdfNumberBytes, name, meaning);
}

EdfHeader ReadEdfHeader(Opening& opening) {
  EdfHeader header;
  EdfHeaderReader(opening, header).Read();
  return header;
}

}  // namespace lmimport
