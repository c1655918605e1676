// CFWB files: a header, a header for each channel, and interleaved 16-bit samples to the end of the
// file.
//
//   offset  type     field                         channel header, 96 bytes
//        0  4 chars  "CFWB"                          0  32 chars  name
//        4  int32    version                        32  32 chars  unit
//        8  double   seconds from frame to frame    64  double    units of one count
//       16  5 int32  year to minute of the stamp    72  double    offset in counts
//       36  double   its second                     80  2 doubles, not used
//       44  double   seconds from the start of the data to the stamp
//       52  int32    channels; 56: samples, not used: the size of the file counts
//       60  int32    1: the first column is time
//       64  int32    sample format: 1 Double, 2 Single, 3 16-bit integer
#include <cmath>

#include "model/Date.h"
#include "readers/FixedText.h"
#include "readers/HeaderView.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t CfwbSmallestFile = 166;
constexpr std::size_t CfwbHeadBytes = 68;
constexpr std::size_t CfwbChannelBytes = 96;
constexpr Long CfwbMark = FourCharacters("CFWB");
constexpr Long CfwbInt16Format = 3;
constexpr Long CfwbFileType = 2;
constexpr Long CfwbFileSubType = 1;

constexpr std::size_t CfwbVersion = 4;
constexpr std::size_t CfwbSecondsPerTick = 8;
constexpr std::size_t CfwbYear = 16;
constexpr std::size_t CfwbMonth = 20;
constexpr std::size_t CfwbDay = 24;
constexpr std::size_t CfwbHour = 28;
constexpr std::size_t CfwbMinute = 32;
constexpr std::size_t CfwbSecond = 36;
constexpr std::size_t CfwbTrigger = 44;
constexpr std::size_t CfwbChannels = 52;
constexpr std::size_t CfwbSamples = 56;
constexpr std::size_t CfwbTimeChannel = 60;
constexpr std::size_t CfwbDataFormat = 64;
// of a channel header
constexpr std::size_t CfwbTitle = 0;
constexpr std::size_t CfwbUnits = 32;
constexpr std::size_t CfwbTextBytes = 32;
constexpr std::size_t CfwbScale = 64;
constexpr std::size_t CfwbOffset = 72;

bool CheckHeader(ImportState& state, const HeaderView& header) {
  const Long channels = header.Int32(CfwbChannels);
  if (header.Int32(0) != CfwbMark || channels < 1 || channels > LargestChannelCount)
    return state.Refuse(Refusal::UnknownFormat);
  const Long format = header.Int32(CfwbDataFormat);
  if (format != CfwbInt16Format) {
    const char* name = format == 1 ? "Doubles" : format == 2 ? "Singles" : "of an unknown kind";
    state.Warn("coding-not-read", CfwbDataFormat,
               Sentence("The samples are ", name, " (format ", format,
                        "); only 16-bit integers (format 3) are read."));
    return state.Refuse(Refusal::UnsupportedFormat);
  }
  if (header.Int32(CfwbTimeChannel) != 0) {
    state.Warn("coding-not-read", CfwbTimeChannel,
               "The first column of the samples is time; only files without it are read.");
    return state.Refuse(Refusal::UnsupportedFormat);
  }
  return true;
}

bool ReadChannels(ImportState& state, BlockRec& block) {
  for (std::size_t i = 0; i < block.ChannelScale.size(); ++i) {
    std::array<Byte, CfwbChannelBytes> bytes{};
    state.DataFile->ReadByteArray(bytes.data(), CfwbChannelBytes);
    const HeaderView header(bytes);
    const Double scale = header.Real64(CfwbScale);
    block.ChannelScale[i] = static_cast<Single>(1 / scale);
    block.ChannelOffset[i] = static_cast<Single>(scale * header.Real64(CfwbOffset));
    if (std::isnan(block.ChannelScale[i])) return false;
    state.Channels[i].ChannelTitle = FixedText(state.Texts, header.Bytes(CfwbTitle, CfwbTextBytes));
    state.Channels[i].ChannelUnitName =
        FixedText(state.Texts, header.Bytes(CfwbUnits, CfwbTextBytes));
  }
  return true;
}

// Of the parts of the stamp the low 16 bits count, and of the second what is whole. A trigger that
// is no number counts as none.
Date StartOf(const HeaderView& header) {
  constexpr Double farthest = 1e12;
  const Double trigger = header.Real64(CfwbTrigger);
  const Double second = std::trunc(header.Real64(CfwbSecond));
  const auto held =
      static_cast<std::int64_t>(std::isnan(second) ? 0 : std::clamp(second, -farthest, farthest));
  return DateSerial(header.Int16(CfwbYear), header.Int16(CfwbMonth), header.Int16(CfwbDay)) +
         TimeSerial(header.Int16(CfwbHour), header.Int16(CfwbMinute), held) -
         (std::isfinite(trigger) ? trigger : 0) / SecondsPerDay;
}

}  // namespace

bool ReadCfwbFile(ImportState& state) {
  BinaryFile& file = *state.DataFile;
  if (file.Size() < CfwbSmallestFile) return state.Refuse(Refusal::NoData);
  std::array<Byte, CfwbHeadBytes> bytes{};
  file.Seek(0);
  file.ReadByteArray(bytes.data(), CfwbHeadBytes);
  const HeaderView header(bytes);
  if (!CheckHeader(state, header)) return false;

  BlockRec& block = state.Blocks.emplace_back();
  block.ADCName = u"BIN";
  block.Resolution = 16;
  block.SamplingRate = static_cast<Single>(1 / header.Real64(CfwbSecondsPerTick));
  block.DimensionChannels(static_cast<Integer>(header.Int32(CfwbChannels)));
  if (!std::isfinite(block.SamplingRate) || !ReadChannels(state, block))
    return state.Refuse(Refusal::FormatError);
  block.DataPtr = file.Position();
  block.FillFrom(file.Size() - block.DataPtr);
  if (header.Int32(CfwbSamples) > block.SizeChannel)
    state.Warn("data-cut-off", file.Size(),
               Sentence("The header claims ", header.Int32(CfwbSamples),
                        " frames, and the file holds ", block.SizeChannel, "."));
  block.StartDateTime = StartOf(header);
  state.FinishFile(CfwbMark, header.Int16(CfwbVersion), 0, CfwbFileType, CfwbFileSubType);
  return true;
}

}  // namespace lmimport
