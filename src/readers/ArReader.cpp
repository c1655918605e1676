// Files of the ARS recorder and its kin: a header of 512 bytes, then interleaved 16-bit samples of
// the active inputs to the end of the file.
//
//   offset  type       field
//        0  2 chars    "AR", "RG" or "UB"
//        2  2 bytes    active inputs, the top bit of the first byte being input 0
//        4  int32      samples per second
//       10  byte       bits of the converter
//       11  6 bytes    hour, minute, -, second, -, day; 17: month; 18: uint16 year
//       32  16 int16   measuring point of each input
//       64  16 single  range of each input, full scale
//      128  16 single  sensitivity of its sensor
//      192  16 int16   its sensor
//      224  288 chars  notes, ended by a zero byte
#include <cmath>

#include "model/Date.h"
#include "readers/HeaderView.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t ArSmallestFile = 516;
constexpr std::size_t ArHeadBytes = 512;
constexpr std::size_t ArInputs = 16;
constexpr Long ArFileType = 3;
constexpr Single ArFallbackScale = 1000;

constexpr std::size_t ArChannelMask = 2;
constexpr std::size_t ArRate = 4;
constexpr std::size_t ArSampleBits = 10;
constexpr std::size_t ArHour = 11;
constexpr std::size_t ArMinute = 12;
constexpr std::size_t ArSecond = 14;
constexpr std::size_t ArDay = 16;
constexpr std::size_t ArMonth = 17;
constexpr std::size_t ArYear = 18;
constexpr std::size_t ArPointNumber = 32;
constexpr std::size_t ArInputRange = 64;
constexpr std::size_t ArSensitivity = 128;
constexpr std::size_t ArSensorCode = 192;
constexpr std::size_t ArNotes = 224;
constexpr std::int64_t ArNotesBytes = 288;

struct Sensor {
  const char16_t* Title;
  const char16_t* Unit;
  Double Factor;  // of the sensitivity
};

// By sensor code, from 1.
constexpr std::array Sensors = {Sensor{u"ДЗДЕ-2", u"kPa", 1000},
                                Sensor{u"ДЗДЕ-40", u"kPa", 1000},
                                Sensor{u"ДЗД-40", u"kPa", 1000},
                                Sensor{u"ДИД-700", u"kPa", 1000},
                                Sensor{u"ДИД-3000", u"kPa", 1000},
                                Sensor{u"ДССГ", u"km/s2", 1000},
                                Sensor{u"ДУ-2000", u"km/s2", 1000},
                                Sensor{u"ДУ-10000", u"km/s2", 1000},
                                Sensor{u"ИТ", u"°C", 1},
                                Sensor{u"ДВ", u"V", 1},
                                Sensor{u"Аккорд", u"V", 1},
                                Sensor{u"Филин", u"V", 1},
                                Sensor{u"УГ-100", u"kPa", 1000},
                                Sensor{u"УГ-1000", u"kPa", 1000},
                                Sensor{u"ДЗДП-2", u"kPa", 1000},
                                Sensor{u"ДЗДП-40", u"kPa", 1000},
                                Sensor{u"GPS_RGR", u"V", 1},
                                Sensor{u"GPS_ARS", u"V", 1},
                                Sensor{u"ДССГ X", u"km/s2", 1000},
                                Sensor{u"ДССГ y", u"km/s2", 1000},
                                Sensor{u"ДССГ Z", u"km/s2", 1000}};

const Sensor* SensorOf(const HeaderView& header, std::size_t input) {
  const Integer code = header.Int16(ArSensorCode + input * 2);
  const bool known = code >= 1 && code <= static_cast<Integer>(Sensors.size());
  return known ? &Sensors[static_cast<std::size_t>(code - 1)] : nullptr;
}

std::u16string_view DeviceName(Long signature) {
  if (signature == FourCharacters("RG\0\0")) return u"RGR-2";
  return signature == FourCharacters("UB\0\0") ? u"USB-3000" : u"ARS";
}

std::vector<Integer> ActiveInputs(const HeaderView& header) {
  const unsigned mask = header.Int8(ArChannelMask) * 256U + header.Int8(ArChannelMask + 1);
  std::vector<Integer> inputs;
  for (std::size_t input = 0; input < ArInputs; ++input) {
    if ((mask >> (ArInputs - 1 - input) & 1) != 0) inputs.push_back(static_cast<Integer>(input));
  }
  return inputs;
}

Single ScaleOf(const HeaderView& header, std::size_t input) {
  const Single range = header.Real32(ArInputRange + input * sizeof(Single));
  const auto fullScale = static_cast<Single>(std::exp2(header.Int8(ArSampleBits) - 1));
  const Single scale = range > 0 ? fullScale / range : ArFallbackScale;
  const Sensor* sensor = SensorOf(header, input);
  const Double factor = sensor != nullptr ? sensor->Factor : 1;
  const auto sensitivity =
      static_cast<Single>(header.Real32(ArSensitivity + input * sizeof(Single)) * factor);
  if (!(sensitivity > 0)) return scale;
  return static_cast<Single>(Double{scale} * sensitivity / 1e6);
}

// Of every input, active or not.
void FillTitles(ImportState& state, const HeaderView& header) {
  for (std::size_t input = 0; input < ArInputs; ++input) {
    ChannelRec& channel = state.Channels[input];
    if (const Sensor* sensor = SensorOf(header, input)) {
      channel.ChannelTitle = sensor->Title;
      channel.ChannelUnitName = sensor->Unit;
    }
    const Integer point = header.Int16(ArPointNumber + input * 2);
    if (point > 0)
      channel.ChannelTitle.append(u" точка ").append(FromUtf8(NumberText(std::int64_t{point})));
  }
}

void NoteDoubtful(ImportState& state, const HeaderView& header, const BlockRec& block) {
  Long withoutRange = 0;
  Long withoutSensitivity = 0;
  for (const Integer number : block.ChannelIndex) {
    const auto input = static_cast<std::size_t>(number);
    if (!(header.Real32(ArInputRange + input * sizeof(Single)) > 0)) ++withoutRange;
    const bool sensitive = header.Real32(ArSensitivity + input * sizeof(Single)) > 0;
    if (SensorOf(header, input) != nullptr && !sensitive) ++withoutSensitivity;
  }
  if (withoutRange > 0)
    state.Warn("no-range", ArInputRange,
               Sentence("The header states no range of ", withoutRange, " of ", block.ChannelCount,
                        " inputs; 1000 counts stand for one unit of their range."));
  if (withoutSensitivity > 0)
    state.Warn("no-sensitivity", ArSensitivity,
               Sentence("The header states no sensitivity of ", withoutSensitivity, " of ",
                        block.ChannelCount, " sensors; their values are not in the unit shown."));
}

}  // namespace

bool ReadArFile(ImportState& state) {
  BinaryFile& file = *state.DataFile;
  if (file.Size() < ArSmallestFile) return false;
  std::array<Byte, ArHeadBytes> bytes{};
  file.Seek(0);
  file.ReadByteArray(bytes.data(), ArHeadBytes);
  const HeaderView header(bytes);
  const std::vector<Integer> inputs = ActiveInputs(header);
  if (inputs.empty()) return state.Refuse(Refusal::FormatError);

  BlockRec& block = state.Blocks.emplace_back();
  block.ADCName = DeviceName(state.Magic & 0xffff);
  block.Resolution = header.Int8(ArSampleBits);
  block.SamplingRate = static_cast<Single>(header.Int32(ArRate));
  block.DimensionChannels(static_cast<Integer>(inputs.size()));
  block.ChannelIndex = inputs;
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    block.ChannelScale[i] = ScaleOf(header, static_cast<std::size_t>(inputs[i]));
    if (std::isnan(block.ChannelScale[i])) return state.Refuse(Refusal::FormatError);
  }
  FillTitles(state, header);
  String notes;
  file.Seek(ArNotes);
  file.ReadFixedString(notes, ArNotesBytes);
  const std::size_t end = notes.find(u'\0');
  if (end != String::npos) block.Notes = notes.substr(0, end);
  block.DataPtr = ArHeadBytes;
  block.FillFrom(file.Size() - block.DataPtr);
  block.StartDateTime =
      DateSerial(static_cast<std::uint16_t>(header.Int16(ArYear)), header.Int8(ArMonth),
                 header.Int8(ArDay)) +
      TimeSerial(header.Int8(ArHour), header.Int8(ArMinute), header.Int8(ArSecond));
  state.FinishFile(FourCharacters("ABIN"), 1, 0, ArFileType);
  NoteDoubtful(state, header, block);
  return true;
}

}  // namespace lmimport
