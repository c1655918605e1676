// The commands of lmi. Each gives the exit status: 0, or 1 when a file failed, where nothing else
// is said.
#pragma once

#include <lmimport/Recording.h>

#include <string>
#include <vector>

#include "Files.h"
#include "ProgressLine.h"

namespace lmi {

/// How files are found and opened.
struct OpenSettings {
  std::string DefaultPath;  // folder in which files are looked for too; empty: none
  int Channels = 1;         // of raw data that nothing describes
  double Rate = 100;
  int CodePage = 0;
  bool AsWritten = false;  // as LMImport shows recordings to its hosts
};

/// A recording, or why there is none, and the findings either way.
struct Opened {
  std::optional<lmimport::Recording> Recording;
  std::string Failure;
  std::vector<lmimport::Finding> Findings;

  std::vector<lmimport::Finding> FurtherFindings() const;  // those that Failure doesn't say
  explicit operator bool() const { return Recording.has_value(); }
};

/// Long work is shown on the line, as long as that lives. In a folder, raw data needs a file that
/// describes it.
Opened OpenOrExplain(const OpenSettings& settings, const NamedFile& file, ProgressLine& line);

/// Files of a folder that are no recordings: descriptions of others, flat data files, notes.
bool IsPassedOver(const NamedFile& file, const Opened& opened);

struct InfoOptions {
  OpenSettings Open;
  std::vector<std::string> Files;
  bool Json = false;
};

int Info(const InfoOptions& options);

/// The findings of each file, and why it can't be opened, one line each. 3 when there is a warning
/// and no file failed.
int Check(const InfoOptions& options);

/// The table of formats.
int Formats();

struct ReadOptions {
  OpenSettings Open;
  std::string File;
  std::int64_t Block = 0;             // from 1; 0: none was named, which is the first
  std::vector<std::string> Channels;  // numbers from 1 or titles; none: all
  std::int64_t Start = 1;
  std::int64_t Count = INT64_MAX;  // the rest of the block
  std::string As = "double";       // or "integer", "single"
  std::string Format = "csv";      // or "raw"
  bool Times = false;
};

int Read(const ReadOptions& options);

}  // namespace lmi
