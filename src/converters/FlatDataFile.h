// The flat data file: the samples of a recording, rewritten once as plain frames.
#pragma once

#include "model/Opening.h"

namespace lmimport {

/// The flat data file of the recording that is open in DataFile: frames alone, no header, under the
/// name of the recording with "dat" added. It outlives the open, and the next one uses it again
/// when it has the full length and is younger than the recording. Where no such file can be made, or
/// none is wanted, a temporary one without a name takes its place, and goes with the recording. So
/// it is where the disk has no room for it.
///
/// What isn't whole is never taken for whole:
///  - A new one has no name until all of it is on the disk.
///  - One that is older or of another length is written over. While it is written, its size is odd,
///    which fits no frames: it lacks its last byte, or has the size that an older, longer file had,
///    and one byte more where that was even. The size is set, on the disk too, before anything else
///    changes. The last byte is written last, when all others have reached the disk. So a file whose
///    writer was killed, or lost its power or its disk, is not taken by any later open. A length that
///    reaches the disk before the last byte itself would be; file systems with a journal don't let
///    that happen. A longer file keeps what follows the frames in it, and is never taken.
///    Where the system has no files without a name, a new one is written like this, too.
///  - When its writer gives up, a new one is gone, and an older one is emptied.
///  - While it is written, it is locked against all others. They find no file that they could open,
///    and write a temporary one. A finished one is held with a lock that others share, so nobody
///    rewrites it below those who read.
///  - The recording may be changed or replaced while it is read. Then a new one stays without a
///    name. To one that was there a mark of three bytes is written before the last byte, and the file
///    is too long; the next conversion takes it away. This is looked at right before the last byte
///    is written, and after it.
///
/// The folder may be anybody's, so:
///  - The file lies in the folder that the recording was opened in, also when its path leads to
///    another one by now, and is never reached through a symbolic link. It never takes the place of
///    a folder, of a device or of a file that has other names.
///  - One that belongs to neither the user of this process, the owner of the recording nor root is
///    neither taken nor written to.
///  - It gives nobody a right that the recording doesn't give. One that does is taken away, since
///    who has it open could go on reading and writing it, and is made anew; so is one that is to be
///    written over while somebody has it open.
class FlatDataFile {
 public:
  /// `length`: bytes of all frames.
  FlatDataFile(Opening& opening, std::int64_t length);
  ~FlatDataFile();
  FlatDataFile(const FlatDataFile&) = delete;
  FlatDataFile& operator=(const FlatDataFile&) = delete;

  /// Where neither has room for it, throws std::system_error with the name of the temporary one;
  /// refuses the open where none can be made at all.
  void FindOrCreate();

  /// It was found, and holds all frames: there is nothing to append.
  bool IsUpToDate() const { return upToDate_; }

  /// The next bytes of the frames; `length` of them in all. Throws std::system_error when they
  /// can't be written.
  void Append(const void* frames, std::int64_t size);

  /// Completes the file and makes it the one that holds the samples.
  void Adopt();

  /// Of a fault: the disk is full, or the file may not be that long.
  static bool MeansNoRoom(const std::error_code& error);

 private:
  bool FindOrCreateBeside();
  bool OpenBeside(platform::Access access, platform::Lock lock);
  bool CreateBeside();
  bool Replace();
  bool BeginOver();
  bool Judge();
  bool HasRoom();
  bool IsWholeAtOnce() const;
  void Begin();
  void Write(const void* bytes, std::int64_t size);
  void Flush();
  void MoveToTemporary();
  bool IsMarked() const;
  void Abandon();
  void Complete();
  void CompleteInPlace();

  std::string Title() const { return ToUtf8(PathTools::TitleOf(name_)); }
  bool RecordingHasChanged() const { return recording_->Times() != recording_->TimesAtOpen(); }

  static constexpr std::array<char, 3> Mark = {'L', 'M', '\x1a'};

  Opening& opening_;
  std::int64_t length_;
  const FileSource* recording_;  // null where it is no file of the system
  String name_;                  // the file's own, where it lies beside the recording
  std::shared_ptr<FileSource> file_;
  std::error_code error_;  // why it wasn't opened beside the recording
  bool upToDate_ = false;
  bool isNew_ = false;  // beside the recording, made here; isOld_: found, and to be written over
  bool isOld_ = false;
  std::int64_t written_ = 0;
  char lastByte_ = 0;         // held back to the end
  std::int64_t oldSize_ = 0;  // of a longer file that was found; 0: there was none
};

}  // namespace lmimport
