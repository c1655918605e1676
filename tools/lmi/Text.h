// How the command writes texts, dates, findings and failures.
#pragma once

#include <lmimport/lmimport.h>

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace lmi {

/// "1990-08-10T15:45:35.000", to the millisecond, with `between` in the place of the T; empty for a
/// Date that is no time of the years 1 to 9999, and for 0, which stands for none.
std::string DateText(lmimport::Date date, char between);

/// "3.520 s" for so many frames; "-" where the rate gives none.
std::string SecondsText(double frames, double rate);

/// The text on one line that can't disturb a terminal: control characters, marks of the direction
/// of writing and bytes that are no text become blanks.
std::string OneLine(lmimport::String text);

/// "warning data-cut-off, at byte 300: ..."
std::string FindingText(const lmimport::Finding& finding);

/// Those of the last open.
nlohmann::ordered_json FindingsToJson();

/// Bytes of a name that are no UTF-8 are replaced.
std::string JsonText(const nlohmann::ordered_json& value);

/// One line on standard error with the file and the reason, the file only where the reason doesn't
/// name it already.
void PrintFailure(std::string_view file, std::string_view reason);

}  // namespace lmi
