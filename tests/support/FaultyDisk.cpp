// Stands before the calls of the system that the library makes for files.
#include "support/FaultyDisk.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>

namespace {

std::atomic<std::size_t> longest = SIZE_MAX;
std::atomic<long> readsAllowed = -1;  // below 0: all
std::atomic<long> changesAllowed = -1;
std::atomic<int> readError = 0;
std::atomic<int> changeError = 0;
std::atomic<bool> failed = false;

// False, and errno is set, when this call is to fail.
bool Allow(std::atomic<long>& allowed, const std::atomic<int>& error) {
  if (allowed < 0 || --allowed >= 0) return true;
  failed = true;
  errno = error;
  return false;
}

}  // namespace

extern "C" {

ssize_t pread(int handle, void* target, std::size_t size, off_t position) {
  if (!Allow(readsAllowed, readError)) return -1;
  return ::syscall(SYS_pread64, handle, target, std::min<std::size_t>(size, longest), position);
}

ssize_t pwrite(int handle, const void* source, std::size_t size, off_t position) {
  if (!Allow(changesAllowed, changeError)) return -1;
  return ::syscall(SYS_pwrite64, handle, source, std::min<std::size_t>(size, longest), position);
}

int fdatasync(int handle) {
  if (!Allow(changesAllowed, changeError)) return -1;
  return static_cast<int>(::syscall(SYS_fdatasync, handle));
}

int ftruncate(int handle, off_t size) noexcept {
  if (!Allow(changesAllowed, changeError)) return -1;
  return static_cast<int>(::syscall(SYS_ftruncate, handle, size));
}
}

namespace lmimport::test {

FaultyDisk::FaultyDisk() = default;

FaultyDisk::~FaultyDisk() {
  longest = SIZE_MAX;
  readsAllowed = -1;
  changesAllowed = -1;
}

void FaultyDisk::Shorten(std::size_t bytes) {
  longest = bytes;
}

void FaultyDisk::FailReadBehind(long count, int error) {
  failed = false;
  readError = error;
  readsAllowed = count;
}

void FaultyDisk::FailChangeBehind(long count, int error) {
  failed = false;
  changeError = error;
  changesAllowed = count;
}

bool FaultyDisk::HasFailed() const {
  return failed;
}

}  // namespace lmimport::test
