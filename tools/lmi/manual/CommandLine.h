// The command line as texts: what the manual says and shells complete, in the order and the groups
// of --help.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace lmi {

/// What the argument of an option is, as far as a shell can help with it.
enum class ArgumentKind { None, Any, Choice, File, Folder };

struct OptionText {
  std::vector<std::string> ShortNames;  // without dashes; no names: it is known by its place
  std::vector<std::string> LongNames;
  std::string Argument;  // its placeholder, "FILE"; empty: the option takes none
  ArgumentKind Kind = ArgumentKind::None;
  std::vector<std::string> Choices;
  std::string Description;
  std::string Group;
  bool IsRequired = false;
  bool Repeats = false;

  /// "-o" and "--output".
  std::vector<std::string> Names() const;
};

/// A part of what follows the options: a line "Examples:" and the indented lines below it.
struct FooterSection {
  std::string Title;  // without the colon; empty: text before the first title
  std::vector<std::string> Lines;
};

struct CommandText {
  std::string Name;
  std::string Description;
  std::vector<OptionText> Arguments;
  std::vector<OptionText> Options;
  std::vector<FooterSection> Footer;
};

struct ProgramText {
  CommandText Program;
  std::vector<CommandText> Commands;
};

/// Without what is hidden.
std::vector<std::string> CommandNames(const CLI::App& app);

ProgramText DescribeProgram(const CLI::App& app);

}  // namespace lmi
