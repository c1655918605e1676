#include "index/RecordingRow.h"

#include <algorithm>
#include <cmath>
#include <set>

#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;

template <class T>
void AddOnce(std::vector<T>& list, const T& value) {
  if (std::ranges::count(list, value) == 0) list.push_back(value);
}

void Describe(RecordingRow& row, const Recording& recording) {
  row.Format = recording.Format();
  row.FormatName = recording.FormatName();
  row.Sidecar = recording.Sidecar();
  row.Notes = recording.Notes();
  row.Start = DateText(recording.Start().value_or(0), 'T');
  row.Blocks = std::ssize(recording.Blocks());
  std::set<std::pair<int, std::string>> channels;
  std::set<std::string> titles;
  std::set<double> rates;
  double end = NAN;
  for (const Block& block : recording.Blocks()) {
    if (block.SamplingRate > 0)
      end = std::fmax(end,
                      block.StartTime + static_cast<double>(block.FrameCount) / block.SamplingRate);
    if (rates.insert(block.SamplingRate).second) row.Rates.push_back(block.SamplingRate);
    const auto addTitle = [&](const std::string& title) {
      if (!title.empty() && titles.insert(title).second) row.Titles.push_back(title);
    };
    for (const Channel& channel : block.Channels) {
      channels.emplace(channel.Number, channel.Title);
      // Channels of a variable have its name alone.
      addTitle(channel.Title.empty() && recording.Blocks().size() > 1 ? block.Title
                                                                      : channel.Title);
    }
  }
  row.Seconds = end;
  row.Channels = std::ssize(channels);
}

RowValue TextOrNone(const std::string& text) {
  return text.empty() ? RowValue() : RowValue(text);
}

RowValue NumberIfOpen(const RecordingRow& row, std::int64_t number) {
  return row.Format.empty() ? RowValue() : RowValue(static_cast<double>(number));
}

constexpr RowField Fields[] = {
    {"path", [](const RecordingRow& row) { return RowValue(row.Path); }},
    {"size", [](const RecordingRow& row) { return RowValue(static_cast<double>(row.Size)); }, true},
    {"format", [](const RecordingRow& row) { return TextOrNone(row.Format); }},
    {"format_name", [](const RecordingRow& row) { return TextOrNone(row.FormatName); }},
    {"sidecar", [](const RecordingRow& row) { return TextOrNone(row.Sidecar); }},
    {"start", [](const RecordingRow& row) { return TextOrNone(row.Start); }},
    {"seconds",
     [](const RecordingRow& row) {
       const bool known = !row.Format.empty() && std::isfinite(row.Seconds);
       return known ? RowValue(row.Seconds) : RowValue();
     },
     true},
    {"rates",
     [](const RecordingRow& row) { return row.Format.empty() ? RowValue() : RowValue(row.Rates); },
     true},
    {"blocks", [](const RecordingRow& row) { return NumberIfOpen(row, row.Blocks); }, true},
    {"channels", [](const RecordingRow& row) { return NumberIfOpen(row, row.Channels); }, true},
    {"titles",
     [](const RecordingRow& row) {
       return row.Format.empty() ? RowValue() : RowValue(row.Titles);
     }},
    {"comments", [](const RecordingRow& row) { return NumberIfOpen(row, row.Comments); }, true},
    {"warnings",
     [](const RecordingRow& row) { return RowValue(static_cast<double>(row.Warnings)); }, true},
    {"findings", [](const RecordingRow& row) { return RowValue(row.Findings); }},
    {"failure", [](const RecordingRow& row) { return TextOrNone(row.Failure); }},
    {"notes", [](const RecordingRow& row) { return TextOrNone(row.Notes); }},
};

}  // namespace

RecordingRow RecordingRow::Of(std::string path, Opened& opened) {
  RecordingRow row;
  if (opened) {
    opened.Try([&](const Recording& recording) {
      row.Comments = std::ssize(recording.Comments());
      Describe(row, recording);
    });
  }
  row.Failure = WithoutName(opened.Failure, path);
  for (const Finding& finding : opened.Findings) {
    // Says more than that the file is not of its format.
    if (!opened && finding.Code == "format-not-read") row.Failure = finding.Text;
    row.Warnings += finding.Warning ? 1 : 0;
    AddOnce(row.Findings, std::string(finding.Code));
  }
  row.Path = std::move(path);
  return row;
}

std::span<const RowField> RowFields() {
  return Fields;
}

const RowField* FindRowField(std::string_view name) {
  const auto* const found = std::ranges::find(Fields, name, &RowField::Name);
  return found != std::end(Fields) ? found : nullptr;
}

}  // namespace lmi
