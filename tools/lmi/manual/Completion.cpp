#include "manual/Completion.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace lmi {
namespace {

std::string Joined(const std::vector<std::string>& words, std::string_view between) {
  std::string text;
  for (const std::string& word : words) {
    if (&word != &words.front()) text += between;
    text += word;
  }
  return text;
}

std::string Replaced(std::string_view text, char what, std::string_view by) {
  std::string replaced;
  for (const char c : text) {
    if (c == what)
      replaced += by;
    else
      replaced += c;
  }
  return replaced;
}

// One word of the shell, whatever it contains.
std::string Quoted(std::string_view text) {
  return "'" + Replaced(text, '\'', "'\\''") + "'";
}

std::string BashOffer(const OptionText& option) {
  switch (option.Kind) {
    case ArgumentKind::Choice:
      return "offered=" + Quoted(Joined(option.Choices, " "));
    case ArgumentKind::File:
      return "compopt -o default; return";
    case ArgumentKind::Folder:
      return "compopt -o dirnames; return";
    default:
      return "return";
  }
}

// What may follow an option, by "COMMAND OPTION".
std::string BashArguments(const CommandText& command) {
  std::string cases;
  for (const OptionText& option : command.Options) {
    if (option.Kind == ArgumentKind::None) continue;
    std::vector<std::string> patterns;
    for (const std::string& name : option.Names())
      patterns.push_back("'" + command.Name + " " + name + "'");
    cases += "    " + Joined(patterns, " | ") + ") " + BashOffer(option) + " ;;\n";
  }
  return cases;
}

std::string BashOptions(const std::string& name, const CommandText& command) {
  std::vector<std::string> names;
  for (const OptionText& option : command.Options)
    std::ranges::copy(option.Names(), std::back_inserter(names));
  return "    '" + name + " -'*) offered='" + Joined(names, " ") + "' ;;\n";
}

std::string BashPlaces(const CommandText& text) {
  const std::string offer = text.Arguments.empty() ? "return" : BashOffer(text.Arguments.front());
  return "    " + Quoted(text.Name + " ") + "*) " + offer + " ;;\n";
}

// In what describes an option to _arguments.
std::string ZshEscaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\\' || c == '[' || c == ']' || c == ':') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

std::string ZshAction(const OptionText& option) {
  const std::string message = ":" + ZshEscaped(option.Argument) + ":";
  switch (option.Kind) {
    case ArgumentKind::Choice:
      return message + "(" + Joined(option.Choices, " ") + ")";
    case ArgumentKind::File:
      return message + "_files";
    case ArgumentKind::Folder:
      return message + "_files -/";
    default:
      return message + " ";
  }
}

std::string ZshOption(const OptionText& option) {
  const bool takesOne = option.Kind != ArgumentKind::None;
  std::string described;
  for (const std::string& name : option.Names()) {
    const char* const mark = !takesOne ? "" : name.starts_with("--") ? "=" : "+";
    const std::string others = option.Repeats ? "*" : "(" + Joined(option.Names(), " ") + ")";
    described +=
        " \\\n        " + Quoted(others + name + mark + "[" + ZshEscaped(option.Description) + "]" +
                                 (takesOne ? ZshAction(option) : ""));
  }
  return described;
}

std::string ZshPlace(const OptionText& argument, std::size_t place) {
  const std::string where = argument.Repeats ? "*" : std::to_string(place);
  return " \\\n        " +
         Quoted(where + (argument.IsRequired || argument.Repeats ? "" : ":") + ZshAction(argument));
}

std::string ZshCommand(const CommandText& command) {
  std::string text = "      " + Quoted(command.Name) + ") _arguments -s";
  for (const OptionText& option : command.Options) text += ZshOption(option);
  for (std::size_t i = 0; i < command.Arguments.size(); ++i)
    text += ZshPlace(command.Arguments[i], i + 1);
  return text + " ;;\n";
}

std::string FishQuoted(std::string_view text) {
  return "'" + Replaced(Replaced(text, '\\', "\\\\"), '\'', "\\'") + "'";
}

std::string FishOffer(const OptionText& option) {
  switch (option.Kind) {
    case ArgumentKind::Choice:
      return " -x -a " + FishQuoted(Joined(option.Choices, " "));
    case ArgumentKind::File:
      return " -r -F";
    case ArgumentKind::Folder:
      return " -x -a '(__fish_complete_directories)'";
    case ArgumentKind::Any:
      return " -x";
    default:
      return "";
  }
}

std::string FishOptions(const std::string& start, const CommandText& command) {
  std::string lines;
  for (const OptionText& option : command.Options) {
    lines += start;
    for (const std::string& name : option.ShortNames) lines += " -s " + name;
    for (const std::string& name : option.LongNames) lines += " -l " + name;
    lines += FishOffer(option) + " -d " + FishQuoted(option.Description) + "\n";
  }
  for (const OptionText& argument : command.Arguments) {
    const std::string offer = FishOffer(argument);
    if (argument.Kind != ArgumentKind::Any) lines += start + offer + "\n";
  }
  return lines;
}

}  // namespace

std::string BashCompletion(const ProgramText& program) {
  const std::string& name = program.Program.Name;
  std::vector<std::string> commands;
  std::string arguments;
  std::string options = BashOptions("", program.Program);
  std::string places;
  for (const CommandText& command : program.Commands) {
    commands.push_back(command.Name);
    arguments += BashArguments(command);
    options += BashOptions(command.Name, command);
    places += BashPlaces(command);
  }
  return "# Completion of " + name + " for bash.\n_" + name +
         R"(() {
  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local command= offered= word
  COMPREPLY=()
  # The shell takes --option=value for three words.
  if [[ $current == = ]]; then
    current=
  elif [[ $before == = ]]; then
    before=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ $word == -* ]] && continue
    command=$word
    break
  done
  case "$command $before" in
)" + arguments +
         R"(    *) command+=" $current" ;;
  esac
  [[ -n $offered ]] || case $command in
)" + options +
         "    ' '*) offered=" + Quoted(Joined(commands, " ")) + " ;;\n" + places +
         R"(    *) return ;;
  esac
  COMPREPLY=($(compgen -W "$offered" -- "$current"))
}
complete -F _)" +
         name + " " + name + "\n";
}

std::string ZshCompletion(const ProgramText& program) {
  const std::string& name = program.Program.Name;
  std::string commands;
  std::string cases;
  std::string options;
  for (const CommandText& command : program.Commands) {
    commands +=
        "    " + Quoted(ZshEscaped(command.Name) + ":" + ZshEscaped(command.Description)) + "\n";
    cases += ZshCommand(command);
  }
  for (const OptionText& option : program.Program.Options) options += ZshOption(option);
  return "#compdef " + name + "\n# Completion of " + name + " for zsh.\n_" + name +
         R"(() {
  local context state state_descr line
  typeset -A opt_args
  local -a commands
  commands=(
)" + commands +
         R"(  )
  _arguments -C)" +
         options +
         R"( \
        '1:command:->command' \
        '*::argument:->argument' && return
  case $state in
    command) _describe -t commands command commands ;;
    argument) case $words[1] in
)" + cases +
         R"(    esac ;;
  esac
}
# Loaded by compinit, this file is the function; else it defines it.
if [[ $funcstack[1] == _)" +
         name + " ]]; then\n  _" + name + " \"$@\"\nelse\n  compdef _" + name + " " + name +
         "\nfi\n";
}

std::string FishCompletion(const ProgramText& program) {
  const std::string start = "complete -c " + program.Program.Name;
  const std::string first = start + " -n __fish_use_subcommand";
  std::string script = "# Completion of " + program.Program.Name + " for fish.\n";
  script += start + " -f\n" + FishOptions(first, program.Program);
  for (const CommandText& command : program.Commands)
    script += first + " -a " + command.Name + " -d " + FishQuoted(command.Description) + "\n";
  for (const CommandText& command : program.Commands)
    script +=
        FishOptions(start + " -n '__fish_seen_subcommand_from " + command.Name + "'", command);
  return script;
}

}  // namespace lmi
