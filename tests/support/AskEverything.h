#pragma once

#include <lmimport/lmimport.h>

namespace lmimport::test {

/// Asks everything of an open file: all properties, within their bounds and beyond, and reads of
/// every kind around both ends of each block. Gives what two ways to the same answer disagree on,
/// empty when all is well.
std::string AskEverything(LMIFile& file);

/// Opens what may be damaged, and asks everything of what comes out of it. The open ends in one of
/// the orderly ways: a file, a message, or a standard exception. Gives what isn't well, or empty,
/// and whether it was a file.
std::string OpenAndAsk(LMImport& import, const std::string& name, bool& isOpen);

/// The same of a Recording, with its other kinds of reads, and of an open of one.
std::string AskRecording(const Recording& recording);
std::string OpenAndAskRecording(const std::string& name, Reading as);

}  // namespace lmimport::test
