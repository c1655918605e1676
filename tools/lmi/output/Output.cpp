#include "output/Output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace lmi {
namespace {

// What is written to; a command writes to one place at a time.
struct Target {
  std::FILE* File = stdout;
  std::string Name = "standard output";
};

Target& Current() {
  static Target target;
  return target;
}

void Check(bool good) {
  if (good) return;
  if (errno == EPIPE) throw OutputClosed();
  throw OutputFailed{Current().Name, std::strerror(errno)};
}

}  // namespace

NewFile::NewFile(std::filesystem::path place) : place_(std::move(place)) {
  std::error_code error;
  // A link is kept, and what it leads to replaced.
  if (std::filesystem::is_symlink(place_, error)) {
    const auto target = std::filesystem::weakly_canonical(place_, error);
    if (!error) place_ = target;
  }
  path_ = place_.parent_path() / fmt::format(".{}.{}.part", place_.filename().string(), ::getpid());
  // Here already, so that a folder that takes none is told before any work.
  const int file = ::open(path_.c_str(), O_CREAT | O_WRONLY | O_TRUNC | O_CLOEXEC, 0666);
  if (file < 0 || std::filesystem::is_directory(place_, error)) {
    const int reason = file < 0 ? errno : EISDIR;
    if (file >= 0) std::filesystem::remove(path_, error);
    throw OutputFailed{place_.string(), std::strerror(reason)};
  }
  ::close(file);
}

NewFile::~NewFile() {
  std::error_code error;
  if (!isWhole_) std::filesystem::remove(path_, error);
}

void NewFile::Commit() {
  std::error_code error;
  std::filesystem::rename(path_, place_, error);
  if (error) throw OutputFailed{place_.string(), error.message()};
  isWhole_ = true;
}

OutputTo::OutputTo(const NewFile& file)
    : name_(file.Place().string()), file_(std::fopen(file.Path().c_str(), "wb")) {
  if (file_ == nullptr) throw OutputFailed{name_, std::strerror(errno)};
  Current() = {file_, name_};
}

OutputTo::~OutputTo() {
  std::fclose(file_);
  Current() = {};
}

void Write(const void* data, std::size_t size) {
  Check(size == 0 || std::fwrite(data, 1, size, Current().File) == size);
}

void Flush() {
  Check(std::fflush(Current().File) == 0);
}

}  // namespace lmi
