#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
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
  return std::make_error_code(S_ISDIR(status.st_mode)   ? std::errc::is_a_directory
                              : S_ISLNK(status.st_mode) ? std::errc::too_many_symbolic_link_levels
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

// A file that a file server holds a lease on is refused to those who don't wait, and the server is
// asked to let go of it. It may never do so: an open that waits would hang with it.
int OpenAt(int folder, const char* name, int flags, mode_t mode = 0600) {
  constexpr int attempts = 20;
  constexpr timespec pause = {0, 10'000'000};
  int handle = -1;
  for (int attempt = 0; attempt < attempts; ++attempt) {
    if (attempt > 0) ::nanosleep(&pause, nullptr);
    handle = Retrying(
        [=] { return ::openat(folder, name, flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, mode); });
    if (handle >= 0 || errno != EWOULDBLOCK) break;
  }
  return handle;
}

int OpenNameless(int folder, const char* path, mode_t rights) {
#ifdef O_TMPFILE
  return OpenAt(folder, path, O_TMPFILE | O_RDWR, rights);
#else
  errno = EOPNOTSUPP;
  return -1;
#endif
}

// A file system of no such files.
bool HasNoNamelessFiles() {
  return errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL;
}

int OpenTemporary(const std::string& name) {
  const std::string folder = std::filesystem::path(name).parent_path().string();
  const int handle = OpenNameless(AT_FDCWD, folder.empty() ? "." : folder.c_str(), 0600);
  if (handle >= 0 || !HasNoNamelessFiles()) return handle;
  const int named = OpenAt(AT_FDCWD, name.c_str(), O_CREAT | O_EXCL | O_NOFOLLOW | O_RDWR);
  if (named >= 0) ::unlink(name.c_str());
  return named;
}

int PlaceOf(const Folder* folder) {
  return folder != nullptr ? folder->Handle() : AT_FDCWD;
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

Folder::~Folder() {
  if (handle_ >= 0) ::close(handle_);
}

void Folder::Open(const std::string& name) {
  if (handle_ >= 0) ::close(handle_);
#ifdef O_PATH
  constexpr int flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
#else
  constexpr int flags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
#endif
  handle_ = Retrying([&] { return ::open(name.c_str(), flags); });
}

std::error_code File::Open(const std::string& name, Access access, Lock lock,
                           const Folder* folder) {
  Close();
  byLink_ = false;
  hasName_ = access != Access::CreateTemporary;
  if (access == Access::CreateTemporary) return Take(OpenTemporary(name), lock, false);
  const int place = PlaceOf(folder);
  // Looked at before it is opened, since opening a device can move its tape or ring its line, and
  // looked at again after the open, since the name may have come to mean something else.
  struct stat status {};
  const int look = access == Access::Read ? 0 : AT_SYMLINK_NOFOLLOW;
  if (::fstatat(place, name.c_str(), &status, look) == 0) {
    if (const auto error = CheckPlainFile(status)) return error;
  }
  const bool writing = access == Access::Write;
  const int flags = writing ? O_RDWR : O_RDONLY;
  int handle = OpenAt(place, name.c_str(), flags | O_NOFOLLOW);
  if (handle < 0 && errno == ELOOP && access == Access::Read) {
    byLink_ = true;
    handle = OpenAt(place, name.c_str(), flags);
  }
  return Take(handle, lock, writing);
}

std::error_code File::Take(int handle, Lock lock, bool writing) {
  handle_ = handle;
  if (handle_ < 0) return LastSystemError();
  struct stat status {};
  std::error_code error;
  if (::fstat(handle_, &status) != 0) error = LastSystemError();
  timesAtOpen_ = TimesOf(status);
  if (!error) error = CheckPlainFile(status);
  if (!error && writing && status.st_nlink > 1)
    error = std::make_error_code(std::errc::too_many_links);
  if (!error) error = TakeLock(handle_, lock);
  if (error) Close();
  return error;
}

std::error_code File::CreateBeside(const File& recording, const Folder& folder,
                                   const std::string& name) {
  Close();
  struct stat status {};
  if (::fstat(recording.handle_, &status) != 0) return LastSystemError();
  const mode_t rights = (status.st_mode & 0666) | 0600;
  int handle = OpenNameless(folder.Handle(), ".", rights);
  hasName_ = handle < 0 && HasNoNamelessFiles();
  // What has a name is nobody else's until it has the rights of the recording.
  if (hasName_) handle = OpenAt(folder.Handle(), name.c_str(), O_CREAT | O_EXCL | O_RDWR);
  std::error_code error = Take(handle, Lock::None, false);
  if (error) return error;
  error = TakeLock(handle_, Lock::Exclusive);
  if (!error) error = TakeRightsOf(recording);
  if (!error) return {};
  if (hasName_ && error != std::errc::text_file_busy) Remove(folder, name);
  Close();
  return error;
}

bool File::Publish(const Folder& folder, const std::string& name) {
  // Not everybody may link what has no name, and not everywhere is there a name of open files.
  const std::string own = "/proc/self/fd/" + std::to_string(handle_);
  hasName_ = ::linkat(handle_, "", folder.Handle(), name.c_str(), AT_EMPTY_PATH) == 0 ||
             ::linkat(AT_FDCWD, own.c_str(), folder.Handle(), name.c_str(), AT_SYMLINK_FOLLOW) == 0;
  return hasName_;
}

bool File::Remove(const Folder& folder, const std::string& name) {
  struct stat own {};
  struct stat named {};
  return ::fstat(handle_, &own) == 0 &&
         ::fstatat(folder.Handle(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         own.st_ino == named.st_ino && own.st_dev == named.st_dev &&
         ::unlinkat(folder.Handle(), name.c_str(), 0) == 0;
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

void File::Reserve(std::int64_t size) {
  if (size <= 0) return;
  // Who writes past this limit is ended by a signal.
  struct rlimit limit {};
  if (::getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
      static_cast<rlim_t>(size) > limit.rlim_cur)
    throw std::system_error(std::make_error_code(std::errc::file_too_large));
  const auto length = static_cast<off_t>(size);
  if (Retrying([=, this] { return ::fallocate(handle_, FALLOC_FL_KEEP_SIZE, 0, length); }) == 0)
    return;
  auto error = LastSystemError();
  if (error == std::errc::operation_not_supported || error == std::errc::function_not_supported) {
    struct stat status {};
    struct statvfs disk {};
    constexpr std::int64_t blockBytes = 512;
    if (::fstat(handle_, &status) != 0 || ::fstatvfs(handle_, &disk) != 0) return;
    const std::int64_t wanted = size - status.st_blocks * blockBytes;
    const auto free = static_cast<std::int64_t>(disk.f_bavail);
    const auto unit = static_cast<std::int64_t>(disk.f_frsize);
    // Some tell nothing of their room.
    if (wanted <= 0 || unit == 0 || disk.f_blocks == 0 || wanted / unit < free) return;
    error = std::make_error_code(std::errc::no_space_on_device);
  }
  Resize(Size());  // gives back what was taken before the disk was full
  throw std::system_error(error);
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
