#include "Text.h"

#include <fmt/core.h>
#include <lmimport/Text.h>

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

std::string SecondsText(double frames, double rate) {
  return rate > 0 ? fmt::format("{:.3f} s", frames / rate) : "-";
}

std::string OneLine(std::string_view utf8) {
  lmimport::String text = lmimport::FromUtf8(utf8);
  for (std::size_t i = 0; i < text.size(); ++i) {
    char16_t& c = text[i];
    const bool pair =
        (c & 0xfc00) == 0xd800 && i + 1 < text.size() && (text[i + 1] & 0xfc00) == 0xdc00;
    const bool control = c < u' ' || (c >= 0x7f && c < 0xa0);
    const bool direction = (c >= 0x202a && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069);
    if (pair) {
      ++i;
    } else if (control || direction || (c & 0xf800) == 0xd800) {
      c = u' ';
    }
  }
  return lmimport::ToUtf8(text);
}

std::string FindingText(const lmimport::Finding& finding) {
  std::string place;
  if (finding.Block >= 0) place += fmt::format(", block {}", finding.Block + 1);
  if (finding.Channel >= 0) place += fmt::format(", channel {}", finding.Channel + 1);
  if (finding.Position >= 0) place += fmt::format(", at byte {}", finding.Position);
  return fmt::format("{} {}{}: {}", finding.Warning ? "warning" : "note", finding.Code, place,
                     OneLine(finding.Text));
}

nlohmann::ordered_json FindingsToJson(const std::vector<lmimport::Finding>& findings) {
  auto list = nlohmann::ordered_json::array();
  const auto orNull = [](bool stated, auto value) {
    return stated ? nlohmann::ordered_json(value) : nlohmann::ordered_json();
  };
  for (const lmimport::Finding& finding : findings)
    list.push_back({{"Warning", finding.Warning},
                    {"Code", finding.Code},
                    {"Position", orNull(finding.Position >= 0, finding.Position)},
                    {"Block", orNull(finding.Block >= 0, finding.Block + 1)},
                    {"Channel", orNull(finding.Channel >= 0, finding.Channel + 1)},
                    {"Text", finding.Text}});
  return list;
}

std::string JsonText(const nlohmann::ordered_json& value) {
  return value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

std::string WithoutName(const std::string& reason, std::string_view file) {
  const std::string start = fmt::format("Can't open \"{}\": ", file);
  return reason.starts_with(start) ? reason.substr(start.size()) : reason;
}

void PrintFailure(std::string_view file, std::string_view reason) {
  const std::string quoted = fmt::format("\"{}\"", file);
  const std::string line =
      OneLine(reason.find(quoted) == std::string_view::npos ? fmt::format("{}: {}", file, reason)
                                                            : std::string(reason));
  fmt::print(stderr, "lmi: {}\n", line);
}

}  // namespace lmi
