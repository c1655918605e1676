// Ctrl-C, and what else asks the program to end: work is given up at its next step, so nothing is
// left half done.
#pragma once

namespace lmi {

/// From now on the first interrupt is noted, also one that came while the caller held interrupts
/// back. The second ends the program.
void WatchForInterrupt();

bool IsInterrupted();

/// The exit status after an interrupt, as shells have it: 130 for Ctrl-C.
int InterruptedStatus();

}  // namespace lmi
