// By the published notes on the format (bioread's file_format and headers; application note 156 of the
// maker). Numbers are little-endian in generation 3 (versions 30 to 45), mostly, and big-endian in
// generations 4 and 5 (61 to 132), mostly: the order is that in which the version is small.
//
//   offset  type    graph header, G bytes            offset  type      channel header
//        2  int32   version                               0  int32     its length
//        6  int32   G                                     6  40 bytes  title
//       10  int16   channels, N                          68  20 bytes  unit
//       16  double  milliseconds of a step               88  int32     samples
//      972  int32   compressed, from version 61          92  double    units of one count
//     1936  int32   compressed, versions 41 to 45       100  double    value of count 0
//     2398  int16   headers to skip, from 124           152  int16     divider, from version 61
//                                                       250  int16     divider, versions 38 to 45
//
// The headers to skip begin with their length, int32, and lie between the graph header and those of the
// channels. These are followed by a section that begins with its length (int16, from version 61 int32);
// for each channel the bytes of a sample and its kind (0 and 1 Double, 2 16-bit integer), both int16; the
// samples; and the markers. At each step, a channel has a sample if its divider divides the number of the
// step, until it has as many as it states.
//
//   markers         version below 36   36 to 45   from 61
//   head            8 bytes            8          25, from 121 33, from 128 41: int32 at 4 their number,
//                                                 from 61 one less
//   each            10                 12         16, 24, 32: int32 step; the last int16 bytes of the text
//   after the text  -                  1 byte     - (it is one of those of the text)
//
// Of a compressed file, the markers follow the kinds at once, and are followed, in generation 3, by 84
// bytes and 28 for each marker, unless the mark 44 33 22 11 stands there; by that mark, 2 bytes, int32 L
// and L bytes; by 34 bytes, int32 T and T bytes. In the others: by int32, which counts itself, and as many
// bytes; 24 bytes; int32 s and t; 20 bytes, from version 108 26; s + t bytes. Then each channel has 44
// bytes; int32 a, b, bytes of its samples, bytes of their stream; a + b bytes; and that zlib stream of its
// samples, which are little-endian.
#include "converters/AcqPublished.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "converters/AcqColumns.h"
#include "model/HeaderView.h"
#include "model/Inflate.h"
#include "model/Unpacking.h"
#include "readers/FrameRange.h"

namespace lmimport {
namespace {

constexpr Long AcqFirstVersion = 30, AcqLastOf3 = 45, AcqFirstOf4 = 61, AcqLastVersion = 132;
constexpr Long AcqLargestVersion = 1000;  // that a file of a later layout might state
constexpr Long AcqSmallestGraphHeader = 148;
constexpr Integer AcqLargestChannelTotal = 16384;

constexpr std::size_t AcqGraphBytes = 2400, AcqChannelBytes = 252;
constexpr Field<Long> AcqVersion{2}, AcqGraphLength{6}, AcqCompressed4{972}, AcqCompressed3{1936};
constexpr Field<Integer> AcqChannelTotal{10}, AcqSkippedHeaders{2398};
constexpr Field<Double> AcqInterval{16};
// of a channel
constexpr Field<Long> AcqChannelLength{0}, AcqSampleCount{88};
constexpr TextField AcqTitle{6, 40}, AcqUnit{68, 20};
constexpr Field<Double> AcqScale{92}, AcqOffset{100};
constexpr Field<Integer> AcqDivider4{152}, AcqDivider3{250};
constexpr std::int64_t AcqNeededOfChannel = 108;

constexpr Integer AcqKindInteger = 2, AcqLargestDoubleKind = 1;
constexpr Long AcqJournalMark = 0x11223344;

struct MarkerLayout {
  std::int64_t Position;
  std::int64_t HeadBytes;
  std::int64_t ItemBytes;
  std::int64_t AfterText;
  bool IsBigEndian;
  bool IsUtf8;
  Long Uncounted;  // of those that the head states
  Double StepSeconds;
};

// Calls take(step, text) for each marker; gives the position after the last, or nothing where the file
// ends among them.
template <class Take>
std::optional<std::int64_t> WalkMarkers(BinaryFile& file, const MarkerLayout& layout, Long& count,
                                        Take take) {
  constexpr std::size_t largestHead = 8, largestItem = 32;
  Header<largestHead> head(file, layout.Position);
  head.SetBigEndian(layout.IsBigEndian);
  count = std::max(0, head[Field<Long>{4}] - layout.Uncounted);
  std::int64_t position = layout.Position + layout.HeadBytes;
  for (Long i = 0; i < count; ++i) {
    Header<largestItem> item(file, position);
    item.SetBigEndian(layout.IsBigEndian);
    if (position + layout.ItemBytes > file.Size()) {
      count = i;
      return {};
    }
    const auto lengthPlace = static_cast<std::size_t>(layout.ItemBytes - 2);
    const std::int64_t length = std::max<Integer>(0, item[Field<Integer>{lengthPlace}]);
    position += layout.ItemBytes;
    take(item[Field<Long>{0}], position, length);
    position += length + layout.AfterText;
  }
  return position;
}

class PublishedAcq {
 public:
  explicit PublishedAcq(Opening& opening) : opening_(opening), file_(opening.DataFile) {}
  void Read();

 private:
  bool IsOf4() const { return version_ >= AcqFirstOf4; }
  void ReadGraphHeader();
  void ReadChannelHeaders();
  void ReadKinds();
  void HoldToFile();
  bool AreAlike() const;
  MarkerLayout Markers(std::int64_t position) const;
  void FillBlocks();
  void TellChannel(const PublishedAcqChannel& channel, const Place& place);
  void ReadInPlace();
  void ReadColumns();
  void ReadCompressed();
  std::int64_t SkipToStreams(std::int64_t position, Long markers);
  String TextOf(const HeaderView& header, TextField field) const;
  Field<Integer> DividerField() const { return IsOf4() ? AcqDivider4 : AcqDivider3; }
  bool HasDivider(const HeaderView& header) const;
  template <class T>
  T NumberAt(std::int64_t position) {
    file_.Seek(position);
    const T number = file_.ReadValue<T>();
    return isBig_ ? Swapped(number) : number;
  }

  Opening& opening_;
  BinaryFile& file_;
  bool isBig_ = false;
  Long version_ = 0;
  std::int64_t position_ = 0;  // of what is read next
  Double interval_ = 0;        // seconds of a step
  bool isCompressed_ = false;
  std::vector<PublishedAcqChannel> channels_;
};

void PublishedAcq::ReadGraphHeader() {
  Header<AcqGraphBytes> header(file_, 0);
  const auto isVersion = [](Long number) { return number > 0 && number <= AcqLargestVersion; };
  isBig_ = !isVersion(header[AcqVersion]);
  header.SetBigEndian(isBig_);
  version_ = header[AcqVersion];
  if (!isVersion(version_))
    RefuseAsUnknown(AcqVersion.Position(), "The file is named .acq, but ", Swapped(version_),
                    " is not a version of that format.");
  if (version_ < AcqFirstVersion || (version_ > AcqLastOf3 && !IsOf4()) ||
      version_ > AcqLastVersion)
    Refuse(Refusal::UnknownFormat, "version-not-read", AcqVersion.Position(),
           "The file states version ", version_, "; versions ", AcqFirstVersion, " to ", AcqLastOf3,
           " and ", AcqFirstOf4, " to ", AcqLastVersion, " are read.");
  const Long length = header[AcqGraphLength];
  if (length < AcqSmallestGraphHeader || length > file_.Size())
    RefuseAsUnknown(AcqGraphLength.Position(), "The header states that it has ", length,
                    " bytes, in a file of ", file_.Size(), ".");
  const Integer total = header[AcqChannelTotal];
  if (total < 1 || total > AcqLargestChannelTotal)
    RefuseAsDamaged(AcqChannelTotal.Position(), "The header states ", total, " channels.");
  interval_ = header[AcqInterval] / 1000;
  if (!(interval_ > 0) || !std::isfinite(static_cast<Single>(1 / interval_)))
    RefuseAsDamaged(AcqInterval.Position(), "An interval of ", header[AcqInterval],
                    " ms gives no rate.");
  constexpr Long firstCompressed3 = 41, firstSkipped = 124;
  const Field<Long> compressed = IsOf4() ? AcqCompressed4 : AcqCompressed3;
  isCompressed_ = version_ >= firstCompressed3 && header[compressed] != 0 &&
                  compressed.Position() + 4 <= length;
  position_ = length;
  opening_.Tell(header, AcqInterval, "dSampleTime", "milliseconds of a step");
  const Integer skipped = version_ >= firstSkipped ? header[AcqSkippedHeaders] : Integer{0};
  for (Integer i = 0; i < skipped && position_ < file_.Size(); ++i)
    position_ += std::max(1, NumberAt<Long>(position_));
  // Each channel has a header in the file.
  if (file_.Size() - position_ < total * AcqNeededOfChannel)
    RefuseAsDamaged(file_.Size(), "The file ends before the headers of its ", total, " channels.");
  channels_.resize(static_cast<std::size_t>(total));
}

String PublishedAcq::TextOf(const HeaderView& header, TextField field) const {
  if (!IsOf4()) return header.Untrimmed(field);
  const auto bytes = header.Bytes(field);
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return FromUtf8(text.substr(0, text.find('\0')));
}

bool PublishedAcq::HasDivider(const HeaderView& header) const {
  constexpr Long firstDivider3 = 38;
  return version_ >= firstDivider3 && header[AcqChannelLength] >= DividerField().Position() + 2;
}

void PublishedAcq::ReadChannelHeaders() {
  for (PublishedAcqChannel& channel : channels_) {
    Header<AcqChannelBytes> header(file_, position_);
    header.SetBigEndian(isBig_);
    channel.HeaderPosition = position_;
    const Long length = header[AcqChannelLength];
    if (length < AcqNeededOfChannel || position_ + length > file_.Size())
      RefuseAsDamaged(position_, "The header of a channel states that it has ", length, " bytes.");
    channel.Title = TextOf(header, AcqTitle);
    channel.Unit = TextOf(header, AcqUnit);
    channel.Count = std::max(0, header[AcqSampleCount]);
    channel.Scale = header[AcqScale];
    channel.Offset = header[AcqOffset];
    channel.Divider =
        std::max<Integer>(1, HasDivider(header) ? header[DividerField()] : Integer{1});
    position_ += length;
  }
  const std::int64_t section = IsOf4() ? NumberAt<Long>(position_) : NumberAt<Integer>(position_);
  position_ += std::max<std::int64_t>(0, section);
}

void PublishedAcq::ReadKinds() {
  for (std::size_t k = 0; k < channels_.size(); ++k) {
    const Integer kind = NumberAt<Integer>(position_ + 2);
    if (kind < (IsOf4() ? 0 : 1) || kind > AcqKindInteger)
      RefuseAsDamaged(position_, "Channel ", k + 1, " has samples of kind ", kind,
                      ", not 1 (Double) or 2 (16-bit integer).");
    channels_[k].KindPosition = position_ + 2;
    channels_[k].Kind = kind <= AcqLargestDoubleKind ? SampleDouble : SampleInt16;
    position_ += 4;
  }
}

// A file that is cut off has the steps that it holds whole.
void PublishedAcq::HoldToFile() {
  const auto samplesIn = [](const PublishedAcqChannel& channel, std::int64_t steps) {
    return std::min(channel.Count, (steps + channel.Divider - 1) / channel.Divider);
  };
  const auto bytesOf = [&](std::int64_t steps) {
    std::int64_t bytes = 0;
    for (const PublishedAcqChannel& channel : channels_)
      bytes += samplesIn(channel, steps) * channel.Width();
    return bytes;
  };
  std::int64_t claimed = 0;
  for (const PublishedAcqChannel& channel : channels_)
    claimed = std::max(claimed, channel.Count * channel.Divider);
  const std::int64_t there = std::max<std::int64_t>(0, file_.Size() - position_);
  if (bytesOf(claimed) <= there) return;
  std::int64_t steps = 0;
  for (std::int64_t above = claimed; steps + 1 < above;) {
    const std::int64_t middle = steps + (above - steps) / 2;
    (bytesOf(middle) <= there ? steps : above) = middle;
  }
  opening_.Warn("data-cut-off", {file_.Size(), 0}, "The header claims ", claimed,
                " steps, and the file holds ", steps, "; those are shown.");
  for (PublishedAcqChannel& channel : channels_) channel.Count = samplesIn(channel, steps);
}

bool PublishedAcq::AreAlike() const {
  return std::ranges::all_of(channels_, [this](const PublishedAcqChannel& channel) {
    const PublishedAcqChannel& first = channels_.front();
    return channel.Divider == first.Divider && channel.Count == first.Count &&
           channel.Kind == first.Kind;
  });
}

MarkerLayout PublishedAcq::Markers(std::int64_t position) const {
  constexpr Long withFlag = 36, longer = 121, longest = 128;
  const std::int64_t more = version_ >= longest ? 16 : version_ >= longer ? 8 : 0;
  if (IsOf4()) return {position, 25 + more, 16 + more, 0, isBig_, true, 1, interval_};
  const bool hasFlag = version_ >= withFlag;
  return {position, 8, hasFlag ? 12 : 10, hasFlag ? 1 : 0, isBig_, false, 0, interval_};
}

void ReadMarkers(Opening& opening, const MarkerLayout& layout) {
  struct Marker {
    Long Step;
    std::int64_t Position;
    std::int64_t Length;
  };
  std::vector<Marker> markers;
  Long count = 0;
  const auto end = WalkMarkers(opening.DataFile, layout, count,
                               [&](Long step, std::int64_t position, std::int64_t length) {
                                 markers.push_back({step, position, length});
                               });
  if (!end)
    opening.Note("comments-cut", {opening.DataFile.Size(), 0}, "The file holds only the first ",
                 count, " of its markers.");
  std::ranges::stable_sort(markers, {}, &Marker::Step);
  std::string bytes;
  for (const Marker& marker : markers) {
    bytes.resize(static_cast<std::size_t>(marker.Length));
    opening.DataFile.Seek(marker.Position);
    opening.DataFile.ReadBytes(bytes.data(), marker.Length);
    const std::string_view text = std::string_view(bytes).substr(0, bytes.find('\0'));
    opening.AddComment(marker.Step * layout.StepSeconds, NotStated,
                       layout.IsUtf8 ? FromUtf8(text) : opening.Texts.Text(text));
  }
}

void PublishedAcq::TellChannel(const PublishedAcqChannel& channel, const Place& place) {
  if (!opening_.Rules.KeepsFields) return;
  Header<AcqChannelBytes> header(file_, channel.HeaderPosition);
  header.SetBigEndian(isBig_);
  const Place origin = {channel.HeaderPosition, place.Block, place.Channel};
  opening_.Tell({channel.KindPosition, place.Block, place.Channel}, "nType",
                NumberAt<Integer>(channel.KindPosition),
                "kind of samples: 0 and 1 Doubles, 2 16-bit integers");
  if (HasDivider(header))
    opening_.Tell(header, DividerField(), "nVarSampleDivider",
                  "steps from one sample to the next; below 1: 1", origin);
  if (channel.Kind == SampleDouble) return opening_.TellFormula("the value, as stored", place);
  opening_.Tell(header, AcqScale, "dAmplScale", "units of one count", origin);
  opening_.Tell(header, AcqOffset, "dAmplOffset", "value of count 0", origin);
  opening_.TellFormula("count * dAmplScale + dAmplOffset", place);
}

// As many channels as share divider, length and kind are a block, of columns where they are several.
void PublishedAcq::FillBlocks() {
  std::map<std::tuple<std::int64_t, std::int64_t, Integer>, std::vector<std::size_t>> groups;
  for (std::size_t k = 0; k < channels_.size(); ++k) {
    const PublishedAcqChannel& channel = channels_[k];
    groups[{channel.Divider, -channel.Count, channel.Kind}].push_back(k);
  }
  std::int64_t end = 0;
  for (const auto& [key, members] : groups) {
    PublishedAcqChannel& first = channels_[members.front()];
    BlockRec& block = opening_.Store.Blocks.emplace_back();
    block.ADCName = u"ACQ";
    block.Resolution = 16;
    block.StartDateTime = opening_.DateOfFile();
    block.StartTime = 0;
    block.SampleType = first.Kind;
    block.SetRate(1 / (interval_ * static_cast<Double>(first.Divider)));
    block.SizeChannel = HeldAsLong(first.Count);
    block.DimensionChannels(static_cast<Integer>(members.size()));
    block.DataPtr = end;
    for (std::size_t c = 0; c < members.size(); ++c) {
      PublishedAcqChannel& channel = channels_[members[c]];
      block.ChannelIndex[c] = static_cast<Integer>(members[c]);
      if (channel.Kind == SampleInt16) block.Calibrate(c, channel.Scale, channel.Offset);
      ChannelRec& shown = opening_.Store.Channel(members[c]);
      shown.ChannelTitle = channel.Title;
      shown.ChannelUnitName = channel.Unit;
      TellChannel(channel, Place::OfChannel(-1, c, opening_.Store.Blocks.size() - 1));
      channel.Column = end;
      end += channel.Count * channel.Width();
    }
    if (members.size() > 1 && block.SizeChannel > 0) block.SetColumns();
    Opening::CheckNumbers(block);
  }
}

// The range of Doubles is 64000 counts; a constant channel has 1000 a unit.
void FitDoubles(Opening& opening, BinaryFile& file) {
  constexpr Double countsOfRange = 64000;
  for (BlockRec& block : opening.Store.Blocks) {
    if (block.SampleType != SampleDouble) continue;
    ScanBlock<Double>(file, block, opening.Progress, [&](std::size_t c, Double least, Double most) {
      const bool constant = !(least < most);
      block.ChannelScale[c] = constant ? 1000 : static_cast<Single>(countsOfRange / (most - least));
      block.ChannelOffset[c] = static_cast<Single>(constant ? most : (least + most) / 2);
    });
  }
}

void PublishedAcq::ReadInPlace() {
  BlockRec& block = opening_.Store.Blocks.front();
  block.Lanes = {};
  block.DataPtr = position_;
  block.BigEndian = isBig_;
  if (block.HasRealSamples())
    opening_.DoOrDefer(Later::Ranges, [](Opening& later) { FitDoubles(later, later.DataFile); });
}

void PublishedAcq::ReadColumns() {
  for (BlockRec& block : opening_.Store.Blocks) block.BigEndian = isBig_;
  opening_.DoOrDefer(Later::Samples, [columns = AcqColumns(channels_, position_)](Opening& later) {
    columns.Unpack(later);
    BinaryFile unpacked(later.Texts, later.Store.DataFile);
    FitDoubles(later, unpacked);
  });
}

// What lies between the markers and the streams of the channels.
std::int64_t PublishedAcq::SkipToStreams(std::int64_t position, Long markers) {
  constexpr Long firstLonger = 108;
  const auto skipCounted = [&](std::int64_t fixed) {
    position += fixed;
    position += 4 + std::max(0, NumberAt<Long>(position));
  };
  if (!IsOf4()) {
    file_.Seek(position);
    if (file_.ReadValue<Long>() != AcqJournalMark) position += 84 + 28 * std::int64_t{markers};
    skipCounted(6);
    skipCounted(34);
    return position;
  }
  position += std::max(4, NumberAt<Long>(position)) + 24;
  const std::int64_t texts = std::int64_t{std::max(0, NumberAt<Long>(position))} +
                             std::max(0, NumberAt<Long>(position + 4));
  return position + 8 + 20 + (version_ >= firstLonger ? 6 : 0) + texts;
}

void PublishedAcq::ReadCompressed() {
  if (!CanInflate())
    Refuse(Refusal::UnsupportedFormat, "packed", -1,
           "The samples are compressed, which this build doesn't undo.");
  Long markers = 0;
  const auto end =
      WalkMarkers(file_, Markers(position_), markers, [](Long, std::int64_t, std::int64_t) {});
  if (!end) RefuseAsDamaged(file_.Size(), "The file ends before its compressed samples.");
  std::int64_t position = SkipToStreams(*end, markers);
  std::vector<std::pair<std::int64_t, std::int64_t>> streams;
  bool cut = false;
  for (PublishedAcqChannel& channel : channels_) {
    constexpr std::int64_t fixedBytes = 44, headBytes = 60;
    position += fixedBytes;
    const std::int64_t texts = std::int64_t{std::max(0, NumberAt<Long>(position))} +
                               std::max(0, NumberAt<Long>(position + 4));
    const std::int64_t raw = NumberAt<Long>(position + 8);
    std::int64_t packed = std::max(0, NumberAt<Long>(position + 12));
    position += headBytes - fixedBytes + texts;
    const std::int64_t there = std::max<std::int64_t>(0, file_.Size() - position);
    std::int64_t held = std::clamp<std::int64_t>(raw, 0, LargestInflated(packed));
    if (packed > there) held = std::min(held, Inflater(*file_.Source(), position, there).SkipAll());
    packed = std::min(packed, there);
    cut = cut || held / channel.Width() < channel.Count;
    channel.Count = std::min(channel.Count, held / channel.Width());
    streams.emplace_back(position, packed);
    position += packed;
  }
  if (cut)
    opening_.Warn("data-cut-off", {file_.Size(), 0},
                  "The header claims more samples than the compressed ones are; those are shown.");
  FillBlocks();
  Unpacking unpacking;
  for (const BlockRec& block : opening_.Store.Blocks) {
    for (const Integer number : block.ChannelIndex) {
      const auto k = static_cast<std::size_t>(number);
      const auto [start, packed] = streams[k];
      unpacking.AddPacked(start, packed, 0, channels_[k].Count * channels_[k].Width());
    }
  }
  opening_.DoOrDefer(Later::Samples, [unpacking](Opening& later) {
    unpacking.Unpack(later);
    BinaryFile unpacked(later.Texts, later.Store.DataFile);
    FitDoubles(later, unpacked);
  });
}

void PublishedAcq::Read() {
  ReadGraphHeader();
  ReadChannelHeaders();
  ReadKinds();
  std::int64_t data = 0;
  for (const PublishedAcqChannel& channel : channels_) data += channel.Count * channel.Width();
  const MarkerLayout markers = Markers(isCompressed_ ? position_ : position_ + data);
  if (isCompressed_) {
    ReadCompressed();
  } else {
    HoldToFile();
    FillBlocks();
    AreAlike() ? ReadInPlace() : ReadColumns();
  }
  opening_.DoOrDefer(Later::Comments, [markers](Opening& later) { ReadMarkers(later, markers); });
  opening_.FinishFile(FourCharacters("data"));
}

}  // namespace

void ReadPublishedAcq(Opening& opening) {
  PublishedAcq(opening).Read();
}

}  // namespace lmimport
