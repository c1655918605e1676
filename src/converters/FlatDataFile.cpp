#include "converters/FlatDataFile.h"

namespace lmimport {

FlatDataFile::FlatDataFile(ImportState& state, std::int64_t length)
    : state_(state), length_(length), file_(std::make_unique<BinaryFile>(state.Texts)) {}

FlatDataFile::~FlatDataFile() {
  if (!file_ || !file_->IsOpen() || upToDate_) return;
  try {
    if (file_->Size() <= length_) file_->Resize(0);
  } catch (const std::system_error&) {
    // It is too short as it stands.
  }
}

bool FlatDataFile::Judge() const {
  return file_->Size() == length_ && file_->LastWriteTime() > state_.RecordingTime;
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
  if (file_->Create(name, OrdinaryFile, ShareReading)) {
    file_->NarrowRightsTo(*state_.DataFile);
    return true;
  }
  temporary_ = file_->Create(PathTools::TempFileName(u"lmi"), TemporaryFile, ShareReading);
  if (!temporary_) state_.ErrorString = file_->LastError();
  return temporary_;
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
  if (complete) end_[0] = static_cast<const char*>(frames)[size - 1];
}

void FlatDataFile::Adopt() {
  if (!upToDate_) Complete();
  state_.DataFile->Close();
  state_.DataFile = std::move(file_);
}

void FlatDataFile::Complete() {
  const auto hasChanged = [this] {
    return state_.DataFile->LastWriteTime() != state_.RecordingTime;
  };
  if (!temporary_) file_->Flush();
  const bool changed = hasChanged();
  const std::int64_t last = length_ > 0 ? 1 : 0;
  file_->WriteBytes(end_.data() + 1 - last, changed ? last + 1 : last);
  if (!changed && hasChanged()) file_->WriteBytes(end_.data() + 1, 1);
  if (!temporary_) file_->Share();
}

}  // namespace lmimport
