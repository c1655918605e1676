#include "output/Text.h"

#include <fmt/core.h>
#include <lmimport/Text.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <set>

#include "output/Output.h"

namespace lmi {

namespace {

using namespace std::chrono;

constexpr double FirstDay = -693593;  // year 1
constexpr double EndDay = 2958466;    // year 10000

// The date in microseconds, to the millisecond where it is one but for the last digits of a Double.
sys_time<microseconds> TimePoint(lmimport::Date date) {
  constexpr double microsecondsOfDay = 86400e6;
  constexpr std::int64_t slack = 2;
  const sys_days zero = year{1899} / December / 30;
  std::int64_t count = std::llround(date * microsecondsOfDay);
  const std::int64_t whole = static_cast<std::int64_t>(std::llround(date * 86400e3)) * 1000;
  if (std::abs(count - whole) <= slack) count = whole;
  return zero + microseconds(count);
}

// With 3 to 6 digits of the second.
std::string TimeText(sys_time<microseconds> time, int digits, char between) {
  const std::int64_t unit = digits <= 3 ? 1000 : digits == 4 ? 100 : digits == 5 ? 10 : 1;
  time += microseconds(unit / 2);
  const auto day = floor<days>(time);
  const year_month_day calendar(day);
  const hh_mm_ss clock(time - day);
  return fmt::format("{:04}-{:02}-{:02}{}{:02}:{:02}:{:02}.{:0{}}", int{calendar.year()},
                     unsigned{calendar.month()}, unsigned{calendar.day()}, between,
                     clock.hours().count(), clock.minutes().count(), clock.seconds().count(),
                     clock.subseconds().count() / unit, digits);
}

bool IsDate(lmimport::Date date) {
  return date != 0 && date >= FirstDay && date < EndDay;
}

}  // namespace

std::string DateText(lmimport::Date date, char between) {
  return IsDate(date) ? TimeText(TimePoint(date), 3, between) : std::string();
}

std::string ClockText(lmimport::Date start, double seconds, double step) {
  if (!IsDate(start) || !IsDate(start + seconds / 86400)) return {};
  const int digits = std::clamp(static_cast<int>(std::ceil(-std::log10(step))) + 1, 3, 6);
  return TimeText(TimePoint(start) + microseconds(std::llround(seconds * 1e6)), digits, 'T');
}

std::int64_t FrameOf(const lmimport::Block& block, const lmimport::Comment& comment) {
  const double frame = (comment.Time - block.StartTime) * block.SamplingRate;
  return std::isfinite(frame) ? std::llround(std::clamp(frame, -1e15, 1e15)) : 0;
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
    const bool direction = (c >= 0x200e && c <= 0x200f) || (c >= 0x2028 && c <= 0x202e) ||
                           (c >= 0x2066 && c <= 0x2069) || c == 0x061c;
    if (pair) {
      ++i;
    } else if (control || direction || (c & 0xf800) == 0xd800) {
      c = u' ';
    }
  }
  return lmimport::ToUtf8(text);
}

std::string DurationText(double seconds) {
  if (!std::isfinite(seconds)) return "-";
  const auto all = static_cast<std::int64_t>(std::llround(std::min(std::abs(seconds), 1e15) * 1e3));
  constexpr std::int64_t second = 1000;
  constexpr std::int64_t minute = 60 * second;
  constexpr std::int64_t hour = 60 * minute;
  return fmt::format("{}{}:{:02}:{:02}.{:03}", seconds < 0 ? "-" : "", all / hour,
                     all % hour / minute, all % minute / second, all % second);
}

std::vector<std::string> ChannelNames(const lmimport::Recording& recording, std::size_t number) {
  const lmimport::Block& block = recording.Blocks()[number];
  std::string variable = OneLine(recording.Blocks().size() > 1 ? block.Title : std::string());
  std::vector<std::string> names;
  std::set<std::string> taken;
  for (const lmimport::Channel& channel : block.Channels) {
    std::string name = OneLine(channel.Title);
    if (name.find_first_not_of(' ') == std::string::npos) {
      name = fmt::format("ch{}", names.size() + 1);
      if (!variable.empty())
        name = block.Channels.size() == 1 ? variable : fmt::format("{}_{}", variable, name);
    }
    const std::string first = name;
    for (int same = 2; !taken.insert(name).second; ++same) name = fmt::format("{}_{}", first, same);
    names.push_back(std::move(name));
  }
  return names;
}

std::string Numbered(std::size_t count, std::string_view what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

std::string FileTitle(const lmimport::Recording& recording) {
  return recording.Path().filename().string();
}

std::string ValidUtf8(std::string_view text) {
  lmimport::String wide = lmimport::FromUtf8(text);
  for (std::size_t i = 0; i < wide.size(); ++i) {
    const bool high = (wide[i] & 0xfc00) == 0xd800;
    const bool pair = high && i + 1 < wide.size() && (wide[i + 1] & 0xfc00) == 0xdc00;
    if (pair)
      ++i;
    else if ((wide[i] & 0xf800) == 0xd800)
      wide[i] = 0xfffd;
  }
  return lmimport::ToUtf8(wide);
}

std::string CsvField(const std::string& text, std::string_view separator) {
  if (text.find_first_of("\"\r\n") == std::string::npos &&
      text.find(separator) == std::string::npos)
    return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

std::string FindingText(const lmimport::Finding& finding, const lmimport::Recording* recording) {
  const auto titleOf = [&]() -> std::string {
    if (recording == nullptr || finding.Block < 0) return {};
    const auto block = static_cast<std::size_t>(finding.Block);
    const auto channel = static_cast<std::size_t>(finding.Channel);
    const auto& blocks = recording->Blocks();
    if (block >= blocks.size() || channel >= blocks[block].Channels.size()) return {};
    const std::string& title = blocks[block].Channels[channel].Title;
    return title.empty() ? "" : fmt::format(" \"{}\"", OneLine(title));
  };
  std::string place;
  if (finding.Block >= 0) place += fmt::format(", block {}", finding.Block + 1);
  if (finding.Channel >= 0) place += fmt::format(", channel {}{}", finding.Channel + 1, titleOf());
  if (finding.Position >= 0) place += fmt::format(", at byte {}", finding.Position);
  return fmt::format("{} {}{}: {}", finding.Warning ? "warning" : "note", finding.Code, place,
                     OneLine(finding.Text));
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
  Say("lmi: {}\n", line);
}

}  // namespace lmi
