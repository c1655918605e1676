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
#include "model/HeaderView.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t AbinSmallestFile = 92;
constexpr std::size_t AbinHeadBytes = 36, AbinLongHeadBytes = 128, AbinChannelBytes = 80,
                      AbinChannelBytesOfVersion2 = 44;
constexpr Long AbinMark = FourCharacters("ABIN"), AbinChannelMark = FourCharacters("ADCh"),
               AbinDataChunk = FourCharacters("data");

constexpr Field<Long> AbinSignature{0};  // of the file and of a channel header
constexpr Field<Integer> AbinVersionMajor{4}, AbinVersionMinor{6}, AbinYear{8}, AbinMonth{10},
    AbinDay{14}, AbinHour{16}, AbinMinute{18}, AbinSecond{20}, AbinSampleType{28};
constexpr Field<Single> AbinRate{24};
constexpr Field<Long> AbinChannels{32};
constexpr TextField AbinModel{64, 16};
// of a channel header
constexpr Field<Integer> AbinChannelNumber{4};
constexpr TextField AbinChannelName{8, 32}, AbinChannelUnit{40, 24};
constexpr Field<Single> AbinUnitsPerCount{72}, AbinUnitsPerCountOfVersion2{40},
    AbinChannelOffset{76};

void TellHeader(Opening& opening, const HeaderView& header, const BlockRec& block) {
  opening.Tell(header, AbinRate, "rate", "samples per second");
  opening.Tell(header, AbinSampleType, "sample type",
               "kind of samples: 1 32-bit integers, 2 Singles, 3 Doubles, 5 8-bit integers, else "
               "16-bit integers");
  opening.TellDate(header, "start", 0, AbinYear, AbinMonth, AbinDay, AbinHour, AbinMinute,
                   AbinSecond);
  opening.TellFormula(block.HasRealSamples()
                          ? "the value, as stored"
                          : "count / single(1 / units of one count) + units at count 0");
}

void TellChannel(Opening& opening, const HeaderView& header, Integer version, const Place& place) {
  opening.Tell(header, version == 2 ? AbinUnitsPerCountOfVersion2 : AbinUnitsPerCount,
               "units of one count", "units of one count", place);
  if (version == 2)
    return opening.Tell({-1, place.Block, place.Channel}, "units at count 0", 0,
                        "0 in version 2, which has none");
  opening.Tell(header, AbinChannelOffset, "units at count 0", "value of count 0", place);
  opening.Tell(header, AbinChannelUnit, "unit", "unit of values", place);
}

void ReadChannels(Opening& opening, Integer version, BlockRec& block) {
  const std::size_t size = version == 2 ? AbinChannelBytesOfVersion2 : AbinChannelBytes;
  for (std::size_t i = 0; i < block.ChannelIndex.size(); ++i) {
    const std::int64_t position = opening.DataFile.Position();
    Header<AbinChannelBytes> header(opening.Texts);
    header.ReadMore(opening.DataFile, 0, size);
    const Integer number = header[AbinChannelNumber];
    if (header[AbinSignature] != AbinChannelMark || number < 0 || number >= LargestChannelCount)
      RefuseAsDamaged(position, "No header of a channel 0 to 31 is where that of channel ", i + 1,
                      " of ", block.ChannelCount, " should be.");
    block.ChannelIndex[i] = number;
    ChannelRec& channel = opening.Store.Channel(number);
    channel.ChannelTitle = header[AbinChannelName];
    const Double unitsPerCount =
        header[version == 2 ? AbinUnitsPerCountOfVersion2 : AbinUnitsPerCount];
    block.ChannelScale[i] = Narrowed(1 / unitsPerCount, "ABIN counts per unit", position);
    if (version != 2) {
      channel.ChannelUnitName = header[AbinChannelUnit];
      block.ChannelOffset[i] = header[AbinChannelOffset];
    }
    if (!block.HasRealSamples())
      TellChannel(opening, header, version, Place::OfChannel(position, i));
  }
}

// A size that makes no sense, or is more than there is, reaches to the end of the file.
void FindData(Opening& opening, BlockRec& block) {
  BinaryFile& file = opening.DataFile;
  const std::int64_t position = file.Position();
  const auto id = file.ReadValue<Long>();
  std::int64_t bytes = file.ReadValue<Long>();
  if (id != AbinDataChunk)
    RefuseAsDamaged(position, "No \"data\" chunk follows the channel headers.");
  block.DataPtr = file.Position();
  const std::int64_t left = file.Size() - block.DataPtr;
  if (bytes > left)
    opening.Warn("data-cut-off", {file.Size(), 0}, "The data chunk claims ", bytes,
                 " bytes, and the file holds ", left, ".");
  if (bytes < 2 || bytes > left) bytes = left;
  block.FillFrom(bytes);
}

}  // namespace

void ReadAbinFile(Opening& opening) {
  BinaryFile& file = opening.DataFile;
  opening.NeedBytes(AbinSmallestFile, "an ABIN file", Refusal::UnknownFormat);
  Header<AbinLongHeadBytes> header(opening.Texts);
  file.Seek(0);
  header.ReadMore(file, 0, AbinHeadBytes);
  const Long channels = header[AbinChannels];
  if (header[AbinSignature] != AbinMark || channels < 1 || channels > LargestChannelCount)
    RefuseAsUnknown(AbinChannels.Position(), "The header states ", channels,
                    " channels, not 1 to 32.");
  const Integer major = header[AbinVersionMajor];
  const Integer minor = header[AbinVersionMinor];
  if (major != 2 && major != 3)
    Refuse(Refusal::UnsupportedFormat, "version-not-read", AbinVersionMajor.Position(),
           "The file is of version ", major, ".", minor, "; 2 and 3 are read.");
  if (major == 3 && minor >= 3) header.ReadMore(file, AbinHeadBytes, AbinLongHeadBytes);

  BlockRec& block = opening.Store.Blocks.emplace_back();
  block.DimensionChannels(static_cast<Integer>(channels));
  block.SampleType = header[AbinSampleType];
  block.SamplingRate = header[AbinRate];
  TellHeader(opening, header, block);
  ReadChannels(opening, major, block);
  FindData(opening, block);
  block.ADCName = header[AbinModel];
  if (block.ADCName.empty()) block.ADCName = u"BIN";
  block.Resolution = 16;
  block.StartDateTime = DateSerial(header[AbinYear], header[AbinMonth], header[AbinDay]) +
                        TimeSerial(header[AbinHour], header[AbinMinute], header[AbinSecond]);
  opening.FinishFile(AbinMark, major, minor);
}

}  // namespace lmimport
