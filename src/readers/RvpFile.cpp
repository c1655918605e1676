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
// Past the end of the file, the current channel record is reused.
#include <cmath>

#include "model/Date.h"
#include "model/HeaderView.h"
#include "readers/AdcTables.h"
#include "readers/Sidecars.h"

namespace lmimport {
namespace {

constexpr std::size_t RvpHeaderBytes = 2664, RvpChannelBytes = 370;
constexpr Long RvpSignature = FourCharacters("RTVP");

constexpr Field<Long> RvpMark{0}, RvpSamples{608};
constexpr TextField RvpModel{32, 20};
constexpr Field<Integer> RvpYear{544}, RvpMonth{546}, RvpDay{550}, RvpHour{552}, RvpMinute{554},
    RvpSecond{556}, RvpChannelCount{566};
constexpr Field<Double> RvpRate{592};
// of a channel record
constexpr Field<Integer> RvpChannelNumber{0};
constexpr TextField RvpChannelName{2, 64}, RvpChannelUnit{66, 32};
constexpr Field<Double> RvpUnitsPerCount{98}, RvpChannelOffset{106};

void FillChannels(Opening& opening, BinaryFile& file, BlockRec& block) {
  Header<RvpChannelBytes> record(opening.Texts);
  for (std::size_t i = 0; i < block.ChannelIndex.size(); ++i) {
    record.ReadOver(file);
    const Integer number = record[RvpChannelNumber];
    if (number < 0 || number >= LargestChannelCount)
      Refuse(Refusal::RangeFault, "channel-count", -1, "channel number ", number,
             " is not from 0 to 31");
    block.ChannelIndex[i] = number;
    block.ChannelScale[i] = Narrowed(1 / record[RvpUnitsPerCount], "counts per unit");
    block.ChannelOffset[i] = Narrowed(record[RvpChannelOffset], "units at count 0");
    const Place place = Place::OfChannel(-1, i);
    opening.Tell(record, RvpUnitsPerCount, "units of one count", "units of one count", place);
    opening.Tell(record, RvpChannelOffset, "units at count 0", "value of count 0", place);
    opening.Tell(record, RvpChannelUnit, "unit", "unit of values", place);
    if (std::isnan(block.ChannelScale[i]))
      Refuse(Refusal::DomainFault, "damaged", -1, "a scale is no number");
    ChannelRec& channel = opening.Store.Channel(number);
    channel.ChannelTitle = record[RvpChannelName];
    channel.ChannelUnitName = record[RvpChannelUnit];
  }
}

void TellHeader(Opening& opening, const HeaderView& header) {
  opening.Tell(header, RvpRate, "rate", "rate in kHz", -1);
  opening.Tell(header, RvpSamples, "frames", "length, by which the start precedes the end", -1);
  opening.TellDate(header, "end of the recording", -1, RvpYear, RvpMonth, RvpDay, RvpHour,
                   RvpMinute, RvpSecond);
  opening.TellFormula("count / single(1 / units of one count) + single(units at count 0)");
}

void FillBlock(Opening& opening, BinaryFile& file, const HeaderView& header, BlockRec& block) {
  block.ADCName = header[RvpModel];
  block.Resolution = AdcResolution(block.ADCName);
  block.SamplingRate = Narrowed(header[RvpRate] * 1000, "rate in Hz");
  if (!std::isfinite(block.SamplingRate) || block.SamplingRate == 0)
    Refuse(Refusal::DomainFault, "damaged", -1, "the rate is 0 or no number");
  block.SizeChannel = header[RvpSamples];
  block.OpenLength = block.SizeChannel < 0;
  if (block.OpenLength) block.SizeChannel = INT32_MAX;
  const Integer count = header[RvpChannelCount];
  if (count < 1 || count > LargestChannelCount)
    Refuse(Refusal::LengthFault, "channel-count", -1, "a channel count of ", count,
           " is not from 1 to 32");
  block.DimensionChannels(count);
  TellHeader(opening, header);
  FillChannels(opening, file, block);
  const Date end = DateSerial(header[RvpYear], header[RvpMonth], header[RvpDay]) +
                   TimeSerial(header[RvpHour], header[RvpMinute], header[RvpSecond]);
  block.StartDateTime = end - block.SizeChannel / (block.SamplingRate * SecondsPerDay);
}

}  // namespace

bool ReadRvpFile(Opening& opening, BinaryFile& sidecar, BlockRec& Block) {
  if (sidecar.Size() < std::int64_t{RvpHeaderBytes + RvpChannelBytes}) return false;
  const Header<RvpHeaderBytes> header(sidecar);
  if (header[RvpMark] != RvpSignature) return false;
  FillBlock(opening, sidecar, header, Block);
  return true;
}

}  // namespace lmimport
