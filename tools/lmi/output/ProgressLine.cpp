#include "output/ProgressLine.h"

#include <fmt/core.h>
#include <unistd.h>

#include <cstdio>

#include "output/Interrupt.h"
#include "output/Output.h"

namespace lmi {
namespace {

constexpr std::chrono::milliseconds FirstAfter{500};
constexpr std::chrono::milliseconds Interval{100};

}  // namespace

ProgressLine::ProgressLine(std::string name, bool quiet)
    : name_(std::move(name)),
      nextShown_(std::chrono::steady_clock::now() + FirstAfter),
      isWanted_(!quiet && ::isatty(STDERR_FILENO) != 0) {}

ProgressLine::~ProgressLine() {
  if (isShown_) Say("\r\x1b[K");
}

std::function<bool(double Fraction)> ProgressLine::Handler() {
  return [this](double fraction) {
    Show(fraction);
    return !IsInterrupted();
  };
}

void ProgressLine::Show(double fraction) {
  const auto now = std::chrono::steady_clock::now();
  if (!isWanted_ || now < nextShown_) return;
  isShown_ = true;
  nextShown_ = now + Interval;
  Say("\r{}{}{:.0f} %\x1b[K", name_, name_.empty() ? "" : ": ", 100 * fraction);
  std::fflush(stderr);
}

}  // namespace lmi
