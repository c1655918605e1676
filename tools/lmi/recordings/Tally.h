// How many recordings were what: the last line of a command that goes through many.
#pragma once

#include <fmt/core.h>

#include <algorithm>

#include "output/Output.h"
#include "output/Terminal.h"
#include "output/Text.h"
#include "recordings/OpenSettings.h"

namespace lmi {

struct Tally {
  std::size_t Files = 0;
  std::size_t Warned = 0;  // of those that opened
  std::size_t Failed = 0;
  std::size_t PassedOver = 0;

  void Count(bool failed, bool warned) {
    ++Files;
    Failed += failed ? 1 : 0;
    Warned += !failed && warned ? 1 : 0;
  }
  void Count(const Opened& opened) {
    Count(!opened.Failure.empty(),
          std::ranges::any_of(opened.Findings, &lmimport::Finding::Warning));
  }

  /// On standard error, so that standard output holds one line a file, or JSON.
  void Print(const Appearance& appearance, const std::string& more = {}) const {
    if (appearance.Quiet) return;
    std::string line = Numbered(Files, "recording");
    if (Warned > 0) line += fmt::format(", {} with warnings", Warned);
    if (Failed > 0) line += fmt::format(", {} failed", Failed);
    if (Warned + Failed == 0 && Files > 0) line += ", no warnings";
    if (PassedOver > 0) line += fmt::format("; {} passed over", Numbered(PassedOver, "other file"));
    Say("{}{}\n", line, more);
  }
};

}  // namespace lmi
