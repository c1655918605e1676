#include "recordings/Files.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>

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
    if (!entry.is_symlink(error) && entry.is_directory(error))
      AddFolder(entry.path(), files);
    else if (entry.is_regular_file(error))
      files.push_back({entry.path().string(), true});
  }
}

void AddName(const std::string& name, std::vector<NamedFile>& files) {
  std::error_code error;
  if (fs::is_directory(name, error))
    AddFolder(name, files);
  else
    files.push_back({name, false});
}

void AddList(std::istream& list, std::vector<NamedFile>& files) {
  for (std::string name; std::getline(list, name, '\0');) {
    if (!name.empty()) AddName(name, files);
  }
}

}  // namespace

bool FileArguments::NameSeveral() const {
  std::error_code error;
  return Names.size() != 1 || !ListFile.empty() || fs::is_directory(Names.front(), error);
}

void AddFileArguments(CLI::App& command, FileArguments& files) {
  command.add_option("FILE", files.Names, "recordings, or folders of them");
  command
      .add_option("--files0-from", files.ListFile,
                  "file with the names of more, each ended by a zero byte as `find -print0` does; "
                  "- for standard input")
      ->option_text("LIST");
  command.callback([&files] {
    if (files.Names.empty() && files.ListFile.empty()) throw CLI::RequiredError("FILE");
  });
}

std::vector<NamedFile> FindFiles(const FileArguments& arguments) {
  std::vector<NamedFile> files;
  for (const std::string& name : arguments.Names) AddName(name, files);
  if (arguments.ListFile == "-") {
    AddList(std::cin, files);
  } else if (!arguments.ListFile.empty()) {
    std::ifstream list(arguments.ListFile, std::ios::binary);
    if (!list || fs::is_directory(arguments.ListFile))
      throw std::runtime_error("can't read the list of names \"" + arguments.ListFile + "\"");
    AddList(list, files);
  }
  return files;
}

}  // namespace lmi
