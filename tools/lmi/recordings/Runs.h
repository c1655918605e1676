// Runs of samples that suggest a fault: one value for long, or a converter at its limit.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <utility>

namespace lmi {

/// Runs of one value, of pieces that follow each other. What is found in one stretch of a channel can
/// be joined with what is found in the next: the run at the start is kept until then.
template <class T>
class RunFinder {
 public:
  explicit RunFinder(std::int64_t shortest) : shortest_(std::max<std::int64_t>(2, shortest)) {}

  void Take(std::span<const T> x) {
    const std::int64_t size = std::ssize(x);
    if (size == 0) return;
    if (position_ == 0) value_ = x[0];
    std::int64_t i = 0;
    while (i < size && At(x, i) == value_) ++i;
    length_ += i;
    if (i < size) {
      End();
      TakeRest(x, i);
    }
    position_ += size;
  }

  void Join(const RunFinder& next) {
    if (next.position_ == 0) return;
    const T value = next.hasLead_ ? next.leadValue_ : next.value_;
    const std::int64_t length = next.hasLead_ ? next.leadLength_ : next.length_;
    if (position_ > 0 && value == value_) {
      length_ += length;
    } else {
      if (position_ > 0) End();
      value_ = value;
      start_ = position_;
      length_ = length;
    }
    if (next.hasLead_) {
      End();
      Count += next.Count;
      if (next.Longest > Longest) {
        Longest = next.Longest;
        LongestStart = position_ + next.LongestStart;
      }
      value_ = next.value_;
      start_ = position_ + next.start_;
      length_ = next.length_;
    }
    position_ += next.position_;
  }

  void Finish() {
    End();
    Close(0, leadLength_);
  }

  std::int64_t Count = 0;
  std::int64_t Longest = 0;  // samples
  std::int64_t LongestStart = 0;

 private:
  static T At(std::span<const T> x, std::int64_t i) { return x[static_cast<std::size_t>(i)]; }

  void End() {
    if (hasLead_) {
      Close(start_, length_);
    } else {
      hasLead_ = true;
      leadValue_ = value_;
      leadLength_ = length_;
    }
    length_ = 0;
  }

  void Close(std::int64_t start, std::int64_t length) {
    if (length < shortest_) return;
    ++Count;
    if (length > Longest) {
      Longest = length;
      LongestStart = start;
    }
  }

  // A run that is long enough has the same value at two of the places that are half its length
  // apart, so only those are looked at.
  void TakeRest(std::span<const T> x, std::int64_t first) {
    const std::int64_t size = std::ssize(x);
    const std::int64_t step = std::max<std::int64_t>(1, shortest_ / 2);
    std::int64_t bound = first;
    for (std::int64_t j = first; j + step < size;) {
      if (At(x, j) != At(x, j + step)) {
        j += step;
        continue;
      }
      const auto [from, to] = Around(x, j, bound);
      if (to == size) break;
      Close(position_ + from, to - from);
      bound = j = to;
    }
    const auto [from, to] = Around(x, size - 1, bound);
    value_ = At(x, size - 1);
    start_ = position_ + from;
    length_ = to - from;
  }

  static std::pair<std::int64_t, std::int64_t> Around(std::span<const T> x, std::int64_t i,
                                                      std::int64_t bound) {
    const T value = At(x, i);
    std::int64_t from = i;
    while (from > bound && At(x, from - 1) == value) --from;
    std::int64_t to = i + 1;
    while (to < std::ssize(x) && At(x, to) == value) ++to;
    return {from, to};
  }

  std::int64_t shortest_;
  std::int64_t position_ = 0;  // samples that were taken
  T value_{};                  // of the run that goes on
  std::int64_t start_ = 0;
  std::int64_t length_ = 0;
  bool hasLead_ = false;  // the run at the start has ended
  T leadValue_{};
  std::int64_t leadLength_ = 0;
};

/// Runs of two samples or more at the limits of the counts, joined likewise.
class LimitRuns {
 public:
  void Take(bool isAtLimit) {
    std::int64_t& run = isAllAtLimit_ ? lead_ : tail_;
    if (isAtLimit) {
      ++run;
      return;
    }
    if (!isAllAtLimit_) Close(tail_);
    isAllAtLimit_ = false;
    tail_ = 0;
  }

  void Join(const LimitRuns& next) {
    const std::int64_t joined = (isAllAtLimit_ ? lead_ : tail_) + next.lead_;
    (isAllAtLimit_ ? lead_ : tail_) = joined;
    if (next.isAllAtLimit_) return;
    if (!isAllAtLimit_) Close(joined);
    isAllAtLimit_ = false;
    tail_ = next.tail_;
    Count += next.Count;
    Samples += next.Samples;
  }

  void Finish() {
    Close(lead_);
    Close(tail_);
    lead_ = tail_ = 0;
  }

  std::int64_t Count = 0;
  std::int64_t Samples = 0;

 private:
  void Close(std::int64_t length) {
    if (length < 2) return;
    ++Count;
    Samples += length;
  }

  bool isAllAtLimit_ = true;  // so far
  std::int64_t lead_ = 0;     // samples of the run at the start
  std::int64_t tail_ = 0;     // of the one that goes on, where that is another
};

}  // namespace lmi
