// What a recording reads later: made once, by whichever thread asks first.
#pragma once

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace lmimport {

// The thread that makes what a recording reads later. One for all that is made, so that no two
// threads wait for each other, whatever their progress handlers ask for.
class Maker {
 public:
  class Turn {
   public:
    explicit Turn(Maker& maker) : maker_(maker) {
      if (maker.thread_ == std::this_thread::get_id())
        throw std::logic_error(
            "lmimport: a progress handler read the recording that it is told of");
      maker.mutex_.lock();
      maker.thread_ = std::this_thread::get_id();
    }
    ~Turn() {
      maker_.thread_ = std::thread::id();
      maker_.mutex_.unlock();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    Maker& maker_;
  };

 private:
  std::atomic<std::thread::id> thread_;
  std::mutex mutex_;
};

// A value that is made when it is first asked for: whichever thread asks first makes it, and the
// others wait; where making fails, the next asks again.
template <class T>
class Once {
 public:
  template <class Make>
  const T& Get(Maker& maker, const Make& make) {
    if (made_.load(std::memory_order_acquire)) return value_;
    const Maker::Turn turn(maker);
    if (made_.load(std::memory_order_relaxed)) return value_;
    value_ = make();
    made_.store(true, std::memory_order_release);
    return value_;
  }

  /// Null until it is made.
  const T* IfMade() const { return made_.load(std::memory_order_acquire) ? &value_ : nullptr; }

 private:
  std::atomic<bool> made_ = false;
  T value_{};
};

}  // namespace lmimport
