// A random-access file with typed bulk reads: headers and texts are read through it.
#pragma once

#include <lmimport/Types.h>

#include <algorithm>
#include <array>
#include <span>
#include <string>

#include "model/FileSource.h"
#include "model/SourceReads.h"
#include "model/TextTools.h"
#include "platform/System.h"

namespace lmimport {

// What others may do to a file while it is open.
inline constexpr Long ShareReading = 1;  // none of them writes
inline constexpr Long ShareReadingAndWriting = 3;

/// A cursor over the bytes of a file or of any other source: the position where the next read
/// begins, and a window of bytes that were read ahead. Numbers are little-endian.
///
/// The end of the file is no failure: a read delivers what is there, Done tells how much, and the
/// rest of the target is set to zero. A position outside the file, before its start too, reads as
/// nothing. What the system can't read leaves as std::system_error with the name of the
/// file.
///
/// Bulk reads go straight to the target with one read of the source. Small ones come out of a
/// window, so walking a header or text byte by byte costs no call for each; a window that ended with
/// the file is filled again when more is asked, since a recorder may still be writing.
class BinaryFile {
 public:
  explicit BinaryFile(const TextTools& texts, std::shared_ptr<const ByteSource> source = {})
      : texts_(texts), source_(std::move(source)) {}

  /// Opens a plain file; in a folder, if one is given. False: LastError says why.
  bool Open(const String& Path, Long ShareMode, const platform::Folder* folder = nullptr);
  void Close();

  bool IsOpen() const { return source_ != nullptr; }
  std::int64_t Size() const { return SizeOfSource(*source_); }  // bytes, at this moment
  Date FileDateTime() const;  // last write before it was opened, local time, whole seconds; 0: none
  const String& LastError() const { return lastError_; }
  const std::error_code& SystemError() const { return systemError_; }  // of LastError
  const TextTools& Texts() const { return texts_; }
  const std::shared_ptr<const ByteSource>& Source() const { return source_; }

  /// The file of the system that is open; null over any other source.
  const FileSource* File() const { return file_; }

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

  /// Reads over the current record: what the file doesn't hold of it stays. For formats by whose
  /// rules a record is reused past the end of the file.
  template <std::size_t N>
  std::int64_t ReadOver(std::array<Byte, N>& record) {
    std::array<Byte, N> read;
    const std::int64_t done = ReadByteArray(read.data(), N);
    std::copy_n(read.begin(), done, record.begin());
    return done;
  }

  /// One value; 0 where the file doesn't hold it whole.
  template <class T>
  T ReadValue();

  /// Length bytes as text, or as many as there are; nothing is cut off.
  std::int64_t ReadFixedString(String& Text, std::int64_t Length);

  /// A signed 32-bit count of bytes and that many bytes of text; a count below 0 counts as 0.
  std::int64_t ReadCountedString(String& Text);

  /// The bytes up to the next zero byte, the end of the file or `limit` bytes, whichever comes
  /// first, as text; the position is then past them and past the zero byte.
  std::int64_t ReadTerminatedString(String& Text, std::int64_t limit);

 private:
  std::size_t ReadAt(std::int64_t position, void* target, std::size_t size);
  std::size_t ReadThroughWindow(std::int64_t position, void* target, std::size_t size);
  std::string ReadRaw(std::int64_t length);

  static constexpr std::size_t WindowSize = 8192;
  static constexpr std::size_t SmallestBulkRead = 4096;

  const TextTools& texts_;
  std::shared_ptr<const ByteSource> source_;
  FileSource* file_ = nullptr;  // the same
  std::int64_t position_ = 0;
  String lastError_;
  std::error_code systemError_;
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
  static bool FileExists(const String& Path) {  // anything of that name but a folder
    return platform::FileExists(ToUtf8(Path));
  }
  static bool FolderExists(const String& Path) { return platform::FolderExists(ToUtf8(Path)); }
  static String TempFileName(const String& Prefix);  // in the folder for temporary files; not made
  static String Join(const String& Folder, const String& Name);
  static String FolderOf(const String& Path) {  // what precedes it, or "." where there is none
    const std::size_t length = Path.rfind(platform::PathSeparator) + 1;
    return length > 0 ? Path.substr(0, length) : u".";
  }
  static String TitleOf(const String& Path) {  // what follows the last separator
    return Path.substr(Path.rfind(platform::PathSeparator) + 1);
  }
};

}  // namespace lmimport
