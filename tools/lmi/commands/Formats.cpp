// "lmi formats": what is read, by which readings, and what is written.
#include <CLI/CLI.hpp>

#include "Commands.h"
#include "export/ExportFormats.h"
#include "output/Json.h"
#include "output/Output.h"
#include "output/Terminal.h"
#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;
using nlohmann::ordered_json;

// "ABF ", or F1 06 00 00 where not all are characters.
std::string MarkText(std::string_view mark) {
  const auto isText = [](char c) { return c >= ' ' && c <= '~'; };
  if (std::ranges::all_of(mark, isText)) return fmt::format("\"{}\"", mark);
  std::string text;
  for (const char c : mark)
    text += fmt::format("{}{:02X}", text.empty() ? "" : " ", static_cast<unsigned char>(c));
  return text;
}

std::string MarksOf(const FormatDescription& format) {
  std::string text;
  for (const std::string_view mark : format.FirstBytes)
    text += fmt::format("{}{}", text.empty() ? "" : ", ", MarkText(mark));
  return text;
}

void PrintWrapped(std::string_view label, std::string_view text, std::size_t width) {
  constexpr std::size_t indent = 15;
  if (text.empty()) return;
  std::string line = fmt::format("  {:<{}}", label, indent - 2);
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = std::min(text.find(' ', start), text.size());
    const std::string_view word = text.substr(start, end - start);
    if (Width(line) + Width(word) + 1 > width && Width(line) > indent) {
      Print("{}\n", line);
      line.assign(indent, ' ');
    }
    if (Width(line) > indent) line += ' ';
    line += word;
    start = end + 1;
  }
  Print("{}\n", line);
}

void PrintTable() {
  Table table({{"Type", true}, {"Id"}, {"Format"}, {"First bytes"}, {"Endings"}});
  for (const FormatDescription& format : KnownFormats())
    table.Add({fmt::format("{}", format.Number), std::string(format.Id), std::string(format.Name),
               MarksOf(format), format.Extensions});
  table.Write(0, TerminalWidth());
}

void PrintDetails() {
  constexpr std::size_t usual = 100;
  const std::size_t width = TerminalWidth() == 0 ? usual : TerminalWidth();
  for (const FormatDescription& format : KnownFormats()) {
    Print("\n{} ({})\n", format.Name, format.Id);
    PrintWrapped("First bytes", MarksOf(format), width);
    PrintWrapped("Endings", format.Extensions, width);
    PrintWrapped("Sidecars", format.Sidecars, width);
    PrintWrapped("Versions", format.Versions, width);
    PrintWrapped("Limits", format.Limits, width);
    PrintWrapped("Published", format.Published, width);
    PrintWrapped("As written", format.Written, width);
  }
}

void PrintJson() {
  auto formats = ordered_json::array();
  for (const FormatDescription& format : KnownFormats()) {
    auto marks = ordered_json::array();
    for (const std::string_view mark : format.FirstBytes) marks.push_back(MarkText(mark));
    formats.push_back({{"Type", format.Number},
                       {"Id", format.Id},
                       {"Name", format.Name},
                       {"FirstBytes", std::move(marks)},
                       {"Endings", format.Extensions},
                       {"Sidecars", format.Sidecars},
                       {"Versions", format.Versions},
                       {"Limits", format.Limits},
                       {"Published", format.Published},
                       {"Written", format.Written}});
  }
  auto written = ordered_json::array();
  for (const ExportFormat& format : ExportFormats())
    written.push_back({{"Id", format.Id},
                       {"Name", format.Name},
                       {"Endings", format.Endings},
                       {"Contents", ContentsText(format.Contents)},
                       {"InThisBuild", format.Write != nullptr}});
  const ordered_json all = {{"Read", std::move(formats)}, {"Written", std::move(written)}};
  Print("{}\n", all.dump(2));
}

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

}  // namespace

Command AddFormats(CLI::App& app) {
  struct Options {
    bool Json = false;
    bool Long = false;
  };
  const auto options = std::make_shared<Options>();
  CLI::App* const formats = app.add_subcommand("formats", "list what is read and written");
  auto* const json = formats->add_flag("--json", options->Json, "all of it, for programs");
  formats
      ->add_flag("--long", options->Long,
                 "versions, limits, sidecars, and what each of the two readings makes of it, too")
      ->excludes(json);
  return {formats, [options] {
            if (options->Json) {
              PrintJson();
            } else {
              PrintTable();
              if (options->Long) PrintDetails();
              PrintWritten();
            }
            Flush();
            return 0;
          }};
}

}  // namespace lmi
