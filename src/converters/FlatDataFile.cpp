#include "converters/FlatDataFile.h"

namespace lmimport {

FlatDataFile::FlatDataFile(ImportState& state, std::int64_t length)
    : state_(state), length_(length), file_(std::make_unique<BinaryFile>(state.Texts)) {}

FlatDataFile::~FlatDataFile() {
  if (!file_ || !file_->IsOpen() || upToDate_) return;
  try {
    file_->Resize(0);
  } catch (const std::system_error&) {
    // Its size fits no frames.
  }
}

bool FlatDataFile::Judge() const {
  return file_->Size() == length_ &&
         file_->Times().Written > state_.DataFile->TimesAtOpen().Written;
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
      Begin();
    return true;
  }
  if (file_->Create(name, OrdinaryFile, ShareReading, state_.DataFile->RightsBeside())) {
    Begin();
    return true;
  }
  temporary_ = file_->Create(PathTools::TempFileName(u"lmi"), TemporaryFile, ShareReading);
  if (!temporary_) state_.ErrorString = file_->LastError();
  return temporary_;
}

// Gives the file a size that fits no frames, on the disk too, before anything else of it changes.
void FlatDataFile::Begin() {
  file_->NarrowRightsTo(*state_.DataFile);
  const std::int64_t size = file_->Size();
  if (size > length_ && !IsMarked()) oldSize_ = size;
  if (oldSize_ > 0)
    file_->Resize(size | 1);
  else if (length_ > 0)
    file_->Resize(length_ - 1);
  else
    file_->Resize(0);
  if (size > 0) file_->Flush();
}

// An earlier conversion ended with the mark.
bool FlatDataFile::IsMarked() const {
  if (file_->Size() != length_ + std::ssize(Mark)) return false;
  std::array<char, Mark.size()> end{};
  file_->ReadFresh(length_, end.data(), std::ssize(end));
  return end == Mark;
}

void FlatDataFile::Append(const void* frames, std::int64_t size) {
  appended_ += size;
  const bool complete = appended_ == length_ && size > 0;
  file_->WriteBytes(frames, complete ? size - 1 : size);
  if (complete) lastByte_ = static_cast<const char*>(frames)[size - 1];
}

void FlatDataFile::Adopt() {
  if (!upToDate_) Complete();
  state_.DataFile->Close();
  state_.DataFile = std::move(file_);
}

void FlatDataFile::Complete() {
  const BinaryFile& recording = *state_.DataFile;
  const auto hasChanged = [&] { return recording.Times() != recording.TimesAtOpen(); };
  if (!temporary_) file_->Flush();
  // With the last byte goes the mark, all at once, where the flat file is none for the next open.
  std::string end(length_ > 0 ? 1 : 0, lastByte_);
  const bool changed = hasChanged();
  if (changed && oldSize_ == 0) end.append(Mark.begin(), Mark.end());
  file_->WriteBytes(end.data(), std::ssize(end));
  if (!changed && oldSize_ > 0) file_->Resize(oldSize_);
  if (!changed && oldSize_ == 0 && hasChanged()) file_->WriteBytes(Mark.data(), std::ssize(Mark));
  if (!temporary_) file_->Share();
}

}  // namespace lmimport
