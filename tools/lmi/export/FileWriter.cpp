#include "export/FileWriter.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace lmi {

FileWriter::FileWriter(const NewFile& file)
    : name_(file.Place().string()), file_(::open(file.Path().c_str(), O_RDWR | O_CLOEXEC)) {
  if (file_ < 0) Fail();
}

FileWriter::~FileWriter() {
  if (file_ >= 0) ::close(file_);
}

void FileWriter::Fail() const {
  throw OutputFailed{name_, std::strerror(errno)};
}

void FileWriter::Write(const void* data, std::size_t size) {
  WriteAt(position_, data, size);
  position_ += static_cast<std::int64_t>(size);
}

void FileWriter::WriteAt(std::int64_t position, const void* data, std::size_t size) {
  const char* next = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t done = ::pwrite(file_, next, size, position);
    if (done < 0 && errno == EINTR) continue;
    if (done < 0) Fail();
    next += done;
    position += done;
    size -= static_cast<std::size_t>(done);
  }
}

void FileWriter::ReadAt(std::int64_t position, void* data, std::size_t size) const {
  const ssize_t done = ::pread(file_, data, size, position);
  if (done == static_cast<ssize_t>(size)) return;
  if (done >= 0) errno = EIO;
  Fail();
}

void FileWriter::Close() {
  const int file = file_;
  file_ = -1;
  // Some file systems tell only now that the disk is full.
  if (::close(file) != 0) Fail();
}

}  // namespace lmi
