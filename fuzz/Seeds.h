#pragma once

#include <map>
#include <string>

namespace lmimport::fuzz {

using Seeds = std::multimap<std::string, std::string>;  // the first inputs, by target

/// Sound recordings of the tests, and what else leads a reader new ways.
Seeds BuiltSeeds();

}  // namespace lmimport::fuzz
