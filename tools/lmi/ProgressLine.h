// One line on the terminal while an open takes longer than a moment.
#pragma once

#include <chrono>
#include <string>

namespace lmi {

/// From when it is made to its end, the opens of this thread are shown on standard error, if that
/// is a terminal.
class ProgressLine {
 public:
  explicit ProgressLine(std::string name);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

 private:
  void Show(double fraction);

  std::string name_;
  std::chrono::steady_clock::time_point firstShown_;
  bool isShown_ = false;
};

}  // namespace lmi
