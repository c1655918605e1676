// The readers of formats whose layout the system can't read in place: what they can't show as it
// stands, they rewrite into a flat data file. They keep the contract of all readers.
#pragma once

#include "model/ImportState.h"

namespace lmimport {

bool ConvertEdfFile(ImportState& state);
bool ConvertAcqFile(ImportState& state);

}  // namespace lmimport
