// One line on the terminal while an open takes longer than a moment.
#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace lmi {

class ProgressLine {
 public:
  explicit ProgressLine(std::string name);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// Shows how far work is on standard error, if that is a terminal, and gives it up when the user
  /// interrupts; must not outlive the line.
  std::function<bool(double Fraction)> Handler();

 private:
  void Show(double fraction);

  std::string name_;
  std::chrono::steady_clock::time_point firstShown_;
  bool isShown_ = false;
};

}  // namespace lmi
