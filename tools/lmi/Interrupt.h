// Ctrl-C: work is given up at its next step, so nothing is left half done.
#pragma once

namespace lmi {

inline constexpr int InterruptedStatus = 130;  // as shells have it

/// From now on the first interrupt is noted, also one that came while the caller held interrupts
/// back. The second ends the program.
void WatchForInterrupt();

bool IsInterrupted();

}  // namespace lmi
