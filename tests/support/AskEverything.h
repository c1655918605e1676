#pragma once

#include <lmimport/lmimport.h>

namespace lmimport::test {

/// Asks everything of an open file: all properties, within their bounds and beyond, and reads of
/// every kind around both ends of each block. Gives what two ways to the same answer disagree on,
/// empty when all is well.
std::string AskEverything(LMIFile& file);

}  // namespace lmimport::test
