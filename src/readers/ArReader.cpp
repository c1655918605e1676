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
#include "model/HeaderView.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t ArSmallestFile = 516;
constexpr std::size_t ArHeadBytes = 512, ArInputs = 16;
constexpr Double ArFallbackScale = 1000;

constexpr Field<Byte> ArChannelMask{2}, ArSampleBits{10}, ArHour{11}, ArMinute{12}, ArSecond{14},
    ArDay{16}, ArMonth{17};
constexpr Field<Long> ArRate{4};
constexpr Field<std::uint16_t> ArYear{18};
// by input
constexpr Field<Integer> ArPointNumber{32}, ArSensorCode{192};
constexpr Field<Single> ArInputRange{64}, ArSensitivity{128};
constexpr TextField ArNotes{224, 288};

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
  const Integer code = header[ArSensorCode(input)];
  const bool known = code >= 1 && code <= static_cast<Integer>(Sensors.size());
  return known ? &Sensors[static_cast<std::size_t>(code - 1)] : nullptr;
}

std::u16string_view DeviceName(Long signature) {
  if (signature == FourCharacters("RG\0\0")) return u"RGR-2";
  return signature == FourCharacters("UB\0\0") ? u"USB-3000" : u"ARS";
}

std::vector<Integer> ActiveInputs(const HeaderView& header) {
  const unsigned mask = header[ArChannelMask] * 256U + header[ArChannelMask(1)];
  std::vector<Integer> inputs;
  for (std::size_t input = 0; input < ArInputs; ++input) {
    if ((mask >> (ArInputs - 1 - input) & 1) != 0) inputs.push_back(static_cast<Integer>(input));
  }
  return inputs;
}

Single ScaleOf(const HeaderView& header, std::size_t input) {
  const Single range = header[ArInputRange(input)];
  const Double fullScale = std::exp2(header[ArSampleBits] - 1);
  const Single scale = Narrowed(
      range > 0 ? Double{Narrowed(fullScale, "AR full scale", ArSampleBits.Position())} / range
                : ArFallbackScale,
      "AR counts per unit", ArInputRange(input).Position());
  const Sensor* sensor = SensorOf(header, input);
  const Double factor = sensor != nullptr ? sensor->Factor : 1;
  const Single sensitivity = Narrowed(header[ArSensitivity(input)] * factor, "AR sensitivity",
                                      ArSensitivity(input).Position());
  if (!(sensitivity > 0)) return scale;
  return Narrowed(Double{scale} * sensitivity / 1e6, "AR counts per unit",
                  ArSensitivity(input).Position());
}

void TellHeader(Opening& opening, const HeaderView& header) {
  opening.Tell(header, ArRate, "rate", "samples per second");
  opening.Tell(header, ArSampleBits, "bits", "bits of the converter; samples are 16-bit integers");
  opening.TellDate(header, "start", 0, ArYear, ArMonth, ArDay, ArHour, ArMinute, ArSecond);
}

// In the order of ScaleOf.
void TellChannel(Opening& opening, const HeaderView& header, std::size_t input,
                 std::size_t channel) {
  if (!opening.Rules.KeepsFields) return;
  const Place place = Place::OfChannel(0, channel);
  opening.Tell(header, ArInputRange(input), "range", "units of full scale; 0: 1000 counts are one",
               place);
  opening.Tell(header, ArSensorCode(input), "sensor",
               "code of the sensor, for its title, unit and factor", place);
  opening.Tell(header, ArSensitivity(input), "sensitivity",
               "of the sensor, in millionths of a unit of the range; 0: not known", place);
  const Sensor* sensor = SensorOf(header, input);
  std::string scale =
      header[ArInputRange(input)] > 0 ? "single(single(2 ^ (bits - 1)) / range)" : "1000";
  if (header[ArSensitivity(input)] > 0)
    scale = Sentence("single(", scale, " * single(sensitivity * ",
                     sensor != nullptr ? sensor->Factor : 1, ") / 1000000)");
  opening.TellFormula("count / " + scale, Place::OfChannel(-1, channel));
}

// Of every input, active or not.
void FillTitles(RecordingStore& store, const HeaderView& header) {
  for (std::size_t input = 0; input < ArInputs; ++input) {
    ChannelRec& channel = store.Channel(input);
    if (const Sensor* sensor = SensorOf(header, input)) {
      channel.ChannelTitle = sensor->Title;
      channel.ChannelUnitName = sensor->Unit;
    }
    const Integer point = header[ArPointNumber(input)];
    if (point > 0)
      channel.ChannelTitle.append(u" точка ").append(FromUtf8(NumberText(std::int64_t{point})));
  }
}

void NoteDoubtful(Opening& opening, const HeaderView& header, const BlockRec& block) {
  Long withoutRange = 0;
  Long withoutSensitivity = 0;
  int firstOfRange = -1;
  int firstOfSensitivity = -1;
  for (std::size_t i = 0; i < block.ChannelIndex.size(); ++i) {
    const auto input = static_cast<std::size_t>(block.ChannelIndex[i]);
    if (!(header[ArInputRange(input)] > 0) && withoutRange++ == 0)
      firstOfRange = static_cast<int>(i);
    const bool sensitive = header[ArSensitivity(input)] > 0;
    if (SensorOf(header, input) != nullptr && !sensitive && withoutSensitivity++ == 0)
      firstOfSensitivity = static_cast<int>(i);
  }
  if (withoutRange > 0)
    opening.Warn("no-range", {ArInputRange.Position(), 0, firstOfRange},
                 "The header states no range of ", withoutRange, " of ", block.ChannelCount,
                 " inputs; 1000 counts are one unit of their range.");
  if (withoutSensitivity > 0)
    opening.Warn("no-sensitivity", {ArSensitivity.Position(), 0, firstOfSensitivity},
                 "The header states no sensitivity of ", withoutSensitivity, " of ",
                 block.ChannelCount, " sensors; their values are not in the unit shown.");
}

}  // namespace

void ReadArFile(Opening& opening) {
  BinaryFile& file = opening.DataFile;
  opening.NeedBytes(ArSmallestFile, "an AR recording", Refusal::UnknownFormat);
  const Header<ArHeadBytes> header(file, 0);
  const std::vector<Integer> inputs = ActiveInputs(header);
  if (inputs.empty())
    RefuseAsDamaged(ArChannelMask.Position(), "The header states no active input.");

  BlockRec& block = opening.Store.Blocks.emplace_back();
  block.ADCName = DeviceName(opening.Magic & 0xffff);
  block.Resolution = header[ArSampleBits];
  block.SamplingRate = static_cast<Single>(header[ArRate]);
  block.DimensionChannels(static_cast<Integer>(inputs.size()));
  block.ChannelIndex = inputs;
  TellHeader(opening, header);
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    const auto input = static_cast<std::size_t>(inputs[i]);
    block.ChannelScale[i] = ScaleOf(header, input);
    TellChannel(opening, header, input, i);
  }
  FillTitles(opening.Store, header);
  // Notes without a zero byte are left out.
  const auto notes = header.Bytes(ArNotes);
  if (std::ranges::find(notes, Byte{0}) != notes.end()) block.Notes = header.Untrimmed(ArNotes);
  block.DataPtr = ArHeadBytes;
  block.FillFrom(file.Size() - block.DataPtr);
  block.StartDateTime = DateSerial(header[ArYear], header[ArMonth], header[ArDay]) +
                        TimeSerial(header[ArHour], header[ArMinute], header[ArSecond]);
  opening.FinishFile(FourCharacters("ABIN"), 1, 0);
  NoteDoubtful(opening, header, block);
}

}  // namespace lmimport
