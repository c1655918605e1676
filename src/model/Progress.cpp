#include "model/Progress.h"

#include <system_error>

namespace lmimport {

void Progress::Report(std::int64_t done, std::int64_t total) {
  constexpr auto interval = std::chrono::milliseconds(100);
  if (!handler_) return;
  const auto now = std::chrono::steady_clock::now();
  if (done < total && now < nextCall_) return;
  nextCall_ = now + interval;
  struct Calling {
    explicit Calling(bool& flag) : Flag(flag) { Flag = true; }
    ~Calling() { Flag = false; }
    bool& Flag;
  };
  bool goesOn = false;
  {
    const Calling calling(isCalling_);
    const Handler handler = handler_;  // which may set another one
    goesOn = handler(total > 0 ? static_cast<double>(done) / static_cast<double>(total) : 1);
  }
  if (!goesOn)
    throw std::system_error(std::make_error_code(std::errc::operation_canceled),
                            "The open was given up");
}

}  // namespace lmimport
