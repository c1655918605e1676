// A value that is made when it is first asked for.
#pragma once

#include <atomic>
#include <mutex>

namespace lmimport {

/// Whichever thread asks first makes it, and the others wait; where making fails, the next asks
/// again.
template <class T>
class Once {
 public:
  template <class Make>
  const T& Get(const Make& make) {
    if (!made_.load(std::memory_order_acquire)) {
      const std::lock_guard lock(mutex_);
      if (!made_.load(std::memory_order_relaxed)) {
        value_ = make();
        made_.store(true, std::memory_order_release);
      }
    }
    return value_;
  }

  /// Null until it is made.
  const T* IfMade() const { return made_.load(std::memory_order_acquire) ? &value_ : nullptr; }

 private:
  std::atomic<bool> made_ = false;
  std::mutex mutex_;
  T value_{};
};

}  // namespace lmimport
