// What can be noticed about any recording, whatever its format.
#pragma once

#include "model/Opening.h"

namespace lmimport {

/// Of a recording that is read: data that ends early, lengths that are held at the largest, rates,
/// scales and offsets that make no value.
void NoteGeneralFindings(Opening& opening);

/// Once the comments are read: those past the end of their block.
void NoteCommentsPastEnd(Opening& opening);

/// Of a file that was refused, or read as raw data because nothing claimed it: a known format that
/// no reader is for, by its first bytes or its name.
void NoteUnreadFormat(Opening& opening, bool read);

}  // namespace lmimport
