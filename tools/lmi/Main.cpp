// The command line: which command, and what comes of it. Exit status 0, 1 when a file failed, 2
// when the command line makes no sense; check has 3, too; after a signal 128 and its number.
#include <lmimport/Version.h>

#include <CLI/CLI.hpp>
#include <clocale>
#include <csignal>

#include "Commands.h"
#include "output/Interrupt.h"
#include "output/Output.h"
#include "output/Text.h"

namespace {

constexpr int UsageError = 2;

int Run(int argc, char** argv) {
  CLI::App app("Reads recordings of data-acquisition systems.", "lmi");
  app.set_version_flag("--version", "Lumetra Import Library " LMIMPORT_VERSION);
  app.require_subcommand(1);
  app.footer(
      "Exit status:\n"
      "  0    all went well\n"
      "  1    a file failed\n"
      "  2    the command line makes no sense\n"
      "  130  it was interrupted\n\n"
      "Environment:\n"
      "  NO_COLOR  colours are left out where this is set\n"
      "  TMPDIR    folder of temporary files; else /tmp\n\n"
      "Examples:\n"
      "  lmi info trial.edf\n"
      "  lmi read trial.edf --channel EEG --from 1:00 --duration 30 > eeg.csv");
  const lmi::Command commands[] = {
      lmi::AddList(app),    lmi::AddInfo(app),   lmi::AddCheck(app),      lmi::AddExplain(app),
      lmi::AddRead(app),    lmi::AddExport(app), lmi::AddPlot(app),       lmi::AddStats(app),
      lmi::AddFormats(app), lmi::AddManual(app), lmi::AddCompletion(app),
  };
  // Told by name, which the parser wouldn't.
  const auto isNamed = [argv](const lmi::Command& command) {
    return command.Line->get_name() == argv[1];
  };
  if (argc > 1 && argv[1][0] != '-' && std::ranges::none_of(commands, isNamed)) {
    std::string names;
    for (const lmi::Command& command : commands)
      names += (names.empty() ? "" : ", ") + command.Line->get_name();
    lmi::Say("lmi: there is no command \"{}\"; there are {}\n", lmi::OneLine(argv[1]), names);
    return UsageError;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : UsageError;
  }
  for (const lmi::Command& command : commands) {
    if (command.Line->parsed()) return command.Run();
  }
  return UsageError;
}

}  // namespace

int main(int argc, char** argv) {
  // Titles of channels are compared in any case, and take their place on the terminal. Numbers stay
  // as they are.
  std::setlocale(LC_CTYPE, "C.UTF-8");
  // A pipe that closes ends the output, not the program.
  std::signal(SIGPIPE, SIG_IGN);
  lmi::WatchForInterrupt();
  try {
    const int status = Run(argc, argv);
    return lmi::IsInterrupted() ? lmi::InterruptedStatus() : status;
  } catch (const lmi::OutputClosed&) {
    return 0;
  } catch (const lmi::OutputFailed& failure) {
    lmi::PrintFailure(failure.Name, failure.Reason);
    return 1;
  } catch (const std::exception& fault) {
    lmi::Say("lmi: {}\n", lmi::OneLine(fault.what()));
    return 1;
  }
}
