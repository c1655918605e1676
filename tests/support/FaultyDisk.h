#pragma once

#include <cstddef>

namespace lmimport::test {

/// While this lives, what the process reads and writes by position, flushes and resizes goes through
/// it.
class FaultyDisk {
 public:
  FaultyDisk();
  ~FaultyDisk();
  FaultyDisk(const FaultyDisk&) = delete;
  FaultyDisk& operator=(const FaultyDisk&) = delete;

  /// No read or write moves more than so many bytes at a time.
  void Shorten(std::size_t bytes);

  /// `count` reads succeed, and the one behind them fails with the error; once. The same for
  /// everything that changes a file. The counts go on from call to call.
  void FailReadBehind(long count, int error);
  void FailChangeBehind(long count, int error);

  /// The failure that was asked for has come.
  bool HasFailed() const;
};

}  // namespace lmimport::test
