#include "service/OpenPipeline.h"

#include <algorithm>
#include <array>

#include "converters/Converters.h"
#include "readers/Readers.h"
#include "service/ErrorText.h"
#include "service/GeneralFindings.h"

namespace lmimport {
namespace {

using Reader = bool (*)(ImportState&);

struct FirstBytes {
  Long Magic;
  Reader Read;
};

constexpr std::array ReadersByFirstBytes = {
    FirstBytes{FourCharacters("SFPK"), ReadPeakFile},
    FirstBytes{1777, ReadPeakFile},  // peak cache, older layout
    FirstBytes{FourCharacters("LMC\0"), ReadChartFile},
    FirstBytes{FourCharacters("ABF "), ReadAbfFile},
    FirstBytes{FourCharacters("FTCX"), ReadAbfFile},
    FirstBytes{FourCharacters("CLPX"), ReadAbfFile},
    FirstBytes{FourCharacters("CFWB"), ReadCfwbFile},
    FirstBytes{FourCharacters("RIFF"), ReadWaveFile},
    FirstBytes{FourCharacters("ADCL"), ReadAdcLabFile},
    FirstBytes{FourCharacters("MATL"), ReadMatlab5File},
    FirstBytes{FourCharacters("ABIN"), ReadAbinFile},
};

struct Extension {
  std::u16string_view LastFour;  // lower case
  Reader Read;
};

constexpr std::array ReadersByExtension = {
    Extension{u".wdq", ReadWinDaqFile},
    Extension{u".edf", ConvertEdfFile},
    Extension{u".acq", ConvertAcqFile},
    Extension{u".mat", ReadMatlab4File},
};

// The first two bytes of the recorders that share one header.
constexpr std::array ArSignatures = {FourCharacters("AR\0\0"), FourCharacters("RG\0\0"),
                                     FourCharacters("UB\0\0")};

Reader FindReader(const ImportState& state) {
  for (const FirstBytes& row : ReadersByFirstBytes) {
    if (row.Magic == state.Magic) return row.Read;
  }
  const String extension = LastFour(state.FileName);
  for (const Extension& row : ReadersByExtension) {
    if (row.LastFour == extension) return row.Read;
  }
  const Long firstTwo = state.Magic & 0xffff;
  const bool isAr =
      std::find(ArSignatures.begin(), ArSignatures.end(), firstTwo) != ArSignatures.end();
  return isAr ? ReadArFile : ReadRawFile;
}

bool ReadOpenFile(ImportState& state) {
  BinaryFile& file = *state.DataFile;
  if (file.Size() < 4) return state.Refuse(Refusal::NoData);
  if (file.ReadInt32Array(&state.Magic, 1) < 1) {
    state.ErrorString = file.LastError();
    return false;
  }
  const bool read = FindReader(state)(state);
  if (read) NoteGeneralFindings(state);
  NoteUnreadFormat(state, read);
  return read;
}

}  // namespace

bool OpenDataFile(ImportState& state, const String& FileName) {
  String name = FileName;
  if (!state.DataFile) state.DataFile = std::make_unique<BinaryFile>(state.Texts);
  state.ErrorString.clear();
  state.RefusedFor.reset();
  state.Found.clear();
  state.Progress.Restart();
  if (!state.DefaultPath.empty() && !PathTools::FileExists(name)) {
    String candidate = PathTools::Join(state.DefaultPath, name);
    if (PathTools::FileExists(candidate)) name = std::move(candidate);
  }
  BinaryFile& file = *state.DataFile;
  if (!file.Open(name, true, OrdinaryFile, ShareReadingAndWriting)) {
    state.ErrorString = file.LastError();
    return false;
  }
  state.IsOpen = true;
  state.FileHandle = file.Handle();
  state.FileName = file.PathName();
  if (ReadOpenFile(state)) return true;

  state.ResetStore();
  if (state.RefusedFor)
    state.ErrorString =
        ErrorText(static_cast<Long>(*state.RefusedFor)) + FromUtf8(state.RefusalDetail);
  if (state.ErrorString.empty()) state.ErrorString = ErrorText(0);
  return false;
}

}  // namespace lmimport
