// A file that another program has locked.
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

namespace lmimport::test {

/// Holds a file exclusively by one kind of lock alone, as programs do that know only that one.
class LockedFile {
 public:
  enum Kind { Whole, Record };

  LockedFile(const std::string& name, Kind kind) : handle_(::open(name.c_str(), O_RDWR)) {
    struct flock record {};
    record.l_type = F_WRLCK;
    record.l_whence = SEEK_SET;
    const int result = kind == Whole ? ::flock(handle_, LOCK_EX | LOCK_NB)
                                     : ::fcntl(handle_, F_OFD_SETLK, &record);
    if (result != 0) throw std::runtime_error("can't lock a test file");
  }
  ~LockedFile() { ::close(handle_); }
  LockedFile(const LockedFile&) = delete;
  LockedFile& operator=(const LockedFile&) = delete;

 private:
  int handle_;
};

}  // namespace lmimport::test
