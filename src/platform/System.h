// What the operating system says about the user's language, the local time and this process.
#pragma once

#include <ctime>

namespace lmimport::platform {

inline constexpr char16_t PathSeparator = u'/';

/// The Windows code page of the language that the locale of the environment names.
int SystemCodePage();

/// Messages go out in Russian.
bool MessagesInRussian();

std::tm LocalTime(std::time_t time);

int ProcessNumber();

}  // namespace lmimport::platform
