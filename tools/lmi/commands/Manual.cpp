// "lmi manual": the pages that man shows, also where they are not installed.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>

#include "Commands.h"
#include "manual/ManualPage.h"
#include "output/Output.h"

namespace lmi {
namespace {

// The name of a command. All are known only when the command line is complete, so both the check and
// its description look then.
class CommandName : public CLI::Validator {
 public:
  explicit CommandName(const CLI::App& app) {
    desc_function_ = [&app] { return "{" + CLI::detail::join(CommandNames(app), ",") + "}"; };
    func_ = [&app](const std::string& name) {
      const bool isKnown = std::ranges::count(CommandNames(app), name) > 0;
      return isKnown ? std::string() : "there is no command \"" + name + "\"";
    };
  }
};

struct ManualOptions {
  std::string Command;
  std::string Folder;  // for all pages; empty: one is printed
};

void WritePage(const ProgramText& program, const CommandText& command, const std::string& folder) {
  NewFile file(std::filesystem::path(folder) / (PageName(program, command) + ".1"));
  {
    const OutputTo output(file);
    Print("{}", ManualPage(program, command));
    Flush();
  }
  file.Commit();
}

int Manual(const CLI::App& app, const ManualOptions& options) {
  const ProgramText program = DescribeProgram(app);
  if (!options.Folder.empty()) {
    WritePage(program, program.Program, options.Folder);
    for (const CommandText& command : program.Commands) WritePage(program, command, options.Folder);
    return 0;
  }
  const auto command = std::ranges::find(program.Commands, options.Command, &CommandText::Name);
  Print("{}", ManualPage(program, command == program.Commands.end() ? program.Program : *command));
  Flush();
  return 0;
}

}  // namespace

Command AddManual(CLI::App& app) {
  const auto options = std::make_shared<ManualOptions>();
  CLI::App* const manual = app.add_subcommand("manual", "print a page of the manual, for man");
  auto* const command = manual->add_option("COMMAND", options->Command,
                                           "what the page is about; else it is about all of lmi");
  command->check(CommandName(app));
  manual->add_option("--all", options->Folder, "all pages instead, as files of this folder")
      ->check(CLI::ExistingDirectory)
      ->excludes(command)
      ->option_text("DIR");
  manual->footer("Examples:\n  lmi manual read | man -l -");
  return {manual, [&app, options] { return Manual(app, *options); }};
}

}  // namespace lmi
