// "lmi plot": a recording as a picture, in a file or in the terminal.
#include <CLI/CLI.hpp>
#include <algorithm>

#include "Commands.h"
#include "output/Interrupt.h"
#include "output/Output.h"
#include "output/ProgressLine.h"
#include "output/Terminal.h"
#include "output/Text.h"
#include "picture/BraillePicture.h"
#include "picture/CairoPicture.h"
#include "recordings/OpenSettings.h"

namespace lmi {
namespace {

using namespace lmimport;

struct PlotOptions {
  OpenSettings Open;
  std::string File;
  SelectionOptions Selection;
  Appearance Look;
  std::string Output;  // empty: the terminal
  CairoStyle Style;
  bool Compare = false;
};

std::string KindOf(const std::string& file) {
  std::string kind = std::filesystem::path(file).extension().string();
  std::ranges::transform(kind, kind.begin(),
                         [](char c) { return static_cast<char>(std::tolower(c)); });
  return kind;
}

// The same recording in the other reading; said where there is none.
Opened OpenOther(const PlotOptions& options, ProgressLine& line) {
  OpenSettings other = options.Open;
  other.AsWritten = !other.AsWritten;
  Opened opened = OpenOrExplain(other, {options.File}, line.Handler());
  if (!opened)
    PrintFailure(options.File,
                 "in the other reading: " + WithoutName(opened.Failure, options.File));
  return opened;
}

void Draw(const Recording& recording, const PlotOptions& options, ProgressLine& line) {
  const Opened other = options.Compare ? OpenOther(options, line) : Opened();
  // The first is always the published one.
  const Recording* first = &recording;
  const Recording* second = other.Get();
  if (second != nullptr && options.Open.AsWritten) std::swap(first, second);
  const std::size_t terminalColumns = BrailleColumns(TerminalWidth());
  PictureOptions picture{options.Selection,
                         options.Output.empty() ? terminalColumns * 2 : CairoColumns(options.Style),
                         [&line](double part) {
                           line.Show(part);
                           return !IsInterrupted();
                         }};
  if (options.Output.empty()) {
    const Picture made = MakePicture(*first, second, picture);
    if (!IsInterrupted()) PrintBraille(made, terminalColumns, options.Look);
    return Flush();
  }
  CheckOutput(recording, options.Output);
  NewFile file(options.Output);
  const Picture made = MakePicture(*first, second, picture);
  if (IsInterrupted()) return;
  DrawPicture(made, options.Style, KindOf(options.Output), file.Path());
  file.Commit();
}

int Plot(const PlotOptions& options) {
  ProgressLine line(OneLine(options.File), options.Look.Quiet);
  Opened opened = OpenOrExplain(options.Open, {options.File}, line.Handler());
  if (opened && !options.Look.Quiet) PrintWarnings(options.File, opened);
  if (opened) opened.Try([&](const Recording& recording) { Draw(recording, options, line); });
  if (opened.Failure.empty()) return 0;
  PrintFailure(options.File, opened.Failure);
  return 1;
}

std::string CheckPicture(const std::string& file) {
  const std::string kind = KindOf(file);
  const bool known = kind == ".png" || kind == ".svg" || kind == ".pdf";
  return known ? "" : "\"" + file + "\" must end in .png, .svg or .pdf";
}

}  // namespace

Command AddPlot(CLI::App& app) {
  const auto options = std::make_shared<PlotOptions>();
  CLI::App* const plot =
      app.add_subcommand("plot", "draw a recording, into a file or in the terminal");
  plot->add_option("FILE", options->File, "recording")->required();
  plot->add_option("-o,--output", options->Output,
                   "picture, .png, .svg or .pdf; without it, it is drawn in the terminal")
      ->check(CLI::Validator(CheckPicture, ""))
      ->option_text("PICTURE");
  plot->add_option("--width", options->Style.Width, "of the picture, in pixels or points")
      ->check(CLI::Range(300, 20000))
      ->option_text("N");
  plot->add_option("--lane-height", options->Style.LaneHeight,
                   "of each channel, in pixels or points; else by their number")
      ->check(CLI::Range(20, 5000))
      ->option_text("N");
  plot->add_flag("--compare", options->Compare,
                 "both readings: by the published layout, and as LMImport shows it");
  AddSelection(*plot, options->Selection);
  AddAppearance(*plot, options->Look);
  AddOpenSettings(*plot, options->Open);
  plot->footer(
      "Examples:\n"
      "  lmi plot night.edf\n"
      "  lmi plot night.edf -o night.png --channel 'EEG*' --from T23:15 --duration 10:00\n"
      "  lmi plot trial.abf -o both.svg --compare");
  return {plot, [options] { return Plot(*options); }};
}

}  // namespace lmi
