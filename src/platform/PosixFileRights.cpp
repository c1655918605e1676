// Who may read and write a file that is kept beside a recording: nobody who may not do so with the
// recording.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>

#include "platform/File.h"

namespace lmimport::platform {
namespace {

// An access control list, by which the rights of the group are only the most that it grants.
constexpr const char* AccessList = "system.posix_acl_access";

constexpr mode_t OwnersAlone = 0600, GroupAndOthers = 066;

// In a user namespace, all users and groups from outside have this number: two files of it can be
// anybody's.
constexpr unsigned Unmapped = 65534;

bool IsSame(unsigned one, unsigned other) {
  return one == other && one != Unmapped;
}

bool HasAccessList(int handle) {
  return ::fgetxattr(handle, AccessList, nullptr, 0) > 0;
}

// What the file may grant. Of another group than the recording's, the members are anybody.
mode_t RightsBeside(const struct stat& recording, const struct stat& file) {
  const mode_t others = recording.st_mode & 06;
  const mode_t group = recording.st_mode >> 3 & 06;
  if (IsSame(file.st_gid, recording.st_gid)) return OwnersAlone | group << 3 | others;
  return OwnersAlone | (group & others) * 011;
}

}  // namespace

bool File::IsTrustedFor(const File& recording) const {
  struct stat own {};
  struct stat other {};
  if (::fstat(handle_, &own) != 0 || ::fstat(recording.handle_, &other) != 0) return false;
  return IsSame(own.st_uid, ::geteuid()) || IsSame(own.st_uid, other.st_uid) || own.st_uid == 0;
}

bool File::IsOpenToMoreThan(const File& recording) const {
  struct stat own {};
  struct stat other {};
  if (::fstat(handle_, &own) != 0 || ::fstat(recording.handle_, &other) != 0) return true;
  const bool alone = recording.byLink_ || HasAccessList(recording.handle_);
  const mode_t rights = alone ? OwnersAlone : RightsBeside(other, own);
  return (own.st_mode & GroupAndOthers & ~rights) != 0 ||
         ((own.st_mode & GroupAndOthers) != 0 && HasAccessList(handle_));
}

// Where this process may, the owner and the group of the recording go with its rights: else who
// shares the recording could not use the file.
std::error_code File::TakeRightsOf(const File& recording) {
  const auto failed = [] { return std::error_code(errno, std::generic_category()); };
  struct stat own {};
  struct stat other {};
  if (::fstat(recording.handle_, &other) != 0) return failed();
  if (::fchown(handle_, other.st_uid, other.st_gid) != 0 &&
      ::fchown(handle_, static_cast<uid_t>(-1), other.st_gid) != 0 && errno != EPERM &&
      errno != EINVAL)
    return failed();
  // The list that the folder gives to new files.
  if (HasAccessList(handle_) && ::fremovexattr(handle_, AccessList) != 0) return failed();
  if (::fstat(handle_, &own) != 0) return failed();
  const bool alone = recording.byLink_ || HasAccessList(recording.handle_);
  const mode_t rights = alone ? OwnersAlone : RightsBeside(other, own);
  const mode_t masked = hasName_ ? rights : own.st_mode & rights;  // by the mask of the process
  if (::fchmod(handle_, masked | OwnersAlone) != 0) return failed();
  // Some file systems take a change of rights and leave them as they are.
  return IsOpenToMoreThan(recording) ? std::make_error_code(std::errc::permission_denied)
                                     : std::error_code();
}

// A lease for writing is given only where nobody else has the file open.
bool File::IsOpenElsewhere() const {
  if (::fcntl(handle_, F_SETLEASE, F_WRLCK) != 0) return errno == EAGAIN;
  ::fcntl(handle_, F_SETLEASE, F_UNLCK);
  return false;
}

}  // namespace lmimport::platform
