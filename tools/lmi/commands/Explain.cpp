// "lmi explain": how the counts of a channel become values: by which fields of the header, by which
// formula, and for one sample in numbers.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>

#include "Commands.h"
#include "output/Digits.h"
#include "output/Output.h"
#include "output/ProgressLine.h"
#include "output/Terminal.h"
#include "output/Text.h"
#include "recordings/OpenSettings.h"
#include "recordings/Selection.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr std::string_view FormulaName = "formula";

struct ExplainOptions {
  OpenSettings Open;
  std::string File;
  SelectionOptions Selection;
  std::int64_t Sample = 1;  // of the block, from 1
  Appearance Look;
};

// A channel of a block in one reading.
struct Subject {
  const Recording* Source;
  std::size_t Block;
  std::size_t Channel;
  std::int64_t Frame;  // from 0

  const lmimport::Block& In() const { return Source->Blocks()[Block]; }
  const lmimport::Channel& What() const { return In().Channels[Channel]; }
};

std::vector<int> NumbersOf(const Block& block) {
  std::vector<int> numbers;
  for (const Channel& channel : block.Channels) numbers.push_back(channel.Number);
  return numbers;
}

// What the channel is read by. Of blocks with the same channels, the fields tell of the first.
std::vector<HeaderField> FieldsOf(const Subject& subject) {
  const std::vector<Block>& blocks = subject.Source->Blocks();
  const std::vector<int> numbers = NumbersOf(subject.In());
  std::size_t told = subject.Block;
  const auto tells = [&](std::size_t block) {
    return std::ranges::count(subject.Source->Fields(), static_cast<int>(block),
                              &HeaderField::Block) > 0;
  };
  for (std::size_t b = 0; !tells(told) && b < subject.Block; ++b) {
    if (tells(b) && NumbersOf(blocks[b]) == numbers) told = b;
  }
  std::vector<HeaderField> fields;
  for (const HeaderField& field : subject.Source->Fields()) {
    const bool ofBlock = field.Block < 0 || field.Block == static_cast<int>(told);
    const bool ofChannel = field.Channel < 0 || field.Channel == static_cast<int>(subject.Channel);
    if (ofBlock && ofChannel) fields.push_back(field);
  }
  return fields;
}

std::int64_t FramesOf(const Recording& recording, int number, std::size_t blocks) {
  std::int64_t frames = 0;
  for (std::size_t b = 0; b < blocks; ++b) {
    const Block& block = recording.Blocks()[b];
    if (std::ranges::count(block.Channels, number, &Channel::Number) > 0)
      frames += block.FrameCount;
  }
  return frames;
}

// The same sample in another reading: as far into all that there is of the channel.
std::optional<Subject> SameIn(const Recording& other, const Subject& subject) {
  const int number = subject.What().Number;
  const std::int64_t all = FramesOf(*subject.Source, number, subject.Source->Blocks().size());
  const std::int64_t others = FramesOf(other, number, other.Blocks().size());
  if (all == 0 || others == 0) return {};
  std::int64_t frame = FramesOf(*subject.Source, number, subject.Block) + subject.Frame;
  if (all != others)
    frame = static_cast<std::int64_t>(static_cast<long double>(frame) * others / all);
  for (std::size_t b = 0; b < other.Blocks().size(); ++b) {
    const Block& block = other.Blocks()[b];
    const auto channel = std::ranges::find(block.Channels, number, &Channel::Number);
    if (channel == block.Channels.end()) continue;
    if (frame < block.FrameCount)
      return Subject{&other, b, static_cast<std::size_t>(channel - block.Channels.begin()), frame};
    frame -= block.FrameCount;
  }
  return {};
}

// "count -32760 * 0.00196 + 63.9 = -0.424 %", or the value alone where the file has values.
std::string ResultOf(const Subject& subject) {
  std::int32_t count = 0;
  double value = NAN;
  const bool isThere =
      subject.Source->Read(subject.Block, subject.Channel, subject.Frame, std::span(&value, 1)) > 0;
  if (!isThere) return "there is no such sample";
  const Channel& channel = subject.What();
  const std::string unit = channel.Unit.empty() ? "" : " " + OneLine(channel.Unit);
  if (subject.In().RealSamples) return fmt::format("stored as {}{}", value, unit);
  subject.Source->Read(subject.Block, subject.Channel, subject.Frame, std::span(&count, 1));
  return fmt::format("count {} * {:.10g} {} {:.10g} = {}{}", count, channel.Factor,
                     channel.Offset < 0 ? "-" : "+", std::abs(channel.Offset),
                     Digits::Of(subject.In(), channel).Text(value), unit);
}

// A field as one reading or both use it.
struct FieldRow {
  HeaderField Field;
  std::string Values[2];
};

// The fields of both readings; one that both have is one row.
std::vector<FieldRow> RowsOf(const std::vector<HeaderField>& first,
                             const std::vector<HeaderField>& second) {
  std::vector<FieldRow> rows;
  const std::vector<HeaderField>* const readings[] = {&first, &second};
  for (std::size_t r = 0; r < 2; ++r) {
    for (const HeaderField& field : *readings[r]) {
      if (field.Name == FormulaName) continue;
      const auto same = std::ranges::find_if(rows, [&](const FieldRow& row) {
        return row.Field.Name == field.Name && row.Field.Position == field.Position &&
               row.Field.Meaning == field.Meaning && row.Values[r].empty();
      });
      FieldRow& row = same == rows.end() ? rows.emplace_back(FieldRow{field, {}}) : *same;
      row.Values[r] = OneLine(field.Value);
    }
  }
  return rows;
}

void PrintFields(const std::vector<HeaderField>& first, const std::vector<HeaderField>* second) {
  std::vector<Table::Column> columns = {
      {"At byte", true}, {"Field", false, 2}, {second == nullptr ? "Value" : "Published"}};
  if (second != nullptr) columns.push_back({"As written"});
  columns.push_back({"What it gives", false, 1});
  Table table(std::move(columns));
  for (const FieldRow& row :
       RowsOf(first, second == nullptr ? std::vector<HeaderField>() : *second)) {
    std::vector<std::string> cells = {
        row.Field.Position < 0 ? "-" : std::to_string(row.Field.Position), row.Field.Name,
        row.Values[0].empty() ? "-" : row.Values[0]};
    if (second != nullptr) cells.push_back(row.Values[1].empty() ? "-" : row.Values[1]);
    cells.push_back(row.Field.Meaning);
    table.Add(std::move(cells));
  }
  table.Write(2, TerminalWidth());
}

std::string FormulaIn(const std::vector<HeaderField>& fields) {
  const auto found = std::ranges::find(fields, FormulaName, &HeaderField::Name);
  return found == fields.end() ? "-" : found->Value;
}

bool AreSame(const Subject& one, const Subject& other) {
  return one.What().Factor == other.What().Factor && one.What().Offset == other.What().Offset &&
         one.What().Unit == other.What().Unit && one.In().SamplingRate == other.In().SamplingRate &&
         one.Source->Blocks().size() == other.Source->Blocks().size() &&
         ResultOf(one) == ResultOf(other);
}

void Explain(const Subject& subject, const Opened& other, const ExplainOptions& options) {
  const Channel& channel = subject.What();
  if (subject.Frame >= subject.In().FrameCount)
    throw std::invalid_argument(fmt::format("there is no sample {}; block {} has {}",
                                            subject.Frame + 1, subject.Block + 1,
                                            subject.In().FrameCount));
  const std::string title =
      channel.Title.empty() ? "" : fmt::format(" \"{}\"", OneLine(channel.Title));
  Print("{}\n", Colored(fmt::format("{}, block {}, channel {}{}, sample {}",
                                    OneLine(FileTitle(*subject.Source)), subject.Block + 1,
                                    channel.Number, title, subject.Frame + 1),
                        Color::Bold, options.Look));
  std::optional<Subject> second;
  if (other) second = SameIn(*other.Recording, subject);
  if (second && AreSame(subject, *second)) second.reset();
  const std::vector<HeaderField> fields = FieldsOf(subject);
  std::vector<HeaderField> others;
  if (second) others = FieldsOf(*second);
  PrintFields(fields, second ? &others : nullptr);
  const auto print = [](std::string_view label, const std::string& text) {
    Print("  {:<24}{}\n", label, text);
  };
  if (!second) {
    print("Formula", FormulaIn(fields));
    print("Value", ResultOf(subject));
    print("Rate", fmt::format("{} Hz", subject.In().SamplingRate));
    if (other) Print("  LMImport shows the same.\n");
    return;
  }
  print("Formula, published", FormulaIn(fields));
  print("Formula, as written", FormulaIn(others));
  print("Value, published", ResultOf(subject));
  print("Value, as written", fmt::format("{} (block {}, sample {})", ResultOf(*second),
                                         second->Block + 1, second->Frame + 1));
  print("Rate, published", fmt::format("{} Hz", subject.In().SamplingRate));
  print("Rate, as written", fmt::format("{} Hz", second->In().SamplingRate));
}

void ExplainAll(const Recording& recording, const Opened& other, const ExplainOptions& options) {
  SelectionOptions selection = options.Selection;
  const std::vector<Part> parts = Select(recording, selection);
  bool isFirst = true;
  std::vector<std::pair<int, std::string>> done;
  std::size_t left = 0;
  for (const Part& part : parts) {
    for (const std::size_t c : part.Channels) {
      // A channel that several blocks have is explained once, and without a choice the first.
      const Channel& channel = recording.Blocks()[part.Block].Channels[c];
      const std::pair key(channel.Number,
                          channel.Title + "\n" + recording.Blocks()[part.Block].Title);
      const bool isChosen = !selection.Channels.empty() || !selection.Blocks.empty();
      if (std::ranges::count(done, key) > 0) continue;
      done.push_back(key);
      if (!isFirst && !isChosen) {
        ++left;
        continue;
      }
      if (!isFirst) Print("\n");
      isFirst = false;
      Explain({&recording, part.Block, c, options.Sample - 1}, other, options);
    }
  }
  if (left > 0 && !options.Look.Quiet)
    Say("{} more; --channel names one, --channel '*' all\n", Numbered(left, "channel"));
}

int Explain(const ExplainOptions& options) {
  ProgressLine line(OneLine(options.File), options.Look.Quiet);
  OpenSettings settings = options.Open;
  settings.KeepFields = true;
  Opened opened = OpenOrExplain(settings, {options.File}, line.Handler());
  Opened other;
  if (opened && !settings.AsWritten) {
    settings.AsWritten = true;
    other = OpenOrExplain(settings, {options.File}, line.Handler());
    if (!other && !options.Look.Quiet)
      Say("LMImport refuses this file: {}\n", OneLine(WithoutName(other.Failure, options.File)));
  }
  if (opened)
    opened.Try([&](const Recording& recording) { ExplainAll(recording, other, options); });
  Flush();
  if (opened.Failure.empty()) return 0;
  PrintFailure(options.File, opened.Failure);
  return 1;
}

}  // namespace

Command AddExplain(CLI::App& app) {
  const auto options = std::make_shared<ExplainOptions>();
  CLI::App* const explain =
      app.add_subcommand("explain", "show how counts become values: fields, formula, a sample");
  explain->add_option("FILE", options->File, "recording")->required();
  AddChannelOption(*explain, options->Selection.Channels);
  explain
      ->add_option("-b,--block", options->Selection.Blocks,
                   "block, from 1; else the first that has the channel")
      ->check(CLI::Range(std::int64_t{1}, INT64_MAX))
      ->allow_extra_args(false)
      ->option_text("N");
  explain->add_option("--sample", options->Sample, "of the block, from 1")
      ->check(CLI::Range(std::int64_t{1}, INT64_MAX))
      ->option_text("N");
  AddAppearance(*explain, options->Look);
  AddOpenSettings(*explain, options->Open);
  explain->footer(
      "Examples:\n"
      "  lmi explain trial.abf --channel Vm\n"
      "  lmi explain night.edf --channel 'EEG*' --sample 1000");
  return {explain, [options] { return Explain(*options); }};
}

}  // namespace lmi
