// How the recordings that a command line names are opened, and what comes of it.
#pragma once

#include <lmimport/Recording.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "recordings/Files.h"

namespace CLI {
class App;
}

namespace lmi {

struct OpenSettings {
  std::string DefaultPath;  // folder in which files are looked for too; empty: none
  int Channels = 1;         // of raw data that nothing describes
  double Rate = 100;
  int CodePage = 0;
  bool AsWritten = false;  // as LMImport shows recordings to its hosts
  bool KeepFields = false;
};

/// Adds the options that say how files are opened. `settings` must outlive the command line.
void AddOpenSettings(CLI::App& command, OpenSettings& settings);

/// A recording, or why there is none, and the findings either way.
struct Opened {
  std::optional<lmimport::Recording> Recording;
  std::string Failure;
  std::vector<lmimport::Finding> Findings;
  bool BySystem = false;  // the system didn't give the file: it may another time

  std::vector<lmimport::Finding> FurtherFindings() const;  // those that Failure doesn't say
  explicit operator bool() const { return Recording.has_value(); }
  const lmimport::Recording* Get() const { return Recording ? &*Recording : nullptr; }

  /// Does work on the recording; a fault of it is its failure. The findings are all that are known
  /// then.
  template <class Work>
  void Try(Work work) {
    try {
      work(*Recording);
    } catch (const std::exception& fault) {
      Failure = fault.what();
    }
    Findings = Recording->Findings();
  }
};

/// In a folder, raw data needs a file that describes it. `progress` is called while long work is
/// done, and gives it up by false.
Opened OpenOrExplain(const OpenSettings& settings, const NamedFile& file,
                     const std::function<bool(double Fraction)>& progress);

/// Files of a folder that are no recordings: descriptions of others, flat data files, notes.
bool IsPassedOver(const NamedFile& file, const Opened& opened);

/// Throws std::invalid_argument where writing to the file would replace the recording, or what
/// described its samples.
void CheckOutput(const lmimport::Recording& recording, const std::filesystem::path& output);

/// The file that a name means: itself, or the one in the folder that is looked in too.
std::string ResolveName(const OpenSettings& settings, const std::string& name);

/// One line on standard error for what failed, and one for each finding that says more.
void PrintFailureOf(const NamedFile& file, const Opened& opened);

/// The warnings of a recording whose samples are about to be used, on standard error.
void PrintWarnings(const std::string& name, const Opened& opened);

}  // namespace lmi
