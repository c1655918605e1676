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
#include <cmath>

#include "readers/FixedText.h"
#include "readers/HeaderView.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t AlfSmallestFile = 96;
constexpr std::size_t AlfSectionHead = 32;
constexpr std::size_t AlfNameBytes = 24;
constexpr std::size_t AlfSizeField = 24;
constexpr std::size_t AlfChannelBytes = 20;
constexpr Long AlfFileType = 5;

constexpr std::size_t AlfChannels = 4;
constexpr std::size_t AlfRate = 8;
constexpr std::size_t AlfSampleCode = 16;
constexpr std::size_t AlfBitCountA = 17;
constexpr std::size_t AlfBitCountB = 18;
constexpr std::size_t AlfRangeLow = 4;
constexpr std::size_t AlfRangeHigh = 12;
constexpr std::size_t AlfModeFlags = 4;
constexpr Byte AlfPaired = 2;
constexpr std::size_t AlfControlCount = 5;
constexpr std::size_t AlfControlTable = 6;
constexpr std::size_t AlfInputRange = 126;
constexpr std::size_t AlfDeviceName = 230;
constexpr std::size_t AlfDeviceNameBytes = 26;

// Where the gain of a channel stands, in the control word and in the device's tables.
struct Gain {
  int Shift;
  std::size_t Zeros;
  std::size_t Gains;
};
constexpr Gain AlfGain = {8, 34, 54};
constexpr Gain AlfGainOfEven = {11, 74, 94};

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
  explicit AdcLabFile(ImportState& state) : state_(state), file_(*state.DataFile) {}

  bool Read();

 private:
  struct Section {
    String Name;
    Long Size;  // bytes of payload
  };

  bool Walk();
  Section ReadSectionHead();
  bool ReadSection(const String& name, Long size);
  bool FillBlock(BlockRec& block);
  bool FillDeviceChannels(BlockRec& block);
  bool FillPlainChannels(BlockRec& block);
  bool IsDevice() const { return HeaderView(sdFormat_).Int8(AlfControlCount) > 0; }
  bool IsPaired() const { return (HeaderView(sdFormat_).Int8(AlfModeFlags) & AlfPaired) != 0; }
  Long ChannelsField() const { return HeaderView(samplesFormat_).Int32(AlfChannels); }

  // A payload longer than its record fills the record; a shorter one its beginning.
  template <std::size_t N>
  void ReadPayload(std::array<Byte, N>& record, Long size) {
    const std::int64_t length = std::clamp<std::int64_t>(size, 0, N);
    file_.ReadByteArray(record.data(), length);
  }

  ImportState& state_;
  BinaryFile& file_;
  std::array<Byte, 20> samplesFormat_{};
  std::array<Byte, 72> sdFormat_{};
  std::array<Byte, 256> sdInfo_{};
  std::array<Byte, LargestChannelCount * AlfChannelBytes> channels_{};
  Long channelsSize_ = 0;
  Long recordSize_ = 0;
  std::int64_t position_ = 0;
};

bool AdcLabFile::Read() {
  if (file_.Size() < AlfSmallestFile) return false;
  if (!Walk()) return state_.Refuse(Refusal::UnknownFormat);
  if (!IsDevice() && ChannelsField() <= 0) return state_.Refuse(Refusal::UnsupportedFormat);
  BlockRec& block = state_.Blocks.emplace_back();
  if (!FillBlock(block)) return state_.Refuse(Refusal::FormatError);
  state_.FinishFile(FourCharacters("ADCL"), 1, 0, AlfFileType);
  return true;
}

bool AdcLabFile::Walk() {
  constexpr std::int64_t head = AlfSectionHead;
  const std::int64_t size = file_.Size();
  const Section first = ReadSectionHead();
  if (!first.Name.starts_with(u"ADCLABFF")) return false;
  position_ = head + first.Size;
  do {
    const Section section = ReadSectionHead();
    if (!ReadSection(section.Name, section.Size)) return false;
    position_ += head;
    if (section.Name == u"SAMPLES_RECORD") return true;
    position_ += std::max(section.Size, 0);
  } while (size - position_ > head);
  state_.Note("no-record", position_,
              "No section of samples stands in the file; what is behind the last one is shown.");
  return true;
}

AdcLabFile::Section AdcLabFile::ReadSectionHead() {
  std::array<Byte, AlfSectionHead> bytes{};
  file_.Seek(position_);
  file_.ReadByteArray(bytes.data(), AlfSectionHead);
  const HeaderView section(bytes);
  return {FixedText(state_.Texts, section.Bytes(0, AlfNameBytes)), section.Int32(AlfSizeField)};
}

bool AdcLabFile::ReadSection(const String& name, Long size) {
  if (name == u"SAMPLES_FORMAT") {
    ReadPayload(samplesFormat_, size);
  } else if (name == u"SD_INFO") {
    ReadPayload(sdInfo_, size);
  } else if (name == u"SD_FORMAT") {
    ReadPayload(sdFormat_, size);
  } else if (name == u"CHANNELS_INFO") {
    if (ChannelsField() <= 0) return false;
    ReadPayload(channels_, HeldAsLong(ChannelsField() * std::int64_t{AlfChannelBytes}));
    channelsSize_ = size;
  } else if (name == u"SAMPLES_RECORD") {
    recordSize_ = size;
  } else {
    return name == u"CHANNELS_INFO_HEADER" || name == u"SAMPLES_RECORD_INFO";
  }
  return true;
}

bool AdcLabFile::FillBlock(BlockRec& block) {
  const HeaderView format(samplesFormat_);
  const Long controls = HeaderView(sdFormat_).Int8(AlfControlCount);
  const Long channels =
      IsDevice() ? controls * (IsPaired() ? 2 : 1) : static_cast<Integer>(ChannelsField());
  if (channels < 1 || channels > LargestChannelCount) return false;
  block.DimensionChannels(static_cast<Integer>(channels));
  block.SamplingRate = static_cast<Single>(format.Real64(AlfRate));
  if (!std::isfinite(block.SamplingRate)) return false;
  const std::size_t code = format.Int8(AlfSampleCode);
  const SampleCode& sample = SampleCodes[code < SampleCodes.size() ? code : 0];
  block.SampleType = sample.Type;
  block.SampleUnsigned = sample.Unsigned;
  block.Resolution = 16;
  if (IsDevice()) {
    block.Resolution = static_cast<Byte>(format.Int8(AlfBitCountA) + format.Int8(AlfBitCountB));
    block.ADCName =
        FixedText(state_.Texts, HeaderView(sdInfo_).Bytes(AlfDeviceName, AlfDeviceNameBytes));
  }
  if (block.ADCName.empty()) block.ADCName = u"ALF";
  if (!(IsDevice() ? FillDeviceChannels(block) : FillPlainChannels(block))) return false;
  const std::int64_t bytes = recordSize_ > 0 ? recordSize_ : file_.Size() - position_;
  block.FillFrom(bytes);
  block.DataPtr = position_;
  block.StartDateTime = file_.FileDateTime();
  return block.DataPtr >= 0;
}

bool AdcLabFile::FillDeviceChannels(BlockRec& block) {
  const HeaderView format(sdFormat_);
  const HeaderView info(sdInfo_);
  const bool paired = IsPaired();
  for (std::size_t i = 0; i < block.ChannelScale.size(); ++i) {
    const bool even = paired && i % 2 == 0;
    const Integer word = format.Int16(AlfControlTable + (paired ? i / 2 : i) * 2);
    const Gain& gain = even ? AlfGainOfEven : AlfGain;
    const auto entry = static_cast<std::size_t>(word >> gain.Shift & 3) * sizeof(Single);
    constexpr Integer evenChannels = 16;
    block.ChannelIndex[i] = static_cast<Integer>((word & 15) + (even ? evenChannels : 0));
    Single& scale = block.ChannelScale[i];
    scale = static_cast<Single>(std::exp2(block.Resolution - 1) / info.Real32(AlfInputRange));
    scale *= info.Real32(gain.Gains + entry);
    block.ChannelOffset[i] = -info.Real32(gain.Zeros + entry) / scale;
    if (std::isnan(scale)) return false;
  }
  return true;
}

bool AdcLabFile::FillPlainChannels(BlockRec& block) {
  constexpr Double codes = 65536;
  constexpr Single tenUnits = 32768.0F / 10;
  const auto needed = block.ChannelCount * static_cast<Long>(AlfChannelBytes);
  for (std::size_t i = 0; i < block.ChannelScale.size(); ++i) {
    block.ChannelScale[i] = tenUnits;
    if (channelsSize_ < needed) continue;
    const HeaderView channel(
        std::span<const Byte>(channels_).subspan(i * AlfChannelBytes, AlfChannelBytes));
    block.ChannelIndex[i] = static_cast<Integer>((channel.Int32(0) & 31) - 1);
    block.ChannelScale[i] =
        static_cast<Single>(codes / (channel.Real64(AlfRangeHigh) - channel.Real64(AlfRangeLow)));
    if (block.ChannelIndex[i] < 0 || std::isnan(block.ChannelScale[i])) return false;
  }
  if (block.SampleType == SampleInt8 || block.SampleType == SampleInt32)
    state_.Warn("scale-of-16-bits", 0,
                Sentence("The samples have ", SampleWidth(block.SampleType) * 8,
                         " bits, while their scale is that of 16-bit ones."));
  return true;
}

}  // namespace

bool ReadAdcLabFile(ImportState& state) {
  return AdcLabFile(state).Read();
}

}  // namespace lmimport
