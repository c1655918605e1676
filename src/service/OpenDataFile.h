// An open by LMImport: from a file name to the store of the thread.
#pragma once

#include "service/ImportState.h"

namespace lmimport {

/// Finds the file, as named or under DefaultPath, opens it, and has one reader fill the store.
/// False: ErrorString says why, and no file is open. A fault passes through: std::system_error,
/// std::domain_error, std::range_error, std::invalid_argument or std::length_error.
bool OpenDataFile(ImportState& state, const String& FileName);

}  // namespace lmimport
