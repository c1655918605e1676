#include "output/Output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

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

NewFile::NewFile(std::filesystem::path place) : place_(std::move(place)), path_(place_) {
  struct stat old {};
  const bool exists = ::stat(place_.c_str(), &old) == 0;
  if (exists && S_ISDIR(old.st_mode)) throw OutputFailed{place_.string(), std::strerror(EISDIR)};
  // A pipe or a device takes it as it comes.
  if (exists && !S_ISREG(old.st_mode)) {
    isWhole_ = true;
    return;
  }
  // A link is kept, and what it leads to replaced.
  std::error_code error;
  if (std::filesystem::is_symlink(place_, error)) {
    const auto target = std::filesystem::weakly_canonical(place_, error);
    if (!error) place_ = target;
  }
  // Here already, so that a folder that takes none is told before any work. The name is made up by
  // the system, so nobody has laid a link there.
  std::string name = (place_.parent_path() / ".lmi-XXXXXX").string();
  const int file = ::mkostemp(name.data(), O_CLOEXEC);
  if (file < 0) throw OutputFailed{place_.string(), std::strerror(errno)};
  const mode_t mask = ::umask(0);
  ::umask(mask);
  ::fchmod(file, exists ? old.st_mode & 07777 : 0666 & ~mask);
  ::close(file);
  path_ = name;
}

NewFile::~NewFile() {
  std::error_code error;
  if (!isWhole_) std::filesystem::remove(path_, error);
}

void NewFile::Commit() {
  if (path_ == place_) return;
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
  Current() = {};
  if (file_ != nullptr) std::fclose(file_);
}

void OutputTo::Close() {
  std::FILE* const file = std::exchange(file_, nullptr);
  Check(std::fclose(file) == 0);
}

void Write(const void* data, std::size_t size) {
  Check(size == 0 || std::fwrite(data, 1, size, Current().File) == size);
}

void Flush() {
  Check(std::fflush(Current().File) == 0);
}

}  // namespace lmi
