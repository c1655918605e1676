#include "Interrupt.h"

#include <csignal>

namespace lmi {
namespace {

volatile std::sig_atomic_t interrupted = 0;

}  // namespace

void WatchForInterrupt() {
  struct sigaction action {};
  action.sa_handler = [](int) { interrupted = 1; };
  action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
  struct sigaction before {};
  // Who started the program in the background had it ignore interrupts.
  if (::sigaction(SIGINT, nullptr, &before) == 0 && before.sa_handler == SIG_IGN) return;
  ::sigaction(SIGINT, &action, nullptr);
  sigset_t interrupts;
  sigemptyset(&interrupts);
  sigaddset(&interrupts, SIGINT);
  ::sigprocmask(SIG_UNBLOCK, &interrupts, nullptr);
}

bool IsInterrupted() {
  return interrupted != 0;
}

}  // namespace lmi
