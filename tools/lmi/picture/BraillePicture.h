// A picture in the terminal, in dots of braille characters.
#pragma once

#include "output/Terminal.h"
#include "picture/Picture.h"

namespace lmi {

/// Characters of a line that show samples, of a terminal of so many columns; each has two dots
/// beside each other.
std::size_t BrailleColumns(std::size_t terminalWidth);

void PrintBraille(const Picture& picture, std::size_t columns, const Appearance& look);

}  // namespace lmi
