// The desktop's own dialog for files.
#pragma once

#include <string>
#include <vector>

namespace lmimport::platform {

struct FileFilter {
  std::string Title;
  std::string Patterns;  // separated by blanks
};

/// Shows the dialog, begun in the folder (empty: wherever it likes), and waits for the user. Gives
/// the name of the file; empty when the user gave up, or there is no screen or no dialog.
std::string ChooseFile(const std::string& folder, const std::vector<FileFilter>& filters,
                       long ownerWindow);

/// The window of the program that the user works with, as far as the system tells; else 0.
long ForegroundWindow();

}  // namespace lmimport::platform
