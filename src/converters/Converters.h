// The readers of formats whose layout the system can't read in place: what they can't show as it is,
// they rewrite into a flat data file. They keep the contract of all readers.
#pragma once

#include "model/Opening.h"

namespace lmimport {

void ConvertEdfFile(Opening& opening);
void ConvertAcqFile(Opening& opening);

}  // namespace lmimport
