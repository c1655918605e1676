// Raw data, the fallback of all files that nothing else claims: no header, frames of signed 16-bit
// words from the first byte on. A sidecar says what they mean, else the host's defaults do.
//
//   extension  sidecar, tried in this order          FileType, FileSubType
//   .dat       .par, .rvp                            3, 1 and 3, 2
//   .bin       _binheader.txt                        2, 2
//   any, too   none: the defaults                    3, 0
#include <array>

#include "readers/AdcTables.h"
#include "readers/Readers.h"
#include "readers/Sidecars.h"

namespace lmimport {
namespace {

constexpr Long RawFileType = 3, BinaryFileType = 2;

struct Sidecar {
  std::u16string_view Extension;  // of the recording
  std::string_view Ending;
  SidecarReader Read;
  Long FileType;
  Long FileSubType;
  std::string_view Formula = {};  // where the sidecar doesn't tell one
};

constexpr std::array Sidecars = {
    Sidecar{u".dat", ".par", ReadParFile, RawFileType, 1},
    Sidecar{u".dat", ".rvp", ReadRvpFile, RawFileType, 2},
    Sidecar{u".bin", "_binheader.txt", ReadBinHeader, BinaryFileType, 2, TextHeaderFormula},
};

constexpr Sidecar NoSidecar = {{}, {}, nullptr, RawFileType, 0};

// The sidecar that described the block.
const Sidecar& ReadSidecars(Opening& opening, BlockRec& block) {
  const String extension = LastFour(opening.Store.FileName);
  for (const Sidecar& sidecar : Sidecars) {
    if (sidecar.Extension != extension) continue;
    if (ReadBeside(opening, sidecar.Ending, sidecar.Read, block)) {
      if (!sidecar.Formula.empty()) opening.TellFormula(sidecar.Formula);
      return sidecar;
    }
    block = BlockRec();
    opening.Store.Channels.clear();
  }
  return NoSidecar;
}

void FillFromDefaults(Opening& opening, BlockRec& block) {
  if (!opening.Rules.Raw)
    Refuse(Refusal::UnknownFormat, "undescribed", -1,
           "The file is of no format that is read, and nothing describes its samples.");
  block.ADCName = u"DAT";
  block.Resolution = 16;
  block.SamplingRate = opening.Rules.Raw->SamplingRate;
  block.DimensionChannels(opening.Rules.Raw->ChannelCount);
  for (Single& scale : block.ChannelScale) scale = AdcScale(block.ADCName, 0);
  opening.TellDefaultRate(block.SamplingRate);
  opening.TellFormula("count / 6400");
  block.FillFrom(opening.DataFile.Size());
  block.StartDateTime = opening.DateOfFile();
}

}  // namespace

void ReadRawFile(Opening& opening) {
  opening.Store.Format = "raw";
  BlockRec& block = opening.Store.Blocks.emplace_back();
  const Sidecar& sidecar = ReadSidecars(opening, block);
  if (&sidecar == &NoSidecar) FillFromDefaults(opening, block);
  if (block.SizeChannel < 2)
    Refuse(Refusal::NoData, "no-data", opening.DataFile.Size(), "The file holds ",
           opening.DataFile.Size(), " bytes, less than two frames of ", block.FrameBytes(), ".");
  opening.Store.FileType = sidecar.FileType;
  opening.FinishFile(FourCharacters("data"), sidecar.FileSubType);
}

}  // namespace lmimport
