// "lmi info": what a recording is, as a table or as JSON.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>

#include "Commands.h"
#include "output/Digits.h"
#include "output/Interrupt.h"
#include "output/Json.h"
#include "output/Output.h"
#include "output/ProgressLine.h"
#include "output/Terminal.h"
#include "output/Text.h"
#include "recordings/EachRecording.h"
#include "recordings/OpenSettings.h"
#include "recordings/RecordingJson.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr std::size_t ShownComments = 20;
constexpr std::size_t LongestTitle = 40;  // in the table

struct InfoOptions {
  OpenSettings Open;
  FileArguments Files;
  Appearance Look;
  bool Json = false;
  bool Scan = false;
};

std::string RangeText(const Block& block, const Channel& channel) {
  if (block.RealSamples) return "-";
  const Extremes range = RangeOf(block, channel);
  return fmt::format("{:.5g} .. {:.5g}", range.Smallest, range.Largest);
}

void PrintChannels(const Recording& recording, std::size_t number, bool scan) {
  const Block& block = recording.Blocks()[number];
  std::vector<Table::Column> columns = {
      {"#", true}, {"Title", false, 2}, {"Unit"}, {"Factor", true}, {"Offset", true}};
  if (scan) {
    columns.push_back({"Smallest", true});
    columns.push_back({"Largest", true});
  }
  columns.push_back({"Range", true});
  columns.push_back({"First values", false, 1});
  Table table(std::move(columns));
  for (std::size_t c = 0; c < block.Channels.size(); ++c) {
    const Channel& channel = block.Channels[c];
    const Digits digits = Digits::Of(block, channel);
    std::vector<std::string> cells = {
        std::to_string(channel.Number), Shortened(channel.Title, LongestTitle),
        Shortened(channel.Unit, LongestTitle), fmt::format("{:.7g}", channel.Factor),
        fmt::format("{:.7g}", channel.Offset + 0.0)};
    if (scan) {
      const Extremes extremes = ScannedExtremes(recording, number, c);
      cells.push_back(digits.Text(extremes.Smallest));
      cells.push_back(digits.Text(extremes.Largest));
    }
    cells.push_back(RangeText(block, channel));
    std::string first;
    for (const double value : FirstValues(recording, number, c))
      first += fmt::format("{}{:.6g}", first.empty() ? "" : "  ", value);
    cells.push_back(first);
    table.Add(std::move(cells));
  }
  table.Write(2, TerminalWidth());
}

void PrintComments(const Block& block, const std::vector<const Comment*>& comments) {
  if (comments.empty()) return;
  Print("\n");
  Table table({{"#", true}, {"Frame", true}, {"Time", true}, {"Comment", false, 1}});
  for (std::size_t i = 0; i < std::min(comments.size(), ShownComments); ++i) {
    const Comment& comment = *comments[i];
    const std::string length = std::isnan(comment.Duration)
                                   ? ""
                                   : fmt::format(" ({} s)", static_cast<float>(comment.Duration));
    // One in a gap, or past the end, is at no frame.
    const std::int64_t frame = FrameOf(block, comment);
    const bool isThere = frame >= 0 && frame < block.FrameCount;
    table.Add({std::to_string(i + 1), isThere ? std::to_string(frame + 1) : "-",
               SecondsText(comment.Time - block.StartTime, 1), OneLine(comment.Text) + length});
  }
  table.Write(2, TerminalWidth());
  if (comments.size() > ShownComments)
    Print("       {} more comments (--json lists all)\n", comments.size() - ShownComments);
}

void PrintText(std::string_view label, const std::string& text) {
  const std::string line = OneLine(text);
  if (!line.empty()) Print("  {:<10}{}\n", label, line);
}

void PrintBlock(const Recording& recording, std::size_t number,
                const std::vector<const Comment*>& comments, const InfoOptions& options) {
  const Block& block = recording.Blocks()[number];
  Print("\n{}\n", Colored(fmt::format("Block {}", number + 1), Color::Bold, options.Look));
  PrintText("Device", block.Device);
  PrintText("Title", block.Title);
  PrintText("Notes", block.Notes);
  const std::string start = DateText(StartOf(recording, number).value_or(0), ' ');
  Print("  {:<10}{}\n", "Start", start.empty() ? "not stated" : start);
  Print("  {:<10}{} Hz\n", "Rate", static_cast<float>(block.SamplingRate));
  Print("  {:<10}{} frames, {}\n", "Length", block.FrameCount,
        SecondsText(static_cast<double>(block.FrameCount), block.SamplingRate));
  Print("  {:<10}{}\n\n", "Channels", block.Channels.size());
  PrintChannels(recording, number, options.Scan);
  PrintComments(block, comments);
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

// What LMImport shows its hosts instead; empty where that is the same.
std::string AsWritten(const OpenSettings& settings, const NamedFile& file,
                      const Recording& recording, ProgressLine& line) {
  if (settings.AsWritten) return {};
  OpenSettings written = settings;
  written.AsWritten = true;
  const Opened other = OpenOrExplain(written, file, line.Handler());
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

void PrintFile(const Recording& recording, const std::string& asWritten,
               const InfoOptions& options) {
  const auto comments = CommentsByBlock(recording);
  Print("{}\n", Colored(OneLine(FileTitle(recording)), Color::Bold, options.Look));
  PrintText("File", recording.Path().string());
  Print("  {:<10}{} ({})\n", "Format", recording.FormatName(), recording.Format());
  PrintDescription(recording);
  PrintText("LMImport", asWritten);
  PrintText("Notes", recording.Notes());
  Print("  {:<10}{}\n", "Blocks", recording.Blocks().size());
  for (std::size_t i = 0; i < recording.Blocks().size(); ++i)
    PrintBlock(recording, i, comments[i], options);
}

void InfoAsJson(const InfoOptions& options, const NamedFile& file, Opened& opened,
                ProgressLine& line) {
  if (opened) {
    opened.Failure = PrintRecordingJson(*opened.Recording, options.Scan);
    const std::string asWritten = AsWritten(options.Open, file, *opened.Recording, line);
    Print(", \"Reading\": \"{}\"", options.Open.AsWritten ? "written" : "published");
    if (!asWritten.empty()) Print(", \"AsWritten\": {}", JsonText(asWritten));
    opened.Findings = opened.Recording->Findings();
  } else {
    Print("{{\"FileName\": {}", JsonText(file.Name));
  }
  if (!opened.Failure.empty()) Print(", \"ErrorString\": {}", JsonText(opened.Failure));
  Print(", \"Findings\": {}}}", JsonText(FindingsToJson(opened.Findings)));
}

void InfoAsTable(const InfoOptions& options, const NamedFile& file, Opened& opened,
                 ProgressLine& line) {
  if (!opened) return;
  opened.Try([&](const Recording& recording) {
    PrintFile(recording, AsWritten(options.Open, file, recording, line), options);
  });
  const auto isShown = [&](const Finding& finding) {
    return finding.Warning || !options.Look.Quiet;
  };
  if (std::ranges::any_of(opened.Findings, isShown)) Print("\nFindings\n");
  for (const Finding& finding : opened.Findings) {
    const Color color = finding.Warning ? Color::Yellow : Color::None;
    if (isShown(finding))
      Print("  {}\n", Colored(FindingText(finding, opened.Get()), color, options.Look));
  }
}

int Info(const InfoOptions& options) {
  const std::vector<NamedFile> files = FindFiles(options.Files);
  Tally tally;
  bool isFirst = true;
  if (options.Json) Print("[\n");
  const auto show = [&](const NamedFile& file, Opened& opened, ProgressLine& line) {
    const bool isShown = options.Json || opened;
    if (!isFirst && isShown) Print("{}", options.Json ? ",\n" : "\n");
    isFirst = isFirst && !isShown;
    options.Json ? InfoAsJson(options, file, opened, line)
                 : InfoAsTable(options, file, opened, line);
    if (opened.Failure.empty()) return;
    Flush();
    PrintFailureOf(file, opened);
  };
  ForEachRecording(files, options.Open, options.Look, tally, show);
  if (options.Json) Print("\n]\n");
  Flush();
  if (options.Files.NameSeveral()) tally.Print(options.Look);
  return tally.Failed > 0 ? 1 : 0;
}

}  // namespace

Command AddInfo(CLI::App& app) {
  const auto options = std::make_shared<InfoOptions>();
  CLI::App* const info = app.add_subcommand("info", "show what recordings are");
  AddFileArguments(*info, options->Files);
  info->add_flag("--json", options->Json, "for programs, with the names of the interface");
  info->add_flag("--scan", options->Scan,
                 "smallest and largest value of each channel, for which all samples are read");
  AddAppearance(*info, options->Look);
  AddOpenSettings(*info, options->Open);
  info->footer(
      "Examples:\n"
      "  lmi info trial.edf\n"
      "  lmi info --json *.acq");
  return {info, [options] { return Info(*options); }};
}

}  // namespace lmi
