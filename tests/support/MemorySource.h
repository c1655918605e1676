// A recording in memory, whose reads a test can make fail.
#pragma once

#include <lmimport/ByteSource.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <system_error>
#include <utility>

namespace lmimport::test {

class MemorySource final : public ByteSource {
 public:
  explicit MemorySource(std::string bytes) : bytes_(std::move(bytes)) {}

  void PutBeside(const std::string& name, std::string bytes) {
    beside_[name] = std::make_shared<MemorySource>(std::move(bytes));
  }

  /// From now on, `count` reads succeed, and the next one fails; `once`, or all from then on.
  void FailAfter(long count, bool once) {
    allowed_ = count;
    failsOnce_ = once;
    hasFailed_ = false;
  }
  bool HasFailed() const { return hasFailed_; }
  long Reads() const { return reads_; }

  std::int64_t Size() const override { return std::ssize(bytes_); }

  std::size_t ReadAt(std::int64_t position, std::span<std::byte> target) const override {
    ++reads_;
    if (allowed_ >= 0 && allowed_-- <= 0) {
      if (!failsOnce_) allowed_ = 0;
      hasFailed_ = true;
      throw std::system_error(std::make_error_code(std::errc::io_error));
    }
    const auto start = std::min(static_cast<std::size_t>(position), bytes_.size());
    const std::size_t size = std::min(target.size(), bytes_.size() - start);
    std::copy_n(reinterpret_cast<const std::byte*>(bytes_.data()) + start, size, target.begin());
    return size;
  }

  std::shared_ptr<const ByteSource> Beside(std::string_view name) const override {
    const auto found = beside_.find(name);
    return found != beside_.end() ? found->second : nullptr;
  }

 private:
  std::string bytes_;
  std::map<std::string, std::shared_ptr<MemorySource>, std::less<>> beside_;
  mutable std::atomic<long> allowed_ = -1;  // below 0: all
  mutable std::atomic<long> reads_ = 0;
  mutable std::atomic<bool> hasFailed_ = false;
  bool failsOnce_ = false;
};

}  // namespace lmimport::test
