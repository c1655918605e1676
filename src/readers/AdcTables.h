// What acquisition boards make of a volt.
#pragma once

#include <lmimport/Types.h>

#include <string_view>

namespace lmimport {

/// Counts per unit of a board with a gain code. Boards are known by the beginning of their name,
/// with case; any other name is a 16-bit converter of 10.24 units from end to end at gain code 0.
Single AdcScale(std::u16string_view ADCName, Integer Gain);

/// Bits of the board's converter; 16 for a name that isn't known.
Byte AdcResolution(std::u16string_view ADCName);

}  // namespace lmimport
