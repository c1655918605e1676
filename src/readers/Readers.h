// The readers: each fills the store from the recording that is open, as RecordingStore.h tells, or
// refuses it.
#pragma once

#include "model/Opening.h"

namespace lmimport {

void ReadAbfFile(Opening& opening);
void ReadAbinFile(Opening& opening);
void ReadAdcLabFile(Opening& opening);
void ReadArFile(Opening& opening);
void ReadCfwbFile(Opening& opening);
void ReadChartFile(Opening& opening);
void ReadMatlab4File(Opening& opening);
void ReadMatlab5File(Opening& opening);
void ReadPeakFile(Opening& opening);
void ReadRawFile(Opening& opening);
void ReadWaveFile(Opening& opening);
void ReadWinDaqFile(Opening& opening);

}  // namespace lmimport
