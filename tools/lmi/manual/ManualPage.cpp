#include "manual/ManualPage.h"

#include <fmt/core.h>
#include <lmimport/Version.h>

#include <algorithm>
#include <cctype>
#include <sstream>

namespace lmi {
namespace {

constexpr std::size_t LineLimit = 78;  // of the source; readers fill lines anew

bool IsLetterOrDigit(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

std::string UpperCase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// "Show what recordings are." of "show what recordings are".
std::string Sentence(std::string text) {
  if (text.empty()) return text;
  text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
  if (text.back() != '.') text += '.';
  return text;
}

// The other way round, for the line that indexes of manuals are made from.
std::string Summary(std::string text) {
  if (text.empty()) return text;
  text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  if (text.back() == '.') text.pop_back();
  return text;
}

// Text that troff shows as it is. A dash of an option is one that can be copied from the page; one
// inside a word is a hyphen, unless all of the text is code.
std::string Escaped(std::string_view text, bool isCode = false) {
  std::string escaped;
  bool inOption = isCode;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == ' ') inOption = isCode;
    if (c == '-' && (i == 0 || !IsLetterOrDigit(text[i - 1]))) inOption = true;
    if (c == '\\')
      escaped += "\\e";
    else if (c == '-' && inOption)
      escaped += "\\-";
    else if (c == '\'' && isCode)
      escaped += "\\(aq";
    else
      escaped += c;
  }
  return escaped;
}

// A line that begins with one of these would be a request.
std::string AsText(const std::string& line) {
  return line.starts_with('.') || line.starts_with('\'') ? "\\&" + line : line;
}

std::string Bold(std::string_view text) {
  return "\\fB" + Escaped(text, true) + "\\fR";
}
std::string Italic(std::string_view text) {
  return "\\fI" + Escaped(text, true) + "\\fR";
}

class Page {
 public:
  void Line(const std::string& line) { troff_ += line + '\n'; }
  void Section(const std::string& title) { Line(".SH " + UpperCase(title)); }

  // Each sentence begins a line, since troff sets its own space between sentences.
  void Paragraph(std::string_view text) {
    std::string line;
    std::istringstream words(Escaped(text));
    for (std::string word; words >> word;) {
      const bool endsSentence = line.ends_with('.') || line.ends_with('?');
      if (!line.empty() && (endsSentence || line.size() + 1 + word.size() > LineLimit)) {
        Line(AsText(line));
        line.clear();
      }
      line += (line.empty() ? "" : " ") + word;
    }
    if (!line.empty()) Line(AsText(line));
  }

  void Tagged(const std::string& tag, std::string_view text) {
    Line(".TP");
    Line(AsText(tag));
    Paragraph(text);
  }

  void Code(const std::vector<std::string>& lines) {
    std::size_t indent = std::string::npos;
    for (const std::string& line : lines) indent = std::min(indent, line.find_first_not_of(' '));
    Line(".EX");
    for (const std::string& line : lines)
      Line(AsText(Escaped(line.substr(std::min(indent, line.size())), true)));
    Line(".EE");
  }

  std::string Troff() const { return troff_; }

 private:
  std::string troff_;
};

std::string Tag(const OptionText& option) {
  std::string tag;
  for (const std::string& name : option.Names()) tag += (tag.empty() ? "" : ", ") + Bold(name);
  if (!option.Argument.empty()) tag += (tag.empty() ? "" : " ") + Italic(option.Argument);
  return tag;
}

void WriteSynopsis(Page& page, const ProgramText& program, const CommandText& command) {
  page.Section("Synopsis");
  if (&command == &program.Program) {
    page.Line(Bold(command.Name) + " " + Italic("COMMAND") + " [" + Italic("OPTION") + " ...] [" +
              Italic("ARGUMENT") + " ...]");
    return;
  }
  std::string line =
      Bold(program.Program.Name + " " + command.Name) + " [" + Italic("OPTION") + " ...]";
  for (const OptionText& argument : command.Arguments) {
    const std::string name = Italic(argument.Argument) + (argument.Repeats ? " ..." : "");
    line += argument.IsRequired ? " " + name : " [" + name + "]";
  }
  page.Line(line);
}

void WriteOptions(Page& page, const CommandText& command) {
  page.Section("Options");
  std::string group = "Options";
  for (const OptionText& option : command.Options) {
    if (option.Group != group) page.Line(fmt::format(".SS \"{}\"", Escaped(option.Group)));
    group = option.Group;
    page.Tagged(Tag(option), option.Description);
  }
}

bool IsEntry(const std::string& line) {
  return line.starts_with("  ") && line.size() > 2 && line[2] != ' ';
}

// Where the meaning begins in "  NAME  what it means".
std::size_t MeaningAt(const std::string& line) {
  const std::size_t gap = line.find("  ", 2);
  return gap == std::string::npos ? gap : line.find_first_not_of(' ', gap);
}

// Names and meanings, which may go on in deeper lines; all else is shown as it is.
bool IsList(const FooterSection& section) {
  const auto fits = [](const std::string& line) {
    return !IsEntry(line) || MeaningAt(line) != std::string::npos;
  };
  return section.Title != "Examples" && !section.Lines.empty() && IsEntry(section.Lines.front()) &&
         std::ranges::all_of(section.Lines, fits);
}

void WriteSection(Page& page, const FooterSection& section) {
  if (!IsList(section)) return page.Code(section.Lines);
  for (std::size_t i = 0; i < section.Lines.size();) {
    const std::string& first = section.Lines[i];
    const std::string name = first.substr(2, first.find("  ", 2) - 2);
    std::string meaning = first.substr(MeaningAt(first));
    while (++i < section.Lines.size() && !IsEntry(section.Lines[i]))
      meaning += " " + section.Lines[i];
    page.Tagged(Bold(name), meaning);
  }
}

const FooterSection* Find(const CommandText& command, std::string_view title) {
  const auto found = std::ranges::find(command.Footer, title, &FooterSection::Title);
  return found == command.Footer.end() ? nullptr : &*found;
}

void WriteSections(Page& page, const ProgramText& program, const CommandText& command) {
  constexpr const char* status = "Exit status";
  // The program says what holds for all commands.
  const FooterSection* const general = Find(program.Program, status);
  const FooterSection* const own = Find(command, status);
  if (general != nullptr || own != nullptr) page.Section(status);
  if (general != nullptr) WriteSection(page, *general);
  if (own != nullptr && own != general) WriteSection(page, *own);
  for (const FooterSection& section : command.Footer) {
    if (section.Title.empty() || section.Title == status) continue;
    page.Section(section.Title);
    WriteSection(page, section);
  }
}

void WriteCommands(Page& page, const ProgramText& program) {
  page.Section("Commands");
  for (const CommandText& command : program.Commands) {
    page.Line(".TP");
    page.Line(fmt::format(".BR {} (1)", Escaped(PageName(program, command), true)));
    page.Paragraph(command.Description);
  }
}

void WriteSeeAlso(Page& page, const ProgramText& program, const CommandText& command) {
  std::vector<const CommandText*> others = {&program.Program};
  for (const CommandText& other : program.Commands) others.push_back(&other);
  std::erase(others, &command);
  page.Section("See also");
  for (const CommandText* const other : others)
    page.Line(fmt::format(".BR {} (1){}", Escaped(PageName(program, *other), true),
                          other == others.back() ? "" : ","));
}

}  // namespace

std::string PageName(const ProgramText& program, const CommandText& command) {
  const std::string& name = program.Program.Name;
  return &command == &program.Program ? name : name + "-" + command.Name;
}

std::string ManualPage(const ProgramText& program, const CommandText& command) {
  const std::string name = PageName(program, command);
  Page page;
  page.Line(fmt::format(".TH {} 1 {} \"{} {}\" \"User Commands\"", UpperCase(name), LMI_MANUAL_DATE,
                        program.Program.Name, LMIMPORT_VERSION));
  page.Section("Name");
  page.Line(Escaped(name, true) + " \\- " + Escaped(Summary(command.Description)));
  WriteSynopsis(page, program, command);
  page.Section("Description");
  page.Paragraph(Sentence(command.Description));
  if (const FooterSection* const text = Find(command, "")) {
    page.Line(".PP");
    for (const std::string& line : text->Lines) page.Paragraph(line);
  }
  for (const OptionText& argument : command.Arguments)
    page.Tagged(Tag(argument), argument.Description);
  if (&command == &program.Program) WriteCommands(page, program);
  WriteOptions(page, command);
  WriteSections(page, program, command);
  WriteSeeAlso(page, program, command);
  return page.Troff();
}

}  // namespace lmi
