#include "Text.h"

#include <fmt/core.h>

#include <chrono>
#include <cmath>
#include <cstdio>

namespace lmi {

std::string DateText(lmimport::Date date, char between) {
  using namespace std::chrono;
  constexpr double firstDay = -693593;  // year 1
  constexpr double endDay = 2958466;    // year 10000
  if (date == 0 || !(date >= firstDay && date < endDay)) return {};
  constexpr double millisecondsOfDay = 86400e3;
  const sys_days zero = year{1899} / December / 30;
  const auto stamp = sys_time<milliseconds>(zero) +
                     milliseconds(static_cast<std::int64_t>(std::round(date * millisecondsOfDay)));
  const auto day = floor<days>(stamp);
  const year_month_day calendar(day);
  const hh_mm_ss time(stamp - day);
  return fmt::format("{:04}-{:02}-{:02}{}{:02}:{:02}:{:02}.{:03}", int{calendar.year()},
                     unsigned{calendar.month()}, unsigned{calendar.day()}, between,
                     time.hours().count(), time.minutes().count(), time.seconds().count(),
                     time.subseconds().count());
}

std::string OneLine(const lmimport::String& text) {
  lmimport::String line = text;
  for (char16_t& c : line) {
    if (c < u' ' || (c >= 0x7f && c < 0xa0)) c = u' ';
  }
  return lmimport::ToUtf8(line);
}

void PrintFailure(std::string_view file, std::string_view reason) {
  if (reason.find(file) == std::string_view::npos) {
    fmt::print(stderr, "lmi: {}: {}\n", file, reason);
  } else {
    fmt::print(stderr, "lmi: {}\n", reason);
  }
}

}  // namespace lmi
