// ABIN files: a header, a header for each channel, and one chunk of samples. Versions 2 and 3.
//
//   offset  type      field                        channel header, 80 bytes; 44 in version 2
//        0  4 chars   "ABIN"                         0  4 chars   "ADCh"
//        4  int16     version major, minor           4  int16     global channel, from 0
//        8  7 int16   start: year, month, weekday,   8  32 chars  name
//                     day, hour, minute, second     40  24 chars  unit; single, units of one count,
//       24  single    rate                                        in version 2
//       28  int16     sample type                   72  single    units of one count
//       32  int32     channels                      76  single    units at count 0
//       64  16 chars  converter model, from version 3.3 on, whose header has 128 bytes and not 36
//
//   data: "data", int32 bytes, interleaved samples
#include <cmath>

#include "model/Date.h"
#include "readers/FixedText.h"
#include "readers/HeaderView.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t AbinSmallestFile = 92;
constexpr std::size_t AbinHeadBytes = 36;
constexpr std::size_t AbinLongHeadBytes = 128;
constexpr std::size_t AbinChannelBytes = 80;
constexpr std::size_t AbinChannelBytesOfVersion2 = 44;
constexpr Long AbinMark = FourCharacters("ABIN");
constexpr Long AbinChannelMark = FourCharacters("ADCh");
constexpr Long AbinDataChunk = FourCharacters("data");
constexpr Long AbinFileType = 2;

constexpr std::size_t AbinVersionMajor = 4;
constexpr std::size_t AbinVersionMinor = 6;
constexpr std::size_t AbinYear = 8;
constexpr std::size_t AbinMonth = 10;
constexpr std::size_t AbinDay = 14;
constexpr std::size_t AbinHour = 16;
constexpr std::size_t AbinMinute = 18;
constexpr std::size_t AbinSecond = 20;
constexpr std::size_t AbinRate = 24;
constexpr std::size_t AbinSampleType = 28;
constexpr std::size_t AbinChannels = 32;
constexpr std::size_t AbinModel = 64;
constexpr std::size_t AbinModelBytes = 16;
// of a channel header
constexpr std::size_t AbinChannelNumber = 4;
constexpr std::size_t AbinChannelName = 8;
constexpr std::size_t AbinChannelNameBytes = 32;
constexpr std::size_t AbinChannelUnit = 40;
constexpr std::size_t AbinChannelUnitBytes = 24;
constexpr std::size_t AbinUnitsPerCount = 72;
constexpr std::size_t AbinUnitsPerCountOfVersion2 = 40;
constexpr std::size_t AbinChannelOffset = 76;

bool ReadChannels(ImportState& state, Integer version, BlockRec& block) {
  const std::size_t size = version == 2 ? AbinChannelBytesOfVersion2 : AbinChannelBytes;
  for (std::size_t i = 0; i < block.ChannelIndex.size(); ++i) {
    std::array<Byte, AbinChannelBytes> bytes{};
    state.DataFile->ReadByteArray(bytes.data(), static_cast<std::int64_t>(size));
    const HeaderView header(bytes);
    const Integer number = header.Int16(AbinChannelNumber);
    if (header.Int32(0) != AbinChannelMark || number < 0 || number >= LargestChannelCount)
      return false;
    block.ChannelIndex[i] = number;
    ChannelRec& channel = state.Channels[static_cast<std::size_t>(number)];
    channel.ChannelTitle =
        FixedText(state.Texts, header.Bytes(AbinChannelName, AbinChannelNameBytes));
    if (version == 2) {
      block.ChannelScale[i] = 1 / header.Real32(AbinUnitsPerCountOfVersion2);
    } else {
      channel.ChannelUnitName =
          FixedText(state.Texts, header.Bytes(AbinChannelUnit, AbinChannelUnitBytes));
      block.ChannelScale[i] = 1 / header.Real32(AbinUnitsPerCount);
      block.ChannelOffset[i] = header.Real32(AbinChannelOffset);
    }
    if (std::isnan(block.ChannelScale[i])) return false;
  }
  return true;
}

// A size that is none, or more than there is, reaches to the end of the file.
bool FindData(ImportState& state, BlockRec& block) {
  BinaryFile& file = *state.DataFile;
  const auto id = file.ReadValue<Long>();
  std::int64_t bytes = file.ReadValue<Long>();
  if (id != AbinDataChunk) return false;
  block.DataPtr = file.Position();
  const std::int64_t left = file.Size() - block.DataPtr;
  if (bytes > left)
    state.Warn("data-cut-off", file.Size(),
               Sentence("The data chunk claims ", bytes, " bytes, and the file holds ", left, "."));
  if (bytes < 2 || bytes > left) bytes = left;
  block.FillFrom(bytes);
  return true;
}

Date StampOf(const HeaderView& header) {
  return DateSerial(header.Int16(AbinYear), header.Int16(AbinMonth), header.Int16(AbinDay)) +
         TimeSerial(header.Int16(AbinHour), header.Int16(AbinMinute), header.Int16(AbinSecond));
}

}  // namespace

bool ReadAbinFile(ImportState& state) {
  BinaryFile& file = *state.DataFile;
  if (file.Size() < AbinSmallestFile) return false;
  std::array<Byte, AbinLongHeadBytes> bytes{};
  file.Seek(0);
  file.ReadByteArray(bytes.data(), AbinHeadBytes);
  const HeaderView header(bytes);
  const Long channels = header.Int32(AbinChannels);
  if (header.Int32(0) != AbinMark || channels < 1 || channels > LargestChannelCount)
    return state.Refuse(Refusal::UnknownFormat);
  const Integer major = header.Int16(AbinVersionMajor);
  const Integer minor = header.Int16(AbinVersionMinor);
  if (major != 2 && major != 3) {
    state.Warn("version-not-read", AbinVersionMajor,
               Sentence("The file is of version ", major, ".", minor, "; 2 and 3 are read."));
    return state.Refuse(Refusal::UnsupportedFormat);
  }
  if (major == 3 && minor >= 3)
    file.ReadByteArray(bytes.data() + AbinHeadBytes, AbinLongHeadBytes - AbinHeadBytes);

  BlockRec& block = state.Blocks.emplace_back();
  block.DimensionChannels(static_cast<Integer>(channels));
  block.SampleType = header.Int16(AbinSampleType);
  block.SamplingRate = header.Real32(AbinRate);
  if (!std::isfinite(block.SamplingRate) || !ReadChannels(state, major, block) ||
      !FindData(state, block))
    return state.Refuse(Refusal::FormatError);
  block.ADCName = FixedText(state.Texts, header.Bytes(AbinModel, AbinModelBytes));
  if (block.ADCName.empty()) block.ADCName = u"BIN";
  block.Resolution = 16;
  block.StartDateTime = StampOf(header);
  state.FinishFile(AbinMark, major, minor, AbinFileType);
  return true;
}

}  // namespace lmimport
