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
//       52  int32    channels; 56: samples of a channel; the size of the file counts
//       60  int32    1: the first column is time
//       64  int32    sample format: 1 Double, 2 Single, 3 16-bit integer
#include <algorithm>
#include <cmath>
#include <optional>

#include "model/Date.h"
#include "model/HeaderView.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t CfwbSmallestFile = 166;
constexpr std::size_t CfwbHeadBytes = 68, CfwbChannelBytes = 96;
constexpr Long CfwbMark = FourCharacters("CFWB"), CfwbFileSubType = 1;
constexpr Long CfwbDoubleFormat = 1, CfwbSingleFormat = 2, CfwbInt16Format = 3;

constexpr Field<Long> CfwbSignature{0};
constexpr Field<Integer> CfwbVersion{4};
constexpr Field<Double> CfwbSecondsPerTick{8};
// Of the parts of the stamp the low 16 bits count.
constexpr Field<Integer> CfwbYear{16}, CfwbMonth{20}, CfwbDay{24}, CfwbHour{28}, CfwbMinute{32};
constexpr Field<Double> CfwbSecond{36}, CfwbTrigger{44};
constexpr Field<Long> CfwbChannels{52}, CfwbSamples{56}, CfwbTimeChannel{60}, CfwbDataFormat{64};
// of a channel header
constexpr TextField CfwbTitle{0, 32}, CfwbUnits{32, 32};
constexpr Field<Double> CfwbScale{64}, CfwbOffset{72};

// The kind of the samples; none for one that there isn't.
std::optional<Integer> KindOf(const Opening& opening, Long format) {
  if (format == CfwbInt16Format) return SampleInt16;
  if (!opening.IsPublished()) return {};
  if (format == CfwbDoubleFormat) return SampleDouble;
  if (format == CfwbSingleFormat) return SampleSingle;
  return {};
}

void CheckHeader(const Opening& opening, const HeaderView& header) {
  const Long channels = header[CfwbChannels];
  const Integer most = opening.LargestChannels();
  if (header[CfwbSignature] != CfwbMark || channels < 1 || channels > most)
    RefuseAsUnknown(CfwbChannels.Position(), "The header states ", channels, " channels, not 1 to ",
                    most, ".");
  const Long format = header[CfwbDataFormat];
  if (!KindOf(opening, format)) {
    const char* name = format == CfwbDoubleFormat   ? "Doubles"
                       : format == CfwbSingleFormat ? "Singles"
                                                    : "of an unknown kind";
    Refuse(Refusal::UnsupportedFormat, "coding-not-read", CfwbDataFormat.Position(),
           "The samples are ", name, " (format ", format,
           opening.IsPublished() ? ")." : "); only 16-bit integers (format 3) are read.");
  }
  if (header[CfwbTimeChannel] != 0)
    Refuse(Refusal::UnsupportedFormat, "coding-not-read", CfwbTimeChannel.Position(),
           "The first column of the samples is time; only files without it are read.");
}

void TellHeader(Opening& opening, const HeaderView& header, const BlockRec& block) {
  opening.Tell(header, CfwbSecondsPerTick, "secsPerTick", "seconds from frame to frame");
  opening.Tell(header, CfwbDataFormat, "DataFormat",
               "kind of samples: 1 Doubles, 2 Singles, 3 16-bit integers");
  opening.TellDate(header, "stamp", 0, CfwbYear, CfwbMonth, CfwbDay, CfwbHour, CfwbMinute,
                   CfwbSecond);
  opening.Tell(header, CfwbTrigger, "trigger", "seconds from the start to the stamp");
  opening.TellFormula(block.HasRealSamples() ? "the value, as stored"
                      : opening.IsPublished()
                          ? "count * scale + scale * offset"
                          : "count / single(1 / scale) + single(scale * offset)");
}

void TellChannel(Opening& opening, const HeaderView& header, const Place& place) {
  opening.Tell(header, CfwbUnits, "Units", "unit of values", place);
  opening.Tell(header, CfwbScale, "scale", "units of one count", place);
  opening.Tell(header, CfwbOffset, "offset", "counts to be added", place);
}

void ReadChannels(Opening& opening, BlockRec& block) {
  for (std::size_t i = 0; i < block.ChannelScale.size(); ++i) {
    const std::int64_t position = opening.DataFile.Position();
    const Header<CfwbChannelBytes> header(opening.DataFile);
    const Double scale = header[CfwbScale];
    if (block.HasRealSamples()) {
      block.Calibrate(i, 1, 0);
    } else if (opening.IsPublished()) {
      block.Calibrate(i, scale, scale * header[CfwbOffset]);
    } else {
      block.ChannelScale[i] = Narrowed(1 / scale, "CFWB counts per unit", position);
      block.ChannelOffset[i] =
          Narrowed(scale * header[CfwbOffset], "CFWB offset in units", position);
    }
    opening.Store.Channel(i).ChannelTitle = header[CfwbTitle];
    opening.Store.Channel(i).ChannelUnitName = header[CfwbUnits];
    if (!block.HasRealSamples()) TellChannel(opening, header, Place::OfChannel(position, i));
  }
}

// As written, of the second what is whole. A trigger that is not a number is taken as none.
Date StartOf(const HeaderView& header, bool published) {
  constexpr Double farthest = 1e12;
  const Double trigger = header[CfwbTrigger];
  const Double second = std::trunc(header[CfwbSecond]);
  const Double fraction = published ? header[CfwbSecond] - second : 0;
  const auto held =
      static_cast<std::int64_t>(std::isnan(second) ? 0 : std::clamp(second, -farthest, farthest));
  return DateSerial(header[CfwbYear], header[CfwbMonth], header[CfwbDay]) +
         TimeSerial(header[CfwbHour], header[CfwbMinute], held) -
         ((std::isfinite(trigger) ? trigger : 0) - (std::isfinite(fraction) ? fraction : 0)) /
             SecondsPerDay;
}

void NoteWhatIsDropped(Opening& opening, const HeaderView& header, const BlockRec& block) {
  const Long stated = header[CfwbSamples];
  if (stated > 0 && stated < block.SizeChannel)
    opening.Warn("samples-past-count", {CfwbSamples.Position(), 0}, "The header states ", stated,
                 " frames, and what follows them is shown as ", block.SizeChannel - stated,
                 " more.");
  const Double fraction = header[CfwbSecond] - std::trunc(header[CfwbSecond]);
  if (fraction != 0 && std::isfinite(fraction))
    opening.Note("start-fraction", {CfwbSecond.Position(), 0}, "The recording starts ",
                 static_cast<Single>(std::abs(fraction)), fraction > 0 ? " s later" : " s earlier",
                 " than shown.");
}

}  // namespace

void ReadCfwbFile(Opening& opening) {
  BinaryFile& file = opening.DataFile;
  opening.NeedBytes(CfwbSmallestFile, "a CFWB file");
  const Header<CfwbHeadBytes> header(file, 0);
  CheckHeader(opening, header);
  const bool published = opening.IsPublished();
  const Long channels = header[CfwbChannels];
  if (published && file.Size() < file.Position() + channels * std::int64_t{CfwbChannelBytes})
    RefuseAsDamaged(file.Size(), "The file ends before the headers of its ", channels,
                    " channels.");

  BlockRec& block = opening.Store.Blocks.emplace_back();
  block.ADCName = u"BIN";
  block.Resolution = 16;
  block.SampleType = *KindOf(opening, header[CfwbDataFormat]);
  block.SamplingRate =
      Narrowed(1 / header[CfwbSecondsPerTick], "CFWB rate", CfwbSecondsPerTick.Position());
  if (published) block.SetRate(1 / header[CfwbSecondsPerTick]);
  block.DimensionChannels(static_cast<Integer>(channels));
  TellHeader(opening, header, block);
  ReadChannels(opening, block);
  block.DataPtr = file.Position();
  block.FillFrom(file.Size() - block.DataPtr);
  const Long stated = header[CfwbSamples];
  if (stated > block.SizeChannel)
    opening.Warn("data-cut-off", file.Size(), "The header claims ", stated,
                 " frames, and the file holds ", block.SizeChannel, ".");
  if (stated > 0 && published) block.SizeChannel = std::min(stated, block.SizeChannel);
  if (!published) NoteWhatIsDropped(opening, header, block);
  block.StartDateTime = StartOf(header, published);
  opening.FinishFile(CfwbMark, header[CfwbVersion], 0, CfwbFileSubType);
}

}  // namespace lmimport
