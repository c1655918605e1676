// WinDaq recordings (".wdq"), by the file layout that the maker of the recorder published: one run
// of interleaved signed 16-bit words with names, units, calibration and event markers.
//
//   offset  type      field
//        0  int16     channels in the low five bits
//        4  byte      offset of the channel entries, always 110
//        5  byte      size of a channel entry, always 36
//        6  int16     size of the header; its last word is the end mark 0x8001
//        8  int32     bytes of samples; below 2: all that is left of the file
//       12  int32     bytes of the event marker table
//       16  int16     bytes of the annotation text, with its last zero byte
//       28  double    seconds from one sample to the next, over all channels
//       36  int32     start, seconds since 1970; 40: end, likewise
//      100  int16     bit 1: HiRes, bit 14: packed
//      110            channel entries: 8 double slope, in units per four counts; 16 double
//                     intercept, in units; 24 six bytes of unit
//
// Behind the header stand samples, markers, annotation text (channel titles, each ended by a zero
// byte) and comment texts, likewise ended, that the markers point to from the start of the
// annotation text.
//
// A marker is one to three int32: its frame; a time stamp unless the frame is negative; a pointer
// to its comment if the next value is at or below the negative number of frames, with the top bit
// set and the distance in the others.
#include <cmath>
#include <cstdlib>

#include "model/Date.h"
#include "readers/FixedText.h"
#include "readers/HeaderView.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t SmallestFile = 154;
constexpr std::size_t HeaderBytes = 110;
constexpr std::size_t ChannelEntryBytes = 36;
constexpr std::uint16_t EndOfHeader = 0x8001;
constexpr Integer ChannelMask = 31;
constexpr Long PointerMask = 0x7fffffff;
constexpr Long NoComment = -1;
constexpr Integer HiResFlag = 1 << 1;
constexpr Integer PackedFlag = 1 << 14;
constexpr Long WinDaqFileType = 6;

constexpr std::size_t WinDaqChannels = 0;
constexpr std::size_t WinDaqChannelTableOffset = 4;
constexpr std::size_t WinDaqChannelEntrySize = 5;
constexpr std::size_t WinDaqHeaderSize = 6;
constexpr std::size_t WinDaqDataBytes = 8;
constexpr std::size_t WinDaqTrailerBytes = 12;
constexpr std::size_t WinDaqAnnotationBytes = 16;
constexpr std::size_t WinDaqSampleInterval = 28;
constexpr std::size_t WinDaqStartTime = 36;
constexpr std::size_t WinDaqEndTime = 40;
constexpr std::size_t WinDaqFlags = 100;
// of a channel entry
constexpr std::size_t WinDaqSlope = 8;
constexpr std::size_t WinDaqIntercept = 16;
constexpr std::size_t WinDaqUnits = 24;
constexpr std::size_t WinDaqUnitsBytes = 6;

struct Areas {
  std::int64_t Samples;
  std::int64_t DataBytes;  // as the header states them, also where that is no size
  std::int64_t Markers;
  std::int64_t MarkerBytes;
  std::int64_t Annotations;
  std::int64_t AnnotationBytes;
};

Areas AreasOf(const HeaderView& header) {
  Areas areas{};
  areas.Samples = header.Int16(WinDaqHeaderSize);
  areas.DataBytes = header.Int32(WinDaqDataBytes);
  areas.Markers = areas.Samples + areas.DataBytes;
  areas.MarkerBytes = header.Int32(WinDaqTrailerBytes);
  areas.Annotations = areas.Markers + areas.MarkerBytes;
  areas.AnnotationBytes = header.Int16(WinDaqAnnotationBytes);
  return areas;
}

// Titles of the channels, in order; what has none keeps an empty one.
void ReadTitles(ImportState& state, const Areas& areas, Integer channelCount) {
  String titles;
  state.DataFile->SeekTo(areas.Annotations);
  state.DataFile->ReadFixedString(titles, areas.AnnotationBytes - 1);
  std::size_t start = 0;
  for (Integer i = 0; i < channelCount && start <= titles.size(); ++i) {
    const std::size_t end = std::min(titles.find(u'\0', start), titles.size());
    state.Channels[static_cast<std::size_t>(i)].ChannelTitle = titles.substr(start, end - start);
    start = end + 1;
  }
}

// The values of the marker table, as far as the file holds them.
std::vector<Long> ReadMarkerTable(BinaryFile& file, const Areas& areas) {
  const std::int64_t there = areas.Markers < 0 ? 0 : (file.Size() - areas.Markers) / 4;
  const std::int64_t claimed = areas.MarkerBytes / 4;
  std::vector<Long> values(static_cast<std::size_t>(std::clamp<std::int64_t>(there, 0, claimed)));
  file.SeekTo(areas.Markers);
  file.ReadInt32Array(values.data(), static_cast<std::int64_t>(values.size()));
  return values;
}

// Calls take(position, offset of the comment from the start of the annotation text or NoComment)
// for each marker. A table that the file cuts off goes on with zeros, which are markers of frame 0,
// and those are dropped. So only what is there needs to be walked, with zeros behind it.
template <class Take>
void WalkMarkers(const std::vector<Long>& values, const Areas& areas, Integer channelCount,
                 Take take) {
  const std::int64_t claimed = areas.MarkerBytes / 4;
  const auto held = static_cast<std::int64_t>(values.size());
  const auto value = [&](std::int64_t i) {
    return i < held ? values[static_cast<std::size_t>(i)] : 0;
  };
  const Double lowestPosition = -(static_cast<Double>(areas.DataBytes) / (channelCount * 2));
  for (std::int64_t i = 0; i < held; ++i) {
    const Long position = value(i);
    if (position >= 0) ++i;  // its time stamp
    Long comment = NoComment;
    if (i + 1 < claimed && value(i + 1) <= lowestPosition) comment = value(++i) & PointerMask;
    if (position != 0) take(position, comment);
  }
}

// The texts together are held to the size of the file: real ones lie apart in it, and a table of
// markers that all point to one long text would otherwise fill the memory.
void ReadComments(ImportState& state, const Areas& areas, BlockRec& block) {
  BinaryFile& file = *state.DataFile;
  const std::vector<Long> values = ReadMarkerTable(file, areas);
  std::size_t count = 0;
  WalkMarkers(values, areas, block.ChannelCount, [&](Long, Long) { ++count; });
  block.Comments.reserve(count);
  std::int64_t allowed = file.Size();
  std::int64_t leftOut = 0;
  WalkMarkers(values, areas, block.ChannelCount, [&](Long position, Long offset) {
    CommentRec& comment = block.Comments.emplace_back();
    comment.Position = HeldAsLong(std::abs(std::int64_t{position}) + 1);
    if (offset == NoComment) return;
    file.Seek(areas.Annotations + offset);
    allowed -= file.ReadTerminatedString(comment.Text, allowed);
    if (allowed <= 0) ++leftOut;
  });
  block.CommentCount = HeldAsLong(static_cast<std::int64_t>(count));
  if (leftOut > 0)
    state.Note("comment-texts-left-out", areas.Markers,
               Sentence(leftOut,
                        " comments have no text here, or only its beginning: the markers point to "
                        "more text than the file has."));
}

// Real recordings state the interval of one channel, while the layout has it run over all of them.
// Where the header has both ends of the recording, they tell which it is.
void CheckRate(ImportState& state, const HeaderView& header, const BlockRec& block) {
  const Double interval = header.Real64(WinDaqSampleInterval);
  if (block.ChannelCount == 1 || interval <= 0) return;
  const auto stated = static_cast<Double>(header.Int32(WinDaqEndTime)) -
                      static_cast<Double>(header.Int32(WinDaqStartTime));
  const Double ofOneChannel = interval * block.SizeChannel;
  const auto agrees = [stated](Double seconds) {
    return std::abs(seconds - stated) <= 1 + stated / 100;
  };
  if (stated > 0 && agrees(ofOneChannel / block.ChannelCount) && !agrees(ofOneChannel)) return;
  std::string text = Sentence(
      "The rate is shown as ", block.SamplingRate, " Hz, with the header's interval of ", interval,
      " s running over all channels; recordings have it run over one, which makes ", 1 / interval,
      " Hz.");
  if (stated > 0 && agrees(ofOneChannel))
    text +=
        Sentence(" The times of start and end in the header, ", stated, " s apart, say so too.");
  state.Warn("rate-over-channels", static_cast<std::int64_t>(WinDaqSampleInterval), text);
}

void CheckFlags(ImportState& state, const HeaderView& header) {
  const Integer flags = header.Int16(WinDaqFlags);
  constexpr auto position = static_cast<std::int64_t>(WinDaqFlags);
  if ((flags & PackedFlag) != 0)
    state.Warn("packed", position,
               "The header says that the file is packed: its samples are no plain frames, and what "
               "is read of them is wrong.");
  if ((flags & HiResFlag) == 0)
    state.Warn("low-bits", position,
               "The header doesn't say HiRes, so the two low bits of each word are no data; they "
               "are read with it, and raise a sample by up to three quarters of a 14-bit count.");
}

// Rate and channels. False for numbers that are no rate and no scale.
bool FillChannels(ImportState& state, const HeaderView& header, std::span<const Byte> entries,
                  BlockRec& block) {
  block.SamplingRate =
      static_cast<Single>(block.ChannelCount / header.Real64(WinDaqSampleInterval));
  if (block.SamplingRate <= 0) block.SamplingRate = 1;
  if (!std::isfinite(block.SamplingRate)) return false;
  for (std::size_t i = 0; i < block.ChannelScale.size(); ++i) {
    const HeaderView entry(entries.subspan(i * ChannelEntryBytes, ChannelEntryBytes));
    // The slope is that of a 14-bit count, which is four counts of the word.
    block.ChannelScale[i] = static_cast<Single>(4.0 / entry.Real64(WinDaqSlope));
    block.ChannelOffset[i] = static_cast<Single>(entry.Real64(WinDaqIntercept));
    if (std::isnan(block.ChannelScale[i])) return false;
    state.Channels[i].ChannelUnitName =
        FixedText(state.Texts, entry.Bytes(WinDaqUnits, WinDaqUnitsBytes));
  }
  return true;
}

}  // namespace

bool ReadWinDaqFile(ImportState& state) {
  BinaryFile& file = *state.DataFile;
  const std::int64_t fileSize = file.Size();
  if (fileSize < SmallestFile) return state.Refuse(Refusal::NoData);
  std::array<Byte, HeaderBytes> headerBytes{};
  file.Seek(0);
  file.ReadByteArray(headerBytes.data(), HeaderBytes);
  const HeaderView header(headerBytes);
  if (header.Int8(WinDaqChannelTableOffset) != HeaderBytes ||
      header.Int8(WinDaqChannelEntrySize) != ChannelEntryBytes)
    return state.Refuse(Refusal::UnknownFormat);
  const auto channelCount = static_cast<Integer>(header.Int16(WinDaqChannels) & ChannelMask);
  if (channelCount == 0) return state.Refuse(Refusal::UnknownFormat);

  std::array<Byte, ChannelMask * ChannelEntryBytes> entries{};
  file.ReadByteArray(entries.data(), channelCount * std::int64_t{ChannelEntryBytes});
  const Areas areas = AreasOf(header);
  file.SeekTo(areas.Samples - 2);
  if (file.ReadValue<std::uint16_t>() != EndOfHeader) return state.Refuse(Refusal::FormatError);

  BlockRec& block = state.Blocks.emplace_back();
  block.ADCName = u"WDQ";
  block.Resolution = 16;
  block.DimensionChannels(channelCount);
  if (!FillChannels(state, header, entries, block)) return state.Refuse(Refusal::FormatError);
  const std::int64_t dataBytes = areas.DataBytes < 2 ? fileSize - areas.Samples : areas.DataBytes;
  block.FillFrom(dataBytes);
  block.DataPtr = areas.Samples;
  block.StartDateTime = DateSerial(1970, 1, 1) + header.Int32(WinDaqStartTime) / SecondsPerDay;
  ReadTitles(state, areas, channelCount);
  if (areas.MarkerBytes >= 4) ReadComments(state, areas, block);

  state.FinishFile(FourCharacters("ABIN"), 1, 0, WinDaqFileType);
  CheckRate(state, header, block);
  CheckFlags(state, header);
  return true;
}

}  // namespace lmimport
