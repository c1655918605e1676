// Raw data, the fallback of all files that nothing else claims: no header, frames of signed 16-bit
// words from the first byte on. A sidecar says what they mean, else the host's defaults do.
//
//   extension  sidecar, tried in this order          FileType, FileSubType
//   .dat       .par, .rvp                            3, 1 and 3, 2
//   .bin       _binheader.txt                        2, 2
//   any, too   none: the defaults                    3, 0
#include "model/Version.h"
#include "readers/AdcTables.h"
#include "readers/Readers.h"
#include "readers/Sidecars.h"

namespace lmimport {
namespace {

constexpr Long BinaryFileType = 2;
constexpr Long RawFileType = 3;
constexpr std::size_t ExtensionLength = 4;

// True when a sidecar described the block; FileType and FileSubType are set either way.
bool ReadSidecar(ImportState& state, BlockRec& block) {
  const String& name = state.FileName;
  const String extension =
      LowerCase(name.substr(name.size() - std::min(name.size(), ExtensionLength)));
  state.FileType = RawFileType;
  state.FileSubType = 0;
  if (extension == u".dat") {
    if (ReadParFile(state, SidecarName(name, u".par"), block)) {
      state.FileSubType = 1;
    } else if (ReadRvpFile(state, SidecarName(name, u".rvp"), block)) {
      state.FileSubType = 2;
    }
  } else if (extension == u".bin" &&
             ReadBinHeader(state, SidecarName(name, u"_binheader.txt"), block)) {
    state.FileType = BinaryFileType;
    state.FileSubType = 2;
  }
  return state.FileSubType != 0;
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
  block.SizeChannel = HeldAsLong(state.DataFile->Size() / (std::int64_t{block.ChannelCount} * 2));
  block.StartDateTime = state.DataFile->FileDateTime();
}

}  // namespace

bool ReadRawFile(ImportState& state) {
  BlockRec& block = state.Blocks.emplace_back();
  if (!ReadSidecar(state, block)) {
    block = BlockRec();
    FillFromDefaults(state, block);
  }
  if (block.SizeChannel < 2) return state.Refuse(Refusal::NoData);
  state.FillFileRec(FourCharacters("data"), LibraryMajor, LibraryMinor);
  return true;
}

}  // namespace lmimport
