// The open recording, as the host sees it.
#pragma once

#include <lmimport/Types.h>

#include <string>
#include <vector>

namespace lmimport {

/// A view on the one open file of a thread; it holds no data. While no file is open, and when its
/// LMImport has ended, it gives empty texts, 0 and empty references. It belongs to the thread that
/// made it: a call from any other throws std::logic_error; letting go is harmless everywhere.
class LMIMPORT_API LMIFile {
 public:
  LMIFile(const LMIFile&) = delete;
  LMIFile& operator=(const LMIFile&) = delete;

  String FileName() const;   // full name
  String FileTitle() const;  // the name after the last path separator
  String Notes() const;
  String DataPad() const;
  Integer BlockCount() const;

  /// Block Index, from 1; 0 is the current block, which is the first. The same object each time for
  /// the same block, until the file is closed. An empty reference for any other index.
  LMIBlockPtr Block(Integer Index);

  Long FileHandle() const;   // handle of the operating system
  Long FileType() const;     // family of the format; equals the index of its filter
  Long FileSubType() const;  // variant inside the family

 private:
  friend class LMImport;
  LMIFile();
  void CloseInternal();

  std::uint64_t thread_;
  std::vector<LMIBlockPtr> blockObjects_;
};

}  // namespace lmimport
