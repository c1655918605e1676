// How far a long open is: told to the host, who may give it up.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace lmimport {

/// Of one thread.
class Progress {
 public:
  using Handler = std::function<bool(double)>;

  void SetHandler(Handler handler) { handler_ = std::move(handler); }
  void Restart() { nextCall_ = {}; }  // another open begins

  /// Calls the handler: at the first report of an open, when done is total, and else some ten times
  /// a second. When it says false, throws std::system_error
  /// (operation_canceled); what it throws goes on.
  void Report(std::int64_t done, std::int64_t total);

  /// The handler is running: the open around it is half finished.
  bool IsCalling() const { return isCalling_; }

 private:
  Handler handler_;
  std::chrono::steady_clock::time_point nextCall_;
  bool isCalling_ = false;
};

}  // namespace lmimport
