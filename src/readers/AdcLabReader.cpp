// ADCLab recordings: a chain of named sections, the last of which are the samples. A device file
// describes its channels by the control words of a converter, a plain file by ranges.
//
//   section: 24 chars name, int32 bytes of payload, 4 bytes; payload
//
//   "ADCLABFF..."           the first
//   "SAMPLES_FORMAT"        4 int32 channels, 8 double rate, 16 byte sample code,
//                           17 and 18 bytes whose sum is the bits of a device
//   "CHANNELS_INFO"         for each channel 20 bytes: int32 number from 1,
//                           double value at the lowest code, double at the highest
//   "SD_FORMAT"             4 byte, 2: converters in pairs; 5 byte control words; 6 int16 each
//   "SD_INFO"               four of each, by gain code: 34 single zero, 54 gain,
//                           74 zero and 94 gain of the even channels of pairs;
//                           126 single full scale; 230 26 chars name
//   "SAMPLES_RECORD"        the samples; "CHANNELS_INFO_HEADER" and "SAMPLES_RECORD_INFO"
//                           are passed over
//
//   control word: bits 0 to 3 channel, 8 to 9 gain code, 11 to 12 that of the even one of a pair
#include <algorithm>
#include <cmath>

#include "model/HeaderView.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t AlfSmallestFile = 96;
constexpr std::size_t AlfSectionHead = 32, AlfChannelBytes = 20;
constexpr Byte AlfPaired = 2;

constexpr TextField AlfSectionName{0, 24};
constexpr Field<Long> AlfSectionSize{24};
// of "SAMPLES_FORMAT"
constexpr Field<Long> AlfChannels{4};
constexpr Field<Double> AlfRate{8};
constexpr Field<Byte> AlfSampleCode{16}, AlfBitCountA{17}, AlfBitCountB{18};
// of a channel in "CHANNELS_INFO"
constexpr std::size_t AlfNumber = 0, AlfRangeLow = 4, AlfRangeHigh = 12;
// of "SD_FORMAT"
constexpr Field<Byte> AlfModeFlags{4}, AlfControlCount{5};
constexpr Field<Integer> AlfControlTable{6};
// of "SD_INFO"
constexpr Field<Single> AlfInputRange{126};
constexpr TextField AlfDeviceName{230, 26};

// Where the gain of a channel is, in the control word and in the device's tables.
struct Gain {
  int Shift;
  Field<Single> Zeros;
  Field<Single> Gains;
};
constexpr Gain AlfGain = {8, {34}, {54}};
constexpr Gain AlfGainOfEven = {11, {74}, {94}};

struct SampleCode {
  Integer Type;
  Integer Unsigned;
};

// By code, from 0; any other is a signed word.
constexpr std::array SampleCodes = {
    SampleCode{SampleInt16, 0},  SampleCode{SampleSingle, 0}, SampleCode{SampleDouble, 0},
    SampleCode{SampleInt8, 0},   SampleCode{SampleInt8, -1},  SampleCode{SampleInt16, 0},
    SampleCode{SampleInt16, -1}, SampleCode{SampleInt32, 0},  SampleCode{SampleInt32, -1}};

class AdcLabFile {
 public:
  explicit AdcLabFile(Opening& opening)
      : opening_(opening),
        file_(opening.DataFile),
        samplesFormat_(opening.Texts),
        sdFormat_(opening.Texts),
        sdInfo_(opening.Texts),
        channels_(opening.Texts) {}

  void Read();

 private:
  struct Section {
    String Name;
    Long Size;  // bytes of payload
  };

  void Walk();
  Section ReadSectionHead();
  bool ReadSection(const String& name, Long size);
  void FillBlock(BlockRec& block);
  void FillDeviceChannel(BlockRec& block, std::size_t channel);
  void FillPlainChannel(BlockRec& block, std::size_t channel);
  void TellFormat(const BlockRec& block);
  void TellDeviceChannel(const Gain& gain, std::size_t entry, std::size_t channel);
  void TellPlainChannel(std::size_t channel);
  bool HasRanges(const BlockRec& block) const {
    return channelsSize_ >= block.ChannelCount * static_cast<Long>(AlfChannelBytes);
  }
  bool IsDevice() const { return sdFormat_[AlfControlCount] > 0; }
  bool IsPaired() const { return (sdFormat_[AlfModeFlags] & AlfPaired) != 0; }

  // A payload longer than its record fills the record; a shorter one its beginning.
  template <std::size_t N>
  void ReadPayload(Header<N>& record, std::int64_t size, std::int64_t& position) {
    position = file_.Position();
    record.ReadMore(file_, 0, static_cast<std::size_t>(std::clamp<std::int64_t>(size, 0, N)));
  }

  Opening& opening_;
  BinaryFile& file_;
  Header<20> samplesFormat_;
  Header<72> sdFormat_;
  Header<256> sdInfo_;
  Header<LargestChannelCount * AlfChannelBytes> channels_;
  // Where their payloads are; -1: the file doesn't have them.
  std::int64_t samplesFormatPosition_ = -1;
  std::int64_t sdFormatPosition_ = -1;
  std::int64_t sdInfoPosition_ = -1;
  std::int64_t channelsPosition_ = -1;
  Long channelsSize_ = 0;
  Long recordSize_ = 0;
  std::int64_t position_ = 0;
};

void AdcLabFile::Read() {
  opening_.NeedBytes(AlfSmallestFile, "an ADCLab file", Refusal::UnknownFormat);
  Walk();
  if (!IsDevice() && samplesFormat_[AlfChannels] <= 0)
    Refuse(Refusal::UnsupportedFormat, "coding-not-read", -1,
           "The sections describe neither a device nor a channel.");
  FillBlock(opening_.Store.Blocks.emplace_back());
  opening_.FinishFile(FourCharacters("ADCL"), 1, 0);
}

void AdcLabFile::Walk() {
  constexpr std::int64_t head = AlfSectionHead;
  const std::int64_t size = file_.Size();
  const Section first = ReadSectionHead();
  if (!first.Name.starts_with(u"ADCLABFF"))
    RefuseAsUnknown(0, "The first section is not \"ADCLABFF\".");
  position_ = head + first.Size;
  do {
    const Section section = ReadSectionHead();
    if (!ReadSection(section.Name, section.Size))
      RefuseAsUnknown(position_, "A section \"", ToUtf8(section.Name), "\" isn't expected here.");
    position_ += head;
    if (section.Name == u"SAMPLES_RECORD") return;
    position_ += std::max(section.Size, 0);
  } while (size - position_ > head);
  opening_.Note("no-record", position_,
                "No section of samples is in the file; what follows the last one is shown.");
}

AdcLabFile::Section AdcLabFile::ReadSectionHead() {
  const Header<AlfSectionHead> section(file_, position_);
  return {section[AlfSectionName], section[AlfSectionSize]};
}

bool AdcLabFile::ReadSection(const String& name, Long size) {
  if (name == u"SAMPLES_FORMAT") {
    ReadPayload(samplesFormat_, size, samplesFormatPosition_);
  } else if (name == u"SD_INFO") {
    ReadPayload(sdInfo_, size, sdInfoPosition_);
  } else if (name == u"SD_FORMAT") {
    ReadPayload(sdFormat_, size, sdFormatPosition_);
  } else if (name == u"CHANNELS_INFO") {
    const std::int64_t channels = samplesFormat_[AlfChannels];
    if (channels <= 0) return false;
    ReadPayload(channels_, channels * std::int64_t{AlfChannelBytes}, channelsPosition_);
    channelsSize_ = size;
  } else if (name == u"SAMPLES_RECORD") {
    recordSize_ = size;
  } else {
    return name == u"CHANNELS_INFO_HEADER" || name == u"SAMPLES_RECORD_INFO";
  }
  return true;
}

void AdcLabFile::FillBlock(BlockRec& block) {
  const Long controls = sdFormat_[AlfControlCount];
  const Long channels = IsDevice() ? controls * (IsPaired() ? 2 : 1)
                                   : static_cast<Integer>(samplesFormat_[AlfChannels]);
  if (channels < 1 || channels > LargestChannelCount)
    RefuseAsDamaged(-1, "The sections describe ", channels, " channels.");
  block.DimensionChannels(static_cast<Integer>(channels));
  block.SamplingRate = Narrowed(samplesFormat_[AlfRate], "ADCLab rate");
  const std::size_t code = samplesFormat_[AlfSampleCode];
  const SampleCode& sample = SampleCodes[code < SampleCodes.size() ? code : 0];
  block.SampleType = sample.Type;
  block.SampleUnsigned = sample.Unsigned;
  block.Resolution = 16;
  if (IsDevice()) {
    block.Resolution =
        static_cast<Byte>(samplesFormat_[AlfBitCountA] + samplesFormat_[AlfBitCountB]);
    block.ADCName = sdInfo_[AlfDeviceName];
  }
  if (block.ADCName.empty()) block.ADCName = u"ALF";
  TellFormat(block);
  for (std::size_t i = 0; i < block.ChannelScale.size(); ++i) {
    IsDevice() ? FillDeviceChannel(block, i) : FillPlainChannel(block, i);
    if (block.ChannelIndex[i] < 0) RefuseAsDamaged(-1, "Channel ", i + 1, " has number 0.");
  }
  if (!IsDevice() && (block.SampleType == SampleInt8 || block.SampleType == SampleInt32))
    opening_.Warn("scale-of-16-bits", {-1, 0}, "The samples have ",
                  SampleWidth(block.SampleType) * 8,
                  " bits, while their scale is that of 16-bit ones.");
  block.FillFrom(recordSize_ > 0 ? recordSize_ : file_.Size() - position_);
  block.DataPtr = position_;
  block.StartDateTime = opening_.DateOfFile();
  if (block.DataPtr < 0)
    RefuseAsDamaged(-1, "The samples would begin at byte ", block.DataPtr, ".");
}

void AdcLabFile::TellFormat(const BlockRec& block) {
  opening_.Tell(samplesFormat_, AlfRate, "rate", "samples per second", samplesFormatPosition_);
  opening_.Tell(
      samplesFormat_, AlfSampleCode, "sample code",
      "kind of samples: 1 Singles, 2 Doubles, 3 and 4 bytes, 7 and 8 32-bit integers, else "
      "16-bit ones; 4, 6 and 8 without a sign",
      samplesFormatPosition_);
  if (block.HasRealSamples()) return opening_.TellFormula("the value, as stored");
  if (!IsDevice())
    return opening_.TellFormula(HasRanges(block)
                                    ? "count / single(65536 / (highest value - lowest value))"
                                    : "count / 3276.8");
  opening_.Tell(samplesFormat_, AlfBitCountA, "bits A", "bits of the converter, with bits B",
                samplesFormatPosition_);
  opening_.Tell(samplesFormat_, AlfBitCountB, "bits B", "bits of the converter, with bits A",
                samplesFormatPosition_);
  opening_.Tell(sdInfo_, AlfInputRange, "full scale", "units of half of all counts, at a gain of 1",
                sdInfoPosition_);
  opening_.TellFormula(
      "count / scale + single(-zero / scale), scale = single(single(2 ^ (bits A + bits B - 1) / "
      "full scale) * "
      "gain)");
}

void AdcLabFile::TellDeviceChannel(const Gain& gain, std::size_t entry, std::size_t channel) {
  const std::size_t word = IsPaired() ? channel / 2 : channel;
  opening_.Tell(sdFormat_, AlfControlTable(word), "control word",
                "number and gain code of the channel",
                Place::OfChannel(sdFormatPosition_, channel));
  opening_.Tell(sdInfo_, gain.Gains(entry), "gain", "gain at that code",
                Place::OfChannel(sdInfoPosition_, channel));
  opening_.Tell(sdInfo_, gain.Zeros(entry), "zero", "count at 0 units",
                Place::OfChannel(sdInfoPosition_, channel));
}

void AdcLabFile::TellPlainChannel(std::size_t channel) {
  const std::size_t record = channel * AlfChannelBytes;
  const Place place = Place::OfChannel(channelsPosition_, channel);
  opening_.Tell(channels_, Field<Double>{record + AlfRangeLow}, "lowest value",
                "value at the lowest count of 16 bits", place);
  opening_.Tell(channels_, Field<Double>{record + AlfRangeHigh}, "highest value",
                "value at the highest count of 16 bits", place);
}

void AdcLabFile::FillDeviceChannel(BlockRec& block, std::size_t channel) {
  constexpr Integer evenChannels = 16;
  const bool even = IsPaired() && channel % 2 == 0;
  const Integer word = sdFormat_[AlfControlTable(IsPaired() ? channel / 2 : channel)];
  const Gain& gain = even ? AlfGainOfEven : AlfGain;
  const auto entry = static_cast<std::size_t>(word >> gain.Shift & 3);
  block.ChannelIndex[channel] = static_cast<Integer>((word & 15) + (even ? evenChannels : 0));
  Single& scale = block.ChannelScale[channel];
  scale =
      Narrowed(std::exp2(block.Resolution - 1) / sdInfo_[AlfInputRange], "ADCLab counts per unit");
  scale = Narrowed(Double{scale} * sdInfo_[gain.Gains(entry)], "ADCLab gain");
  block.ChannelOffset[channel] =
      Narrowed(-Double{sdInfo_[gain.Zeros(entry)]} / scale, "ADCLab zero");
  if (!block.HasRealSamples()) TellDeviceChannel(gain, entry, channel);
}

void AdcLabFile::FillPlainChannel(BlockRec& block, std::size_t channel) {
  constexpr Double codes = 65536;
  constexpr Single tenUnits = 32768.0F / 10;
  block.ChannelScale[channel] = tenUnits;
  if (!HasRanges(block)) return;
  const std::size_t record = channel * AlfChannelBytes;
  const Long number = channels_[Field<Long>{record + AlfNumber}];
  const Double low = channels_[Field<Double>{record + AlfRangeLow}];
  const Double high = channels_[Field<Double>{record + AlfRangeHigh}];
  block.ChannelIndex[channel] = static_cast<Integer>((number & 31) - 1);
  block.ChannelScale[channel] = Narrowed(codes / (high - low), "ADCLab counts per unit");
  if (!block.HasRealSamples()) TellPlainChannel(channel);
}

}  // namespace

void ReadAdcLabFile(Opening& opening) {
  AdcLabFile(opening).Read();
}

}  // namespace lmimport
