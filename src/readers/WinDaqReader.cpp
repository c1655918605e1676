// WinDaq recordings (".wdq"), by the file layout that the maker of the recorder published: one run
// of interleaved signed 16-bit words with names, units, calibration and event markers.
//
//   offset  type      field
//        0  int16     channels in the low five bits; in eight where the header has room for 144
//        4  byte      offset of the channel entries, always 110
//        5  byte      size of a channel entry, always 36
//        6  int16     size of the header; its last word is the end mark 0x8001
//        8  int32     bytes of samples; below 2: all that is left of the file
//       12  int32     bytes of the event marker table
//       16  int16     bytes of the annotation text, with its last zero byte
//       28  double    seconds from one sample of a channel to the next
//       36  int32     start, seconds since 1970; 40: end, likewise
//      100  int16     bit 1: HiRes, else the two low bits of a word are no data; bit 14: packed
//      110            channel entries: 8 double slope, in units per four counts; 16 double
//                     intercept, in units; 24 six bytes of unit
//
// The header is followed by samples, markers, annotation text (channel titles, each ended by a zero
// byte) and comment texts, likewise ended, that the markers point to from the start of the
// annotation text.
//
// A marker is one to three int32: its frame; a time stamp unless the frame is negative; a pointer
// to its comment if the next value is at or below the negative number of frames, with the top bit
// set and the distance in the others. In a HiRes file the samples of all channels take the place of
// the frames.
//
// So the layout has it. As written, the interval runs over all channels, all 16 bits of a word are
// data, the channels count in five bits, and a HiRes file's markers count frames.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "model/Date.h"
#include "model/HeaderView.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t WinDaqSmallestFile = 154;
constexpr std::size_t WinDaqHeaderBytes = 110, WinDaqEntryBytes = 36;
constexpr std::uint16_t WinDaqEndOfHeader = 0x8001;
constexpr Integer WinDaqChannelMask = 31, WinDaqWideChannelMask = 255, WinDaqHiRes = 1 << 1,
                  WinDaqPacked = 1 << 14, WinDaqDataBits = ~3;
constexpr std::int64_t WinDaqRoomOfWideMask = 144;
constexpr Long WinDaqPointerMask = 0x7fffffff, NoComment = -1;

constexpr Field<Integer> WinDaqChannels{0}, WinDaqHeaderSize{6}, WinDaqAnnotationBytes{16},
    WinDaqFlags{100};
constexpr Field<Byte> WinDaqChannelTableOffset{4}, WinDaqChannelEntrySize{5};
constexpr Field<Long> WinDaqDataBytes{8}, WinDaqTrailerBytes{12}, WinDaqStartTime{36},
    WinDaqEndTime{40};
constexpr Field<Double> WinDaqSampleInterval{28};
// of a channel entry
constexpr Field<Double> WinDaqSlope{8}, WinDaqIntercept{16};
constexpr TextField WinDaqUnits{24, 6};

bool Has(const HeaderView& header, Integer flag) {
  return (header[WinDaqFlags] & flag) != 0;
}

// The channels that the header has room for.
std::int64_t RoomOf(const HeaderView& header) {
  return (header[WinDaqHeaderSize] - 112) / std::int64_t{WinDaqEntryBytes};
}

Integer ChannelsOf(const HeaderView& header, bool published) {
  const bool wide = published && RoomOf(header) >= WinDaqRoomOfWideMask;
  const Integer mask = wide ? WinDaqWideChannelMask : WinDaqChannelMask;
  return static_cast<Integer>(header[WinDaqChannels] & mask);
}

struct Areas {
  std::int64_t Samples;
  std::int64_t DataBytes;  // as the header states them, also where that makes no sense
  std::int64_t Markers;
  std::int64_t MarkerBytes;
  std::int64_t Annotations;
  std::int64_t AnnotationBytes;
};

Areas AreasOf(const HeaderView& header) {
  Areas areas{};
  areas.Samples = header[WinDaqHeaderSize];
  areas.DataBytes = header[WinDaqDataBytes];
  areas.Markers = areas.Samples + areas.DataBytes;
  areas.MarkerBytes = header[WinDaqTrailerBytes];
  areas.Annotations = areas.Markers + areas.MarkerBytes;
  areas.AnnotationBytes = header[WinDaqAnnotationBytes];
  return areas;
}

// Titles of the channels, in order; what has none keeps an empty one.
void ReadTitles(Opening& opening, const Areas& areas, Integer channelCount) {
  String titles;
  opening.DataFile.SeekTo(areas.Annotations);
  opening.DataFile.ReadFixedString(titles, areas.AnnotationBytes - 1);
  std::size_t start = 0;
  for (Integer i = 0; i < channelCount && start <= titles.size(); ++i) {
    const std::size_t end = std::min(titles.find(u'\0', start), titles.size());
    opening.Store.Channel(i).ChannelTitle = titles.substr(start, end - start);
    start = end + 1;
  }
}

// The values of the marker table, as far as the file holds them.
std::vector<Long> ReadMarkerTable(BinaryFile& file, const Areas& areas) {
  const std::int64_t there = areas.Markers < 0 ? 0 : (file.Size() - areas.Markers) / 4;
  const std::int64_t claimed = areas.MarkerBytes / 4;
  std::vector<Long> values(static_cast<std::size_t>(std::clamp<std::int64_t>(there, 0, claimed)));
  file.SeekTo(areas.Markers);
  file.ReadInt32Array(values.data(), std::ssize(values));
  return values;
}

// Calls take(position, offset of the comment from the start of the annotation text or NoComment)
// for each marker. A table that the file cuts off goes on with zeros, which are markers of frame 0,
// and those aren't shown. So only what is there needs to be walked, followed by zeros.
template <class Take>
void WalkMarkers(const std::vector<Long>& values, const Areas& areas, Integer countedChannels,
                 Take take) {
  const std::int64_t claimed = areas.MarkerBytes / 4;
  const auto held = static_cast<std::int64_t>(values.size());
  const auto value = [&](std::int64_t i) {
    return i < held ? values[static_cast<std::size_t>(i)] : 0;
  };
  const Double lowestPosition = -(static_cast<Double>(areas.DataBytes) / (countedChannels * 2));
  for (std::int64_t i = 0; i < held; ++i) {
    const Long position = value(i);
    if (position >= 0) ++i;  // its time stamp
    Long comment = NoComment;
    if (i + 1 < claimed && value(i + 1) <= lowestPosition) comment = value(++i) & WinDaqPointerMask;
    take(position, comment);
  }
}

// Gives the comments their texts. Many markers can point to one text, or into the middle of one: so
// that all together cost no more than the file, each stretch between two places that are pointed to
// is read once, and a text goes from its place to the next zero.
void ReadTexts(BinaryFile& file, std::int64_t annotations, BlockRec& block) {
  std::vector<std::int64_t> offsets;
  for (const CommentRec& comment : block.Comments) {
    if (comment.TextStart != NoComment) offsets.push_back(comment.TextStart);
  }
  std::ranges::sort(offsets);
  offsets.erase(std::unique(offsets.begin(), offsets.end()), offsets.end());
  std::vector<std::int64_t> starts;
  starts.reserve(offsets.size());
  for (std::size_t i = 0; i < offsets.size(); ++i) {
    const bool last = i + 1 == offsets.size();
    const std::int64_t limit = last ? file.Size() : offsets[i + 1] - offsets[i];
    String stretch;
    file.Seek(annotations + offsets[i]);
    const bool ends = file.ReadTerminatedString(stretch, limit) < limit || last;
    starts.push_back(std::ssize(block.SharedTexts));
    block.SharedTexts += stretch;
    if (ends) block.SharedTexts += u'\0';
  }
  for (CommentRec& comment : block.Comments) {
    if (comment.TextStart == NoComment) continue;
    const auto place = std::ranges::lower_bound(offsets, comment.TextStart) - offsets.begin();
    comment.TextStart = starts[static_cast<std::size_t>(place)];
  }
}

// What the rules of before make of markers, where the layout has it otherwise.
void NoteMarkers(Opening& opening, const Areas& areas, bool hiRes, std::int64_t atStart,
                 std::size_t shown) {
  const Integer channels = opening.Store.Blocks.front().ChannelCount;
  if (atStart > 0)
    opening.Note("comments-left-out", {areas.Markers, 0}, atStart,
                 atStart == 1 ? " marker at frame 0, where the recording starts, is left out."
                              : " markers at frame 0, where the recording starts, are left out.");
  if (hiRes && channels > 1 && shown > 0)
    opening.Warn("markers-misread", {areas.Markers, 0},
                 "In a HiRes file the markers count the samples of all channels; they are shown as "
                 "if they counted frames, ",
                 channels, " times too late, and some may lack their comments.");
}

void ReadComments(Opening& opening, const Areas& areas, bool hiRes) {
  BlockRec& block = opening.Store.Blocks.front();
  const bool published = opening.IsPublished();
  const bool inSamples = published && hiRes;
  const Integer counted = inSamples ? Integer{1} : block.ChannelCount;
  const std::int64_t perFrame = inSamples ? block.ChannelCount : 1;
  const std::vector<Long> values = ReadMarkerTable(opening.DataFile, areas);
  const auto isShown = [published](Long position) { return published || position != 0; };
  std::size_t count = 0;
  std::int64_t atStart = 0;
  WalkMarkers(values, areas, counted,
              [&](Long position, Long) { isShown(position) ? void(++count) : void(++atStart); });
  if (!published) NoteMarkers(opening, areas, hiRes, atStart, count);
  block.Comments.reserve(count);
  WalkMarkers(values, areas, counted, [&](Long position, Long offset) {
    if (!isShown(position)) return;
    CommentRec& comment = block.Comments.emplace_back();
    comment.Position = HeldAsLong(std::abs(std::int64_t{position}) / perFrame + 1);
    comment.TextStart = offset;
  });
  ReadTexts(opening.DataFile, areas.Annotations, block);
  block.CommentCount = HeldAsLong(std::ssize(block.Comments));
}

// Real recordings state the interval of one channel, while the layout has it run over all of them.
// Where the header has both ends of the recording, they tell which it is.
void CheckRate(Opening& opening, const HeaderView& header, const BlockRec& block) {
  const Double interval = header[WinDaqSampleInterval];
  if (block.ChannelCount == 1 || !(interval > 0)) return;
  const auto stated =
      static_cast<Double>(header[WinDaqEndTime]) - static_cast<Double>(header[WinDaqStartTime]);
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
  opening.Warn("rate-over-channels", {WinDaqSampleInterval.Position(), 0}, text);
}

void CheckFlags(Opening& opening, const HeaderView& header) {
  if (Has(header, WinDaqPacked))
    opening.Warn("packed", WinDaqFlags.Position(),
                 "The header says that the file is packed: its samples are not plain frames, and "
                 "what is read of them is wrong.");
  if (!Has(header, WinDaqHiRes))
    opening.Warn(
        "low-bits", WinDaqFlags.Position(),
        "The header doesn't say HiRes, so the two low bits of each word are not data; they "
        "are read with it, and raise a sample by up to three quarters of a 14-bit count.");
  const Integer stated = ChannelsOf(header, true);
  const Integer shown = ChannelsOf(header, false);
  if (stated != shown)
    opening.Warn("channel-count-held", WinDaqChannels.Position(), "The header has room for ",
                 RoomOf(header), " channels and states ", stated,
                 "; the file is shown as if it had ", shown,
                 ", the low five bits of that number, so its channels are mixed.");
}

void SetRate(Opening& opening, const HeaderView& header, BlockRec& block) {
  const Double interval = header[WinDaqSampleInterval];
  if (!opening.IsPublished()) {
    block.SamplingRate =
        Narrowed(block.ChannelCount / interval, "WinDaq rate", WinDaqSampleInterval.Position());
    if (!(block.SamplingRate > 0)) block.SamplingRate = 1;
  } else if (interval > 0) {
    block.SetRate(1 / interval);
  } else {
    block.SetRate(opening.Rules.SamplingRate);
    opening.TellDefaultRate(opening.Rules.SamplingRate);
    opening.Warn("no-rate", {WinDaqSampleInterval.Position(), 0}, "An interval of ", interval,
                 " s gives no rate; it is shown as ", block.Rate, " Hz.");
  }
}

void TellHeader(Opening& opening, const HeaderView& header) {
  const bool published = opening.IsPublished();
  opening.Tell(header, WinDaqSampleInterval, "interval",
               published ? "seconds from one sample of a channel to the next"
                         : "seconds from sample to sample, over all channels");
  opening.Tell(header, WinDaqChannels, "channels", "number of channels, in its low bits");
  opening.Tell(header, WinDaqStartTime, "start", "seconds since 1970");
  opening.Tell(header, WinDaqFlags, "flags",
               "bit 1: HiRes; else the two low bits of a 16-bit sample are no data");
  opening.TellFormula(published ? "count * slope / 4 + intercept"
                                : "count / single(4 / slope) + single(intercept)");
}

void TellChannel(Opening& opening, const HeaderView& entry, const Place& place) {
  opening.Tell(entry, WinDaqSlope, "slope", "units of four counts", place);
  opening.Tell(entry, WinDaqIntercept, "intercept", "value of count 0", place);
  opening.Tell(entry, WinDaqUnits, "unit", "unit of values", place);
}

// The slope is that of a 14-bit count, which is four counts of the word.
void FillChannels(Opening& opening, const HeaderView& header, BinaryFile& file, BlockRec& block) {
  TellHeader(opening, header);
  SetRate(opening, header, block);
  if (opening.IsPublished() && !Has(header, WinDaqHiRes)) block.DataBits = WinDaqDataBits;
  for (std::size_t i = 0; i < block.ChannelScale.size(); ++i) {
    const std::int64_t position = file.Position();
    const Header<WinDaqEntryBytes> entry(file);
    if (opening.IsPublished()) {
      block.Calibrate(i, entry[WinDaqSlope] / 4, entry[WinDaqIntercept]);
    } else {
      block.ChannelScale[i] =
          Narrowed(4.0 / entry[WinDaqSlope], "WinDaq counts per unit", position);
      block.ChannelOffset[i] = Narrowed(entry[WinDaqIntercept], "WinDaq intercept", position);
    }
    opening.Store.Channel(i).ChannelUnitName = entry[WinDaqUnits];
    TellChannel(opening, entry, Place::OfChannel(position, i));
  }
}

}  // namespace

void ReadWinDaqFile(Opening& opening) {
  BinaryFile& file = opening.DataFile;
  opening.NeedBytes(WinDaqSmallestFile, "a WinDaq file");
  const Header<WinDaqHeaderBytes> header(file, 0);
  if (header[WinDaqChannelTableOffset] != WinDaqHeaderBytes ||
      header[WinDaqChannelEntrySize] != WinDaqEntryBytes)
    RefuseAsUnknown(WinDaqChannelTableOffset.Position(),
                    "The file is named as WinDaq files are, but bytes 4 and 5 are ",
                    header[WinDaqChannelTableOffset], " and ", header[WinDaqChannelEntrySize],
                    " and not 110 and 36.");
  const Integer channelCount = ChannelsOf(header, opening.IsPublished());
  if (channelCount == 0)
    RefuseAsUnknown(0,
                    "The file is named as WinDaq files are, but the bits of its header that count "
                    "channels are 0.");
  if (opening.IsPublished() && channelCount > RoomOf(header))
    RefuseAsDamaged(WinDaqChannels.Position(), "The header states ", channelCount,
                    " channels, and has room for ", RoomOf(header), ".");
  const Areas areas = AreasOf(header);
  file.SeekTo(areas.Samples - 2);
  if (file.ReadValue<std::uint16_t>() != WinDaqEndOfHeader)
    RefuseAsDamaged(areas.Samples > file.Size() ? file.Size() : WinDaqHeaderSize.Position(),
                    areas.Samples > file.Size()
                        ? Sentence("The file is named as WinDaq files are, but it ends at byte ",
                                   file.Size(), " of a header of ", areas.Samples, ".")
                        : Sentence("The header doesn't end at byte ", areas.Samples,
                                   ", as it states: its end mark isn't there."));
  if (opening.IsPublished() && Has(header, WinDaqPacked))
    Refuse(Refusal::UnsupportedFormat, "packed", WinDaqFlags.Position(),
           "The header says that the file is packed, which isn't undone.");

  BlockRec& block = opening.Store.Blocks.emplace_back();
  block.ADCName = u"WDQ";
  block.Resolution = 16;
  block.DimensionChannels(channelCount);
  file.Seek(WinDaqHeaderBytes);
  FillChannels(opening, header, file, block);
  block.FillFrom(areas.DataBytes < 2 ? file.Size() - areas.Samples : areas.DataBytes);
  block.DataPtr = areas.Samples;
  block.StartDateTime = DateSerial(1970, 1, 1) + header[WinDaqStartTime] / SecondsPerDay;
  ReadTitles(opening, areas, channelCount);
  if (areas.MarkerBytes >= 4)
    opening.DoOrDefer(Later::Comments, [areas, hiRes = (header[WinDaqFlags] & WinDaqHiRes) != 0](
                                           Opening& later) { ReadComments(later, areas, hiRes); });

  opening.FinishFile(FourCharacters("ABIN"), 1, 0);
  if (opening.IsPublished()) return;
  CheckRate(opening, header, opening.Store.Blocks.front());
  CheckFlags(opening, header);
}

}  // namespace lmimport
