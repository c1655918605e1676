// "lmi check": what a user should know before trusting the numbers. "lmi formats": what is read.
#include <algorithm>

#include "Commands.h"
#include "Interrupt.h"
#include "Output.h"
#include "Text.h"

namespace lmi {
namespace {

using namespace lmimport;

std::string FindFile(const OpenSettings& settings, const std::string& name) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path beside = fs::path(settings.DefaultPath) / name;
  const bool found = settings.DefaultPath.empty() || fs::exists(name, error);
  return found || !fs::exists(beside, error) ? name : beside.string();
}

// What a recording reads only when asked is read for its findings.
void ReadAll(Opened& opened) {
  try {
    opened.Recording->Comments();
    for (std::size_t i = 0; i < opened.Recording->Blocks().size(); ++i) {
      double value = 0;
      opened.Recording->Read(i, 0, 0, std::span(&value, 1));
    }
  } catch (const std::exception& fault) {
    opened.Failure = fault.what();
  }
  opened.Findings = opened.Recording->Findings();
}

void PrintLines(const std::string& name, const Opened& opened) {
  if (!opened.Failure.empty())
    Print("{}: failed: {}\n", OneLine(name), OneLine(WithoutName(opened.Failure, name)));
  for (const Finding& finding : opened.FurtherFindings())
    Print("{}: {}\n", OneLine(name), FindingText(finding));
}

}  // namespace

std::vector<Finding> Opened::FurtherFindings() const {
  std::vector<Finding> further = Findings;
  std::erase_if(further, [this](const Finding& finding) {
    return Failure.find(finding.Text) != std::string::npos;
  });
  return further;
}

bool IsPassedOver(const NamedFile& file, const Opened& opened) {
  return file.InFolder && !opened &&
         std::ranges::count(opened.Findings, std::string_view("undescribed"), &Finding::Code) > 0;
}

Opened OpenOrExplain(const OpenSettings& settings, const NamedFile& file, ProgressLine& line) {
  Opened opened;
  opened.Failure = file.Failure;
  if (!file.Failure.empty()) return opened;
  OpenOptions options;
  options.As = settings.AsWritten ? Reading::Written : Reading::Published;
  options.CodePage = settings.CodePage;
  if (!file.InFolder) options.Raw = RawData{settings.Channels, settings.Rate};
  options.Progress = line.Handler();
  try {
    opened.Recording = Recording::Open(FindFile(settings, file.Name), options);
    opened.Findings = opened.Recording->Findings();
  } catch (const OpenError& error) {
    opened.Failure = error.what();
    opened.Findings = error.Findings();
  } catch (const std::exception& fault) {
    opened.Failure = fault.what();
  }
  return opened;
}

int Check(const InfoOptions& options) {
  constexpr int warned = 3;
  bool anyWarning = false;
  bool anyFailure = false;
  auto all = nlohmann::ordered_json::array();
  for (const NamedFile& file : FindFiles(options.Files)) {
    const std::string& name = file.Name;
    ProgressLine line(OneLine(name));
    Opened opened = OpenOrExplain(options.Open, file, line);
    if (IsInterrupted()) break;
    if (IsPassedOver(file, opened)) continue;
    if (opened) ReadAll(opened);
    anyFailure = anyFailure || !opened.Failure.empty();
    anyWarning = anyWarning || std::ranges::any_of(opened.Findings, &Finding::Warning);
    if (options.Json) {
      nlohmann::ordered_json object = {{"FileName", name}};
      if (!opened.Failure.empty()) object["ErrorString"] = opened.Failure;
      object["Findings"] = FindingsToJson(opened.Findings);
      all.push_back(std::move(object));
    } else {
      PrintLines(name, opened);
    }
  }
  if (options.Json) Print("{}\n", JsonText(all));
  Flush();
  return anyFailure ? 1 : anyWarning ? warned : 0;
}

int Formats() {
  Print("{:>4}  {:<8}  {:<22}  {}\n", "Type", "Id", "Format", "Files");
  for (const FormatDescription& format : KnownFormats())
    Print("{:>4}  {:<8}  {:<22}  {}\n", format.Number, format.Id, format.Name, format.Patterns);
  Flush();
  return 0;
}

}  // namespace lmi
