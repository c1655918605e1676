// What a shell needs to complete the command line: commands, options, their choices, files and
// folders.
#pragma once

#include "manual/CommandLine.h"

namespace lmi {

/// To be sourced; needs nothing of the package bash-completion.
std::string BashCompletion(const ProgramText& program);

/// To be sourced, or to be loaded by compinit as the function _lmi.
std::string ZshCompletion(const ProgramText& program);

/// To be sourced.
std::string FishCompletion(const ProgramText& program);

}  // namespace lmi
