#include "recordings/Selection.h"

#include <fmt/core.h>
#include <fnmatch.h>
#include <lmimport/Text.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cwctype>
#include <limits>
#include <optional>
#include <set>

#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr double Infinity = std::numeric_limits<double>::infinity();

constexpr double SecondsOfDay = 86400;
constexpr std::size_t ListedTitles = 40;

template <class T>
std::optional<T> NumberIn(std::string_view text) {
  T number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return {};
  return number;
}

// "1:02:03.5" as seconds; 60 and above only in the first part.
std::optional<double> ColonTime(std::string_view text) {
  double seconds = 0;
  for (int parts = 0; parts < 3; ++parts) {
    const std::size_t colon = text.find(':');
    const std::string_view part = text.substr(0, colon);
    const bool last = colon == std::string_view::npos;
    const auto value = NumberIn<double>(part);
    const bool whole = part.find_first_not_of("0123456789") == std::string_view::npos;
    if (!value || !std::isfinite(*value) || *value < 0 || (!last && !whole)) return {};
    if (parts > 0 && *value >= 60) return {};
    seconds = seconds * 60 + *value;
    if (last) return seconds;
    text.remove_prefix(colon + 1);
  }
  return {};
}

std::optional<double> DayOf(std::string_view text) {
  using namespace std::chrono;
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return {};
  const auto yearPart = NumberIn<int>(text.substr(0, 4));
  const auto monthPart = NumberIn<unsigned>(text.substr(5, 2));
  const auto dayPart = NumberIn<unsigned>(text.substr(8, 2));
  if (!yearPart || !monthPart || !dayPart) return {};
  const year_month_day date{year(*yearPart), month(*monthPart), day(*dayPart)};
  if (!date.ok()) return {};
  return static_cast<double>((sys_days(date) - sys_days(year(1899) / 12 / 30)).count());
}

// A time of the clock: with its day, or without and then 0.
struct Clock {
  std::optional<double> Day;
  double Seconds;
};
std::optional<Clock> ClockIn(std::string_view text) {
  Clock clock{};
  const std::size_t mark = text.find_first_of("Tt ");
  if (mark == std::string_view::npos && text.find('-') == std::string_view::npos) return {};
  const std::string_view day = text.substr(0, mark);
  if (!day.empty()) {
    clock.Day = DayOf(day);
    if (!clock.Day) return {};
  }
  if (mark == std::string_view::npos) return clock;
  const std::string_view time = text.substr(mark + 1);
  const auto seconds = ColonTime(time);
  if (!seconds || time.find(':') == std::string_view::npos) return {};
  // Two parts are hours and minutes.
  clock.Seconds = std::ranges::count(time, ':') == 1 ? *seconds * 60 : *seconds;
  if (clock.Seconds >= SecondsOfDay) return {};
  return clock;
}

String LowerCase(std::string_view utf8) {
  String text = FromUtf8(utf8);
  for (char16_t& c : text) c = static_cast<char16_t>(std::towlower(c));
  return text;
}

bool Matches(const std::string& pattern, const std::string& title) {
  return ::fnmatch(ToUtf8(LowerCase(pattern)).c_str(), ToUtf8(LowerCase(title)).c_str(), 0) == 0;
}

// "3", "2-5" and "1,3-4" as ranges of numbers of channels; nothing for any other text.
std::vector<std::pair<int, int>> NumbersIn(std::string_view text) {
  std::vector<std::pair<int, int>> ranges;
  for (;;) {
    const std::size_t comma = text.find(',');
    const std::string_view part = text.substr(0, comma);
    const std::size_t dash = part.find('-');
    const auto first = NumberIn<int>(part.substr(0, dash));
    const auto last = dash == std::string_view::npos ? first : NumberIn<int>(part.substr(dash + 1));
    if (!first || !last || *first < 1 || *last < *first) return {};
    ranges.emplace_back(*first, *last);
    if (comma == std::string_view::npos) return ranges;
    text.remove_prefix(comma + 1);
  }
}

// The channels of the block that one name means: by title as it is, then in any case, by number,
// by pattern. So a title that is a number can be named, too.
std::vector<std::size_t> FindChannels(const Recording& recording, std::size_t number,
                                      const std::string& name) {
  const Block& block = recording.Blocks()[number];
  const std::vector<std::string> unique = ChannelNames(recording, number);
  const auto where = [&](const auto& isMeant) {
    std::vector<std::size_t> found;
    for (std::size_t c = 0; c < block.Channels.size(); ++c) {
      if (isMeant(block.Channels[c], unique[c])) found.push_back(c);
    }
    return found;
  };
  const auto equal = [&](const Channel& channel, const std::string& told) {
    return channel.Title == name || told == name;
  };
  const auto equalInAnyCase = [&](const Channel& channel, const std::string& told) {
    return LowerCase(channel.Title) == LowerCase(name) || LowerCase(told) == LowerCase(name);
  };
  const auto numbers = NumbersIn(name);
  const auto numbered = [&](const Channel& channel, const std::string&) {
    return std::ranges::any_of(numbers, [&channel](const std::pair<int, int>& range) {
      return channel.Number >= range.first && channel.Number <= range.second;
    });
  };
  const auto matching = [&](const Channel&, const std::string& told) {
    return Matches(name, told);
  };
  if (auto found = where(equal); !found.empty()) return found;
  if (auto found = where(numbered); !found.empty()) return found;
  if (auto found = where(equalInAnyCase); !found.empty()) return found;
  return where(matching);
}

std::string ListOfChannels(const Recording& recording) {
  std::set<std::pair<int, std::string>> all;
  for (const Block& block : recording.Blocks()) {
    for (const Channel& channel : block.Channels) all.emplace(channel.Number, channel.Title);
  }
  std::string list;
  std::size_t count = 0;
  for (const auto& [number, title] : all) {
    if (++count > ListedTitles) break;
    list += fmt::format("{}{}{}", list.empty() ? "" : ", ", number,
                        title.empty() ? "" : fmt::format(" \"{}\"", title));
  }
  return all.size() > ListedTitles ? fmt::format("{} and {} more", list, all.size() - ListedTitles)
                                   : list;
}

std::vector<std::size_t> ChannelsOf(const Recording& recording, std::size_t number,
                                    const std::vector<std::string>& names,
                                    std::vector<bool>& isKnown) {
  const Block& block = recording.Blocks()[number];
  std::vector<std::size_t> channels;
  for (std::size_t i = 0; i < names.size(); ++i) {
    for (const std::size_t channel : FindChannels(recording, number, names[i])) {
      isKnown[i] = true;
      if (std::ranges::count(channels, channel) == 0) channels.push_back(channel);
    }
  }
  for (std::size_t c = 0; names.empty() && c < block.Channels.size(); ++c) channels.push_back(c);
  return channels;
}

// The first frame at this time or after it. A time that is a frame's own, but for the digits that
// its text leaves out, is that frame's.
std::int64_t FrameAt(const Block& block, double seconds) {
  constexpr double slack = 0.02;
  const double frame = (seconds - block.StartTime) * block.SamplingRate;
  if (std::isnan(frame)) return 0;
  const double held = std::clamp(frame, 0.0, static_cast<double>(block.FrameCount));
  return static_cast<std::int64_t>(std::ceil(held - slack));
}

Part PartOf(const Block& block, const SelectionOptions& options, const Stretch& stretch) {
  Part part{};
  const std::int64_t held = options.Fill ? block.FrameCount : block.HeldFrames;
  part.First = std::min(options.Start - 1, held);
  if (stretch.From) part.First = std::clamp(FrameAt(block, *stretch.From), part.First, held);
  part.End = part.First + std::min(options.Count, held - part.First);
  if (stretch.To) part.End = std::min(part.End, FrameAt(block, *stretch.To));
  part.End = std::max(part.First, part.End);
  return part;
}

std::string CheckFromOne(const std::string& text) {
  const auto number = NumberIn<std::int64_t>(text);
  return number && *number >= 1 ? "" : "\"" + text + "\" is not a whole number from 1 on";
}

// Seconds from the start of the recording at which a frame of the block is.
double TimeAt(const Block& block, std::int64_t frame) {
  const double within = static_cast<double>(frame) / block.SamplingRate;
  return frame > 0 && std::isfinite(within) ? block.StartTime + within : block.StartTime;
}

}  // namespace

Stretch StretchOf(const Recording& recording, const SelectionOptions& options) {
  Stretch stretch;
  if (!options.From.empty()) stretch.From = TimeOf(options.From, recording);
  if (!options.To.empty()) stretch.To = TimeOf(options.To, recording);
  if (!options.Duration.empty()) {
    const auto duration = ColonTime(options.Duration);
    if (!duration)
      throw std::invalid_argument(
          fmt::format("\"{}\" is no duration: seconds, m:ss or h:mm:ss", options.Duration));
    stretch.To = stretch.From.value_or(0) + *duration;
  }
  if (stretch.To && *stretch.To <= stretch.From.value_or(-Infinity))
    throw std::invalid_argument("the stretch ends before it begins");
  return stretch;
}

double EndOf(const Recording& recording) {
  double end = 0;
  for (const Block& block : recording.Blocks())
    end = std::max(end, TimeAt(block, block.FrameCount));
  return end;
}

std::vector<std::vector<const Comment*>> CommentsOf(const Recording& recording,
                                                    const std::vector<Part>& parts) {
  std::vector<std::vector<const Comment*>> comments(parts.size());
  if (parts.empty()) return comments;
  const auto startOf = [&](const Part& part) {
    return TimeAt(recording.Blocks()[part.Block], part.First);
  };
  const auto endOf = [&](const Part& part) {
    return TimeAt(recording.Blocks()[part.Block], part.End);
  };
  double from = Infinity;
  double to = -Infinity;
  bool isWhole = true;
  for (const Part& part : parts) {
    from = std::min(from, startOf(part));
    to = std::max(to, endOf(part));
    isWhole = isWhole && part.First == 0 && part.End == recording.Blocks()[part.Block].FrameCount;
  }
  for (const Comment& comment : recording.Comments()) {
    if (!isWhole && (comment.Time < from || comment.Time >= to)) continue;
    const auto rank = [&](const Part& part) {
      const bool isIn = comment.Time >= startOf(part) && comment.Time < endOf(part);
      const bool isOwn = part.Block == comment.BlockIndex;
      return isIn ? 4 + (isOwn ? 1 : 0) : isOwn ? 3 : startOf(part) <= comment.Time ? 2 : 1;
    };
    const auto best = std::ranges::max_element(parts, {}, rank);
    comments[static_cast<std::size_t>(best - parts.begin())].push_back(&comment);
  }
  return comments;
}

void AddChannelOption(CLI::App& command, std::vector<std::string>& channels) {
  command
      .add_option("-c,--channel", channels,
                  "channels: numbers from 1 as info shows them, such as 3, 2-5 or 1,4; a title, "
                  "or a pattern such as \"EEG*\", in any case; may be given again")
      ->allow_extra_args(false)
      ->option_text("CHANNEL");
}

void AddSelection(CLI::App& command, SelectionOptions& options) {
  const char* group = "Selection";
  AddChannelOption(command, options.Channels);
  const CLI::Validator fromOne(CheckFromOne, "from 1");
  command.add_option("-b,--block", options.Blocks, "block, from 1; may be given again; else all")
      ->check(fromOne)
      ->allow_extra_args(false)
      ->option_text("N")
      ->group(group);
  command
      .add_option("--from", options.From,
                  "from this time on: seconds or h:mm:ss from the start of the recording, or a "
                  "time of day as T22:15:30 or 2019-11-05T22:15:30")
      ->option_text("TIME")
      ->group(group);
  auto* const to =
      command.add_option("--to,--until", options.To, "up to this time, which is left out")
          ->option_text("TIME")
          ->group(group);
  command.add_option("--duration", options.Duration, "so long from --from on")
      ->excludes(to)
      ->option_text("TIME")
      ->group(group);
  command.add_option("--start", options.Start, "first frame of each block, from 1")
      ->check(fromOne)
      ->option_text("N")
      ->group(group);
  command.add_option("--count", options.Count, "frames of each block")
      ->check(fromOne)
      ->option_text("N")
      ->group(group);
  command
      .add_flag("--fill", options.Fill,
                "with zeros for the samples that the header claims and the file lacks")
      ->group(group);
  command.get_option("--channel")->group(group);
}

double TimeOf(const std::string& text, const Recording& recording) {
  if (const auto seconds = ColonTime(text)) return *seconds;
  const auto clock = ClockIn(text);
  if (!clock)
    throw std::invalid_argument(
        fmt::format("\"{}\" is no time: seconds, h:mm:ss, T22:15:30 or 2019-11-05T22:15:30", text));
  const std::optional<Date> start = recording.Start();
  if (!start)
    throw std::invalid_argument(
        fmt::format("\"{}\" is a time of day, and the recording states no start", text));
  const double startDay = std::floor(*start);
  const double startSeconds = (*start - startDay) * SecondsOfDay;
  const double seconds =
      (clock->Day.value_or(startDay) - startDay) * SecondsOfDay + clock->Seconds - startSeconds;
  constexpr double slack = 1e-3;  // a date is not kept closer
  return !clock->Day && seconds < -slack ? seconds + SecondsOfDay : seconds;
}

std::vector<Part> Select(const Recording& recording, const SelectionOptions& options) {
  const std::vector<Block>& blocks = recording.Blocks();
  for (const std::int64_t number : options.Blocks) {
    if (number > std::ssize(blocks))
      throw std::invalid_argument(
          fmt::format("there is no block {} among the {}", number, blocks.size()));
  }
  const Stretch stretch = StretchOf(recording, options);
  std::vector<bool> isKnown(options.Channels.size());
  std::vector<Part> parts;
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    const bool isNamed = std::ranges::count(options.Blocks, static_cast<std::int64_t>(i + 1)) > 0;
    if (!options.Blocks.empty() && !isNamed) continue;
    Part part = PartOf(blocks[i], options, stretch);
    part.Block = i;
    part.Channels = ChannelsOf(recording, i, options.Channels, isKnown);
    if (!part.Channels.empty() && (part.Frames() > 0 || isNamed || blocks.size() == 1))
      parts.push_back(std::move(part));
  }
  const auto unknown = std::ranges::find(isKnown, false);
  if (unknown != isKnown.end())
    throw std::invalid_argument(
        fmt::format("there is no channel \"{}\"; there are {}",
                    options.Channels[static_cast<std::size_t>(unknown - isKnown.begin())],
                    ListOfChannels(recording)));
  return parts;
}

}  // namespace lmi
