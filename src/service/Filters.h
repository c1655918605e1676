// The file types that the library knows, as a host's file dialog lists them.
#pragma once

#include <lmimport/Types.h>

namespace lmimport {

inline constexpr Long NumberOfFilters = 12;

/// Title and patterns of filter 1 to 12; any other index stands for all supported files, which are
/// the patterns of 1 to 11.
String TitleOfFilter(Long index);
String PatternsOfFilter(Long index);

}  // namespace lmimport
