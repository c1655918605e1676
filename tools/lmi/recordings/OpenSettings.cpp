#include "recordings/OpenSettings.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;

std::string CheckRate(const std::string& text) {
  const double rate = std::strtod(text.c_str(), nullptr);
  const bool makesSense = rate > 1e-38 && rate < 1e10;
  return makesSense ? std::string() : "\"" + text + "\" is not a number above 0 and below 1e10";
}

}  // namespace

void AddOpenSettings(CLI::App& command, OpenSettings& settings) {
  const char* group = "Opening";
  command
      .add_option("--default-path", settings.DefaultPath,
                  "folder in which files are looked for too")
      ->check(CLI::ExistingDirectory)
      ->option_text("DIR")
      ->group(group);
  command
      .add_option("--channels", settings.Channels, "channels of raw data that nothing describes")
      ->check(CLI::Range(1, 32))
      ->option_text("N")
      ->group(group);
  command.add_option("--rate", settings.Rate, "samples per second where the file states none")
      ->check(CLI::Validator(CheckRate, "above 0, below 1e10"))
      ->option_text("HZ")
      ->group(group);
  command
      .add_flag("--as-written", settings.AsWritten,
                "by the rules of LMImport, not by the layout that the format's maker published")
      ->group(group);
  command
      .add_option("--code-page", settings.CodePage,
                  "code page of the texts in files: 874, 1250 to 1258, 65001 for UTF-8; else that "
                  "of the system's language")
      ->check(CLI::IsMember({0, 874, 1250, 1251, 1252, 1253, 1254, 1255, 1256, 1257, 1258, 65001}))
      ->option_text("N")
      ->group(group);
}

std::vector<Finding> Opened::FurtherFindings() const {
  std::vector<Finding> further = Findings;
  std::erase_if(further, [this](const Finding& finding) {
    return Failure.find(finding.Text) != std::string::npos;
  });
  return further;
}

bool IsPassedOver(const NamedFile& file, const Opened& opened) {
  const auto isNone = [](const Finding& finding) {
    return finding.Code == "undescribed" || finding.Code == "no-recording";
  };
  return file.InFolder && !opened && std::ranges::any_of(opened.Findings, isNone);
}

Opened OpenOrExplain(const OpenSettings& settings, const NamedFile& file,
                     const std::function<bool(double Fraction)>& progress) {
  Opened opened;
  opened.Failure = file.Failure;
  if (!file.Failure.empty()) return opened;
  OpenOptions options;
  options.As = settings.AsWritten ? Reading::Written : Reading::Published;
  options.CodePage = settings.CodePage;
  if (!file.InFolder) options.Raw = RawData{settings.Channels, settings.Rate};
  options.KeepFields = settings.KeepFields;
  options.Progress = progress;
  try {
    opened.Recording = Recording::Open(ResolveName(settings, file.Name), options);
    opened.Findings = opened.Recording->Findings();
  } catch (const OpenError& error) {
    opened.Failure = error.what();
    opened.Findings = error.Findings();
    opened.BySystem = error.code().category() != make_error_code(OpenFault::NoData).category();
  } catch (const std::exception& fault) {
    opened.Failure = fault.what();
  }
  return opened;
}

void CheckOutput(const Recording& recording, const std::filesystem::path& output) {
  std::error_code error;
  const std::filesystem::path& path = recording.Path();
  const auto isOutput = [&](const std::filesystem::path& read) {
    return std::filesystem::equivalent(output, read, error);
  };
  if (isOutput(path)) throw std::invalid_argument("the output would replace the recording");
  if (!recording.Sidecar().empty() && isOutput(path.parent_path() / recording.Sidecar()))
    throw std::invalid_argument("the output would replace what describes the samples");
}

std::string ResolveName(const OpenSettings& settings, const std::string& name) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path beside = fs::path(settings.DefaultPath) / name;
  const bool found = settings.DefaultPath.empty() || fs::exists(name, error);
  return found || !fs::exists(beside, error) ? name : beside.string();
}

void PrintFailureOf(const NamedFile& file, const Opened& opened) {
  PrintFailure(file.Name, opened.Failure);
  for (const Finding& finding : opened.FurtherFindings()) {
    if (!opened) PrintFailure(file.Name, FindingText(finding));
  }
}

void PrintWarnings(const std::string& name, const Opened& opened) {
  for (const Finding& finding : opened.FurtherFindings()) {
    if (finding.Warning) PrintFailure(name, FindingText(finding, opened.Get()));
  }
}

}  // namespace lmi
