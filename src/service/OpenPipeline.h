// The way from a file name to a filled store.
#pragma once

#include "model/ImportState.h"

namespace lmimport {

/// Finds the file, opens it, has one reader fill the store. False: ErrorString says why, and the
/// store is back at no file. A fault passes through, with the store half built.
bool OpenDataFile(ImportState& state, const String& FileName);

}  // namespace lmimport
