// What one line of a list says of a recording.
#pragma once

#include <lmimport/Recording.h>

#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "recordings/OpenSettings.h"

namespace lmi {

struct RecordingRow {
  std::string Path;
  std::int64_t Size = 0;        // bytes
  std::int64_t ModifiedNs = 0;  // since 1970, UTC
  std::string Format;           // id; empty where the file can't be opened, as what follows
  std::string FormatName;
  std::string Sidecar;
  std::string Start;          // "2019-11-05T22:15:30.000"; empty: the file states none
  double Seconds = 0;         // from the start to the end of the last block; NaN: no rate
  std::vector<double> Rates;  // each once
  std::int64_t Blocks = 0;
  std::int64_t Channels = 0;        // different ones, by number and title
  std::vector<std::string> Titles;  // each once
  std::int64_t Comments = 0;
  std::int64_t Warnings = 0;
  std::vector<std::string> Findings;  // codes, each once
  std::string Failure;                // why it can't be opened
  std::string Notes;

  /// Without the size and date, which the caller knows. Reads the comments.
  static RecordingRow Of(std::string path, Opened& opened);
};

/// A value of a row: a number, a text, or a list of either; none where it isn't known.
using RowValue = std::variant<std::monostate, double, std::string, std::vector<double>,
                              std::vector<std::string>>;

/// A field of a row, named as in the index.
struct RowField {
  std::string_view Name;
  RowValue (*Get)(const RecordingRow& row);
  bool IsNumber = false;  // or a list of numbers
};

std::span<const RowField> RowFields();

/// Null where there is none of that name.
const RowField* FindRowField(std::string_view name);

}  // namespace lmi
