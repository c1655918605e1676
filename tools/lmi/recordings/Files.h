// The files that a command line names: each by itself, all in a folder, or a list of them.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace lmi {

struct NamedFile {
  std::string Name;
  bool InFolder = false;     // found in a folder, where much lies beside recordings
  std::string Failure = {};  // of a folder that can't be read
};

struct FileArguments {
  std::vector<std::string> Names;
  std::string ListFile;  // of names, each ended by a zero byte; "-": standard input; empty: none

  /// There may be more than one.
  bool NameSeveral() const;
};

/// Adds the argument and the option that name the files. `files` must outlive the command line.
void AddFileArguments(CLI::App& command, FileArguments& files);

/// In the order of the names, a folder's by theirs, those of its own folders among them. A folder
/// that can't be read is in the list itself, with the reason. Throws std::runtime_error where the
/// list of names can't be read.
std::vector<NamedFile> FindFiles(const FileArguments& arguments);

}  // namespace lmi
