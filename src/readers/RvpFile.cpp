// ".rvp" parameter files: a header of 2664 bytes and channel records of 370 bytes. Little-endian.
//
//   offset  type      field                      in a channel record
//        0  4 chars   "RTVP"                       0  int16     global channel, from 0
//       32  20 chars  converter model              2  64 chars  name
//      544  8 int16   end of the recording:       66  32 chars  unit
//                     year, month, weekday,       98  double    units of one count
//                     day, hour, minute,         106  double    units at count 0
//                     second, millisecond
//      566  int16     channel records
//      592  double    rate in kHz
//      608  int32     frames; below 0: open
//
// Behind the end of the file, the channel record in hand counts again.
#include <cmath>

#include "model/Date.h"
#include "readers/AdcTables.h"
#include "readers/FixedText.h"
#include "readers/HeaderView.h"
#include "readers/Sidecars.h"

namespace lmimport {
namespace {

constexpr std::size_t RvpHeaderBytes = 2664;
constexpr std::size_t RvpChannelBytes = 370;
constexpr Long RvpSignature = FourCharacters("RTVP");

constexpr std::size_t RvpModel = 32;
constexpr std::size_t RvpModelBytes = 20;
constexpr std::size_t RvpYear = 544;
constexpr std::size_t RvpMonth = 546;
constexpr std::size_t RvpDay = 550;
constexpr std::size_t RvpHour = 552;
constexpr std::size_t RvpMinute = 554;
constexpr std::size_t RvpSecond = 556;
constexpr std::size_t RvpChannelCount = 566;
constexpr std::size_t RvpRate = 592;
constexpr std::size_t RvpSamples = 608;
// of a channel record
constexpr std::size_t RvpChannelNumber = 0;
constexpr std::size_t RvpChannelName = 2;
constexpr std::size_t RvpChannelNameBytes = 64;
constexpr std::size_t RvpChannelUnit = 66;
constexpr std::size_t RvpChannelUnitBytes = 32;
constexpr std::size_t RvpUnitsPerCount = 98;
constexpr std::size_t RvpChannelOffset = 106;

void FillChannels(ImportState& state, BinaryFile& file, BlockRec& block) {
  std::array<Byte, RvpChannelBytes> record{};
  for (std::size_t i = 0; i < block.ChannelIndex.size(); ++i) {
    file.ReadOver(record);
    const HeaderView fields(record);
    const Integer number = fields.Int16(RvpChannelNumber);
    if (number < 0 || number >= LargestChannelCount)
      throw std::range_error(Sentence("channel number ", number, " is not from 0 to 31"));
    block.ChannelIndex[i] = number;
    block.ChannelScale[i] = static_cast<Single>(1 / fields.Real64(RvpUnitsPerCount));
    block.ChannelOffset[i] = static_cast<Single>(fields.Real64(RvpChannelOffset));
    if (std::isnan(block.ChannelScale[i])) throw std::domain_error("a scale is no number");
    ChannelRec& channel = state.Channels[static_cast<std::size_t>(number)];
    channel.ChannelTitle =
        FixedText(state.Texts, fields.Bytes(RvpChannelName, RvpChannelNameBytes));
    channel.ChannelUnitName =
        FixedText(state.Texts, fields.Bytes(RvpChannelUnit, RvpChannelUnitBytes));
  }
}

void FillBlock(ImportState& state, BinaryFile& file, const HeaderView& header, BlockRec& block) {
  block.ADCName = FixedText(state.Texts, header.Bytes(RvpModel, RvpModelBytes));
  block.Resolution = AdcResolution(block.ADCName);
  block.SamplingRate = static_cast<Single>(header.Real64(RvpRate) * 1000);
  if (!std::isfinite(block.SamplingRate) || block.SamplingRate == 0)
    throw std::domain_error("the rate is 0 or no number");
  block.SizeChannel = header.Int32(RvpSamples);
  block.OpenLength = block.SizeChannel < 0;
  if (block.OpenLength) block.SizeChannel = INT32_MAX;
  const Integer count = header.Int16(RvpChannelCount);
  if (count < 1 || count > LargestChannelCount)
    throw std::length_error(Sentence("a channel count of ", count, " is not from 1 to 32"));
  block.DimensionChannels(count);
  FillChannels(state, file, block);
  const Date end =
      DateSerial(header.Int16(RvpYear), header.Int16(RvpMonth), header.Int16(RvpDay)) +
      TimeSerial(header.Int16(RvpHour), header.Int16(RvpMinute), header.Int16(RvpSecond));
  block.StartDateTime = end - block.SizeChannel / (block.SamplingRate * SecondsPerDay);
}

}  // namespace

bool ReadRvpFile(ImportState& state, const String& Path, BlockRec& Block) {
  BinaryFile file(state.Texts);
  if (!file.Open(Path, true, OrdinaryFile, ShareReading)) return false;
  return ReadSidecar(Path, [&] {
    if (file.Size() < std::int64_t{RvpHeaderBytes + RvpChannelBytes}) return false;
    std::array<Byte, RvpHeaderBytes> bytes{};
    file.ReadByteArray(bytes.data(), RvpHeaderBytes);
    const HeaderView header(bytes);
    if (header.Int32(0) != RvpSignature) return false;
    FillBlock(state, file, header, Block);
    return true;
  });
}

}  // namespace lmimport
