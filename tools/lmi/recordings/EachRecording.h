// The way of a command through many files.
#pragma once

#include "output/Interrupt.h"
#include "output/ProgressLine.h"
#include "recordings/Tally.h"

namespace lmi {

/// Calls work(file, opened, line) for each file that is meant to be a recording, opened or not, and
/// counts what came of it. Ends where the user interrupts.
template <class Work>
void ForEachRecording(const std::vector<NamedFile>& files, const OpenSettings& settings,
                      const Appearance& look, Tally& tally, Work work) {
  for (const NamedFile& file : files) {
    ProgressLine line(OneLine(file.Name), look.Quiet);
    Opened opened = OpenOrExplain(settings, file, line.Handler());
    if (IsInterrupted()) return;
    if (IsPassedOver(file, opened)) {
      ++tally.PassedOver;
      continue;
    }
    work(file, opened, line);
    if (IsInterrupted()) return;
    tally.Count(opened);
  }
}

}  // namespace lmi
