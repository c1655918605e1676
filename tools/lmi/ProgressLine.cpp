#include "ProgressLine.h"

#include <fmt/core.h>
#include <unistd.h>

#include <cstdio>

#include "Interrupt.h"

namespace lmi {

ProgressLine::ProgressLine(std::string name)
    : name_(std::move(name)),
      firstShown_(std::chrono::steady_clock::now() + std::chrono::milliseconds(500)) {}

ProgressLine::~ProgressLine() {
  if (isShown_) fmt::print(stderr, "\r\x1b[K");
}

std::function<bool(double Fraction)> ProgressLine::Handler() {
  const bool shows = ::isatty(STDERR_FILENO) != 0;
  return [this, shows](double fraction) {
    if (shows) Show(fraction);
    return !IsInterrupted();
  };
}

void ProgressLine::Show(double fraction) {
  if (std::chrono::steady_clock::now() < firstShown_) return;
  isShown_ = true;
  fmt::print(stderr, "\r{}: going through the recording, {:.0f} %\x1b[K", name_, 100 * fraction);
  std::fflush(stderr);
}

}  // namespace lmi
