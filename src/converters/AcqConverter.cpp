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
// Behind the channel headers: a section that begins with its length in bytes, int16; for each
// channel the bytes of a sample and its kind (1 Double, 2 16-bit integer), both int16; the samples;
// the length of the markers and their number, both int32; and the markers:
//
//        0  int32   step, from 0
//       10  int16   bytes of the text, which a zero byte follows
//       12          text
//
// Where all channels have the same kind and the base rate, the samples are frames as they stand.
#include <array>
#include <cmath>

#include "converters/AcqFrames.h"
#include "converters/AcqScale.h"
#include "converters/Converters.h"
#include "model/Version.h"
#include "readers/HeaderView.h"

namespace lmimport {
namespace {

constexpr Long AcqFirstVersion = 30;
constexpr Long AcqLastVersion = 45;
constexpr Long AcqLargestVersion = 1000;  // that a file of a later layout might state
constexpr Long AcqVersionWithDivider = 38;
constexpr Long AcqVersionWithCompression = 41;
constexpr Long AcqSmallestGraphHeader = 148;
constexpr std::int64_t AcqBytesBehindGraphHeader = 118;
constexpr Integer AcqLargestChannelTotal = 16384;
constexpr Double AcqLargestInterval = 1e7;
constexpr Long AcqFileType = 8;

constexpr std::size_t AcqGraphBytes = 24;
constexpr std::size_t AcqVersion = 2;
constexpr std::size_t AcqGraphLength = 6;
constexpr std::size_t AcqChannelTotal = 10;
constexpr std::size_t AcqInterval = 16;
constexpr std::size_t AcqCompressed = 1936;

constexpr std::size_t AcqChannelBytes = 252;
constexpr std::size_t AcqChannelLength = 0;
constexpr std::size_t AcqTitle = 6;
constexpr std::size_t AcqTitleBytes = 40;
constexpr std::size_t AcqUnit = 68;
constexpr std::size_t AcqUnitBytes = 20;
constexpr std::size_t AcqSampleCount = 88;
constexpr std::size_t AcqScale = 92;
constexpr std::size_t AcqOffset = 100;
constexpr std::size_t AcqDivider = 250;

constexpr std::int64_t AcqTypeBytes = 4;
constexpr Integer AcqKindDouble = 1;
constexpr Integer AcqKindInteger = 2;

constexpr std::size_t AcqMarkerBytes = 12;
constexpr std::size_t AcqMarkerStep = 0;
constexpr std::size_t AcqMarkerTextLength = 10;

// The flat data file takes at most 128 times the bytes of a whole recording: a step of 2 bytes can
// be a frame of 32 Doubles. What a damaged header claims beyond that, and a little more, isn't made.
constexpr std::int64_t AcqLargestGrowth = 128;
constexpr std::int64_t AcqGrowthAllowance = 16LL * 1024 * 1024;

class AcqConverter {
 public:
  explicit AcqConverter(ImportState& state) : state_(state), file_(*state.DataFile) {}
  bool Convert();

 private:
  BlockRec& Block() { return state_.Blocks.front(); }
  bool IsInPlace() const;
  bool RefuseVersion();
  bool ReadGraphHeader();
  void ReadChannelHeaders();
  void FillChannel(std::size_t number, const HeaderView& header);
  bool ReadChannelTypes();
  bool WorkOutDividers();
  void HoldSize();
  void ReadMarkers();
  bool FillSamples();
  bool MakeFlatFile();
  void NoteDividers();
  void NoteCompression();

  ImportState& state_;
  BinaryFile& file_;
  Long version_ = 0;
  std::int64_t graphLength_ = 0;
  std::int64_t channelLength_ = 0;
  std::int64_t typeTable_ = 0;
  std::int64_t chunkStart_ = 0;
  std::int64_t chunkSize_ = 0;
  std::vector<AcqChannel> channels_;
  Long maxSamples_ = 0;
  bool hasInteger_ = false;
  bool hasDouble_ = false;
  bool needsResample_ = false;
};

bool AcqConverter::IsInPlace() const {
  return hasInteger_ != hasDouble_ && !needsResample_ && channels_.size() <= LargestChannelCount;
}

bool AcqConverter::RefuseVersion() {
  const auto bits = static_cast<std::uint32_t>(version_);
  const auto swapped =
      static_cast<Long>(bits << 24 | (bits & 0xff00) << 8 | (bits >> 8 & 0xff00) | bits >> 24);
  const auto isVersion = [](Long number) { return number > 0 && number <= AcqLargestVersion; };
  if (isVersion(version_) || isVersion(swapped))
    state_.Warn(
        "version-not-read", AcqVersion,
        Sentence("The file states version ", isVersion(version_) ? version_ : swapped,
                 isVersion(version_) ? "" : " in big-endian numbers", "; versions ",
                 AcqFirstVersion, " to ", AcqLastVersion, " in little-endian numbers are read."));
  return state_.Refuse(Refusal::UnknownFormat);
}

bool AcqConverter::ReadGraphHeader() {
  std::array<Byte, AcqGraphBytes> bytes{};
  file_.Seek(0);
  file_.ReadByteArray(bytes.data(), AcqGraphBytes);
  const HeaderView header(bytes);
  version_ = header.Int32(AcqVersion);
  if (version_ < AcqFirstVersion || version_ > AcqLastVersion) return RefuseVersion();
  graphLength_ = header.Int32(AcqGraphLength);
  if (graphLength_ < AcqSmallestGraphHeader ||
      file_.Size() < graphLength_ + AcqBytesBehindGraphHeader)
    return state_.Refuse(Refusal::UnknownFormat);
  const Integer total = header.Int16(AcqChannelTotal);
  const Double interval = header.Real64(AcqInterval);
  const auto rate = static_cast<Single>(1000 / interval);
  if (total < 1 || total > AcqLargestChannelTotal || interval > AcqLargestInterval ||
      interval < 0 || !std::isfinite(rate))
    return state_.Refuse(Refusal::FormatError);
  // A table of their types that the file doesn't hold reads as types that don't exist.
  if (file_.Size() < AcqTypeBytes * total) return state_.Refuse(Refusal::FormatError);
  channels_.resize(static_cast<std::size_t>(total));
  BlockRec& block = state_.Blocks.emplace_back();
  block.ADCName = u"ACQ";
  block.Resolution = 16;
  block.StartDateTime = file_.FileDateTime();
  block.SamplingRate = rate;
  block.DimensionChannels(std::min(total, LargestChannelCount));
  return true;
}

// Each header tells its length, and with it where the next one lies; the last one, what follows.
void AcqConverter::ReadChannelHeaders() {
  const auto total = static_cast<std::int64_t>(channels_.size());
  std::int64_t position = graphLength_;
  for (std::int64_t k = 0; k < total; ++k) {
    std::array<Byte, AcqChannelBytes> bytes{};
    file_.Seek(position);
    const std::int64_t done = file_.ReadByteArray(bytes.data(), AcqChannelBytes);
    const HeaderView header({bytes.data(), static_cast<std::size_t>(done)});
    channelLength_ = header.Int32(AcqChannelLength);
    channels_[static_cast<std::size_t>(k)].HeaderPosition = position;
    FillChannel(static_cast<std::size_t>(k), header);
    position = graphLength_ + channelLength_ * (k + 1);
  }
  file_.Seek(position);
  typeTable_ = position + file_.ReadValue<Integer>();
  chunkStart_ = typeTable_ + AcqTypeBytes * total;
}

void AcqConverter::FillChannel(std::size_t number, const HeaderView& header) {
  AcqChannel& channel = channels_[number];
  channel.SampleCount = header.Int32(AcqSampleCount);
  channel.AmplitudeScale = header.Real64(AcqScale);
  channel.AmplitudeOffset = header.Real64(AcqOffset);
  if (version_ >= AcqVersionWithDivider && channelLength_ >= std::int64_t{AcqChannelBytes})
    channel.StatedDivider = header.Int16(AcqDivider);
  maxSamples_ = std::max(maxSamples_, channel.SampleCount);
  if (number >= Block().ChannelScale.size()) return;
  ChannelRec& shown = state_.Channels[number];
  shown.ChannelTitle = state_.Texts.TextFromBytes(header.Bytes(AcqTitle, AcqTitleBytes));
  shown.ChannelUnitName = state_.Texts.TextFromBytes(header.Bytes(AcqUnit, AcqUnitBytes));
  Block().ChannelScale[number] = static_cast<Single>(1 / channel.AmplitudeScale);
  Block().ChannelOffset[number] = static_cast<Single>(channel.AmplitudeOffset);
}

bool AcqConverter::ReadChannelTypes() {
  std::vector<Integer> table(channels_.size() * 2);
  file_.Seek(typeTable_);
  file_.ReadInt16Array(table.data(), std::ssize(table));
  for (std::size_t k = 0; k < channels_.size(); ++k) {
    AcqChannel& channel = channels_[k];
    channel.SampleBytes = table[2 * k];
    const Integer kind = table[2 * k + 1];
    if (kind != AcqKindInteger && kind != AcqKindDouble) return state_.Refuse(Refusal::FormatError);
    channel.StoredKind = kind == AcqKindInteger ? SampleInt16 : SampleDouble;
    (kind == AcqKindInteger ? hasInteger_ : hasDouble_) = true;
    chunkSize_ += std::int64_t{channel.SampleCount} * channel.SampleBytes;
    const bool isShown = k < Block().ChannelScale.size();
    if (kind == AcqKindInteger && isShown && std::isnan(Block().ChannelScale[k]))
      return state_.Refuse(Refusal::FormatError);
  }
  return WorkOutDividers();
}

// A slower channel has its samples a whole number of steps apart. One that is nearly as long as the
// longest has the same rate, and ends the block where it ends.
bool AcqConverter::WorkOutDividers() {
  const Double longest = maxSamples_;
  Long shortest = maxSamples_;
  for (AcqChannel& channel : channels_) {
    if (channel.SampleCount == maxSamples_) continue;
    if (channel.SampleCount < 1) return state_.Refuse(Refusal::FormatError);
    channel.Divider = static_cast<Long>(std::nearbyint(longest / channel.SampleCount));
    if (channel.Divider > 1)
      needsResample_ = true;
    else
      shortest = std::min(shortest, channel.SampleCount);
  }
  Block().SizeChannel = shortest;
  if (!IsInPlace()) HoldSize();
  return true;
}

// The frames of the flat data file go on behind the end of the samples, but no further than a whole
// recording of that size could be long.
void AcqConverter::HoldSize() {
  BlockRec& block = Block();
  const std::int64_t frameBytes = block.ChannelCount * std::int64_t{sizeof(Double)};
  const std::int64_t there =
      AcqFrames(channels_, 0).StepsIn(file_.Size() - chunkStart_, block.SizeChannel);
  const std::int64_t largest = (file_.Size() * AcqLargestGrowth + AcqGrowthAllowance) / frameBytes;
  const Long claimed = block.SizeChannel;
  block.SizeChannel = static_cast<Long>(std::min<std::int64_t>(claimed, largest));
  if (there >= claimed) return;
  const std::string held =
      block.SizeChannel < claimed ? Sentence(" as far as ", block.SizeChannel, " frames") : "";
  state_.Warn("data-cut-off", file_.Size(),
              Sentence("The header claims ", claimed, " frames, and the file holds ", there,
                       "; behind them the last values go on", held, "."));
}

void AcqConverter::ReadMarkers() {
  BlockRec& block = Block();
  file_.Seek(chunkStart_ + chunkSize_);
  std::int64_t leftOut = 0;
  std::array<Long, 2> head{};  // the length of the section, and the number of markers
  file_.ReadInt32Array(head.data(), std::ssize(head));
  for (Long i = 0; i < head[1]; ++i) {
    std::array<Byte, AcqMarkerBytes> bytes{};
    if (file_.ReadByteArray(bytes.data(), AcqMarkerBytes) < std::int64_t{AcqMarkerBytes}) {
      state_.Note("comments-cut", file_.Size(),
                  Sentence("The file claims ", head[1], " markers, and holds ", i, "."));
      break;
    }
    const HeaderView marker(bytes);
    const Long step = marker.Int32(AcqMarkerStep);
    const Integer length = marker.Int16(AcqMarkerTextLength);
    if (step >= 0 && step < block.SizeChannel) {
      CommentRec& comment = block.Comments.emplace_back();
      comment.Position = step + 1;
      file_.ReadFixedString(comment.Text, length);
      file_.Skip(1);
    } else {
      file_.Skip(std::max(0, length + 1));  // never back to a marker that was read
      ++leftOut;
    }
  }
  block.CommentCount = HeldAsLong(std::ssize(block.Comments));
  if (leftOut > 0)
    state_.Note("comments-left-out", chunkStart_ + chunkSize_,
                Sentence(leftOut, leftOut == 1 ? " comment" : " comments",
                         " outside the recording left out."));
}

bool AcqConverter::FillSamples() {
  BlockRec& block = Block();
  block.DataPtr = chunkStart_;
  if (!IsInPlace()) return MakeFlatFile();
  if (hasDouble_) {
    block.SampleType = SampleDouble;
    ScanAcqDoubles(channels_, file_, block.DataPtr, block.SizeChannel, state_.Progress);
    FitAcqScale(block, channels_);
  }
  return true;
}

// A finished flat file spares the writing. The ranges of the Double channels stand nowhere, so
// where there are any, the recording is gone through all the same.
bool AcqConverter::MakeFlatFile() {
  BlockRec& block = Block();
  const std::int64_t frameBytes = block.ChannelCount * std::int64_t{sizeof(Double)};
  FlatDataFile flat(state_, block.SizeChannel * frameBytes);
  if (!flat.FindOrCreate()) return false;
  const auto shown = std::span(channels_).first(block.ChannelScale.size());
  const bool rangesLack = std::ranges::count(shown, SampleDouble, &AcqChannel::StoredKind) > 0;
  if (rangesLack || !flat.IsUpToDate())
    AcqFrames(channels_, shown.size())
        .Decode(file_, chunkStart_, block.SizeChannel, flat.IsUpToDate() ? nullptr : &flat,
                state_.Progress);
  FitAcqScale(block, channels_);
  flat.Adopt();
  block.SampleType = SampleDouble;
  block.DataPtr = 0;
  return true;
}

void AcqConverter::NoteDividers() {
  const auto differs = [](const AcqChannel& channel) {
    return channel.StatedDivider > 0 && channel.StatedDivider != channel.Divider;
  };
  const auto first = std::ranges::find_if(channels_, differs);
  if (first == channels_.end()) return;
  state_.Warn(
      "divider-differs", first->HeaderPosition + std::int64_t{AcqDivider},
      Sentence("The divider that follows from the number of samples isn't the stated one on ",
               std::ranges::count_if(channels_, differs), " of ", channels_.size(),
               " channels; channel ", first - channels_.begin() + 1, " states ",
               first->StatedDivider, ", and ", first->Divider,
               " is used, so samples can run out of step."));
}

void AcqConverter::NoteCompression() {
  const auto end = std::int64_t{AcqCompressed + sizeof(Long)};
  if (version_ < AcqVersionWithCompression || graphLength_ < end) return;
  file_.Seek(AcqCompressed);
  if (file_.ReadValue<Long>() != 0)
    state_.Warn("packed", AcqCompressed,
                "The samples are compressed, which isn't undone: the values make no sense.");
}

bool AcqConverter::Convert() {
  if (!file_.IsOpen() || !ReadGraphHeader()) return false;
  ReadChannelHeaders();
  if (!ReadChannelTypes()) return false;
  ReadMarkers();
  NoteDividers();
  NoteCompression();
  if (!FillSamples()) return false;
  state_.FinishFile(FourCharacters("data"), LibraryMajor, LibraryMinor, AcqFileType);
  return true;
}

}  // namespace

bool ConvertAcqFile(ImportState& state) {
  return AcqConverter(state).Convert();
}

}  // namespace lmimport
