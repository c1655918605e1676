// "lmi read": samples as CSV or raw numbers.
#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <stdexcept>

#include "Commands.h"
#include "export/CsvTable.h"
#include "output/Interrupt.h"
#include "output/Output.h"
#include "output/Terminal.h"
#include "output/Text.h"
#include "recordings/OpenSettings.h"
#include "recordings/Samples.h"

namespace lmi {
namespace {

using namespace lmimport;

struct ReadOptions {
  OpenSettings Open;
  std::string File;
  SelectionOptions Selection;
  CsvStyle Style;
  std::string Decimal = ".";
  std::string Format = "csv";  // or "raw"
  std::string Output;          // file; empty: standard output
  bool Quiet = false;
};

// Frames of all parts, little-endian, one after the other.
template <class T>
void WriteRaw(const Recording& recording, const std::vector<Part>& parts, ProgressLine& line) {
  std::int64_t total = 0;
  for (const Part& part : parts) total += part.Frames();
  std::int64_t done = 0;
  for (const Part& part : parts) {
    FrameReader<T> reader(recording, part);
    for (;;) {
      const std::span<const T> samples = reader.Next();
      if (samples.empty() || IsInterrupted()) break;
      Write(samples.data(), samples.size_bytes());
      done += static_cast<std::int64_t>(samples.size() / reader.Channels());
      line.Show(static_cast<double>(done) / static_cast<double>(total));
    }
  }
}

void WriteRaw(const Recording& recording, const std::vector<Part>& parts,
              const ReadOptions& options, ProgressLine& line) {
  const auto titles = [&](const Part& part) {
    std::vector<std::string> names;
    for (const std::size_t c : part.Channels)
      names.push_back(recording.Blocks()[part.Block].Channels[c].Title);
    return names;
  };
  const auto bits = [&](const Part& part) { return recording.Blocks()[part.Block].SampleBits; };
  if (options.Output.empty() && TerminalWidth() > 0)
    throw std::invalid_argument("raw numbers are nothing for a terminal; -o FILE takes them");
  const std::string& as = options.Style.As;
  for (const Part& part : parts) {
    const bool counts = as == "integer" && (bits(part) > 16) != (bits(parts.front()) > 16);
    if (counts || titles(part) != titles(parts.front()))
      throw std::invalid_argument(
          fmt::format("blocks {} and {} have other channels, which raw numbers can't tell apart; "
                      "--block N gives one",
                      parts.front().Block + 1, part.Block + 1));
  }
  if (as == "integer" && !parts.empty() && bits(parts.front()) <= 16)
    return WriteRaw<std::int16_t>(recording, parts, line);
  if (as == "integer") return WriteRaw<std::int32_t>(recording, parts, line);
  if (as == "single") return WriteRaw<float>(recording, parts, line);
  WriteRaw<double>(recording, parts, line);
}

void WriteSamples(const Recording& recording, const ReadOptions& options, ProgressLine& line) {
  const std::vector<Part> parts = Select(recording, options.Selection);
  const auto hasFrames = [](const Part& part) { return part.Frames() > 0; };
  if (std::ranges::none_of(parts, hasFrames))
    PrintFailure(options.File,
                 fmt::format("there is no sample in what is asked for; the recording has {}, and a "
                             "time of day is written T22:15:30",
                             DurationText(EndOf(recording))));
  CsvStyle style = options.Style;
  style.BlockNumbers = recording.Blocks().size() > 1 && options.Selection.Blocks.size() != 1;
  if (options.Format == "raw")
    WriteRaw(recording, parts, options, line);
  else
    WriteCsv(recording, parts, style, line);
  Flush();
}

void WriteWhere(const Recording& recording, const ReadOptions& options, ProgressLine& line) {
  if (options.Output.empty()) return WriteSamples(recording, options, line);
  CheckOutput(recording, options.Output);
  NewFile file(options.Output);
  {
    OutputTo output(file);
    WriteSamples(recording, options, line);
    output.Close();
  }
  if (!IsInterrupted()) file.Commit();
}

int Read(const ReadOptions& options) {
  ProgressLine line(OneLine(options.File), options.Quiet);
  Opened opened = OpenOrExplain(options.Open, {options.File}, line.Handler());
  if (opened && (options.Style.Times != "none" || options.Style.Comments))  // gaps are seen then
    opened.Try([](const Recording& recording) { recording.Comments(); });
  if (!options.Quiet) PrintWarnings(options.File, opened);
  if (opened && opened.Failure.empty())
    opened.Try([&](const Recording& recording) { WriteWhere(recording, options, line); });
  if (opened.Failure.empty()) return 0;
  PrintFailure(options.File, opened.Failure);
  return 1;
}

// The choices that the command line alone can tell to make no sense.
void CheckOptions(const CLI::App& read, ReadOptions& options) {
  CsvStyle& style = options.Style;
  if (options.Format == "raw") {
    for (const char* name : {"--times", "--comments", "--bins", "--every", "--separator",
                             "--decimal", "--no-header", "--digits"}) {
      if (read.count(name) > 0) throw CLI::ValidationError(name, "has no place in --format raw");
    }
  }
  if (options.Decimal != "." && options.Decimal != ",")
    throw CLI::ValidationError("--decimal", "is a point or a comma");
  style.Decimal = options.Decimal[0];
  if (style.Separator == "tab" || style.Separator == "\\t") style.Separator = "\t";
  if (read.count("--separator") == 0 && style.Decimal == ',') style.Separator = ";";
  if (style.Separator == options.Decimal)
    throw CLI::ValidationError("--separator", "must be something else than the decimal mark");
  if (style.Separator.empty() ||
      style.Separator.find_first_of("\"\r\n+-.0123456789") != std::string::npos)
    throw CLI::ValidationError("--separator", "can be no part of a number, quote or line");
}

void AddFormat(CLI::App& read, ReadOptions& options) {
  const char* group = "Output";
  CsvStyle& style = options.Style;
  const auto add = [&](const char* name, auto& target, const char* text, const char* what) {
    return read.add_option(name, target, what)->option_text(text)->group(group);
  };
  add("--as", style.As, "KIND",
      "integer (counts), single or double (values); raw counts have 16 bits, or 32 where they are "
      "stored with more")
      ->check(CLI::IsMember({"integer", "single", "double"}));
  add("--format", options.Format, "FORMAT", "csv, or raw: little-endian, frame by frame")
      ->check(CLI::IsMember({"csv", "raw"}));
  add("--times", style.Times, "KIND",
      "first column: seconds from the start of the recording, clock, frame from 1, or none")
      ->check(CLI::IsMember({"seconds", "clock", "frame", "none"}));
  read.add_flag("--comments", style.Comments, "comments as the last column")->group(group);
  auto* const every = add("--every", style.Every, "N", "each Nth frame alone")
                          ->check(CLI::Range(std::int64_t{1}, INT64_MAX));
  add("--bins", style.Bins, "N",
      "smallest, largest and mean of N equal stretches of each block, not the frames")
      ->check(CLI::Range(std::int64_t{1}, std::int64_t{INT32_MAX}))
      ->excludes(every);
  add("--digits", style.Digits, "N",
      "significant digits, 17 for all of a Double; else as many as the step of a count needs")
      ->check(CLI::Range(1, 17));
  add("--separator", style.Separator, "TEXT", "between fields: a comma, \";\", tab ...");
  add("--decimal", options.Decimal, "MARK",
      "before the fraction; with a comma, the separator is \";\"");
  read.add_flag_callback(
          "--no-header", [&style] { style.Header = false; }, "no line of titles")
      ->group(group);
  add("-o,--output", options.Output, "FILE",
      "not to standard output; an old one is replaced when the new one is whole");
}

}  // namespace

Command AddRead(CLI::App& app) {
  const auto options = std::make_shared<ReadOptions>();
  CLI::App* const read = app.add_subcommand("read", "write samples as CSV or raw numbers");
  read->add_option("FILE", options->File, "recording")->required();
  AddSelection(*read, options->Selection);
  AddFormat(*read, *options);
  read->add_flag("-q,--quiet", options->Quiet, "no warnings, no progress");
  AddOpenSettings(*read, options->Open);
  read->footer(
      "Examples:\n"
      "  lmi read trial.edf\n"
      "  lmi read trial.edf --channel Flow --channel 1 --from 0:30 --duration 10 --times seconds\n"
      "  lmi read trial.edf --as integer --format raw > counts.raw");
  read->callback([read, options] { CheckOptions(*read, *options); });
  return {read, [options] { return Read(*options); }};
}

}  // namespace lmi
