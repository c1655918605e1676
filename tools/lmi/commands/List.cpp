// "lmi list": one line a recording, of whole folders, and the index that keeps what was seen.
#include <fnmatch.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>

#include "Commands.h"
#include "index/Catalogue.h"
#include "output/Interrupt.h"
#include "output/Json.h"
#include "output/Output.h"
#include "output/Terminal.h"
#include "output/Text.h"
#include "recordings/Tally.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr double Infinity = std::numeric_limits<double>::infinity();
using nlohmann::ordered_json;

struct ListOptions {
  OpenSettings Open;
  FileArguments Files;
  Appearance Look;
  bool Csv = false;
  bool JsonLines = false;
  std::string Sort;  // name of a field; empty: the order of the files
  bool Reverse = false;
  std::vector<std::string> Only;  // KEY=VALUE
  std::string IndexFile;          // empty: none
};

std::string NumberText(double number) {
  return fmt::format("{}", number);
}

// The texts of a value: of a list, each.
std::vector<std::string> TextsOf(const RowValue& value) {
  std::vector<std::string> texts;
  if (const auto* const number = std::get_if<double>(&value)) texts.push_back(NumberText(*number));
  if (const auto* const text = std::get_if<std::string>(&value)) texts.push_back(*text);
  if (const auto* const numbers = std::get_if<std::vector<double>>(&value))
    std::ranges::transform(*numbers, std::back_inserter(texts), NumberText);
  if (const auto* const list = std::get_if<std::vector<std::string>>(&value)) texts = *list;
  return texts;
}

std::string Joined(const RowValue& value, std::string_view between) {
  std::string joined;
  for (const std::string& text : TextsOf(value)) {
    if (!joined.empty()) joined += between;
    joined += text;
  }
  return joined;
}

// "60..3600", of which one end may be left out.
std::optional<std::pair<double, double>> RangeIn(std::string_view text) {
  const std::size_t dots = text.find("..");
  if (dots == std::string_view::npos) return {};
  const auto end = [](std::string_view part, double none) {
    double number = none;
    const auto parsed = std::from_chars(part.data(), part.data() + part.size(), number);
    const bool good =
        part.empty() || (parsed.ec == std::errc() && parsed.ptr == part.data() + part.size());
    return good ? number : NAN;
  };
  const std::pair range(end(text.substr(0, dots), -Infinity), end(text.substr(dots + 2), Infinity));
  return std::isnan(range.first) || std::isnan(range.second) ? std::nullopt : std::optional(range);
}

// What --only asks of a row.
class Condition {
 public:
  explicit Condition(const std::string& text) {
    const std::size_t equals = text.find('=');
    field_ = FindRowField(text.substr(0, equals));
    pattern_ = text.substr(equals + 1);
    range_ = RangeIn(pattern_);
  }

  bool Holds(const RecordingRow& row) const {
    const std::vector<std::string> texts = TextsOf(field_->Get(row));
    if (texts.empty()) return pattern_.empty();
    return std::ranges::any_of(texts, [this](const std::string& text) { return Matches(text); });
  }

 private:
  bool Matches(const std::string& text) const {
    double number = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
    if (range_ && parsed.ec == std::errc() && parsed.ptr == text.data() + text.size())
      return number >= range_->first && number <= range_->second;
    return ::fnmatch(pattern_.c_str(), text.c_str(), FNM_CASEFOLD) == 0;
  }

  const RowField* field_;
  std::string pattern_;
  std::optional<std::pair<double, double>> range_;
};

std::string CheckKey(const std::string& text) {
  if (FindRowField(text) != nullptr) return {};
  std::string names;
  for (const RowField& field : RowFields())
    names += fmt::format("{}{}", names.empty() ? "" : ", ", field.Name);
  return fmt::format("there is no key \"{}\"; there are {}", text, names);
}

std::string CheckCondition(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos) return "\"" + text + "\" is not KEY=VALUE";
  const std::string key = text.substr(0, equals);
  const std::string value = text.substr(equals + 1);
  const RowField* const field = FindRowField(key);
  if (field == nullptr) return CheckKey(key);
  double number = 0;
  const auto parsed = std::from_chars(value.data(), value.data() + value.size(), number);
  const bool isNumber = parsed.ec == std::errc() && parsed.ptr == value.data() + value.size();
  if (field->IsNumber && !value.empty() && !isNumber && !RangeIn(value))
    return fmt::format("{} is a number: {}=12 or {}=10..20, not \"{}\"", key, key, key, value);
  return {};
}

bool IsBefore(const RowValue& one, const RowValue& other) {
  // What isn't known comes last.
  const std::vector<std::string> texts = TextsOf(one);
  const std::vector<std::string> others = TextsOf(other);
  if (texts.empty() || others.empty()) return !texts.empty() && others.empty();
  const auto numberOf = [](const RowValue& value) {
    if (const auto* const number = std::get_if<double>(&value)) return *number;
    if (const auto* const list = std::get_if<std::vector<double>>(&value)) return list->front();
    return 0.0;
  };
  // NaN, which is in no order, comes last among numbers.
  const auto inOrder = [](double number) {
    if (std::isnan(number)) return Infinity;
    return number;
  };
  const double number = inOrder(numberOf(one));
  const double otherNumber = inOrder(numberOf(other));
  return number != otherNumber ? number < otherNumber : texts < others;
}

void Sort(std::vector<RecordingRow>& rows, const ListOptions& options) {
  if (options.Sort.empty()) {
    if (options.Reverse) std::ranges::reverse(rows);
    return;
  }
  const RowField* const field = FindRowField(options.Sort);
  std::ranges::stable_sort(rows, [&](const RecordingRow& a, const RecordingRow& b) {
    const RowValue one = field->Get(a);
    const RowValue other = field->Get(b);
    const bool bothKnown = !TextsOf(one).empty() && !TextsOf(other).empty();
    return options.Reverse && bothKnown ? IsBefore(other, one) : IsBefore(one, other);
  });
}

void PrintCsvHead() {
  std::string line;
  for (const RowField& field : RowFields())
    line += fmt::format("{}{}", line.empty() ? "" : ",", field.Name);
  Print("{}\n", line);
}

void PrintCsv(const RecordingRow& row) {
  std::string line;
  for (const RowField& field : RowFields())
    line += fmt::format("{}{}", &field == RowFields().data() ? "" : ",",
                        CsvField(OneLine(Joined(field.Get(row), "; "))));
  Print("{}\n", line);
}

void PrintJsonLine(const RecordingRow& row) {
  ordered_json object;
  for (const RowField& field : RowFields()) {
    const RowValue value = field.Get(row);
    ordered_json& target = object[std::string(field.Name)];
    if (const auto* const number = std::get_if<double>(&value)) {
      const bool whole = *number == std::nearbyint(*number) && std::abs(*number) < 1e15;
      target = whole ? ordered_json(static_cast<std::int64_t>(*number)) : JsonNumber(*number);
    } else if (const auto* const numbers = std::get_if<std::vector<double>>(&value)) {
      target = ordered_json::array();
      for (const double rate : *numbers) target.push_back(JsonNumber(rate));
    } else if (const auto* const text = std::get_if<std::string>(&value)) {
      target = *text;
    } else if (const auto* const list = std::get_if<std::vector<std::string>>(&value)) {
      target = *list;
    }
  }
  Print("{}\n", JsonText(object));
}

std::vector<std::string> CellsOf(const RecordingRow& row, bool isNarrow) {
  const bool isOpen = !row.Format.empty();
  const auto count = [&](std::int64_t number) { return isOpen ? std::to_string(number) : ""; };
  std::string rates;
  for (const double rate : row.Rates)
    rates += fmt::format("{}{}", rates.empty() ? "" : ", ", static_cast<float>(rate));
  const std::size_t digits = isNarrow ? 16 : 19;  // to the minute or the second
  std::string start = row.Start.empty() ? "not stated" : row.Start.substr(0, digits);
  std::ranges::replace(start, 'T', ' ');
  const std::string findings =
      row.Failure.empty() ? Joined(row.Findings, ", ") : "failed: " + OneLine(row.Failure);
  std::vector<std::string> cells = {OneLine(row.Path),
                                    isOpen ? row.Format : "-",
                                    isOpen ? start : "",
                                    isOpen ? DurationText(row.Seconds) : "",
                                    rates,
                                    count(row.Blocks),
                                    count(row.Channels)};
  if (!isNarrow) {
    cells.push_back(count(row.Comments));
    cells.push_back(OneLine(Joined(row.Titles, ", ")));
  }
  cells.push_back(findings);
  return cells;
}

void PrintTable(const std::vector<RecordingRow>& rows, const Appearance& look) {
  if (rows.empty()) return;
  // What there is no room for, --csv has.
  constexpr std::size_t narrow = 140;
  const bool isNarrow = TerminalWidth() > 0 && TerminalWidth() < narrow;
  std::vector<Table::Column> columns = {
      {"File", false, 3, 24, true}, {"Format"},       {"Start"},          {"Length", true},
      {"Rates [Hz]", false, 2},     {"Blocks", true}, {"Channels", true}, {"Findings", false, 2}};
  if (!isNarrow) {
    columns.insert(columns.end() - 1, {"Comments", true});
    columns.insert(columns.end() - 1, {"Titles", false, 1, 16});
  }
  Table table(std::move(columns));
  for (const RecordingRow& row : rows) {
    const Color color = !row.Failure.empty() ? Color::Red
                        : row.Warnings > 0   ? Color::Yellow
                                             : Color::None;
    table.Add(CellsOf(row, isNarrow), color);
  }
  table.Write(0, TerminalWidth(), &look);
}

// All that an index has, by path; gives the number of files that are no recordings.
std::size_t TakeAll(const Index& index, const std::function<void(RecordingRow&&)>& take) {
  std::unordered_map<std::string, Index::Entry> entries = index.Load();
  std::map<std::string, RecordingRow> rows;
  for (auto& [path, entry] : entries) {
    if (entry.Row) rows.emplace(path, std::move(*entry.Row));
  }
  const std::size_t others = entries.size() - rows.size();
  for (auto& [path, row] : rows) take(std::move(row));
  return others;
}

int List(const ListOptions& options) {
  std::optional<Index> index;
  if (!options.IndexFile.empty()) index.emplace(options.IndexFile);
  std::vector<Condition> conditions;
  for (const std::string& text : options.Only) conditions.emplace_back(text);
  // Rows that needn't be sorted or lined up go out as they come.
  const bool inLines = options.Csv || options.JsonLines;
  const bool atOnce = inLines && options.Sort.empty() && !options.Reverse;
  const auto printLine = [&](const RecordingRow& row) {
    options.Csv ? PrintCsv(row) : PrintJsonLine(row);
  };
  if (options.Csv) PrintCsvHead();
  std::vector<RecordingRow> rows;
  Tally tally;
  CatalogueCounts counts;
  {
    ProgressLine progress("", options.Look.Quiet);
    const auto take = [&](RecordingRow&& row) {
      tally.Count(!row.Failure.empty(), row.Warnings > 0);
      for (const Condition& condition : conditions) {
        if (!condition.Holds(row)) return;
      }
      atOnce ? printLine(row) : rows.push_back(std::move(row));
    };
    if (options.Files.Names.empty() && options.Files.ListFile.empty())
      counts.PassedOver = TakeAll(*index, take);
    else
      counts = MakeCatalogue(FindFiles(options.Files), options.Files.Names, options.Open,
                             index ? &*index : nullptr, progress, take);
  }
  if (IsInterrupted()) return 0;
  Sort(rows, options);
  if (inLines)
    std::ranges::for_each(rows, printLine);
  else
    PrintTable(rows, options.Look);
  Flush();
  tally.PassedOver = counts.PassedOver;
  tally.Print(options.Look, index ? fmt::format("; {} opened anew", counts.Opened) : "");
  return tally.Failed > 0 ? 1 : 0;
}

}  // namespace

Command AddList(CLI::App& app) {
  const auto options = std::make_shared<ListOptions>();
  CLI::App* const list =
      app.add_subcommand("list", "one line a recording, of folders and lists of files");
  AddFileArguments(*list, options->Files);
  auto* const csv = list->add_flag("--csv", options->Csv, "as comma-separated values");
  list->add_flag("--jsonl", options->JsonLines, "as JSON, an object a line")->excludes(csv);
  list->add_option("--sort", options->Sort, "by a key, such as start, seconds, format or warnings")
      ->check(CLI::Validator(CheckKey, ""))
      ->option_text("KEY");
  list->add_flag("--reverse", options->Reverse, "the last first");
  list->add_option("--only", options->Only,
                   "recordings where this holds: a text or pattern in any case, or a range of "
                   "numbers, as format=edf, titles=EEG*, seconds=60..3600, failure=; may be given "
                   "again")
      ->check(CLI::Validator(CheckCondition, ""))
      ->allow_extra_args(false)
      ->option_text("KEY=VALUE");
  list->add_option("--index", options->IndexFile,
                   "SQLite database that keeps what was seen; only files that changed in size or "
                   "date are opened again, and without a FILE, what it has is listed")
      ->option_text("DATABASE");
  AddAppearance(*list, options->Look);
  AddOpenSettings(*list, options->Open);
  // Without a file, what the index has.
  list->callback([options] {
    if (options->Files.Names.empty() && options->Files.ListFile.empty() &&
        options->IndexFile.empty())
      throw CLI::RequiredError("FILE");
  });
  list->footer(
      "Examples:\n"
      "  lmi list recordings/\n"
      "  lmi list recordings/ --only format=edf --only 'titles=EEG*' --sort start\n"
      "  lmi list recordings/ --index lab.sqlite --csv > lab.csv\n"
      "  lmi list --index lab.sqlite --only findings=data-cut-off");
  return {list, [options] { return List(*options); }};
}

}  // namespace lmi
