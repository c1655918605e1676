// The file types that the library knows, as a host's file dialog lists them.
#pragma once

#include <lmimport/Types.h>

namespace lmimport {

inline constexpr Long NumberOfFilters = 12;

/// Title and patterns of filter 1 to 12; any other index means all supported files, which are
/// the patterns of 1 to 11.
String TitleOfFilter(Long index);
String PatternsOfFilter(Long index);

/// The filter of a file dialog, "title (patterns)|patterns": the one of the index, or for any other
/// index that for all supported files, its title without patterns, and then all the single ones.
String DialogFilter(Long index);

}  // namespace lmimport
