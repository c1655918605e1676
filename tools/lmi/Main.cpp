// The command line: which command, and what comes of it. Exit status 0, 1 when a file failed, 2
// when the command line makes no sense; check has 3, too; after a signal 128 and its number.
#include <lmimport/Version.h>

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
  const lmi::Command commands[] = {
      lmi::AddList(app),
      lmi::AddInfo(app),
      lmi::AddCheck(app),
      lmi::AddExplain(app),
      lmi::AddRead(app),
      lmi::AddExport(app),
      lmi::AddPlot(app),
      lmi::AddStats(app),
      lmi::AddFormats(app),
  };
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
    lmi::PrintFailure("lmi", fault.what());
    return 1;
  }
}
