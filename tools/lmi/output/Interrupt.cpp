#include "output/Interrupt.h"

#include <csignal>
#include <initializer_list>

namespace lmi {
namespace {

volatile std::sig_atomic_t interrupted = 0;  // the number of the signal

void Watch(int signal) {
  struct sigaction action {};
  action.sa_handler = [](int number) { interrupted = number; };
  action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
  struct sigaction before {};
  // Who started the program in the background had it ignore interrupts.
  if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN) return;
  ::sigaction(signal, &action, nullptr);
}

}  // namespace

void WatchForInterrupt() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    Watch(signal);
    sigaddset(&signals, signal);
  }
  ::sigprocmask(SIG_UNBLOCK, &signals, nullptr);
}

bool IsInterrupted() {
  return interrupted != 0;
}

int InterruptedStatus() {
  return 128 + interrupted;
}

}  // namespace lmi
