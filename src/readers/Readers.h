// The readers: each fills the store from the file that stands open in it, as the contract at the
// store tells. True: the recording stands. False: the file is refused.
#pragma once

#include "model/ImportState.h"

namespace lmimport {

bool ReadAbfFile(ImportState& state);
bool ReadAbinFile(ImportState& state);
bool ReadAdcLabFile(ImportState& state);
bool ReadArFile(ImportState& state);
bool ReadCfwbFile(ImportState& state);
bool ReadChartFile(ImportState& state);
bool ReadMatlab4File(ImportState& state);
bool ReadMatlab5File(ImportState& state);
bool ReadPeakFile(ImportState& state);
bool ReadRawFile(ImportState& state);
bool ReadWaveFile(ImportState& state);
bool ReadWinDaqFile(ImportState& state);

}  // namespace lmimport
