// "lmi completion": the script by which a shell completes the command line.
#include "manual/Completion.h"

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "output/Output.h"

namespace lmi {
namespace {

int Complete(const CLI::App& app, const std::string& shell) {
  const ProgramText program = DescribeProgram(app);
  Print("{}", shell == "bash"  ? BashCompletion(program)
              : shell == "zsh" ? ZshCompletion(program)
                               : FishCompletion(program));
  Flush();
  return 0;
}

}  // namespace

Command AddCompletion(CLI::App& app) {
  const auto shell = std::make_shared<std::string>();
  CLI::App* const completion =
      app.add_subcommand("completion", "print the script by which a shell completes lmi");
  completion->add_option("SHELL", *shell, "bash, zsh or fish")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish"}));
  completion->footer(
      "Examples:\n"
      "  source <(lmi completion bash)\n"
      "  lmi completion fish > ~/.config/fish/completions/lmi.fish");
  return {completion, [&app, shell] { return Complete(app, *shell); }};
}

}  // namespace lmi
