// "lmi check": what a user should know before trusting the numbers.
#include <CLI/CLI.hpp>
#include <algorithm>

#include "Commands.h"
#include "output/Interrupt.h"
#include "output/Json.h"
#include "output/Output.h"
#include "output/ProgressLine.h"
#include "output/Terminal.h"
#include "output/Text.h"
#include "recordings/EachRecording.h"
#include "recordings/OpenSettings.h"

namespace lmi {
namespace {

using namespace lmimport;

struct CheckOptions {
  OpenSettings Open;
  FileArguments Files;
  Appearance Look;
  bool Json = false;
};

// What a recording reads only when asked is read for its findings.
void ReadAll(const Recording& recording) {
  recording.Comments();
  for (std::size_t i = 0; i < recording.Blocks().size(); ++i) {
    double value = 0;
    recording.Read(i, 0, 0, std::span(&value, 1));
  }
}

void PrintLines(const std::string& name, const Opened& opened, const Appearance& look) {
  const std::string shown = OneLine(name);
  if (!opened.Failure.empty())
    Print("{}: {}: {}\n", shown, Colored("failed", Color::Red, look),
          OneLine(WithoutName(opened.Failure, name)));
  for (const Finding& finding : opened.FurtherFindings()) {
    if (!finding.Warning && look.Quiet) continue;
    const std::string text = FindingText(finding, opened.Get());
    Print("{}: {}\n", shown, finding.Warning ? Colored(text, Color::Yellow, look) : text);
  }
}

void PrintJson(const std::string& name, const Opened& opened, bool isFirst) {
  nlohmann::ordered_json object = {{"FileName", name}};
  if (!opened.Failure.empty()) object["ErrorString"] = opened.Failure;
  object["Findings"] = FindingsToJson(opened.Findings);
  Print("{}{}", isFirst ? "" : ",\n", JsonText(object));
}

int Check(const CheckOptions& options) {
  constexpr int warned = 3;
  const std::vector<NamedFile> files = FindFiles(options.Files);
  Tally tally;
  if (options.Json) Print("[");
  const auto check = [&](const NamedFile& file, Opened& opened, ProgressLine&) {
    if (opened) opened.Try(ReadAll);
    if (options.Json)
      PrintJson(file.Name, opened, tally.Files == 0);
    else
      PrintLines(file.Name, opened, options.Look);
  };
  ForEachRecording(files, options.Open, options.Look, tally, check);
  if (options.Json) Print("]\n");
  Flush();
  if (options.Files.NameSeveral()) tally.Print(options.Look);
  return tally.Failed > 0 ? 1 : tally.Warned > 0 ? warned : 0;
}

}  // namespace

Command AddCheck(CLI::App& app) {
  const auto options = std::make_shared<CheckOptions>();
  CLI::App* const check =
      app.add_subcommand("check", "list what is wrong with recordings, or misleading");
  AddFileArguments(*check, options->Files);
  check->add_flag("--json", options->Json, "for programs, with the names of the interface");
  AddAppearance(*check, options->Look);
  AddOpenSettings(*check, options->Open);
  check->footer(
      "Exit status:\n"
      "  3  no file failed, and there is a warning\n\n"
      "Examples:\n"
      "  lmi check *.edf\n"
      "  lmi check --json archive/ > findings.json");
  return {check, [options] { return Check(*options); }};
}

}  // namespace lmi
