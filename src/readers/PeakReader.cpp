// Peak cache files: for each stretch of a sound and each of its channels the lowest and the highest
// sample, as 16-bit words from offset 64 on. Each column is a channel of the block.
//
//   layout 0                          layout 1
//     0  int32  1777                    0  4 chars  "SFPK"
//     4  int32  frames per second      20  int16    sound channels
//    60  int16  sound channels         24  int32    frames per second
//   columns: two of the whole, then a   columns: a minimum and a maximum of each sound channel
//   minimum and a maximum of each
#include "model/Version.h"
#include "readers/AdcTables.h"
#include "readers/HeaderView.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t PeakSmallestFile = 80;
constexpr std::size_t PeakHeadBytes = 64;
constexpr Long PeakMagicOfLayout1 = FourCharacters("SFPK");
constexpr Long PeakFileType = 11;
constexpr Long PeakLowestRate = 2;

constexpr std::size_t PeakRateOfLayout0 = 4;
constexpr std::size_t PeakChannelsOfLayout0 = 60;
constexpr std::size_t PeakChannelsOfLayout1 = 20;
constexpr std::size_t PeakRateOfLayout1 = 24;

// `first` is the column of the first sound channel.
void FillTitles(ImportState& state, Integer columns, std::size_t first) {
  if (first > 0) {
    state.Channels[0].ChannelTitle = u"Cache Low";
    state.Channels[1].ChannelTitle = u"Cache Hight";
  }
  for (std::size_t i = first; i < static_cast<std::size_t>(columns); i += 2) {
    const std::size_t sound = (i - first) / 2 + 1;
    state.Channels[i].ChannelTitle = FromUtf8(Sentence("Ch", sound, " - Min"));
    state.Channels[i + 1].ChannelTitle = FromUtf8(Sentence("Ch", sound, " - Max"));
  }
}

}  // namespace

bool ReadPeakFile(ImportState& state) {
  BinaryFile& file = *state.DataFile;
  if (file.Size() < PeakSmallestFile) return state.Refuse(Refusal::NoData);
  std::array<Byte, PeakHeadBytes> bytes{};
  file.Seek(0);
  file.ReadByteArray(bytes.data(), PeakHeadBytes);
  const HeaderView header(bytes);
  const bool layout1 = header.Int32(0) == PeakMagicOfLayout1;
  const Integer sounds = header.Int16(layout1 ? PeakChannelsOfLayout1 : PeakChannelsOfLayout0);
  const Long rate = header.Int32(layout1 ? PeakRateOfLayout1 : PeakRateOfLayout0);
  const std::size_t first = layout1 ? 0 : 2;
  const Long columns = 2 * sounds + static_cast<Long>(first);
  if (sounds < 1 || columns > LargestChannelCount) return state.Refuse(Refusal::UnknownFormat);
  const Long frames =
      HeldAsLong((file.Size() - std::int64_t{PeakHeadBytes}) / (std::int64_t{columns} * 2));
  if (rate < PeakLowestRate || frames < 2) return state.Refuse(Refusal::UnknownFormat);

  BlockRec& block = state.Blocks.emplace_back();
  block.ADCName = u"Sound";
  block.SamplingRate = static_cast<Single>(rate);
  block.DimensionChannels(static_cast<Integer>(columns));
  for (Single& scale : block.ChannelScale) scale = AdcScale(block.ADCName, 0);
  FillTitles(state, block.ChannelCount, first);
  block.SizeChannel = frames;
  block.DataPtr = PeakHeadBytes;
  block.StartDateTime = file.FileDateTime();
  block.Title = FromUtf8(Sentence("Cache: ", rate));
  state.FinishFile(FourCharacters("WAVE"), LibraryMajor, LibraryMinor, PeakFileType,
                   layout1 ? 1 : 0);
  state.Note("peaks", 0,
             "The channels are the lowest and highest samples of stretches of a sound, not the "
             "sound.");
  return true;
}

}  // namespace lmimport
