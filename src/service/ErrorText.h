// The messages of a refused open, in the user's language.
#pragma once

#include <lmimport/Types.h>

namespace lmimport {

/// Message 0 to 3, in Russian on a Russian system and in English on every other; any other number
/// gives message 0.
String ErrorText(Long Number);

}  // namespace lmimport
