#include "Files.h"

#include <algorithm>
#include <filesystem>

namespace lmi {
namespace {

namespace fs = std::filesystem;

void AddFolder(const fs::path& folder, std::vector<NamedFile>& files) {
  std::vector<fs::directory_entry> entries;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error))
    entries.push_back(*entry);
  if (error) files.push_back({folder.string(), true, error.message()});
  std::ranges::sort(entries);
  for (const fs::directory_entry& entry : entries) {
    // Links to folders can lead back.
    const fs::file_status status = entry.symlink_status(error);
    if (fs::is_directory(status))
      AddFolder(entry.path(), files);
    else if (entry.is_regular_file(error))
      files.push_back({entry.path().string(), true, {}});
  }
}

}  // namespace

std::vector<NamedFile> FindFiles(const std::vector<std::string>& names) {
  std::vector<NamedFile> files;
  for (const std::string& name : names) {
    std::error_code error;
    if (fs::is_directory(name, error))
      AddFolder(name, files);
    else
      files.push_back({name, false, {}});
  }
  return files;
}

}  // namespace lmi
