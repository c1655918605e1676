// "lmi export": recordings as files of other formats.
#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>

#include "Commands.h"
#include "export/ExportFormats.h"
#include "output/Interrupt.h"
#include "output/Text.h"
#include "recordings/EachRecording.h"
#include "recordings/OpenSettings.h"

namespace lmi {
namespace {

using namespace lmimport;
namespace fs = std::filesystem;

struct ExportSettings {
  OpenSettings Open;
  FileArguments Files;
  SelectionOptions Selection;
  Appearance Look;
  std::string Output;
  std::string To;  // id of a format; empty: the one of the output's ending
  ExportOptions Options;

  bool IntoFolder() const {
    std::error_code error;
    return Output.ends_with('/') || fs::is_directory(Output, error);
  }
};

const ExportFormat* FindById(const std::string& id) {
  const auto formats = ExportFormats();
  const auto found = std::ranges::find(formats, std::string_view(id), &ExportFormat::Id);
  return found == formats.end() ? nullptr : &*found;
}

const ExportFormat* FindByEnding(const std::string& name) {
  std::string ending = fs::path(name).extension().string();
  std::ranges::transform(ending, ending.begin(), [](unsigned char c) { return std::tolower(c); });
  for (const ExportFormat& format : ExportFormats()) {
    const std::string endings = fmt::format(";{};", format.Endings);
    if (!ending.empty() && endings.find(fmt::format(";{};", ending)) != std::string::npos)
      return &format;
  }
  return nullptr;
}

std::string ListOfFormats() {
  std::string list;
  for (const ExportFormat& format : ExportFormats())
    list += fmt::format("{}{}", list.empty() ? "" : ", ", format.Id);
  return list;
}

const ExportFormat& FormatOf(const ExportSettings& settings) {
  return *(settings.To.empty() ? FindByEnding(settings.Output) : FindById(settings.To));
}

// The name of a recording in its folder of the output: that below the folder that was named, so
// that a tree of recordings stays one.
fs::path PlaceOf(const ExportSettings& settings, const NamedFile& file, std::string_view ending) {
  if (!settings.IntoFolder()) return settings.Output;
  fs::path relative = fs::path(file.Name).filename();
  for (const std::string& name : settings.Files.Names) {
    const fs::path below = fs::path(file.Name).lexically_relative(name);
    std::error_code error;
    if (file.InFolder && !below.empty() && *below.begin() != ".." && fs::is_directory(name, error))
      relative = below;
  }
  // Of "trial.1.edf", "trial.1" is the name.
  return (fs::path(settings.Output) / relative).replace_extension(std::string(ending));
}

void MakeFolder(const fs::path& folder) {
  std::error_code error;
  if (!folder.empty()) fs::create_directories(folder, error);
  if (error) throw OutputFailed{folder.string(), error.message()};
}

void ExportOne(const Recording& recording, const ExportSettings& settings, const NamedFile& file,
               ExportPlaces& places, ProgressLine& line) {
  const ExportFormat& format = FormatOf(settings);
  std::vector<Part> parts = Select(recording, settings.Selection);
  if (std::ranges::all_of(parts, [](const Part& part) { return part.Frames() == 0; }))
    throw std::runtime_error("there is no sample in what is asked for");
  const fs::path wanted = PlaceOf(settings, file, format.Ending());
  if (!settings.IntoFolder() && places.IsTaken(wanted))
    throw std::runtime_error("the output would replace the recording");
  const fs::path place = places.Take(wanted);
  if (settings.IntoFolder()) MakeFolder(place.parent_path());
  ExportTask task(recording, std::move(parts), settings.Options, place, places, line);
  if (place != wanted) task.Say(fmt::format("it is in \"{}\"", place.string()));
  format.Write(task);
  task.Commit();
  if (const std::string loss = LossText(task, format.Contents); !loss.empty()) task.Say(loss);
  std::string said;
  for (const std::string& note : task.Said()) said += (said.empty() ? "" : "; ") + note;
  if (!said.empty() && !settings.Look.Quiet) PrintFailure(file.Name, said);
}

int Export(const ExportSettings& settings) {
  const std::vector<NamedFile> files = FindFiles(settings.Files);
  ExportPlaces places;
  for (const NamedFile& file : files) places.Reserve(file.Name);
  Tally tally;
  const auto work = [&](const NamedFile& file, Opened& opened, ProgressLine& line) {
    try {
      // Gaps are seen with the comments.
      if (opened) opened.Try([](const Recording& recording) { recording.Comments(); });
      if (opened) PrintWarnings(file.Name, opened);
      if (opened && opened.Failure.empty())
        opened.Try([&](const Recording& recording) {
          ExportOne(recording, settings, file, places, line);
        });
    } catch (const ExportInterrupted&) {
      return;
    } catch (const OutputFailed& failure) {
      // Of this place; the others may be good.
      opened.Failure = fmt::format("\"{}\": {}", failure.Name, failure.Reason);
    }
    if (!opened.Failure.empty()) PrintFailureOf(file, opened);
  };
  ForEachRecording(files, settings.Open, settings.Look, tally, work);
  if (settings.Files.NameSeveral()) tally.Print(settings.Look);
  return tally.Failed > 0 ? 1 : 0;
}

// What the command line alone can tell to make no sense.
void CheckSettings(const CLI::App& command, const ExportSettings& settings) {
  if (settings.Files.Names.empty() && settings.Files.ListFile.empty())
    throw CLI::RequiredError("FILE");
  const ExportFormat* const format =
      settings.To.empty() ? FindByEnding(settings.Output) : FindById(settings.To);
  if (format == nullptr)
    throw CLI::ValidationError(
        "--to",
        "is one of " + ListOfFormats() + "; it may be left out where -o ends as one of them does");
  if (format->Write == nullptr)
    throw CLI::ValidationError("--to", fmt::format("{} is not in this build", format->Id));
  if (settings.Files.NameSeveral() && !settings.IntoFolder())
    throw CLI::ValidationError("--output",
                               "is a folder where there are several recordings; a new "
                               "one ends with a slash");
  if (format->Id != "wav" && command.count("--bits") > 0)
    throw CLI::ValidationError("--bits", "is for wav alone");
  if ((format->Id == "wav" || format->Id == "edf") && command.count("--as") > 0)
    throw CLI::ValidationError("--as", fmt::format("has no place in {}", format->Id));
}

// As other commands choose samples, but for --to, which is the format here.
void AddExportSelection(CLI::App& command, SelectionOptions& selection) {
  AddSelection(command, selection);
  command.remove_option(command.get_option("--to"));
  CLI::Option* const duration = command.get_option("--duration");
  command.add_option("--until", selection.To, "up to this time, which is left out")
      ->excludes(duration)
      ->option_text("TIME")
      ->group(duration->get_group());
}

}  // namespace

Command AddExport(CLI::App& app) {
  const auto settings = std::make_shared<ExportSettings>();
  CLI::App* const command = app.add_subcommand("export", "write recordings in other formats");
  AddFileArguments(*command, settings->Files);
  AddExportSelection(*command, settings->Selection);
  const char* group = "Output";
  command
      ->add_option("-o,--output", settings->Output,
                   "file, or folder for files of the recordings' names; an old file is replaced "
                   "when the new one is whole")
      ->required()
      ->option_text("FILE|DIR")
      ->group(group);
  command->add_option("--to", settings->To, ListOfFormats() + "; else by the ending of the output")
      ->option_text("FORMAT")
      ->group(group);
  command
      ->add_option("--as", settings->Options.As,
                   "integer (counts), single or double (values); else Singles where the recording "
                   "has those, and doubles")
      ->check(CLI::IsMember({"integer", "single", "double"}))
      ->option_text("KIND")
      ->group(group);
  command
      ->add_option("--bits", settings->Options.Bits,
                   "of wave samples: 16, 24, float; else those that keep the recording's")
      ->check(CLI::IsMember({"16", "24", "float"}))
      ->option_text("BITS")
      ->group(group);
  AddAppearance(*command, settings->Look);
  AddOpenSettings(*command, settings->Open);
  command->footer(
      "Examples:\n"
      "  lmi export night.edf -o night.mat\n"
      "  lmi export recordings/ -o arrays/ --to npz\n"
      "  lmi export trial.abf -o trial.wav --channel Vm --from 1:00 --duration 30");
  command->callback([command, settings] {
    settings->Options.CodePage = settings->Open.CodePage;
    CheckSettings(*command, *settings);
  });
  return {command, [settings] { return Export(*settings); }};
}

}  // namespace lmi
