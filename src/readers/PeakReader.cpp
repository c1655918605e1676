// Peak cache files: for each stretch of a sound and each of its channels the lowest and the highest
// sample, as 16-bit words from offset 64 on. Each column is a channel of the block.
//
//   layout 0                          layout 1
//     0  int32  1777                    0  4 chars  "SFPK"
//     4  int32  frames per second      20  int16    sound channels
//    60  int16  sound channels         24  int32    frames per second
//   columns: two of the whole, then a   columns: a minimum and a maximum of each sound channel
//   minimum and a maximum of each
#include "model/HeaderView.h"
#include "readers/AdcTables.h"
#include "readers/Readers.h"

namespace lmimport {
namespace {

constexpr std::int64_t PeakSmallestFile = 80;
constexpr std::size_t PeakHeadBytes = 64;
constexpr Long PeakMagicOfLayout1 = FourCharacters("SFPK"), PeakLowestRate = 2;

constexpr Field<Long> PeakMagic{0}, PeakRateOfLayout0{4}, PeakRateOfLayout1{24};
constexpr Field<Integer> PeakChannelsOfLayout0{60}, PeakChannelsOfLayout1{20};

// `first` is the column of the first sound channel.
void FillTitles(RecordingStore& store, Integer columns, std::size_t first) {
  if (first > 0) {
    store.Channel(0).ChannelTitle = u"Cache Low";
    store.Channel(1).ChannelTitle = u"Cache Hight";
  }
  for (std::size_t i = first; i < static_cast<std::size_t>(columns); i += 2) {
    const std::size_t sound = (i - first) / 2 + 1;
    store.Channel(i).ChannelTitle = FromUtf8(Sentence("Ch", sound, " - Min"));
    store.Channel(i + 1).ChannelTitle = FromUtf8(Sentence("Ch", sound, " - Max"));
  }
}

}  // namespace

void ReadPeakFile(Opening& opening) {
  BinaryFile& file = opening.DataFile;
  opening.NeedBytes(PeakSmallestFile, "a peak cache");
  const Header<PeakHeadBytes> header(file, 0);
  const bool layout1 = header[PeakMagic] == PeakMagicOfLayout1;
  const Integer sounds = header[layout1 ? PeakChannelsOfLayout1 : PeakChannelsOfLayout0];
  const Long rate = header[layout1 ? PeakRateOfLayout1 : PeakRateOfLayout0];
  const std::size_t first = layout1 ? 0 : 2;
  const Long columns = 2 * sounds + static_cast<Long>(first);
  const bool hasColumns = sounds >= 1 && columns <= LargestChannelCount;
  const std::int64_t frames =
      hasColumns ? (file.Size() - std::int64_t{PeakHeadBytes}) / (std::int64_t{columns} * 2) : 0;
  if (rate < PeakLowestRate || frames < 2)
    RefuseAsUnknown(0, "The header of a peak cache states ", sounds, " sound channels at ", rate,
                    " Hz, and the file holds ", frames, " frames of them.");

  BlockRec& block = opening.Store.Blocks.emplace_back();
  block.ADCName = u"Sound";
  block.SamplingRate = static_cast<Single>(rate);
  block.DimensionChannels(static_cast<Integer>(columns));
  for (Single& scale : block.ChannelScale) scale = AdcScale(block.ADCName, 0);
  opening.Tell(header, layout1 ? PeakRateOfLayout1 : PeakRateOfLayout0, "frames per second",
               "samples per second of a channel");
  opening.TellFormula("count / 6400");
  FillTitles(opening.Store, block.ChannelCount, first);
  block.SizeChannel = HeldAsLong(frames);
  block.DataPtr = PeakHeadBytes;
  block.StartDateTime = opening.DateOfFile();
  block.Title = FromUtf8(Sentence("Cache: ", rate));
  opening.FinishFile(FourCharacters("WAVE"), layout1 ? 1 : 0);
  opening.Note("peaks", 0,
               "The channels are the lowest and highest samples of stretches of a sound, not the "
               "sound.");
}

}  // namespace lmimport
