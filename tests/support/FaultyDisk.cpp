// Stands before the calls of the system that the library makes for files.
#include "support/FaultyDisk.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>

namespace {

using lmimport::test::FaultyDisk;

std::atomic<std::size_t> longest = SIZE_MAX;
std::atomic<long> bytesToLive = -1;  // that are written before the process is killed; below 0: all
std::atomic<long> changesToLive = -1;  // before that, likewise
std::atomic<bool> noNameless = false;
std::atomic<long> allowed = -1;  // calls of the kind that is to fail; below 0: all
std::atomic<FaultyDisk::Call> kind = FaultyDisk::Read;
std::atomic<int> error = 0;
std::atomic<bool> failsOnce = false;
std::atomic<bool> failed = false;
std::atomic<std::string*> changes = nullptr;  // where they are recorded, if anywhere

// False, and errno is set, when this call is to fail.
bool Allow(FaultyDisk::Call call) {
  if (call != kind || allowed < 0 || allowed-- > 0) return true;
  if (!failsOnce) allowed = 0;
  failed = true;
  errno = error;
  return false;
}

bool AllowChange(const std::string& change) {
  if (changesToLive >= 0 && changesToLive-- == 0) ::raise(SIGKILL);
  if (std::string* list = changes) *list += (list->empty() ? "" : ", ") + change;
  return Allow(FaultyDisk::Change);
}

}  // namespace

extern "C" {

ssize_t pread(int handle, void* target, std::size_t size, off_t position) {
  if (!Allow(FaultyDisk::Read)) return -1;
  return ::syscall(SYS_pread64, handle, target, std::min<std::size_t>(size, longest), position);
}

ssize_t pwrite(int handle, const void* source, std::size_t size, off_t position) {
  std::size_t part = std::min<std::size_t>(size, longest);
  const bool last = bytesToLive >= 0 && static_cast<long>(part) > bytesToLive;
  if (last) part = static_cast<std::size_t>(bytesToLive.load());
  if (bytesToLive >= 0) bytesToLive -= static_cast<long>(part);
  if (last) {
    ::syscall(SYS_pwrite64, handle, source, part, position);
    ::raise(SIGKILL);
  }
  if (!AllowChange("write " + std::to_string(part))) return -1;
  return ::syscall(SYS_pwrite64, handle, source, part, position);
}

int fdatasync(int handle) {
  if (!AllowChange("flush")) return -1;
  return static_cast<int>(::syscall(SYS_fdatasync, handle));
}

int fallocate(int handle, int mode, off_t position, off_t size) {
  if (!AllowChange("reserve " + std::to_string(size))) return -1;
  return static_cast<int>(::syscall(SYS_fallocate, handle, mode, position, size));
}

// NOLINTNEXTLINE(cert-dcl50-cpp): as the system declares it
int openat(int folder, const char* name, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const auto mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  if (noNameless && (flags & O_TMPFILE) == O_TMPFILE) {
    errno = EOPNOTSUPP;
    return -1;
  }
  return static_cast<int>(::syscall(SYS_openat, folder, name, flags, mode));
}

int ftruncate(int handle, off_t size) noexcept {
  if (!AllowChange("size " + std::to_string(size))) return -1;
  return static_cast<int>(::syscall(SYS_ftruncate, handle, size));
}
}

namespace lmimport::test {

FaultyDisk::FaultyDisk() {
  changes = &changes_;
}

FaultyDisk::~FaultyDisk() {
  changes = nullptr;
  longest = SIZE_MAX;
  allowed = -1;
  bytesToLive = changesToLive = -1;
  noNameless = false;
}

void FaultyDisk::Shorten(std::size_t bytes) {
  longest = bytes;
}

void FaultyDisk::KillAfter(long bytes) {
  bytesToLive = bytes;
}

void FaultyDisk::KillBefore(long change) {
  changesToLive = change;
}

void FaultyDisk::TakeNamelessFiles() {
  noNameless = true;
}

void FaultyDisk::FailAfter(Call call, long count, int number, bool once) {
  kind = call;
  error = number;
  failsOnce = once;
  failed = false;
  allowed = count;
}

bool FaultyDisk::HasFailed() const {
  return failed;
}

}  // namespace lmimport::test
