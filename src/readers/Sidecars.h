// The files that lie beside raw samples and say what they mean. Each routine fills the one block of
// the recording that stands open in the store, whose samples begin at position 0 of it.
//
// False: the file is absent, can't be read or is not of its format; what a ".par" or ".rvp" file has
// put into the block by then has no meaning, and the text headers leave it as it was. A file that is
// of its format and describes no block of 1 to 32 channels with real rates and scales ends the open as a
// std::domain_error, std::length_error or std::range_error that names it: going on without it would
// show noise.
#pragma once

#include "model/ImportState.h"

namespace lmimport {

/// ".par": converter, rate, gains, scales and comments, in three layouts.
bool ReadParFile(ImportState& state, const String& Path, BlockRec& Block);

/// ".rvp": converter, rate, calibrated channels with names, end of the recording. A file that
/// another program has locked counts as absent.
bool ReadRvpFile(ImportState& state, const String& Path, BlockRec& Block);

/// "_binheader.txt" and "_wavheader.txt": a text of settings. What the block has already stays,
/// unless a setting replaces it. False also when no channels are known, neither from it nor from
/// the block.
bool ReadBinHeader(ImportState& state, const String& HeaderPath, BlockRec& Block);

/// Gives what `read` gives. What the system can't read gives false; a fault of what the sidecar
/// says goes on with its name.
template <class Read>
bool ReadSidecar(const String& path, Read read) {
  const auto named = [&path](const std::exception& fault) {
    return ToUtf8(path) + ": " + fault.what();
  };
  try {
    return read();
  } catch (const std::system_error&) {
    return false;
  } catch (const std::domain_error& fault) {
    throw std::domain_error(named(fault));
  } catch (const std::length_error& fault) {
    throw std::length_error(named(fault));
  } catch (const std::range_error& fault) {
    throw std::range_error(named(fault));
  }
}

using SidecarReader = bool (*)(ImportState&, const String&, BlockRec&);

/// Reads the sidecar that is called as the recording is, with an ending in place of the last four
/// characters, or with that in capitals, as old systems wrote it. False where there is none; what is
/// there and gives false is told as a warning.
bool ReadBeside(ImportState& state, const String& ending, SidecarReader read, BlockRec& block);

}  // namespace lmimport
