// The flat data file: the samples of a recording, rewritten once as plain frames.
#pragma once

#include "model/ImportState.h"

namespace lmimport {

/// The flat data file of the recording that is open in DataFile: frames alone, no header, under the
/// name of the recording with "dat" behind it. It outlives the open, and the next one uses it again
/// when it has the full length and is younger than the recording. Where no such file can be made, a
/// temporary one without a name takes its place, and goes with the open.
///
/// What is half written is never taken for whole:
///  - The last byte is written last, when all others have reached the disk, so a file whose writer
///    was killed, lost its power or its disk is too short. An old file of the full length loses its
///    last byte, on the disk too, before anything else of it changes. One that is longer stays so,
///    and is never taken at all. That the last byte lies on the disk before the length counts it is
///    left to the file system; those with a journal see to it.
///  - A file whose writer goes on living, but gives up, is emptied, so it takes no room either.
///  - While it is written, it is locked against all others. They find no file that they could open,
///    and write a temporary one. A finished one is held with a lock that others share, so nobody
///    rewrites it below those who read.
///  - The recording may be changed while it is read. Then the flat file is given the date that the
///    recording had before, and so is not the younger one.
/// It is never reached through a symbolic link, and never takes the place of a folder or a device.
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

  ImportState& state_;
  std::int64_t length_;
  platform::WriteTime recorded_;
  std::unique_ptr<BinaryFile> file_;
  bool upToDate_ = false;
  std::int64_t appended_ = 0;
  char lastByte_ = 0;
};

}  // namespace lmimport
