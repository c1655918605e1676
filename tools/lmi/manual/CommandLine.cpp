#include "manual/CommandLine.h"

#include <CLI/CLI.hpp>
#include <sstream>

namespace lmi {
namespace {

// A set of choices is a check that describes itself as "{csv,raw}".
std::vector<std::string> ChoicesIn(const std::string& type) {
  std::vector<std::string> choices;
  const std::size_t open = type.find('{');
  const std::size_t close = type.find('}', open);
  if (open == std::string::npos || close == std::string::npos) return choices;
  std::istringstream list(type.substr(open + 1, close - open - 1));
  for (std::string choice; std::getline(list, choice, ',');) choices.push_back(choice);
  return choices;
}

// By the placeholder and the checks, "FILE" or "TEXT:DIR", else by the first word of what is said.
ArgumentKind KindOf(const OptionText& option, const std::string& type) {
  if (!option.Choices.empty()) return ArgumentKind::Choice;
  const std::string names = option.Argument + ":" + type;
  const auto has = [&](const char* word) { return names.find(word) != std::string::npos; };
  const auto says = [&](const char* word) { return option.Description.starts_with(word); };
  if (has("FILE") || has("PATH") || says("file ")) return ArgumentKind::File;
  return has("DIR") || has("FOLDER") || says("folder ") ? ArgumentKind::Folder : ArgumentKind::Any;
}

OptionText Describe(const CLI::Option& option) {
  OptionText text;
  text.Description = option.get_description();
  text.Group = option.get_group();
  text.IsRequired = option.get_required();
  text.Repeats = option.get_expected_max() >= CLI::detail::expected_max_vector_size;
  const std::string type = option.get_type_name();
  if (option.nonpositional()) {
    text.ShortNames = option.get_snames();
    text.LongNames = option.get_lnames();
    if (option.get_items_expected_max() == 0) return text;
    text.Argument = option.get_option_text();
    if (text.Argument.empty()) text.Argument = type.substr(0, type.find(':'));
  } else {
    text.Argument = option.get_name(true);
  }
  text.Choices = ChoicesIn(type);
  text.Kind = KindOf(text, type);
  return text;
}

std::vector<FooterSection> SectionsOf(const std::string& footer) {
  std::vector<FooterSection> sections;
  std::istringstream text(footer);
  for (std::string line; std::getline(text, line);) {
    const bool isTitle = !line.empty() && line.front() != ' ' && line.back() == ':';
    if (isTitle)
      sections.push_back({line.substr(0, line.size() - 1), {}});
    else if (!line.empty() && sections.empty())
      sections.push_back({"", {line}});
    else if (!sections.empty())
      sections.back().Lines.push_back(line);
  }
  for (FooterSection& section : sections) {
    while (!section.Lines.empty() && section.Lines.back().empty()) section.Lines.pop_back();
  }
  return sections;
}

CommandText DescribeCommand(const CLI::App& app) {
  CommandText command{app.get_name(), app.get_description(), {}, {}, SectionsOf(app.get_footer())};
  for (const std::string& group : app.get_groups()) {
    const auto isShown = [&](const CLI::Option* option) {
      return !group.empty() && option->get_group() == group;
    };
    for (const CLI::Option* const option : app.get_options(isShown))
      (option->nonpositional() ? command.Options : command.Arguments).push_back(Describe(*option));
  }
  return command;
}

std::vector<const CLI::App*> ShownCommands(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* command) {
    return !command->get_name().empty() && !command->get_group().empty();
  });
}

}  // namespace

std::vector<std::string> OptionText::Names() const {
  std::vector<std::string> names;
  for (const std::string& name : ShortNames) names.push_back("-" + name);
  for (const std::string& name : LongNames) names.push_back("--" + name);
  return names;
}

std::vector<std::string> CommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* const command : ShownCommands(app)) names.push_back(command->get_name());
  return names;
}

ProgramText DescribeProgram(const CLI::App& app) {
  ProgramText program{DescribeCommand(app), {}};
  for (const CLI::App* const command : ShownCommands(app))
    program.Commands.push_back(DescribeCommand(*command));
  return program;
}

}  // namespace lmi
