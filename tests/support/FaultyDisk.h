#pragma once

#include <cstddef>
#include <string>

namespace lmimport::test {

/// While this lives, what the process reads and writes by position, flushes, resizes and takes room
/// for goes through it.
class FaultyDisk {
 public:
  enum Call { Read, Change };  // changes are writes, flushes, new sizes and room taken

  FaultyDisk();
  ~FaultyDisk();
  FaultyDisk(const FaultyDisk&) = delete;
  FaultyDisk& operator=(const FaultyDisk&) = delete;

  /// No read or write moves more than so many bytes at a time.
  void Shorten(std::size_t bytes);

  /// `count` calls of the kind succeed, and the one after them fails with the error; `once`, or
  /// all from then on.
  void FailAfter(Call call, long count, int error, bool once);

  /// The process is killed when so many bytes are written, or when so many changes are made.
  void KillAfter(long bytes);
  void KillBefore(long change);

  /// No file can be made without a name.
  void TakeNamelessFiles();

  /// The failure that was asked for has come.
  bool HasFailed() const;

  /// The changes so far, in their order: "reserve 32, write 31, flush". Only one thread may make them.
  const std::string& Changes() const { return changes_; }

 private:
  std::string changes_;
};

}  // namespace lmimport::test
