// "lmi stats": what the samples are like, channel by channel.
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
#include "recordings/Statistics.h"

namespace lmi {
namespace {

using namespace lmimport;

struct StatsOptions {
  OpenSettings Open;
  FileArguments Files;
  SelectionOptions Selection;
  Appearance Look;
  bool ByBlock = false;
  bool Csv = false;
  bool JsonLines = false;
};

// A channel, of one block or of all that have it.
struct ChannelStatistics {
  std::size_t Block;  // from 0, the first that has it
  std::size_t Blocks = 1;
  const Channel* What;
  std::string Name;
  Digits Numbers;  // of the table
  Statistics Found;

  bool IsSame(const ChannelStatistics& other) const {
    return Name == other.Name && What->Number == other.What->Number &&
           What->Unit == other.What->Unit;
  }
};

std::vector<ChannelStatistics> MeasureAll(const Recording& recording, const StatsOptions& options,
                                          ProgressLine& line) {
  const std::vector<Part> parts = Select(recording, options.Selection);
  std::int64_t total = 0;
  for (const Part& part : parts) total += part.Frames();
  std::int64_t done = 0;
  const auto progress = [&](std::int64_t frames) {
    done += frames;
    line.Show(static_cast<double>(done) / static_cast<double>(total));
    return !IsInterrupted();
  };
  std::vector<ChannelStatistics> all;
  for (const Part& part : parts) {
    const Block& block = recording.Blocks()[part.Block];
    const std::vector<std::string> names = ChannelNames(recording, part.Block);
    const std::vector<Statistics> found = Measure(recording, part, progress);
    for (std::size_t c = 0; c < found.size(); ++c) {
      const Channel& channel = block.Channels[part.Channels[c]];
      ChannelStatistics one{part.Block,
                            1,
                            &channel,
                            names[part.Channels[c]],
                            block.RealSamples ? Digits::Significant(6) : Digits::Of(block, channel),
                            found[c]};
      const auto same = std::ranges::find_if(
          all, [&one](const ChannelStatistics& other) { return other.IsSame(one); });
      if (options.ByBlock || same == all.end()) {
        all.push_back(std::move(one));
      } else {
        same->Found.Add(one.Found);
        ++same->Blocks;
      }
    }
  }
  return all;
}

std::string Significant(double value) {
  return std::isnan(value) ? "-" : fmt::format("{:.6g}", value);
}

void PrintTable(const Recording& recording, const std::vector<ChannelStatistics>& all,
                const StatsOptions& options) {
  Print("{}\n", Colored(OneLine(FileTitle(recording)), Color::Bold, options.Look));
  Table table({{options.ByBlock ? "Block" : "Blocks", true},
               {"#", true},
               {"Title", false, 1},
               {"Unit"},
               {"Samples", true},
               {"Smallest", true},
               {"Largest", true},
               {"Mean", true},
               {"RMS", true},
               {"Deviation", true},
               {"NaN", true},
               {"Full scale", true},
               {"Flat lines"}});
  for (const ChannelStatistics& one : all) {
    const Statistics& found = one.Found;
    const std::string full =
        found.FullScaleRuns == 0
            ? "-"
            : fmt::format("{} in {}", found.FullScaleSamples,
                          Numbered(static_cast<std::size_t>(found.FullScaleRuns), "run"));
    const std::string flat = found.FlatRuns == 0
                                 ? "-"
                                 : fmt::format("{}, longest {:.4g} s at {:.4g} s", found.FlatRuns,
                                               found.LongestFlat, found.LongestFlatStart);
    const bool suspicious = found.FullScaleRuns > 0 || found.FlatRuns > 0 || found.NotNumbers > 0;
    table.Add({std::to_string(options.ByBlock ? one.Block + 1 : one.Blocks),
               std::to_string(one.What->Number), one.Name, OneLine(one.What->Unit),
               std::to_string(found.Samples), one.Numbers.Text(found.Smallest),
               one.Numbers.Text(found.Largest), Significant(found.Mean),
               Significant(found.RootMeanSquare()), Significant(found.Deviation()),
               found.NotNumbers > 0 ? std::to_string(found.NotNumbers) : "-", full, flat},
              suspicious ? Color::Yellow : Color::None);
  }
  table.Write(2, TerminalWidth(), &options.Look);
}

nlohmann::ordered_json ToJson(const std::string& file, const ChannelStatistics& one, bool byBlock) {
  const Statistics& found = one.Found;
  return {{"file", file},
          {"block", byBlock ? nlohmann::ordered_json(one.Block + 1) : nlohmann::ordered_json()},
          {"blocks", one.Blocks},
          {"channel", one.What->Number},
          {"title", one.Name},
          {"unit", one.What->Unit},
          {"samples", found.Samples},
          {"smallest", JsonNumber(found.Smallest)},
          {"largest", JsonNumber(found.Largest)},
          {"mean", JsonNumber(found.Mean)},
          {"rms", JsonNumber(found.RootMeanSquare())},
          {"deviation", JsonNumber(found.Deviation())},
          {"nan", found.NotNumbers},
          {"full_scale_runs", found.FullScaleRuns},
          {"full_scale_samples", found.FullScaleSamples},
          {"flat_runs", found.FlatRuns},
          {"longest_flat", found.LongestFlat},
          {"longest_flat_start", found.LongestFlatStart}};
}

void PrintCsv(const nlohmann::ordered_json& row, bool isFirst) {
  std::string head;
  std::string line;
  for (const auto& [key, value] : row.items()) {
    head += (head.empty() ? "" : ",") + key;
    const std::string text = value.is_null()     ? ""
                             : value.is_string() ? CsvField(OneLine(value.get<std::string>()))
                                                 : JsonText(value);
    line += (&value == &row.front() ? "" : ",") + text;
  }
  if (isFirst) Print("{}\n", head);
  Print("{}\n", line);
}

int Stats(const StatsOptions& options) {
  Tally tally;
  bool isFirst = true;
  const auto measure = [&](const NamedFile& file, Opened& opened, ProgressLine& line) {
    std::vector<ChannelStatistics> all;
    if (opened)
      opened.Try([&](const Recording& recording) { all = MeasureAll(recording, options, line); });
    if (IsInterrupted()) return;
    if (!opened.Failure.empty()) {
      Flush();
      return PrintFailureOf(file, opened);
    }
    if (!options.Look.Quiet) PrintWarnings(file.Name, opened);
    if (!options.Csv && !options.JsonLines) {
      if (!isFirst) Print("\n");
      PrintTable(*opened.Recording, all, options);
      isFirst = false;
      return;
    }
    for (const ChannelStatistics& one : all) {
      const auto row = ToJson(file.Name, one, options.ByBlock);
      options.Csv ? PrintCsv(row, isFirst) : Print("{}\n", JsonText(row));
      isFirst = false;
    }
  };
  ForEachRecording(FindFiles(options.Files), options.Open, options.Look, tally, measure);
  Flush();
  if (options.Files.NameSeveral()) tally.Print(options.Look);
  return tally.Failed > 0 ? 1 : 0;
}

}  // namespace

Command AddStats(CLI::App& app) {
  const auto options = std::make_shared<StatsOptions>();
  CLI::App* const stats = app.add_subcommand(
      "stats", "what samples are like: extremes, mean, RMS, deviation, clipping, flat lines");
  AddFileArguments(*stats, options->Files);
  stats->add_flag("--by-block", options->ByBlock,
                  "each block by itself, not all that have a channel");
  auto* const csv = stats->add_flag("--csv", options->Csv, "as comma-separated values");
  stats->add_flag("--jsonl", options->JsonLines, "as JSON, an object a line")->excludes(csv);
  AddSelection(*stats, options->Selection);
  AddAppearance(*stats, options->Look);
  AddOpenSettings(*stats, options->Open);
  stats->footer(
      "Full scale: samples in runs of two or more at the limits of the stored counts. Flat lines: "
      "one value\nfor a second or more (ten samples at least), or for all of a shorter block.\n\n"
      "Examples:\n"
      "  lmi stats night.edf --channel 'EEG*'\n"
      "  lmi stats recordings/ --csv > stats.csv");
  return {stats, [options] { return Stats(*options); }};
}

}  // namespace lmi
