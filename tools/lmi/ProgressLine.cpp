#include "ProgressLine.h"

#include <fmt/core.h>
#include <lmimport/lmimport.h>
#include <unistd.h>

#include <cstdio>

namespace lmi {

ProgressLine::ProgressLine(std::string name)
    : name_(std::move(name)),
      firstShown_(std::chrono::steady_clock::now() + std::chrono::milliseconds(500)) {
  if (::isatty(STDERR_FILENO) == 0) return;
  lmimport::SetProgressHandler([this](double fraction) {
    Show(fraction);
    return true;
  });
}

ProgressLine::~ProgressLine() {
  lmimport::SetProgressHandler({});
  if (isShown_) fmt::print(stderr, "\r\x1b[K");
}

void ProgressLine::Show(double fraction) {
  if (std::chrono::steady_clock::now() < firstShown_) return;
  isShown_ = true;
  fmt::print(stderr, "\r{}: going through the recording, {:.0f} %\x1b[K", name_, 100 * fraction);
  std::fflush(stderr);
}

}  // namespace lmi
