#include "Output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace lmi {
namespace {

void Check(bool good) {
  if (good) return;
  if (errno == EPIPE) throw OutputClosed();
  throw OutputFailed{std::strerror(errno)};
}

}  // namespace

void Write(const void* data, std::size_t size) {
  Check(size == 0 || std::fwrite(data, 1, size, stdout) == size);
}

void Flush() {
  Check(std::fflush(stdout) == 0);
}

}  // namespace lmi
