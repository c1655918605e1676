// What can be noticed about any recording, whatever its format.
#pragma once

#include "model/ImportState.h"

namespace lmimport {

/// Of a file that stands in the store: data that ends early, comments behind the end of their block,
/// rates and scales that no value comes of.
void NoteGeneralFindings(ImportState& state);

/// Of a file that was refused, or read as raw data because nothing claimed it: a known format that
/// no reader is for, by its first bytes or its name.
void NoteUnreadFormat(ImportState& state, bool read);

}  // namespace lmimport
