// How the command writes texts, dates and failures.
#pragma once

#include <lmimport/lmimport.h>

#include <string>
#include <string_view>

namespace lmi {

/// "1990-08-10T15:45:35.000", to the millisecond, with `between` in the place of the T; empty for a
/// Date that is no time of the years 1 to 9999, and for 0, which stands for none.
std::string DateText(lmimport::Date date, char between);

/// The text on one line that can't disturb a terminal: control characters become blanks.
std::string OneLine(const lmimport::String& text);

/// One line on standard error with the file and the reason, the file only where the reason doesn't
/// name it already.
void PrintFailure(std::string_view file, std::string_view reason);

}  // namespace lmi
