// The files that a command line names: each by itself, or all in a folder.
#pragma once

#include <string>
#include <vector>

namespace lmi {

struct NamedFile {
  std::string Name;
  bool InFolder = false;  // found in a folder, where much lies beside recordings
  std::string Failure;    // of a folder that can't be read
};

/// In the order of the names, a folder's by theirs, those of its own folders among them. A folder
/// that can't be read is in the list itself, with the reason.
std::vector<NamedFile> FindFiles(const std::vector<std::string>& names);

}  // namespace lmi
