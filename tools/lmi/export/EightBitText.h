// UTF-8 as the 8-bit texts that other formats hold.
#pragma once

#include <string>

namespace lmi {

/// In this code page; false where it lacks a character.
bool ToCodePage(int page, const std::string& utf8, std::string& bytes);

/// Printable ASCII: the letter without its accent, "u" for micro; "?" for what has none.
std::string ToAscii(const std::string& utf8);

}  // namespace lmi
