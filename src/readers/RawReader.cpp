// Raw data, the fallback of all files that nothing else claims: no header, frames of signed 16-bit
// words from the first byte on. A sidecar says what they mean, else the host's defaults do.
//
//   extension  sidecar, tried in this order          FileType, FileSubType
//   .dat       .par, .rvp                            3, 1 and 3, 2
//   .bin       _binheader.txt                        2, 2
//   any, too   none: the defaults                    3, 0
#include <array>

#include "model/Version.h"
#include "readers/AdcTables.h"
#include "readers/Readers.h"
#include "readers/Sidecars.h"

namespace lmimport {
namespace {

constexpr Long BinaryFileType = 2;
constexpr Long RawFileType = 3;

struct Sidecar {
  std::u16string_view Extension;  // of the recording
  const char16_t* Ending;
  SidecarReader Read;
  Long FileType;
  Long FileSubType;
};

constexpr std::array Sidecars = {
    Sidecar{u".dat", u".par", ReadParFile, RawFileType, 1},
    Sidecar{u".dat", u".rvp", ReadRvpFile, RawFileType, 2},
    Sidecar{u".bin", u"_binheader.txt", ReadBinHeader, BinaryFileType, 2},
};

// True when a sidecar described the block; FileType and FileSubType are set either way.
bool ReadSidecars(ImportState& state, BlockRec& block) {
  const String extension = LastFour(state.FileName);
  for (const Sidecar& sidecar : Sidecars) {
    if (sidecar.Extension != extension) continue;
    state.FileType = sidecar.FileType;
    state.FileSubType = sidecar.FileSubType;
    if (ReadBeside(state, sidecar.Ending, sidecar.Read, block)) return true;
    block = BlockRec();
    state.Channels = {};
  }
  state.FileType = RawFileType;
  state.FileSubType = 0;
  return false;
}

// A channel count that is none is put right in the store, where the host reads them back.
void FillFromDefaults(ImportState& state, BlockRec& block) {
  if (state.DefaultChannelCount < 1 || state.DefaultChannelCount > LargestChannelCount)
    state.DefaultChannelCount = 1;
  block.ADCName = u"DAT";
  block.Resolution = 16;
  block.SamplingRate = state.SettledSamplingRate();
  block.DimensionChannels(state.DefaultChannelCount);
  for (Single& scale : block.ChannelScale) scale = AdcScale(block.ADCName, 0);
  block.FillFrom(state.DataFile->Size());
  block.StartDateTime = state.DataFile->FileDateTime();
}

}  // namespace

bool ReadRawFile(ImportState& state) {
  BlockRec& block = state.Blocks.emplace_back();
  if (!ReadSidecars(state, block)) FillFromDefaults(state, block);
  if (block.SizeChannel < 2) return state.Refuse(Refusal::NoData);
  state.FinishFile(FourCharacters("data"), LibraryMajor, LibraryMinor, state.FileType,
                   state.FileSubType);
  return true;
}

}  // namespace lmimport
