// A random-access file with typed bulk reads: all file access of the system goes through it.
#pragma once

#include <lmimport/Types.h>

#include <algorithm>
#include <array>
#include <span>
#include <string>

#include "model/TextTools.h"
#include "platform/File.h"

namespace lmimport {

// The arguments of Open and Create.
inline constexpr Long OrdinaryFile = 0x80;
inline constexpr Long DeleteOnClose = 0x4000000;
inline constexpr Long NoLink = 0x200000;  // a symbolic link under the name is refused
inline constexpr Long TemporaryFile = DeleteOnClose | 0x100;
inline constexpr Long ShareReading = 1;  // others may read: no second writer is let in
inline constexpr Long ShareReadingAndWriting = 3;

/// One file, and a position in it where the next read or write begins. Numbers are little-endian.
///
/// The end of the file is no failure: a read delivers what is there, Done tells how much, and the
/// rest of the target is set to zero. A position outside the file, before its start too, reads as
/// nothing. What the system can't read or write leaves as std::system_error with the name of the
/// file.
///
/// Bulk reads go straight to the target with one read of the operating system. Small ones come out
/// of a window, so walking a header or text byte by byte costs no call for each; a window that
/// ended with the file is filled again when more is asked, since a recorder may still be writing.
class BinaryFile {
 public:
  explicit BinaryFile(const TextTools& texts) : texts_(texts) {}

  /// Opens a plain file, an existing one or a new and empty one. False: LastError says why. A file
  /// opened to be written is never reached through a symbolic link.
  bool Open(const String& Path, bool ReadOnly, Long Attributes, Long ShareMode);
  bool Create(const String& Path, Long Attributes, Long ShareMode, unsigned rights = 0666);
  void Close();

  bool IsOpen() const { return file_.IsOpen(); }
  Long Handle() const { return file_.Handle(); }
  std::int64_t Size() const;                            // bytes, at this moment
  const String& PathName() const { return pathName_; }  // with its folder
  Date FileDateTime() const;  // last write before it was opened, local time, whole seconds
  platform::FileTimes Times() const;
  const platform::FileTimes& TimesAtOpen() const { return file_.TimesAtOpen(); }
  unsigned RightsBeside() const;  // that a file beside this one may be created with
  const String& LastError() const { return lastError_; }

  std::int64_t Position() const { return position_; }
  void Seek(std::int64_t NewPosition) { position_ = NewPosition; }
  void SeekTo(std::int64_t NewPosition) { Seek(NewPosition); }
  void Skip(std::int64_t Count) { position_ += Count; }

  /// Count and the result are bytes here and elements below. The position moves by the bytes read,
  /// a last element that the file holds only in part among them; that one isn't Done and reads as
  /// zero.
  std::int64_t ReadBytes(void* Target, std::int64_t ByteCount);
  std::int64_t ReadByteArray(Byte* First, std::int64_t Count) { return ReadArray(First, Count); }
  std::int64_t ReadInt16Array(Integer* First, std::int64_t Count) {
    return ReadArray(First, Count);
  }
  std::int64_t ReadInt32Array(Long* First, std::int64_t Count) { return ReadArray(First, Count); }
  std::int64_t ReadSingleArray(Single* First, std::int64_t Count) {
    return ReadArray(First, Count);
  }
  std::int64_t ReadDoubleArray(Double* First, std::int64_t Count) {
    return ReadArray(First, Count);
  }

  template <class T>
  std::int64_t ReadArray(T* First, std::int64_t Count);

  /// Reads over a record in hand: what the file doesn't hold of it stays. For formats by whose
  /// rules a record counts again behind the end of the file.
  template <std::size_t N>
  std::int64_t ReadOver(std::array<Byte, N>& record) {
    std::array<Byte, N> read;
    const std::int64_t done = ReadByteArray(read.data(), N);
    std::copy_n(read.begin(), done, record.begin());
    return done;
  }

  /// Count elements from a position of their own, with one read of the operating system, whatever
  /// their number: the file as it is at this moment, with a recorder's latest samples. What isn't
  /// there whole is zero.
  template <class T>
  void ReadFresh(std::int64_t position, T* First, std::int64_t Count) {
    ReadFreshBytes(position, First, Count, sizeof(T));
  }

  /// One value; 0 where the file doesn't hold it whole.
  template <class T>
  T ReadValue();

  /// Length bytes as text, or as many as there are; nothing is cut off.
  std::int64_t ReadFixedString(String& Text, std::int64_t Length);

  /// A signed 32-bit count of bytes and that many bytes of text; a count below 0 counts as 0.
  std::int64_t ReadCountedString(String& Text);

  /// The bytes up to the next zero byte, the end of the file or `limit` bytes, whichever comes
  /// first, as text; the position is then behind them and behind the zero byte.
  std::int64_t ReadTerminatedString(String& Text, std::int64_t limit);

  std::int64_t WriteBytes(const void* Source, std::int64_t ByteCount);
  std::int64_t WriteInt16Array(const Integer* First, std::int64_t Count);
  std::int64_t WriteDoubleArray(const Double* First, std::int64_t Count);

  /// For a file that is open to be written.
  void Resize(std::int64_t NewSize);
  void Flush();  // when this is back, what was written outlives a loss of power
  void NarrowRightsTo(const BinaryFile& Other) { file_.NarrowRightsTo(Other.file_); }
  void Share();  // from now on others may read, and still not write

 private:
  bool OpenAs(const String& path, platform::Access access, Long shareMode, unsigned rights = 0);
  void ReadFreshBytes(std::int64_t position, void* target, std::int64_t count, std::size_t width);
  std::size_t ReadAt(std::int64_t position, void* target, std::size_t size);
  std::size_t ReadThroughWindow(std::int64_t position, void* target, std::size_t size);
  std::string ReadRaw(std::int64_t length);
  template <class Operation>
  auto Guarded(const char* what, const Operation& operation) const;

  static constexpr std::size_t WindowSize = 8192;
  static constexpr std::size_t SmallestBulkRead = 4096;

  const TextTools& texts_;
  platform::File file_;
  std::int64_t position_ = 0;
  String pathName_;
  String lastError_;
  std::int64_t windowStart_ = 0;
  std::size_t windowFilled_ = 0;
  std::array<char, WindowSize> window_;
};

template <class T>
std::int64_t BinaryFile::ReadArray(T* First, std::int64_t Count) {
  constexpr auto width = static_cast<std::int64_t>(sizeof(T));
  const std::int64_t done = ReadBytes(First, Count * width);
  if (done % width != 0) First[done / width] = T{};
  return done / width;
}

template <class T>
T BinaryFile::ReadValue() {
  T value{};
  ReadArray(&value, 1);
  return value;
}

/// Names of files and folders.
class PathTools {
 public:
  static bool FileExists(const String& Path);  // anything of that name but a folder
  static bool FolderExists(const String& Path);
  static String TempFileName(const String& Prefix);  // in the folder for temporary files; not made
  static String Join(const String& Folder, const String& Name);
};

}  // namespace lmimport
