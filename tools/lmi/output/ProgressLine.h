// One line on the terminal while work takes longer than a moment.
#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace lmi {

class ProgressLine {
 public:
  /// Without a name it shows the percentage alone.
  explicit ProgressLine(std::string name, bool quiet = false);
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  /// For an open: shows how far it is and gives it up when the user interrupts; must not outlive
  /// the line.
  std::function<bool(double Fraction)> Handler();

  /// On standard error, if that is a terminal and not the one that samples go to.
  void Show(double fraction);

 private:
  std::string name_;
  std::chrono::steady_clock::time_point nextShown_;
  bool isWanted_;
  bool isShown_ = false;
};

}  // namespace lmi
