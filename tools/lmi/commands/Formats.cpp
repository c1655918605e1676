// "lmi formats": what is read, and what is written.
#include "Commands.h"
#include "output/Output.h"
#include "output/Terminal.h"
#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;

int Formats() {
  Table table({{"Type", true}, {"Id"}, {"Format"}, {"Files"}});
  for (const FormatDescription& format : KnownFormats())
    table.Add({fmt::format("{}", format.Number), std::string(format.Id), std::string(format.Name),
               std::string(format.Patterns)});
  table.Write(0, TerminalWidth());
  Flush();
  return 0;
}

}  // namespace

Command AddFormats(CLI::App& app) {
  CLI::App* const formats = app.add_subcommand("formats", "list the formats and their files");
  return {formats, [] { return Formats(); }};
}

}  // namespace lmi
