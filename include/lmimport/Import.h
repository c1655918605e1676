// The way in: opens recording files, and says what the library is and which files it knows.
#pragma once

#include <lmimport/Types.h>

#include <functional>

namespace lmimport {

/// Made and ended by the host. All LMImport objects of a thread share one open file, one error text
/// and one set of defaults; opening a second file closes the first, and the end of any of them
/// closes the file of all. Two files at a time need two threads. An object belongs to the thread
/// that made it: a call from any other throws std::logic_error, and its end there does nothing.
class LMIMPORT_API LMImport {
 public:
  LMImport();
  ~LMImport();
  LMImport(const LMImport&) = delete;
  LMImport& operator=(const LMImport&) = delete;

  String Name() const;
  String Version() const;
  Integer Major() const;
  Integer Minor() const;
  Integer Revision() const;

  /// Closes what is open and opens FileName, as named or under DefaultPath. True: ObjectFile is
  /// the file. False: ObjectFile is empty, ErrorString says why, and no file is open. A fault
  /// inside (the file can't be read, a number that doesn't fit) leaves as std::system_error,
  /// std::domain_error, std::range_error, std::invalid_argument or std::length_error; no file is
  /// open then, ErrorString is what it was when the fault struck, and the next open works.
  bool OpenFile(const String& FileName, LMIFilePtr& ObjectFile);

  /// Lets the user pick a file and opens it. False with an empty ErrorString when the user gave up
  /// or there is no file selector; the open file and ObjectFile stay as they are then.
  bool SelectAndOpenFile(LMIFilePtr& ObjectFile);

  void CloseFile(const LMIFilePtr& ObjectFile);

  /// Why the last open failed; a close leaves it alone.
  String ErrorString() const;

  Long FilterCount() const;
  Long FilterIndex() const;
  void SetFilterIndex(Long Index);  // 1 to FilterCount; any other value stores 0, no choice
  String FilterTitle(Long FilterIndex) const;  // any index but those: all supported files
  String FilterFiles(Long FilterIndex) const;  // patterns, separated by ";"

  /// Folder for relative names; while none is set, that of the file selector. A folder that doesn't
  /// exist is ignored.
  String DefaultPath();
  void SetDefaultPath(const String& Path);

  /// What describes raw data that nothing else does: channels, 1 to 32, and samples per second of
  /// each, above 0 and below 10 to the power of 10. Any other value is ignored.
  Integer DefaultChannelCount();
  void SetDefaultChannelCount(Integer Count);
  Double DefaultSamplingRate();
  void SetDefaultSamplingRate(Double Rate);

  /// OpenFile and SelectAndOpenFile with the object as the result, an empty reference on failure.
  LMIFilePtr OpenFileObject(const String& FileName);
  LMIFilePtr SelectAndOpenFileObject();

 private:
  template <class T>
  T OnOwnThread(T value) const;

  std::uint64_t thread_;
};

/// How the LMImport objects of this thread read recordings, from the next open on; Written at first.
LMIMPORT_API void SetReading(Reading As);

/// Of the opens of this thread that go through a whole recording: the Handler is called when such
/// work begins, and then some ten times a second, with the Fraction of the recording that is done,
/// from 0 to 1. When it gives false, OpenFile ends as std::system_error with
/// std::errc::operation_canceled, no file is open, and what was begun on disk isn't taken for good by
/// any later open. What it throws leaves OpenFile too. No object of the library may be called from
/// within: that is std::logic_error. An empty Handler asks for nothing more.
LMIMPORT_API void SetProgressHandler(std::function<bool(double Fraction)> Handler);

}  // namespace lmimport
