#include "converters/FlatDataFile.h"

namespace lmimport {

FlatDataFile::FlatDataFile(Opening& opening, std::int64_t length)
    : opening_(opening), length_(length), file_(opening.Texts) {}

FlatDataFile::~FlatDataFile() {
  if (!file_.IsOpen() || upToDate_) return;
  try {
    file_.File()->Resize(0);
  } catch (const std::system_error&) {
    // Its size fits no frames.
  }
}

bool FlatDataFile::Judge() const {
  return file_.Size() == length_ &&
         file_.File()->Times().Written > opening_.DataFile.File()->TimesAtOpen().Written;
}

bool FlatDataFile::FindOrCreateBeside() {
  const FileSource* recording = opening_.DataFile.File();
  if (!opening_.Rules.KeepsFlatFile || recording == nullptr) return false;
  const String name = recording->PathName() + u"dat";
  // A finished file needs no right to write, and may have other readers.
  upToDate_ = file_.Open(name, true, OrdinaryFile | NoLink, ShareReading) && Judge();
  if (upToDate_) return true;
  file_.Close();
  if (file_.Open(name, false, OrdinaryFile, ShareReading)) {
    upToDate_ = Judge();  // another program may have finished it just now
    if (upToDate_)
      file_.File()->Share();
    else
      Begin();
    return true;
  }
  if (!file_.Create(name, OrdinaryFile, ShareReading, recording->RightsBeside())) return false;
  Begin();
  return true;
}

void FlatDataFile::FindOrCreate() {
  if (FindOrCreateBeside()) return;
  temporary_ = file_.Create(PathTools::TempFileName(u"lmi"), TemporaryFile, ShareReading);
  if (!temporary_)
    throw RefusedOpen{Refusal::SystemFault, "no-temporary-file", -1, ToUtf8(file_.LastError()), {},
                      file_.SystemError()};
}

// Gives the file a size that fits no frames, on the disk too, before anything else of it changes.
void FlatDataFile::Begin() {
  FileSource& file = *file_.File();
  file.NarrowRightsTo(*opening_.DataFile.File());
  const std::int64_t size = file.Size();
  if (size > length_ && !IsMarked()) oldSize_ = size;
  if (oldSize_ > 0)
    file.Resize(size | 1);
  else if (length_ > 0)
    file.Resize(length_ - 1);
  else
    file.Resize(0);
  if (size > 0) file.Flush();
}

// An earlier conversion ended with the mark.
bool FlatDataFile::IsMarked() const {
  if (file_.Size() != length_ + std::ssize(Mark)) return false;
  std::array<char, Mark.size()> end{};
  file_.Source()->ReadAt(length_, std::as_writable_bytes(std::span(end)));
  return end == Mark;
}

void FlatDataFile::Append(const void* frames, std::int64_t size) {
  appended_ += size;
  const bool complete = appended_ == length_ && size > 0;
  file_.WriteBytes(frames, complete ? size - 1 : size);
  if (complete) lastByte_ = static_cast<const char*>(frames)[size - 1];
}

void FlatDataFile::Adopt() {
  if (!upToDate_) Complete();
  opening_.Store.DataFile = file_.Source();
  file_.Close();
}

void FlatDataFile::Complete() {
  FileSource& file = *file_.File();
  if (temporary_) {
    if (length_ > 0) file_.WriteBytes(&lastByte_, 1);
    return;
  }
  const FileSource& recording = *opening_.DataFile.File();
  const auto hasChanged = [&] { return recording.Times() != recording.TimesAtOpen(); };
  file.Flush();
  // With the last byte goes the mark, all at once, where the flat file is of no use to the next open.
  std::string end(length_ > 0 ? 1 : 0, lastByte_);
  const bool changed = hasChanged();
  if (changed && oldSize_ == 0) end.append(Mark.begin(), Mark.end());
  file_.WriteBytes(end.data(), std::ssize(end));
  if (!changed && oldSize_ > 0) file.Resize(oldSize_);
  if (!changed && oldSize_ == 0 && hasChanged()) file_.WriteBytes(Mark.data(), std::ssize(Mark));
  file.Share();
}

}  // namespace lmimport
