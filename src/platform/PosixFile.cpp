#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "platform/File.h"

namespace lmimport::platform {
namespace {

std::error_code LastSystemError() {
  return {errno, std::generic_category()};
}

// The kernel moves at most this much at a time.
constexpr std::size_t LargestTransfer = 0x7ffff000;

std::error_code CheckPlainFile(const struct stat& status) {
  if (S_ISREG(status.st_mode)) return {};
  return std::make_error_code(S_ISDIR(status.st_mode) ? std::errc::is_a_directory
                                                      : std::errc::operation_not_supported);
}

FileTimes TimesOf(const struct stat& status) {
  return {{status.st_mtim.tv_sec, status.st_mtim.tv_nsec},
          {status.st_ctim.tv_sec, status.st_ctim.tv_nsec}};
}

// Calls again what a signal broke off.
template <class Call>
int Retrying(Call call) {
  int result = -1;
  do {
    result = call();
  } while (result < 0 && errno == EINTR);
  return result;
}

// What doesn't wait is refused a file that a file server holds a lease on. The server has been asked
// to let go of it then, and the second call waits until it does.
int OpenRetrying(const char* name, int flags, mode_t mode = 0600) {
  const auto open = [=](int waiting) {
    const int all = (flags & ~waiting) | O_CLOEXEC | O_NOCTTY;
    return Retrying([=] { return ::open(name, all, mode); });
  };
  const int handle = open(0);
  return handle < 0 && errno == EWOULDBLOCK ? open(O_NONBLOCK) : handle;
}

int OpenNameless(const std::string& name) {
#ifdef O_TMPFILE
  const std::string folder = std::filesystem::path(name).parent_path().string();
  const int handle = OpenRetrying(folder.empty() ? "." : folder.c_str(), O_TMPFILE | O_RDWR);
  if (handle >= 0 || (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL)) return handle;
#endif
  const int named = OpenRetrying(name.c_str(), O_CREAT | O_EXCL | O_NOFOLLOW | O_RDWR);
  if (named >= 0) ::unlink(name.c_str());
  return named;
}

// Sets `made` where there was no file of that name.
int OpenFor(Access access, const std::string& name, mode_t rights, bool& made) {
  constexpr int writing = O_RDWR | O_NOFOLLOW | O_NONBLOCK;
  switch (access) {
    case Access::Read:
      return OpenRetrying(name.c_str(), O_RDONLY | O_NONBLOCK);
    case Access::ReadOwn:
      return OpenRetrying(name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    case Access::Write:
      return OpenRetrying(name.c_str(), writing);
    case Access::Create: {
      const int handle = OpenRetrying(name.c_str(), writing | O_CREAT | O_EXCL, rights);
      made = handle >= 0;
      return made || errno != EEXIST ? handle : OpenRetrying(name.c_str(), writing);
    }
    case Access::CreateTemporary:
      return OpenNameless(name);
  }
  return -1;
}

// Both kinds hang on the open file itself: closing another handle of the same file in this process
// leaves them alone.
int LockWhole(int handle, Lock lock) {
  const int operation = (lock == Lock::Shared ? LOCK_SH : LOCK_EX) | LOCK_NB;
  return Retrying([=] { return ::flock(handle, operation); });
}
int LockRecord(int handle, Lock lock) {
  struct flock record {};
  record.l_type = lock == Lock::Shared ? F_RDLCK : F_WRLCK;
  record.l_whence = SEEK_SET;
  return Retrying([&] { return ::fcntl(handle, F_OFD_SETLK, &record); });
}

// Other programs use one kind or the other. Between instances of this library the record lock
// decides, since it alone can be made a shared one without letting go of it.
std::error_code TakeLock(int handle, Lock lock) {
  if (lock == Lock::None) return {};
  const auto busy = std::make_error_code(std::errc::text_file_busy);
  if (LockWhole(handle, lock) != 0 && errno == EWOULDBLOCK) return busy;
  if (LockRecord(handle, lock) == 0) return {};
  if (errno == EAGAIN || errno == EACCES) return busy;
  // What fails otherwise is a file system without locks.
  return lock == Lock::Shared ? std::error_code() : LastSystemError();
}

}  // namespace

std::error_code File::Open(const std::string& name, Access access, Lock lock, unsigned rights) {
  Close();
  // Looked at before it is opened, since opening a device can move its tape or ring its line, and
  // looked at again after the open, since the name may have come to mean something else.
  struct stat status {};
  if (access != Access::CreateTemporary && ::stat(name.c_str(), &status) == 0) {
    if (const auto error = CheckPlainFile(status)) return error;
  }
  bool made = false;
  handle_ = OpenFor(access, name, rights, made);
  if (handle_ < 0) return LastSystemError();
  std::error_code error;
  if (::fstat(handle_, &status) != 0) error = LastSystemError();
  timesAtOpen_ = TimesOf(status);
  if (!error) error = CheckPlainFile(status);
  const bool writing = access == Access::Write || access == Access::Create;
  if (!error && writing && status.st_nlink > 1)
    error = std::make_error_code(std::errc::too_many_links);
  if (!error) error = TakeLock(handle_, lock);
  if (!error && access == Access::Create &&
      Retrying([this] { return ::ftruncate(handle_, 0); }) != 0)
    error = LastSystemError();
  if (!error) return {};
  // A new file that another program has taken meanwhile is that one's.
  struct stat named {};
  const bool isOwn = made && error != std::errc::text_file_busy &&
                     ::lstat(name.c_str(), &named) == 0 && named.st_ino == status.st_ino &&
                     named.st_dev == status.st_dev;
  if (isOwn) ::unlink(name.c_str());
  Close();
  return error;
}

void File::Close() {
  if (handle_ >= 0) ::close(handle_);
  handle_ = -1;
}

std::size_t File::ReadAt(std::int64_t position, void* target, std::size_t size) const {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t step =
        ::pread(handle_, static_cast<char*>(target) + done, std::min(size - done, LargestTransfer),
                static_cast<off_t>(position) + static_cast<off_t>(done));
    if (step == 0) break;
    if (step > 0) {
      done += static_cast<std::size_t>(step);
    } else if (errno != EINTR) {
      throw std::system_error(LastSystemError());
    }
  }
  return done;
}

void File::WriteAt(std::int64_t position, const void* source, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t step = ::pwrite(handle_, static_cast<const char*>(source) + done,
                                  std::min(size - done, LargestTransfer),
                                  static_cast<off_t>(position) + static_cast<off_t>(done));
    if (step > 0) {
      done += static_cast<std::size_t>(step);
    } else if (step == 0 || errno != EINTR) {
      if (step == 0) errno = EIO;
      throw std::system_error(LastSystemError());
    }
  }
}

void File::Share() {
  if (LockRecord(handle_, Lock::Shared) != 0) throw std::system_error(LastSystemError());
  LockWhole(handle_, Lock::Shared);
}

void File::Resize(std::int64_t size) {
  const auto length = static_cast<off_t>(size);
  if (Retrying([=, this] { return ::ftruncate(handle_, length); }) != 0)
    throw std::system_error(LastSystemError());
}

void File::Flush() {
  if (Retrying([this] { return ::fdatasync(handle_); }) != 0)
    throw std::system_error(LastSystemError());
}

std::int64_t File::Size() const {
  struct stat status {};
  if (::fstat(handle_, &status) != 0) throw std::system_error(LastSystemError());
  return status.st_size;
}

FileTimes File::Times() const {
  struct stat status {};
  if (::fstat(handle_, &status) != 0) throw std::system_error(LastSystemError());
  return TimesOf(status);
}

unsigned File::RightsBeside() const {
  struct stat status {};
  if (::fstat(handle_, &status) != 0) throw std::system_error(LastSystemError());
  return (status.st_mode & 0666) | 0600;
}

void File::NarrowRightsTo(const File& other) {
  struct stat own {};
  struct stat others {};
  if (::fstat(handle_, &own) != 0 || ::fstat(other.handle_, &others) != 0) return;
  mode_t mode = own.st_mode & (others.st_mode | 0600) & 0777;
  // Another group than that of the other file is anybody.
  if (own.st_gid != others.st_gid) mode &= ~mode_t{070} | (mode & 07) << 3;
  if (mode != (own.st_mode & 0777)) ::fchmod(handle_, mode);
}

bool FileExists(const std::string& name) {
  struct stat status {};
  return ::stat(name.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

bool FolderExists(const std::string& name) {
  struct stat status {};
  return ::stat(name.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string AbsoluteName(const std::string& name) {
  if (name.starts_with('/')) return name;
  std::error_code error;
  const auto path = std::filesystem::absolute(name, error);
  return error ? name : path.string();
}

std::string TemporaryFolder() {
  std::error_code error;
  const auto path = std::filesystem::temp_directory_path(error);
  return error ? "/tmp" : path.string();
}

}  // namespace lmimport::platform
