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
  Write,            // reading too
  Create,           // writing, as an empty file; an older one is emptied
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

/// An open plain file: positional reads and writes, no position of its own.
class File {
 public:
  File() = default;
  ~File() { Close(); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  /// Gives no error and opens the file, or leaves it closed. What isn't a plain file is refused,
  /// and never waited for; to write, a symbolic link is refused too, and a file of several names,
  /// the others of which may be another's. Locks are advisory, never waited for, taken before
  /// anything in the file changes, and held until the close. Where the file system has none,
  /// Exclusive is refused and Shared is let pass. What couldn't be locked is left as it was.
  /// A new file gets at most the rights `rights`, in the way of the system; a temporary one is its
  /// maker's alone.
  std::error_code Open(const std::string& name, Access access, Lock lock, unsigned rights = 0666);

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

  /// The rights that a file beside this one may have: not more than it, but its owner's to write.
  unsigned RightsBeside() const;

  /// Takes the rights from this file that the other one doesn't give, as far as the system lets it.
  void NarrowRightsTo(const File& other);

 private:
  int handle_ = -1;
  FileTimes timesAtOpen_;
};

bool FileExists(const std::string& name);    // of any kind but a folder
bool FolderExists(const std::string& name);  // symbolic links are followed

/// The name with its folder, from the root on; links in it stay as they are.
std::string AbsoluteName(const std::string& name);

std::string TemporaryFolder();

}  // namespace lmimport::platform
