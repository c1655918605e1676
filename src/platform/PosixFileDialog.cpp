// The dialogs are programs: the library links no toolkit. They are started directly, without a
// shell, so no name of a file or folder is ever taken for a command.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <sstream>

#include "platform/FileDialog.h"

extern char** environ;

namespace lmimport::platform {
namespace {

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

bool HasScreen() {
  return !Variable("DISPLAY").empty() || !Variable("WAYLAND_DISPLAY").empty();
}

std::string FindProgram(const char* name) {
  std::istringstream folders(Variable("PATH"));
  for (std::string folder; std::getline(folders, folder, ':');) {
    std::string program = folder + "/" + name;
    if (!folder.empty() && ::access(program.c_str(), X_OK) == 0) return program;
  }
  return {};
}

using Arguments = std::vector<std::string>;

Arguments ZenityArguments(const std::string& folder, const std::vector<FileFilter>& filters,
                          long ownerWindow) {
  Arguments arguments = {"zenity", "--file-selection"};
  if (!folder.empty()) arguments.push_back("--filename=" + folder + "/");
  if (ownerWindow != 0) arguments.push_back("--attach=" + std::to_string(ownerWindow));
  for (const FileFilter& filter : filters)
    arguments.push_back("--file-filter=" + filter.Title + " | " + filter.Patterns);
  return arguments;
}

Arguments KdialogArguments(const std::string& folder, const std::vector<FileFilter>& filters,
                           long ownerWindow) {
  std::string lines;
  for (const FileFilter& filter : filters)
    lines += (lines.empty() ? "" : "\n") + filter.Patterns + "|" + filter.Title;
  Arguments arguments = {"kdialog"};
  if (ownerWindow != 0)
    arguments.insert(arguments.end(), {"--attach", std::to_string(ownerWindow)});
  arguments.insert(arguments.end(), {"--getopenfilename", folder.empty() ? "." : folder, lines});
  return arguments;
}

std::string ReadToEnd(int handle) {
  std::string text;
  std::array<char, 4096> part{};
  for (;;) {
    const ssize_t n = ::read(handle, part.data(), part.size());
    if (n > 0) {
      text.append(part.data(), static_cast<std::size_t>(n));
    } else if (n == 0 || errno != EINTR) {
      return text;
    }
  }
}

// What the program writes, without the line feed at its end; empty when it can't be started or says
// no.
std::string OutputOf(const std::string& program, const Arguments& arguments) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return {};
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  std::vector<char*> pointers;
  for (const std::string& argument : arguments)
    pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);
  pid_t process = 0;
  const int error =
      ::posix_spawn(&process, program.c_str(), &actions, nullptr, pointers.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(ends[1]);
  std::string text = error == 0 ? ReadToEnd(ends[0]) : "";
  ::close(ends[0]);
  if (error != 0) return {};
  int status = 0;
  while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return {};
  if (text.ends_with('\n')) text.pop_back();
  return text;
}

}  // namespace

std::string ChooseFile(const std::string& folder, const std::vector<FileFilter>& filters,
                       long ownerWindow) {
  if (!HasScreen()) return {};
  if (const std::string zenity = FindProgram("zenity"); !zenity.empty())
    return OutputOf(zenity, ZenityArguments(folder, filters, ownerWindow));
  if (const std::string kdialog = FindProgram("kdialog"); !kdialog.empty())
    return OutputOf(kdialog, KdialogArguments(folder, filters, ownerWindow));
  return {};
}

long ForegroundWindow() {
  return std::strtol(Variable("WINDOWID").c_str(), nullptr, 10);
}

}  // namespace lmimport::platform
