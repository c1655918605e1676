// A page of the manual in troff, for man-db and mandoc, with the texts of --help.
#pragma once

#include "manual/CommandLine.h"

namespace lmi {

/// "lmi-info"; "lmi" where `command` is the program itself.
std::string PageName(const ProgramText& program, const CommandText& command);

/// Of one of the commands, or lmi(1) where `command` is the program itself.
std::string ManualPage(const ProgramText& program, const CommandText& command);

}  // namespace lmi
