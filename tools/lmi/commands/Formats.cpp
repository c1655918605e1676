// "lmi formats": what is read, and what is written.
#include "Commands.h"
#include "export/ExportFormats.h"
#include "output/Output.h"
#include "output/Terminal.h"
#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;

void PrintWritten() {
  Table table({{"Export"}, {"Format"}, {"Files"}, {"Beside samples"}});
  std::string lacking;
  for (const ExportFormat& format : ExportFormats()) {
    if (format.Write == nullptr)
      lacking += fmt::format("{}{}", lacking.empty() ? "" : ", ", format.Id);
    else
      table.Add({std::string(format.Id), std::string(format.Name), std::string(format.Endings),
                 ContentsText(format.Contents)});
  }
  Print("\n");
  table.Write(0, TerminalWidth());
  if (!lacking.empty()) Print("Not in this build: {}\n", lacking);
}

int Formats() {
  Table table({{"Type", true}, {"Id"}, {"Format"}, {"Files"}});
  for (const FormatDescription& format : KnownFormats())
    table.Add({fmt::format("{}", format.Number), std::string(format.Id), std::string(format.Name),
               std::string(format.Patterns)});
  table.Write(0, TerminalWidth());
  PrintWritten();
  Flush();
  return 0;
}

}  // namespace

Command AddFormats(CLI::App& app) {
  CLI::App* const formats = app.add_subcommand("formats", "list the formats and their files");
  return {formats, [] { return Formats(); }};
}

}  // namespace lmi
