// The flat data file: the samples of a recording, rewritten once as plain frames.
#pragma once

#include "model/Opening.h"

namespace lmimport {

/// The flat data file of the recording that is open in DataFile: frames alone, no header, under the
/// name of the recording with "dat" added. It outlives the open, and the next one uses it again
/// when it has the full length and is younger than the recording. Where no such file can be made, or
/// none is wanted, a temporary one without a name takes its place, and goes with the recording.
///
/// What isn't whole is never taken for whole:
///  - While it is written, its size is odd, which fits no frames: it lacks its last byte, or has the
///    size that an older, longer file had, and one byte more where that was even. The size is set,
///    on the disk too, before anything else of an older file changes. The last byte is written last,
///    when all others have reached the disk. So a file whose writer was killed, or lost its power or
///    its disk, is not taken by any later open. That the last byte is on the disk before the length
///    counts it is left to the file system; those with a journal see to it.
///  - A file whose writer gives up is emptied, so it takes no room either.
///  - While it is written, it is locked against all others. They find no file that they could open,
///    and write a temporary one. A finished one is held with a lock that others share, so nobody
///    rewrites it below those who read.
///  - The recording may be changed or replaced while it is read. Then a mark of three bytes is
///    written with the last byte, and the file is too long; the next conversion takes it away. This
///    is looked at right before the last byte is written, and after it.
/// A longer file that was found keeps what follows the frames in it, and is never taken. It is never
/// reached through a symbolic link, and never takes the place of a folder, of a device or of a file
/// that has other names. It gives nobody a right to read that the recording doesn't give.
class FlatDataFile {
 public:
  /// `length`: bytes of all frames.
  FlatDataFile(Opening& opening, std::int64_t length);
  ~FlatDataFile();
  FlatDataFile(const FlatDataFile&) = delete;
  FlatDataFile& operator=(const FlatDataFile&) = delete;

  /// Refuses the open where no file can be made, temporary or not.
  void FindOrCreate();

  /// It was found, and holds all frames: there is nothing to append.
  bool IsUpToDate() const { return upToDate_; }

  /// The next bytes of the frames; `length` of them in all. Throws std::system_error when the disk
  /// is full or can't be written.
  void Append(const void* frames, std::int64_t size);

  /// Completes the file and makes it the one that holds the samples.
  void Adopt();

 private:
  bool FindOrCreateBeside();
  bool Judge() const;
  void Begin();
  bool IsMarked() const;
  void Complete();

  static constexpr std::array<char, 3> Mark = {'L', 'M', '\x1a'};

  Opening& opening_;
  std::int64_t length_;
  BinaryFile file_;
  bool upToDate_ = false;
  bool temporary_ = false;
  std::int64_t appended_ = 0;
  char lastByte_ = 0;
  std::int64_t oldSize_ = 0;  // of a longer file that was found; 0: there was none
};

}  // namespace lmimport
