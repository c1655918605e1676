// How the command writes texts, dates, findings and failures.
#pragma once

#include <lmimport/Findings.h>

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace lmi {

/// "1990-08-10T15:45:35.000", to the millisecond, with `between` in the place of the T; empty for a
/// Date that is not in the years 1 to 9999, and for 0, which means none.
std::string DateText(lmimport::Date date, char between);

/// "3.520 s" for so many frames; "-" where the rate gives none.
std::string SecondsText(double frames, double rate);

/// UTF-8 text on one line that can't disturb a terminal: control characters, marks of the direction
/// of writing and bytes that aren't text become blanks.
std::string OneLine(std::string_view text);

/// "warning data-cut-off, block 1, channel 2, at byte 300: ..."
std::string FindingText(const lmimport::Finding& finding);

nlohmann::ordered_json FindingsToJson(const std::vector<lmimport::Finding>& findings);

/// Bytes of a name that aren't UTF-8 are replaced.
std::string JsonText(const nlohmann::ordered_json& value);

/// The reason, without the name of the file where it only begins with it: "Can't open "NAME": why".
std::string WithoutName(const std::string& reason, std::string_view file);

/// One line on standard error with the file and the reason, the file only where the reason doesn't
/// name it already.
void PrintFailure(std::string_view file, std::string_view reason);

}  // namespace lmi
