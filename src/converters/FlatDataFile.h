// The flat data file: the samples of a recording, rewritten once as plain frames.
#pragma once

#include "model/ImportState.h"

namespace lmimport {

/// The flat data file of the recording that is open in DataFile: frames alone, no header, under the
/// name of the recording with "dat" behind it. It outlives the open, and the next one uses it again
/// when it has the full length and is younger than the recording. Where no such file can be made, a
/// temporary one without a name takes its place, and goes with the open.
///
/// What isn't whole is never taken for whole:
///  - The last byte is written last, when all others have reached the disk, so a file whose writer
///    was killed, or lost its power or its disk, is too short. An old file of the full length loses
///    its last byte, on the disk too, before anything else of it changes. One that is longer stays
///    so, and is never taken at all. That the last byte lies on the disk before the length counts it
///    is left to the file system; those with a journal see to it.
///  - A file whose writer gives up is emptied, so it takes no room either; but for one that was
///    longer before.
///  - While it is written, it is locked against all others. They find no file that they could open,
///    and write a temporary one. A finished one is held with a lock that others share, so nobody
///    rewrites it below those who read.
///  - The recording may be changed while it is read. Then the last byte brings one more with it: the
///    file is too long. This is looked at right before the last byte is written, and behind it.
/// It is never reached through a symbolic link, and never takes the place of a folder, of a device or
/// of a file that has other names. It gives nobody a right that the recording doesn't give.
class FlatDataFile {
 public:
  /// `length`: bytes of all frames.
  FlatDataFile(ImportState& state, std::int64_t length);
  ~FlatDataFile();
  FlatDataFile(const FlatDataFile&) = delete;
  FlatDataFile& operator=(const FlatDataFile&) = delete;

  /// False: no file can be made, temporary or not; ErrorString says why.
  bool FindOrCreate();

  /// It was found, and holds all frames: there is nothing to append.
  bool IsUpToDate() const { return upToDate_; }

  /// The next bytes of the frames; `length` of them in all. Throws std::system_error when the disk
  /// is full or can't be written.
  void Append(const void* frames, std::int64_t size);

  /// Completes the file, closes the recording and makes this DataFile.
  void Adopt();

 private:
  bool Judge() const;
  void MakeTooShort();
  void Complete();

  ImportState& state_;
  std::int64_t length_;
  std::unique_ptr<BinaryFile> file_;
  bool upToDate_ = false;
  bool temporary_ = false;
  std::int64_t appended_ = 0;
  std::array<char, 2> end_{};  // the last byte, and the one that is too many
};

}  // namespace lmimport
