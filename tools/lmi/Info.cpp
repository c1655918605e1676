// "lmi info": what a recording is, as a table or as JSON.
#include <algorithm>
#include <cmath>

#include "Commands.h"
#include "Interrupt.h"
#include "Output.h"
#include "Text.h"

namespace lmi {
namespace {

using namespace lmimport;
using nlohmann::ordered_json;

constexpr std::size_t ShownFrames = 4;
constexpr std::size_t ShownComments = 20;
constexpr std::size_t LongestTitle = 40;  // in the table
constexpr double SecondsPerDay = 86400;

// A recording as it is shown: the comments of each block, and where there are none, why.
class Shown {
 public:
  explicit Shown(const Recording& recording)
      : recording_(recording), comments_(recording.Blocks().size()) {
    for (const Comment& comment : recording.Comments())
      comments_[comment.BlockIndex].push_back(&comment);
  }

  const Recording& File() const { return recording_; }
  const lmimport::Block& Block(std::size_t block) const { return recording_.Blocks()[block]; }
  const std::vector<const Comment*>& Comments(std::size_t block) const { return comments_[block]; }

  std::optional<Date> Start(std::size_t block) const {
    const std::optional<Date> start = recording_.Start();
    return start ? std::optional(*start + Block(block).StartTime / SecondsPerDay) : start;
  }

  // The frame at which a comment is, from 1.
  std::int64_t Frame(const Comment& comment) const {
    const lmimport::Block& block = Block(comment.BlockIndex);
    return 1 + std::llround((comment.Time - block.StartTime) * block.SamplingRate);
  }

  std::vector<double> First(std::size_t block, std::size_t channel) const {
    std::vector<double> values(ShownFrames);
    const std::int64_t count = recording_.Read(block, channel, 0, values);
    values.resize(static_cast<std::size_t>(count));
    return values;
  }

 private:
  const Recording& recording_;
  std::vector<std::vector<const Comment*>> comments_;
};

// Of the values that counts can be.
std::pair<double, double> RangeOf(const Block& block, const Channel& channel) {
  const double highest = std::ldexp(1.0, block.SampleBits - 1);
  const double one = -highest * channel.Factor + channel.Offset;
  const double other = (highest - 1) * channel.Factor + channel.Offset;
  return {std::min(one, other), std::max(one, other)};
}

std::string RangeText(const Block& block, const Channel& channel) {
  if (block.RealSamples) return "-";
  const auto [lowest, highest] = RangeOf(block, channel);
  return fmt::format("{:.5g} .. {:.5g}", lowest, highest);
}

// Counted in characters, of which all but the first byte have the top bits 10.
std::size_t Width(std::string_view text) {
  const auto isFirst = [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; };
  return static_cast<std::size_t>(std::ranges::count_if(text, isFirst));
}

std::string Shortened(const std::string& text) {
  std::string line = OneLine(text);
  if (Width(line) <= LongestTitle) return line;
  std::size_t end = 0;
  while (Width(std::string_view(line).substr(0, end + 1)) <= LongestTitle - 3) ++end;
  return line.substr(0, end) + "...";
}

std::string Padded(const std::string& text, std::size_t width) {
  return text + std::string(width - std::min(width, Width(text)), ' ');
}

void PrintChannels(const Shown& shown, std::size_t number) {
  const Block& block = shown.Block(number);
  std::size_t titleWidth = 5;
  std::size_t unitWidth = 4;
  for (const Channel& channel : block.Channels) {
    titleWidth = std::max(titleWidth, Width(Shortened(channel.Title)));
    unitWidth = std::max(unitWidth, Width(Shortened(channel.Unit)));
  }
  const auto row = [&](const auto& index, const std::string& title, const std::string& unit,
                       const std::string& factor, const std::string& offset,
                       const std::string& range, const std::string& first) {
    Print("  {:>3}  {}  {}  {:>12}  {:>12}  {:>24}  {}\n", index, Padded(title, titleWidth),
          Padded(unit, unitWidth), factor, offset, range, first);
  };
  row("#", "Title", "Unit", "Factor", "Offset", "Range", "First values");
  for (std::size_t c = 0; c < block.Channels.size(); ++c) {
    const Channel& channel = block.Channels[c];
    std::string first;
    for (const double value : shown.First(number, c)) first += fmt::format(" {:10.6g}", value);
    row(c + 1, Shortened(channel.Title), Shortened(channel.Unit),
        fmt::format("{:.7g}", channel.Factor), fmt::format("{:.7g}", channel.Offset),
        RangeText(block, channel), first);
  }
}

void PrintComments(const Shown& shown, std::size_t number) {
  const auto& comments = shown.Comments(number);
  if (comments.empty()) return;
  Print("\n  {:>3}  {:>10}  {:>12}  {}\n", "#", "Frame", "Time", "Comment");
  for (std::size_t i = 0; i < std::min(comments.size(), ShownComments); ++i) {
    const std::int64_t frame = shown.Frame(*comments[i]);
    const double seconds = comments[i]->Time - shown.Block(number).StartTime;
    const std::string length =
        std::isnan(comments[i]->Duration)
            ? ""
            : fmt::format(" ({} s)", static_cast<float>(comments[i]->Duration));
    Print("  {:>3}  {:>10}  {:>12}  {}{}\n", i + 1, frame, SecondsText(seconds, 1),
          OneLine(comments[i]->Text), length);
  }
  if (comments.size() > ShownComments)
    Print("       {} more comments (--json lists all)\n", comments.size() - ShownComments);
}

void PrintText(std::string_view label, const std::string& text) {
  const std::string line = OneLine(text);
  if (!line.empty()) Print("  {:<10}{}\n", label, line);
}

void PrintBlock(const Shown& shown, std::size_t number) {
  const Block& block = shown.Block(number);
  Print("\nBlock {}\n", number + 1);
  PrintText("Device", block.Device);
  PrintText("Title", block.Title);
  PrintText("Notes", block.Notes);
  const std::string start = DateText(shown.Start(number).value_or(0), ' ');
  Print("  {:<10}{}\n", "Start", start.empty() ? "not stated" : start);
  Print("  {:<10}{} Hz\n", "Rate", static_cast<float>(block.SamplingRate));
  Print("  {:<10}{} frames, {}\n", "Length", block.FrameCount,
        SecondsText(static_cast<double>(block.FrameCount), block.SamplingRate));
  Print("  {:<10}{}\n\n", "Channels", block.Channels.size());
  PrintChannels(shown, number);
  PrintComments(shown, number);
}

void PrintDescription(const Recording& recording) {
  const Block& block = recording.Blocks().front();
  if (!recording.Sidecar().empty())
    Print("  {:<10}by {}\n", "Described", OneLine(recording.Sidecar()));
  else if (recording.Format() == "raw")
    Print(
        "  {:<10}by nothing: raw 16-bit data, channels: {}, at {} Hz by default (--channels, "
        "--rate)\n",
        "Described", block.Channels.size(), static_cast<float>(block.SamplingRate));
}

// What of a recording a user would notice: its shape, times and calibration.
std::string Summary(const Recording& recording) {
  std::string text;
  for (const Block& block : recording.Blocks()) {
    text += fmt::format("{} {} {} {}\n", static_cast<float>(block.StartTime),
                        static_cast<float>(block.SamplingRate), block.FrameCount, block.SampleBits);
    for (const Channel& channel : block.Channels)
      text += fmt::format("{} {} {} {}\n", channel.Number, static_cast<float>(channel.Factor),
                          static_cast<float>(channel.Offset), channel.Unit);
  }
  return text;
}

std::string Numbered(std::size_t count, std::string_view what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

// What LMImport shows its hosts instead; empty where that is the same.
std::string AsWritten(const OpenSettings& settings, const NamedFile& file,
                      const Recording& recording) {
  if (settings.AsWritten) return {};
  OpenSettings written = settings;
  written.AsWritten = true;
  ProgressLine line(OneLine(file.Name));
  const Opened other = OpenOrExplain(written, file, line);
  if (!other) return "refused: " + OneLine(WithoutName(other.Failure, file.Name));
  other.Recording->Comments();  // some findings tell of them
  std::string warnings;
  for (const Finding& finding : other.Recording->Findings()) {
    if (finding.Warning)
      warnings += fmt::format("{}{}", warnings.empty() ? "" : ", ", finding.Code);
  }
  if (Summary(*other.Recording) == Summary(recording)) return {};
  const std::vector<Block>& blocks = other.Recording->Blocks();
  const Block& first = blocks.front();
  return fmt::format("{}, {} at {} Hz, {} frames{}", Numbered(blocks.size(), "block"),
                     Numbered(first.Channels.size(), "channel"),
                     static_cast<float>(first.SamplingRate), first.FrameCount,
                     warnings.empty() ? "" : " (" + warnings + ")");
}

void PrintFile(const Shown& shown, const std::string& asWritten) {
  const Recording& recording = shown.File();
  Print("{}\n", OneLine(recording.Path().filename().string()));
  PrintText("File", recording.Path().string());
  Print("  {:<10}{} ({})\n", "Format", recording.FormatName(), recording.Format());
  PrintDescription(recording);
  PrintText("LMImport", asWritten);
  PrintText("Notes", recording.Notes());
  Print("  {:<10}{}\n", "Blocks", recording.Blocks().size());
  for (std::size_t i = 0; i < recording.Blocks().size(); ++i) PrintBlock(shown, i);
}

ordered_json BlockToJson(const Shown& shown, std::size_t number) {
  const Block& block = shown.Block(number);
  ordered_json channels = ordered_json::array();
  for (std::size_t c = 0; c < block.Channels.size(); ++c) {
    const Channel& channel = block.Channels[c];
    const auto [lowest, highest] = RangeOf(block, channel);
    channels.push_back(
        {{"ChannelIndex", c + 1},
         {"ChannelGlobalIndex", channel.Number},
         {"ChannelTitle", channel.Title},
         {"ChannelUnitName", channel.Unit},
         {"ChannelDoubleA", channel.Factor},
         {"ChannelDoubleB", channel.Offset},
         {"Range", block.RealSamples ? ordered_json() : ordered_json{lowest, highest}},
         {"First", shown.First(number, c)}});
  }
  const std::optional<Date> start = shown.Start(number);
  return {{"BlockIndex", number + 1},
          {"ADCName", block.Device},
          {"Title", block.Title},
          {"Notes", block.Notes},
          {"StartDateTime", start ? ordered_json(*start) : ordered_json()},
          {"Start", DateText(start.value_or(0), 'T')},
          {"SamplingRate", block.SamplingRate},
          {"SizeChannel", block.FrameCount},
          {"SizeData", block.FrameCount * std::ssize(block.Channels)},
          {"ChannelCount", block.Channels.size()},
          {"Channels", std::move(channels)},
          {"CommentCount", shown.Comments(number).size()}};
}

// An object without its closing brace, for what is written after it piece by piece.
std::string OpenObject(const ordered_json& object) {
  std::string text = JsonText(object);
  text.pop_back();
  return text;
}

// Comments go out one by one: a file can hold millions.
void PrintBlockJson(const Shown& shown, std::size_t number) {
  Print("{}, \"Comments\": [", OpenObject(BlockToJson(shown, number)));
  const char* between = "\n";
  for (const Comment* comment : shown.Comments(number)) {
    ordered_json object = {{"CommentPosition", shown.Frame(*comment)},
                           {"CommentText", comment->Text},
                           {"Time", comment->Time}};
    if (!std::isnan(comment->Duration)) object["Duration"] = comment->Duration;
    Print("{}{}", between, JsonText(object));
    between = ",\n";
  }
  Print("]}}");
}

// A fault of the recording ends the list of blocks.
std::string PrintFileJson(const Recording& recording) {
  const ordered_json head = {
      {"FileName", recording.Path().string()},  {"FileTitle", recording.Path().filename().string()},
      {"Format", recording.Format()},           {"FormatName", recording.FormatName()},
      {"Sidecar", recording.Sidecar()},         {"Notes", recording.Notes()},
      {"BlockCount", recording.Blocks().size()}};
  Print("{}, \"Blocks\": [", OpenObject(head));
  std::string failure;
  try {
    const Shown shown(recording);
    for (std::size_t i = 0; i < recording.Blocks().size(); ++i) {
      Print("{}", i > 0 ? ",\n" : "\n");
      PrintBlockJson(shown, i);
    }
  } catch (const std::exception& fault) {
    failure = fault.what();
    Print("null");
  }
  Print("]");
  return failure;
}

void InfoAsJson(const OpenSettings& settings, const NamedFile& file, Opened& opened) {
  const std::string& name = file.Name;
  if (opened) {
    opened.Failure = PrintFileJson(*opened.Recording);
    const std::string asWritten = AsWritten(settings, file, *opened.Recording);
    Print(", \"Reading\": \"{}\"", settings.AsWritten ? "written" : "published");
    if (!asWritten.empty()) Print(", \"AsWritten\": {}", JsonText(asWritten));
    opened.Findings = opened.Recording->Findings();
  } else {
    Print("{}", OpenObject({{"FileName", name}}));
  }
  if (!opened.Failure.empty()) Print(", \"ErrorString\": {}", JsonText(opened.Failure));
  Print(", \"Findings\": {}}}", JsonText(FindingsToJson(opened.Findings)));
}

void InfoAsTable(const OpenSettings& settings, const NamedFile& file, Opened& opened) {
  if (!opened) return;
  try {
    PrintFile(Shown(*opened.Recording), AsWritten(settings, file, *opened.Recording));
  } catch (const std::exception& fault) {
    opened.Failure = fault.what();
  }
  opened.Findings = opened.Recording->Findings();
  if (!opened.Findings.empty()) Print("\nFindings\n");
  for (const Finding& finding : opened.Findings) Print("  {}\n", FindingText(finding));
}

}  // namespace

int Info(const InfoOptions& options) {
  int status = 0;
  bool isFirst = true;
  if (options.Json) Print("[\n");
  for (const NamedFile& file : FindFiles(options.Files)) {
    const std::string& name = file.Name;
    ProgressLine line(OneLine(name));
    Opened opened = OpenOrExplain(options.Open, file, line);
    if (IsInterrupted()) break;
    if (IsPassedOver(file, opened)) continue;
    if (!isFirst && (options.Json || opened)) Print("{}", options.Json ? ",\n" : "\n");
    isFirst = isFirst && !options.Json && !opened;
    options.Json ? InfoAsJson(options.Open, file, opened) : InfoAsTable(options.Open, file, opened);
    if (opened.Failure.empty()) continue;
    Flush();
    PrintFailure(name, opened.Failure);
    for (const Finding& finding : opened.FurtherFindings()) {
      if (!opened) PrintFailure(name, FindingText(finding));
    }
    status = 1;
  }
  if (options.Json) Print("\n]\n");
  Flush();
  return status;
}

}  // namespace lmi
