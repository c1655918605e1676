// The one door to the files of the operating system. Names are in the system's own bytes.
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>

namespace lmimport::platform {

enum class Access {
  Read,
  ReadOwn,          // what no symbolic link leads to
  Write,            // reading too, and no symbolic link either
  CreateTemporary,  // a file without a name: gone with its handle, also after a crash
};

enum class Lock {
  None,
  Shared,     // keeps out Exclusive ones
  Exclusive,  // keeps out Shared and Exclusive ones
};

/// As the file system keeps it: no time zone, so a change of the clock's rules moves none.
struct FileTime {
  std::int64_t Seconds = 0;  // since 1970, UTC
  std::int64_t Nanoseconds = 0;
  auto operator<=>(const FileTime&) const = default;
};

struct FileTimes {
  FileTime Written;  // last
  FileTime Changed;  // last, in any way: written, renamed over, its date set back
  bool operator==(const FileTimes&) const = default;
};

/// A folder that is held open: what is looked up in it lies in this folder, wherever its path leads
/// by then.
class Folder {
 public:
  Folder() = default;
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  void Open(const std::string& name);  // closed afterwards where that can't be
  bool IsOpen() const { return handle_ >= 0; }
  int Handle() const { return handle_; }

 private:
  int handle_ = -1;
};

/// An open plain file: positional reads and writes, no position of its own.
class File {
 public:
  File() = default;
  ~File() { Close(); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  /// Gives no error and opens the file, or leaves it closed. With a folder, `name` is a name in it.
  /// What isn't a plain file is refused, and never waited for; to write, a file of several names is
  /// refused too, the others of which may be another's. A file that another program has a lease on
  /// is waited for a fifth of a second. Locks are advisory, never waited for, and held until the
  /// close. Where the file system has none, Exclusive is refused and Shared is let pass.
  std::error_code Open(const std::string& name, Access access, Lock lock,
                       const Folder* folder = nullptr);

  /// Makes an empty file to be written and opens it, locked Exclusive. It is without a name until
  /// Publish where the system has such files, and else has it at once; a file that is there already
  /// is left alone. It has no right that `recording` doesn't give, in no other way either than by
  /// its rights: see IsOpenToMoreThan.
  std::error_code CreateBeside(const File& recording, const Folder& folder,
                               const std::string& name);
  bool HasName() const { return hasName_; }

  /// Gives the file its name in the folder, where nothing has that name. False where it can't.
  bool Publish(const Folder& folder, const std::string& name);

  /// Takes the name from the file that is open here; any other file of the name keeps it. False
  /// where it can't.
  bool Remove(const Folder& folder, const std::string& name);

  void Close();
  bool IsOpen() const { return handle_ >= 0; }
  int Handle() const { return handle_; }

  /// Makes the Exclusive lock a Shared one, with no moment of no lock between them. Throws as those
  /// below.
  void Share();

  /// All that lies in the file from the position on, up to `size` bytes; gives their number. Throws
  /// std::system_error when the system can't read, all these alike.
  std::size_t ReadAt(std::int64_t position, void* target, std::size_t size) const;
  void WriteAt(std::int64_t position, const void* source, std::size_t size);
  std::int64_t Size() const;
  void Resize(std::int64_t size);
  void Flush();  // all that is written, and the size, are on the disk
  FileTimes Times() const;
  const FileTimes& TimesAtOpen() const { return timesAtOpen_; }

  /// Takes the room on the disk for the first `size` bytes; the size stays. Where there is no room,
  /// or where this process may not write so far, all stays as it was, and it throws. A file system
  /// that takes no room ahead is asked whether it has it.
  void Reserve(std::int64_t size);

  /// It belongs to the user of this process, to the owner of the recording or to root.
  bool IsTrustedFor(const File& recording) const;

  /// Somebody may read or write it who may not do so with the recording. Of a recording that is
  /// shared by a list of users and groups, or that a symbolic link led to, nothing is known of who
  /// may, and the file must be its owner's alone.
  bool IsOpenToMoreThan(const File& recording) const;

  /// Takes the rights that the recording doesn't give. An error where some of them stay.
  std::error_code TakeRightsOf(const File& recording);

  /// Somebody else has the file open, as far as the system tells.
  bool IsOpenElsewhere() const;

 private:
  std::error_code Take(int handle, Lock lock, bool writing);

  int handle_ = -1;
  bool hasName_ = true;
  bool byLink_ = false;  // a symbolic link led to it
  FileTimes timesAtOpen_;
};

bool FileExists(const std::string& name);    // of any kind but a folder
bool FolderExists(const std::string& name);  // symbolic links are followed

/// The name with its folder, from the root on; links in it stay as they are.
std::string AbsoluteName(const std::string& name);

std::string TemporaryFolder();

}  // namespace lmimport::platform
