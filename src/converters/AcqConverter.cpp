// ACQ recordings of the 3.x generation (versions 30 to 45, little-endian), by the published notes
// on the format: each channel with a rate of its own, a whole part of the base rate, and as 16-bit
// integers or Doubles.
//
//   offset  type    graph header, G bytes         offset  type      channel header, H bytes each
//        2  int32   version                            0  int32     H
//        6  int32   G                                  6  40 bytes  title, to the first zero byte
//       10  int16   channels, N                       68  20 bytes  unit, to the first zero byte
//       16  double  milliseconds of a step            88  int32     samples
//     1936  int32   compressed, from version 41       92  double    units of one count
//                                                    100  double    value of count 0
//                                                    250  int16     divider, from version 38
//
// The channel headers are followed by: a section that begins with its length in bytes, int16; for each
// channel the bytes of a sample and its kind (1 Double, 2 16-bit integer), both int16; the samples;
// the length of the markers and their number, both int32; and the markers:
//
//        0  int32   step, from 0
//       10  int16   bytes of the text, which a zero byte follows
//       12          text
//
// Where all channels have the same kind and the base rate, the samples are frames as they are.
#include <array>
#include <cmath>

#include "converters/AcqFrames.h"
#include "converters/AcqPublished.h"
#include "converters/Converters.h"
#include "model/HeaderView.h"

namespace lmimport {
namespace {

constexpr Long AcqFirstVersion = 30, AcqLastVersion = 45;
constexpr Long AcqLargestVersion = 1000;  // that a file of a later layout might state
constexpr Long AcqVersionWithMarkerFlag = 36, AcqVersionWithDivider = 38,
               AcqVersionWithCompression = 41, AcqSmallestGraphHeader = 148;
constexpr std::int64_t AcqBytesPastGraphHeader = 118;
constexpr Integer AcqLargestChannelTotal = 16384;
constexpr Double AcqLargestInterval = 1e7;

constexpr std::size_t AcqGraphBytes = 24;
constexpr Field<Long> AcqVersion{2}, AcqGraphLength{6};
constexpr Field<Integer> AcqChannelTotal{10};
constexpr Field<Double> AcqInterval{16};
constexpr std::int64_t AcqCompressed = 1936;

constexpr std::size_t AcqChannelBytes = 252;
constexpr Field<Long> AcqChannelLength{0}, AcqSampleCount{88};
constexpr TextField AcqTitle{6, 40}, AcqUnit{68, 20};
constexpr Field<Double> AcqScale{92}, AcqOffset{100};
constexpr Field<Integer> AcqDivider{250};

constexpr std::int64_t AcqTypeBytes = 4;
constexpr Integer AcqKindDouble = 1, AcqKindInteger = 2;

constexpr std::size_t AcqMarkerBytes = 12;
constexpr Field<Long> AcqMarkerStep{0};
constexpr Field<Integer> AcqMarkerTextLength{10};

// The flat data file takes at most 128 times the bytes of a whole recording: a step of 2 bytes can
// be a frame of 32 Doubles. What a damaged header claims beyond that, and a little more, isn't made.
constexpr std::int64_t AcqLargestGrowth = 128, AcqGrowthAllowance = 16LL * 1024 * 1024;

// What of the headers is needed to read markers and samples.
struct AcqLayout {
  std::vector<AcqChannel> Channels;
  std::int64_t ChunkStart = 0;
  std::int64_t ChunkSize = 0;
};

void ReadMarkers(Opening& opening, std::int64_t position, Long version) {
  BinaryFile& file = opening.DataFile;
  BlockRec& block = opening.Store.Blocks.front();
  file.Seek(position);
  std::int64_t leftOut = 0;
  std::array<Long, 2> head{};  // the length of the section, and the number of markers
  file.ReadInt32Array(head.data(), std::ssize(head));
  if (head[1] > 0 && version < AcqVersionWithMarkerFlag)
    opening.Warn("markers-misread", {position, 0}, "Markers of version ", version,
                 " have two bytes less before their text, and none after it; they are read like "
                 "those of later versions, so their texts and places are wrong.");
  for (Long i = 0; i < head[1]; ++i) {
    Header<AcqMarkerBytes> marker(opening.Texts);
    if (marker.ReadMore(file, 0, AcqMarkerBytes) < std::int64_t{AcqMarkerBytes}) {
      opening.Note("comments-cut", {file.Size(), 0}, "The file claims ", head[1],
                   " markers, and holds ", i, ".");
      break;
    }
    const Long step = marker[AcqMarkerStep];
    const Integer length = marker[AcqMarkerTextLength];
    if (step >= 0 && step < block.SizeChannel) {
      CommentRec& comment = block.Comments.emplace_back();
      comment.Position = step + 1;
      file.ReadFixedString(comment.Text, length);
      file.Skip(1);
    } else {
      file.Skip(std::max(0, length + 1));  // never back to a marker that was read
      ++leftOut;
    }
  }
  block.CommentCount = HeldAsLong(std::ssize(block.Comments));
  if (leftOut > 0)
    opening.Note("comments-left-out", {position, 0}, leftOut,
                 leftOut == 1 ? " comment" : " comments", " outside the recording left out.");
}

// A finished flat file spares the writing. The ranges of the Double channels are stored nowhere, so
// where there are any, the recording is gone through all the same.
void MakeFlatFile(Opening& opening, const AcqLayout& layout) {
  BlockRec& block = opening.Store.Blocks.front();
  std::vector<AcqChannel> channels = layout.Channels;
  FlatDataFile flat(opening, block.SizeChannel * block.FrameBytes());
  flat.FindOrCreate();
  const auto shown = std::span(channels).first(block.ChannelScale.size());
  const bool rangesLack = std::ranges::count(shown, SampleDouble, &AcqChannel::StoredKind) > 0;
  if (rangesLack || !flat.IsUpToDate())
    AcqFrames(channels, shown.size())
        .Decode(opening.DataFile, layout.ChunkStart, block.SizeChannel,
                flat.IsUpToDate() ? nullptr : &flat, opening.Progress);
  FitAcqScale(block, channels);
  flat.Adopt();
}

class AcqConverter {
 public:
  explicit AcqConverter(Opening& opening) : opening_(opening), file_(opening.DataFile) {}
  void Convert();

 private:
  BlockRec& Block() { return opening_.Store.Blocks.front(); }
  std::vector<AcqChannel>& Channels() { return layout_->Channels; }
  bool IsInPlace() const;
  void RefuseVersion() const;
  void ReadGraphHeader();
  void ReadChannelHeaders();
  void FillChannel(std::size_t number, const HeaderView& header);
  void ReadChannelTypes();
  void WorkOutDividers();
  void HoldSize();
  void FillSamples();
  void TellFields();
  void NoteDividers();
  void NoteCompression();

  Opening& opening_;
  BinaryFile& file_;
  std::shared_ptr<AcqLayout> layout_ = std::make_shared<AcqLayout>();
  Long version_ = 0;
  std::int64_t graphLength_ = 0;
  std::int64_t channelLength_ = 0;
  std::int64_t typeTable_ = 0;
  Long maxSamples_ = 0;
  bool hasInteger_ = false;
  bool hasDouble_ = false;
  bool needsResample_ = false;
};

bool AcqConverter::IsInPlace() const {
  return hasInteger_ != hasDouble_ && !needsResample_ &&
         layout_->Channels.size() <= LargestChannelCount;
}

void AcqConverter::RefuseVersion() const {
  const auto bits = static_cast<std::uint32_t>(version_);
  const auto swapped =
      static_cast<Long>(bits << 24 | (bits & 0xff00) << 8 | (bits >> 8 & 0xff00) | bits >> 24);
  const auto isVersion = [](Long number) { return number > 0 && number <= AcqLargestVersion; };
  if (isVersion(version_) || isVersion(swapped))
    Refuse(Refusal::UnknownFormat, "version-not-read", AcqVersion.Position(),
           "The file states version ", isVersion(version_) ? version_ : swapped,
           isVersion(version_) ? "" : " in big-endian numbers", "; versions ", AcqFirstVersion,
           " to ", AcqLastVersion, " in little-endian numbers are read.");
  RefuseAsUnknown(AcqVersion.Position(), "The file is named .acq, but ", version_,
                  " is not a version of that format.");
}

void AcqConverter::ReadGraphHeader() {
  const Header<AcqGraphBytes> header(file_, 0);
  version_ = header[AcqVersion];
  if (version_ < AcqFirstVersion || version_ > AcqLastVersion) RefuseVersion();
  graphLength_ = header[AcqGraphLength];
  if (graphLength_ < AcqSmallestGraphHeader ||
      file_.Size() < graphLength_ + AcqBytesPastGraphHeader)
    RefuseAsUnknown(AcqGraphLength.Position(), "The header states that it has ", graphLength_,
                    " bytes, in a file of ", file_.Size(), ".");
  const Integer total = header[AcqChannelTotal];
  const Double interval = header[AcqInterval];
  const auto rate = static_cast<Single>(1000 / interval);
  if (total < 1 || total > AcqLargestChannelTotal)
    RefuseAsDamaged(AcqChannelTotal.Position(), "The header states ", total, " channels.");
  if (interval > AcqLargestInterval || interval < 0 || !std::isfinite(rate))
    RefuseAsDamaged(AcqInterval.Position(), "An interval of ", interval, " ms gives no rate.");
  // A table of their types that the file doesn't hold would read as types that don't exist.
  if (file_.Size() < AcqTypeBytes * total)
    RefuseAsDamaged(file_.Size(), "The file ends before the types of its ", total, " channels.");
  Channels().resize(static_cast<std::size_t>(total));
  BlockRec& block = opening_.Store.Blocks.emplace_back();
  block.ADCName = u"ACQ";
  block.Resolution = 16;
  block.StartDateTime = opening_.DateOfFile();
  block.SamplingRate = rate;
  block.DimensionChannels(std::min(total, LargestChannelCount));
}

// Each header tells its length, and with it where the next one lies; the last one, what follows.
void AcqConverter::ReadChannelHeaders() {
  std::int64_t position = graphLength_;
  for (std::size_t k = 0; k < Channels().size(); ++k) {
    std::array<Byte, AcqChannelBytes> bytes{};
    file_.Seek(position);
    const std::int64_t done = file_.ReadByteArray(bytes.data(), AcqChannelBytes);
    const HeaderView header({bytes.data(), static_cast<std::size_t>(done)}, opening_.Texts);
    channelLength_ = header[AcqChannelLength];
    Channels()[k].HeaderPosition = position;
    FillChannel(k, header);
    position = graphLength_ + channelLength_ * (static_cast<std::int64_t>(k) + 1);
  }
  file_.Seek(position);
  typeTable_ = position + file_.ReadValue<Integer>();
  layout_->ChunkStart = typeTable_ + AcqTypeBytes * std::ssize(Channels());
}

void AcqConverter::FillChannel(std::size_t number, const HeaderView& header) {
  AcqChannel& channel = Channels()[number];
  channel.SampleCount = header[AcqSampleCount];
  channel.AmplitudeScale = header[AcqScale];
  channel.AmplitudeOffset = header[AcqOffset];
  if (version_ >= AcqVersionWithDivider && channelLength_ >= std::int64_t{AcqChannelBytes})
    channel.StatedDivider = header[AcqDivider];
  maxSamples_ = std::max(maxSamples_, channel.SampleCount);
  if (number >= Block().ChannelScale.size()) return;
  ChannelRec& shown = opening_.Store.Channel(number);
  shown.ChannelTitle = header.Untrimmed(AcqTitle);
  shown.ChannelUnitName = header.Untrimmed(AcqUnit);
}

void AcqConverter::ReadChannelTypes() {
  std::vector<Integer> table(Channels().size() * 2);
  file_.Seek(typeTable_);
  file_.ReadInt16Array(table.data(), std::ssize(table));
  for (std::size_t k = 0; k < Channels().size(); ++k) {
    AcqChannel& channel = Channels()[k];
    channel.SampleBytes = table[2 * k];
    const Integer kind = table[2 * k + 1];
    if (kind != AcqKindInteger && kind != AcqKindDouble)
      RefuseAsDamaged(typeTable_ + AcqTypeBytes * static_cast<std::int64_t>(k), "Channel ", k + 1,
                      " has samples of kind ", kind, ", not 1 (Double) or 2 (16-bit integer).");
    channel.StoredKind = kind == AcqKindInteger ? SampleInt16 : SampleDouble;
    (kind == AcqKindInteger ? hasInteger_ : hasDouble_) = true;
    layout_->ChunkSize += std::int64_t{channel.SampleCount} * channel.SampleBytes;
    if (k >= Block().ChannelScale.size() || kind != AcqKindInteger) continue;
    Block().ChannelScale[k] = Narrowed(1 / channel.AmplitudeScale, "ACQ counts per unit",
                                       channel.HeaderPosition + AcqScale.Position());
    Block().ChannelOffset[k] = Narrowed(channel.AmplitudeOffset, "ACQ offset",
                                        channel.HeaderPosition + AcqOffset.Position());
  }
}

// A slower channel has its samples a whole number of steps apart. One that is nearly as long as the
// longest has the same rate, and ends the block where it ends.
void AcqConverter::WorkOutDividers() {
  const Double longest = maxSamples_;
  Long shortest = maxSamples_;
  for (AcqChannel& channel : Channels()) {
    if (channel.SampleCount == maxSamples_) continue;
    if (channel.SampleCount < 1)
      RefuseAsDamaged(channel.HeaderPosition + AcqSampleCount.Position(), "A channel of ",
                      channel.SampleCount, " samples is beside one of ", maxSamples_, ".");
    channel.Divider = static_cast<Long>(std::nearbyint(longest / channel.SampleCount));
    if (channel.Divider > 1)
      needsResample_ = true;
    else
      shortest = std::min(shortest, channel.SampleCount);
  }
  Block().SizeChannel = shortest;
  if (!IsInPlace()) HoldSize();
}

// The frames of the flat data file go on past the end of the samples, but no further than a whole
// recording of that size could be long.
void AcqConverter::HoldSize() {
  BlockRec& block = Block();
  const std::int64_t frameBytes = block.ChannelCount * std::int64_t{sizeof(Double)};
  const std::int64_t there =
      AcqFrames(Channels(), 0).StepsIn(file_.Size() - layout_->ChunkStart, block.SizeChannel);
  const std::int64_t largest = (file_.Size() * AcqLargestGrowth + AcqGrowthAllowance) / frameBytes;
  const Long claimed = block.SizeChannel;
  block.SizeChannel = static_cast<Long>(std::min<std::int64_t>(claimed, largest));
  block.HeldFrames = HeldAsLong(std::min<std::int64_t>(there, block.SizeChannel));
  if (there >= claimed) return;
  const std::string held =
      block.SizeChannel < claimed ? Sentence(" as far as ", block.SizeChannel, " frames") : "";
  opening_.Warn("data-cut-off", {file_.Size(), 0}, "The header claims ", claimed,
                " frames, and the file holds ", there, "; past them the last values go on", held,
                ".");
}

void AcqConverter::FillSamples() {
  BlockRec& block = Block();
  const std::shared_ptr<const AcqLayout> layout = layout_;
  const bool inPlace = IsInPlace();
  block.DataPtr = inPlace ? layout->ChunkStart : 0;
  if (inPlace && !hasDouble_) return;
  block.SampleType = SampleDouble;
  if (!inPlace)
    return opening_.DoOrDefer(Later::Samples,
                              [layout](Opening& later) { MakeFlatFile(later, *layout); });
  opening_.DoOrDefer(Later::Ranges, [layout](Opening& later) {
    BlockRec& scanned = later.Store.Blocks.front();
    std::vector<AcqChannel> channels = layout->Channels;
    ScanAcqDoubles(channels, later.DataFile, scanned.DataPtr, scanned.SizeChannel, later.Progress);
    FitAcqScale(scanned, channels);
  });
}

void AcqConverter::TellFields() {
  constexpr std::int64_t kindBytes = 2;  // before the kind of a channel
  if (!opening_.Rules.KeepsFields) return;
  opening_.Tell(Header<AcqGraphBytes>(file_, 0), AcqInterval, "dSampleTime",
                "milliseconds of a step, which is a frame");
  for (std::size_t k = 0; k < Block().ChannelScale.size(); ++k) {
    const AcqChannel& channel = Channels()[k];
    const Header<AcqChannelBytes> header(file_, channel.HeaderPosition);
    const Place place = Place::OfChannel(channel.HeaderPosition, k);
    const bool isInteger = channel.StoredKind == SampleInt16;
    opening_.Tell(header, AcqSampleCount, "lBufLength",
                  "samples, by which the steps from one to the next are known", place);
    opening_.Tell(
        Place::OfChannel(typeTable_ + AcqTypeBytes * static_cast<std::int64_t>(k) + kindBytes, k),
        "nType", isInteger ? AcqKindInteger : AcqKindDouble,
        "kind of samples: 1 Doubles, 2 16-bit integers");
    if (!isInteger) {
      opening_.TellFormula("the value, as stored", Place::OfChannel(-1, k));
      continue;
    }
    opening_.Tell(header, AcqScale, "dAmplScale", "units of one count", place);
    opening_.Tell(header, AcqOffset, "dAmplOffset", "value of count 0", place);
    opening_.TellFormula(IsInPlace() ? "count / single(1 / dAmplScale) + single(dAmplOffset)"
                                     : "count * dAmplScale + dAmplOffset",
                         Place::OfChannel(-1, k));
  }
}

void AcqConverter::NoteDividers() {
  const auto slower = std::ranges::count_if(
      Channels(), [](const AcqChannel& channel) { return channel.Divider > 1; });
  if (slower > 0)
    opening_.Note(
        "rates-raised", {-1, 0}, slower,
        " of the channels have a lower rate than the others; their samples are repeated.");
  const auto differs = [](const AcqChannel& channel) {
    return channel.StatedDivider > 0 && channel.StatedDivider != channel.Divider;
  };
  const auto first = std::ranges::find_if(Channels(), differs);
  if (first == Channels().end()) return;
  const auto number = static_cast<int>(first - Channels().begin());
  opening_.Warn("divider-differs",
                {first->HeaderPosition + AcqDivider.Position(), 0,
                 number < LargestChannelCount ? number : -1},
                "The divider that follows from the number of samples isn't the stated one on ",
                std::ranges::count_if(Channels(), differs), " of ", Channels().size(),
                " channels; channel ", number + 1, " states ", first->StatedDivider, ", and ",
                first->Divider, " is used, so samples can run out of step.");
}

void AcqConverter::NoteCompression() {
  const std::int64_t end = AcqCompressed + std::int64_t{sizeof(Long)};
  if (version_ < AcqVersionWithCompression || graphLength_ < end) return;
  file_.Seek(AcqCompressed);
  if (file_.ReadValue<Long>() != 0)
    opening_.Warn("packed", AcqCompressed,
                  "The samples are compressed, which isn't undone: the values make no sense.");
}

void AcqConverter::Convert() {
  ReadGraphHeader();
  ReadChannelHeaders();
  ReadChannelTypes();
  WorkOutDividers();
  Opening::CheckNumbers(Block());
  const std::int64_t markers = layout_->ChunkStart + layout_->ChunkSize;
  opening_.DoOrDefer(Later::Comments, [markers, version = version_](Opening& later) {
    ReadMarkers(later, markers, version);
  });
  TellFields();
  NoteDividers();
  NoteCompression();
  FillSamples();
  opening_.FinishFile(FourCharacters("data"));
}

}  // namespace

void ConvertAcqFile(Opening& opening) {
  if (opening.IsPublished()) return ReadPublishedAcq(opening);
  AcqConverter(opening).Convert();
}

}  // namespace lmimport
