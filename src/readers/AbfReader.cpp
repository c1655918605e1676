// Axon Binary Files of generation 1.x, by the published header: one run of interleaved 16-bit
// words. Sweeps of an episodic file stand in it in a row.
//
//   offset  type       field
//        0  4 chars    "ABF ", "FTCX" or "CLPX"
//        4  single     version; from 1.6 on, 4096 bytes of header stand behind the first 2048
//        8  int16      acquisition mode; 3 is gap-free
//       10  int32      samples of all channels; 16: int32 sweeps
//       20  int32      start: YYMMDD or YYYYMMDD; 24: seconds since midnight; 366: milliseconds
//       40  int32      data, 44: tags, in blocks of 512 bytes; 48: number of tags
//      100  int16      sample format, 0 is 16-bit
//      120  int16      channels
//      122  single     microseconds from sample to sample, over all channels
//      130  single     microseconds of a unit of tag times; 0: tag times are samples
//      244  single     range of the converter in volts; 252: int32 its counts
//      294  16 chars   creator; 310: 56 chars comment
//      410  16 int16   physical channel of each channel; by physical channel, 16 of each:
//      442  10 chars   name; 602: 8 chars unit; 730 single programmable gain; 922 single instrument
//                      scale; 986 offset; 1050 single signal gain; 1114 offset
//     4512  16 int16   telegraph in use; 4576: 16 single its gain
//     5154  128 chars  comment
//
//   tag, 64 bytes: int32 time, 56 chars text, 4 bytes
#include <cmath>

#include "model/Date.h"
#include "readers/FixedText.h"
#include "readers/HeaderView.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t AbfSmallestFile = 2052;
constexpr std::size_t AbfBaseBytes = 2048;
constexpr std::size_t AbfHeaderBytes = 6144;
constexpr Single AbfFirstExtended = 1.6F;
constexpr std::int64_t AbfSectionUnit = 512;
constexpr std::size_t AbfTagBytes = 64;
constexpr std::int64_t AbfLargestMissingTags = 65535;
constexpr Integer AbfPhysicalChannels = 16;
constexpr Integer AbfGapFree = 3;
constexpr Long AbfFileType = 7;

constexpr std::size_t AbfVersion = 4;
constexpr std::size_t AbfMode = 8;
constexpr std::size_t AbfAcquiredSamples = 10;
constexpr std::size_t AbfSweeps = 16;
constexpr std::size_t AbfStartDate = 20;
constexpr std::size_t AbfStartTime = 24;
constexpr std::size_t AbfDataSection = 40;
constexpr std::size_t AbfTagSection = 44;
constexpr std::size_t AbfTagCount = 48;
constexpr std::size_t AbfDataFormat = 100;
constexpr std::size_t AbfChannelCount = 120;
constexpr std::size_t AbfSampleInterval = 122;
constexpr std::size_t AbfSynchTimeUnit = 130;
constexpr std::size_t AbfRange = 244;
constexpr std::size_t AbfResolution = 252;
constexpr std::size_t AbfCreator = 294;
constexpr std::size_t AbfCreatorBytes = 16;
constexpr std::size_t AbfShortComment = 310;
constexpr std::size_t AbfShortCommentBytes = 56;
constexpr std::size_t AbfMilliseconds = 366;
constexpr std::size_t AbfSequence = 410;
constexpr std::size_t AbfName = 442;
constexpr std::size_t AbfNameBytes = 10;
constexpr std::size_t AbfUnits = 602;
constexpr std::size_t AbfUnitsBytes = 8;
constexpr std::size_t AbfProgrammableGain = 730;
constexpr std::size_t AbfInstrumentScale = 922;
constexpr std::size_t AbfInstrumentOffset = 986;
constexpr std::size_t AbfSignalGain = 1050;
constexpr std::size_t AbfSignalOffset = 1114;
constexpr std::size_t AbfTelegraphInUse = 4512;
constexpr std::size_t AbfTelegraphGain = 4576;
constexpr std::size_t AbfLongComment = 5154;
constexpr std::size_t AbfLongCommentBytes = 128;
// of a tag
constexpr std::size_t AbfTagText = 4;
constexpr std::size_t AbfTagTextBytes = 56;

class AbfFile {
 public:
  explicit AbfFile(ImportState& state)
      : state_(state), file_(*state.DataFile), bytes_(AbfHeaderBytes), header_(bytes_) {}

  bool Read();

 private:
  Single Of(std::size_t table, std::size_t physical) const {
    return header_.Real32(table + physical * sizeof(Single));
  }
  String Text(std::size_t offset, std::size_t size) const {
    return FixedText(state_.Texts, header_.Bytes(offset, size));
  }
  bool ReadBlock(BlockRec& block);
  bool ReadChannel(BlockRec& block, std::size_t channel);
  Date Start() const;
  bool ReadTags(BlockRec& block);
  Long TagPosition(Long time, const BlockRec& block) const;
  void NoteFindings(const BlockRec& block);

  ImportState& state_;
  BinaryFile& file_;
  std::vector<Byte> bytes_;
  HeaderView header_;
};

bool AbfFile::Read() {
  if (file_.Size() < AbfSmallestFile) return false;
  file_.Seek(0);
  file_.ReadByteArray(bytes_.data(), AbfBaseBytes);
  if (header_.Int16(AbfDataFormat) != 0) {
    state_.Warn("coding-not-read", AbfDataFormat,
                Sentence("The samples are of format ", header_.Int16(AbfDataFormat),
                         " (1 is floating point); only 16-bit integers (0) are read."));
    return state_.Refuse(Refusal::UnsupportedFormat);
  }
  const Integer channels = header_.Int16(AbfChannelCount);
  if (channels < 1 || channels > LargestChannelCount) return state_.Refuse(Refusal::UnknownFormat);
  const Single stated = header_.Real32(AbfVersion);
  const Single version = stated > 0 ? stated : 0;  // a NaN, too
  const bool extended = version >= AbfFirstExtended;
  if (extended) file_.ReadByteArray(bytes_.data() + AbfBaseBytes, AbfHeaderBytes - AbfBaseBytes);

  if (channels > AbfPhysicalChannels) return state_.Refuse(Refusal::FormatError);
  BlockRec& block = state_.Blocks.emplace_back();
  block.DimensionChannels(channels);
  if (!ReadBlock(block) || !ReadTags(block)) return state_.Refuse(Refusal::FormatError);
  block.Notes = extended ? Text(AbfLongComment, AbfLongCommentBytes)
                         : Text(AbfShortComment, AbfShortCommentBytes);
  const Single major = std::trunc(std::clamp<Single>(version, 0, INT16_MAX));
  const Single minor = std::nearbyint(std::clamp<Single>((version - major) * 10, 0, 10));
  state_.FinishFile(FourCharacters("ABIN"), static_cast<Integer>(major),
                    static_cast<Integer>(minor), AbfFileType);
  state_.FileRec.FileNotes = Text(AbfCreator, AbfCreatorBytes);
  NoteFindings(block);
  return true;
}

bool AbfFile::ReadBlock(BlockRec& block) {
  block.ADCName = u"ABF";
  block.Resolution = 16;
  block.SamplingRate =
      static_cast<Single>(1e6 / (block.ChannelCount * Double{header_.Real32(AbfSampleInterval)}));
  if (!std::isfinite(block.SamplingRate)) return false;
  for (std::size_t i = 0; i < block.ChannelIndex.size(); ++i) {
    if (!ReadChannel(block, i)) return false;
  }
  const Long samples = header_.Int32(AbfAcquiredSamples);
  const Long section = header_.Int32(AbfDataSection);
  if (samples < 0 || section < 0) return false;
  block.SizeChannel = samples / block.ChannelCount;
  block.DataPtr = section * AbfSectionUnit;
  block.StartDateTime = Start();
  return true;
}

// The global channel of a channel is its physical one.
bool AbfFile::ReadChannel(BlockRec& block, std::size_t channel) {
  const Integer number = header_.Int16(AbfSequence + channel * 2);
  if (number < 0 || number >= AbfPhysicalChannels) return false;
  const auto physical = static_cast<std::size_t>(number);
  block.ChannelIndex[channel] = number;
  Single& scale = block.ChannelScale[channel];
  scale = static_cast<Single>(header_.Int32(AbfResolution) / Double{header_.Real32(AbfRange)});
  for (const std::size_t gain : {AbfInstrumentScale, AbfProgrammableGain, AbfSignalGain}) {
    if (Of(gain, physical) != 0) scale *= Of(gain, physical);
  }
  block.ChannelOffset[channel] = Of(AbfSignalOffset, physical) + Of(AbfInstrumentOffset, physical);
  state_.Channels[physical].ChannelTitle = Text(AbfName + physical * AbfNameBytes, AbfNameBytes);
  state_.Channels[physical].ChannelUnitName =
      Text(AbfUnits + physical * AbfUnitsBytes, AbfUnitsBytes);
  return !std::isnan(scale);
}

// 0 where the number is too short to have a year, or below 0.
Date AbfFile::Start() const {
  constexpr Long shortest = 10000;
  const Long number = header_.Int32(AbfStartDate);
  if (number < shortest) return 0;
  Long year = number / 10000;
  if (year < 80) {
    year += 2000;
  } else if (year <= 99) {
    year += 1900;
  }
  return DateSerial(year, number / 100 % 100, number % 100) +
         header_.Int32(AbfStartTime) / SecondsPerDay;
}

Long AbfFile::TagPosition(Long time, const BlockRec& block) const {
  const Double unit = header_.Real32(AbfSynchTimeUnit);
  const Double interval = header_.Real32(AbfSampleInterval);
  const Double position = unit > 0 ? unit * time / (block.ChannelCount * interval) + 1.0
                                   : static_cast<Double>(time) / block.ChannelCount + 1.0;
  const Double rounded = std::nearbyint(position);
  if (std::isnan(rounded)) return 0;
  return static_cast<Long>(std::clamp<Double>(rounded, INT32_MIN, INT32_MAX));
}

// Behind the end of the file, the tag in hand counts again, so all that are missing are the last.
bool AbfFile::ReadTags(BlockRec& block) {
  const Long count = header_.Int32(AbfTagCount);
  if (count <= 0) return true;
  const std::int64_t start = header_.Int32(AbfTagSection) * AbfSectionUnit;
  const std::int64_t held =
      start < 0 ? 0 : std::max<std::int64_t>(0, file_.Size() - start) / std::int64_t{AbfTagBytes};
  if (count - held > AbfLargestMissingTags) return false;
  std::array<Byte, AbfTagBytes> tag{};
  file_.Seek(start);
  for (Long i = 0; i < count; ++i) {
    if (file_.ReadOver(tag) == 0 && i > 0) break;
    const HeaderView fields(tag);
    block.Comments.push_back({TagPosition(fields.Int32(0), block), 0,
                              FixedText(state_.Texts, fields.Bytes(AbfTagText, AbfTagTextBytes))});
  }
  block.CommentCount = count;
  if (count > held)
    state_.Warn("tags-cut-off", start,
                Sentence("The header claims ", count, " tags, and the file holds ", held,
                         "; the last one stands for all that are missing."));
  return true;
}

void AbfFile::NoteFindings(const BlockRec& block) {
  Long amplified = 0;
  Single gain = 1;
  for (const Integer number : block.ChannelIndex) {
    const auto physical = static_cast<std::size_t>(number);
    const Single telegraph = Of(AbfTelegraphGain, physical);
    if (header_.Int16(AbfTelegraphInUse + physical * 2) != 1) continue;
    if (!(telegraph > 0) || telegraph == 1) continue;
    if (amplified++ == 0) gain = telegraph;
  }
  if (amplified > 0)
    state_.Warn("telegraph-gain", AbfTelegraphGain,
                Sentence("The values of ", amplified, " of ", block.ChannelCount,
                         " channels don't include the gain that the amplifier told, ", gain,
                         " on the first of them: they are that many times too large."));
  const Long sweeps = header_.Int32(AbfSweeps);
  const Integer mode = header_.Int16(AbfMode);
  if (sweeps > 1 && mode != AbfGapFree)
    state_.Warn("sweeps-in-a-row", AbfSweeps,
                Sentence("The recording is of mode ", mode, " with ", sweeps,
                         " sweeps, which stand in a row here, with no gaps between them."));
  const Integer milliseconds = header_.Int16(AbfMilliseconds);
  if (milliseconds > 0)
    state_.Note("start-milliseconds", AbfMilliseconds,
                Sentence("The recording starts ", milliseconds, " ms later than shown."));
}

}  // namespace

bool ReadAbfFile(ImportState& state) {
  return AbfFile(state).Read();
}

}  // namespace lmimport
