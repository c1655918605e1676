// The files that lie beside raw samples and say what they mean. Each routine fills the one block of
// the recording that is open, whose samples begin at position 0 of it.
//
// False: the sidecar is not of its format; what a ".par" or ".rvp" file has put into the block by
// then has no meaning, and the text headers leave it as it was. One that is of its format and
// describes no block of 1 to 32 channels with real rates and scales ends the open with a fault that
// names it: going on without it would show noise.
#pragma once

#include "model/Opening.h"

namespace lmimport {

/// ".par": converter, rate, gains, scales and comments, in three layouts.
bool ReadParFile(Opening& opening, BinaryFile& sidecar, BlockRec& Block);

/// ".rvp": converter, rate, calibrated channels with names, end of the recording.
bool ReadRvpFile(Opening& opening, BinaryFile& sidecar, BlockRec& Block);

/// "_binheader.txt" and "_wavheader.txt": a text of settings. What the block has already is kept,
/// unless a setting replaces it. False also when no channels are known, neither from it nor from
/// the block. It tells no formula, since the caller may know better what a count is.
bool ReadBinHeader(Opening& opening, BinaryFile& sidecar, BlockRec& Block);

/// That of words.
inline constexpr std::string_view TextHeaderFormula =
    "count / single(MaxADCValue / ((MaxRange - MinRange) / 2)) + "
    "single(single(MaxRange + MinRange) / 2)";

using SidecarReader = bool (*)(Opening&, BinaryFile&, BlockRec&);

/// Reads the sidecar that is named as the recording is, with an ending in place of the last four
/// characters, or with that in capitals, as old systems wrote it. False where there is none; one
/// that can't be read, is locked or is not of its format is passed over with a warning.
bool ReadBeside(Opening& opening, std::string_view ending, SidecarReader read, BlockRec& block);

}  // namespace lmimport
