#include "converters/FlatDataFile.h"

namespace lmimport {

FlatDataFile::FlatDataFile(ImportState& state, std::int64_t length)
    : state_(state),
      length_(length),
      recorded_(state.DataFile->LastWriteTime()),
      file_(std::make_unique<BinaryFile>(state.Texts)) {}

FlatDataFile::~FlatDataFile() {
  if (!file_ || !file_->IsOpen() || upToDate_) return;
  try {
    if (file_->Size() <= length_) file_->Resize(0);
  } catch (const std::system_error&) {
    // It is too short as it stands.
  }
}

bool FlatDataFile::Judge() const {
  return file_->Size() == length_ && file_->LastWriteTime() > recorded_;
}

bool FlatDataFile::FindOrCreate() {
  const String name = state_.DataFile->PathName() + u"dat";
  // A finished file needs no right to write, and may have other readers.
  upToDate_ = file_->Open(name, true, OrdinaryFile | NoLink, ShareReading) && Judge();
  if (upToDate_) return true;
  file_->Close();
  if (file_->Open(name, false, OrdinaryFile, ShareReading)) {
    upToDate_ = Judge();  // another program may have finished it just now
    if (upToDate_)
      file_->Share();
    else
      MakeTooShort();
    return true;
  }
  if (file_->Create(name, OrdinaryFile, ShareReading)) return true;
  if (file_->Create(PathTools::TempFileName(u"lmi"), TemporaryFile, ShareReading)) return true;
  state_.ErrorString = file_->LastError();
  return false;
}

void FlatDataFile::MakeTooShort() {
  if (length_ == 0 || file_->Size() != length_) return;
  file_->Resize(length_ - 1);
  file_->Flush();
}

void FlatDataFile::Append(const void* frames, std::int64_t size) {
  appended_ += size;
  const bool complete = appended_ == length_ && size > 0;
  file_->WriteBytes(frames, complete ? size - 1 : size);
  if (complete) lastByte_ = static_cast<const char*>(frames)[size - 1];
}

void FlatDataFile::Adopt() {
  if (!upToDate_) {
    file_->Flush();
    if (length_ > 0) file_->WriteBytes(&lastByte_, 1);
    if (state_.DataFile->LastWriteTime() != recorded_) file_->SetLastWriteTime(recorded_);
    file_->Share();
  }
  state_.DataFile->Close();
  state_.DataFile = std::move(file_);
}

}  // namespace lmimport
