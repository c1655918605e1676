#include "converters/FlatDataFile.h"

#include <algorithm>
#include <cerrno>

#include "model/TemporaryFile.h"

namespace lmimport {

using platform::Access;
using platform::Lock;

bool FlatDataFile::MeansNoRoom(const std::error_code& error) {
  return error == std::errc::no_space_on_device || error == std::errc::file_too_large ||
         error == std::error_code(EDQUOT, std::generic_category());
}

FlatDataFile::FlatDataFile(Opening& opening, std::int64_t length)
    : opening_(opening), length_(length), recording_(opening.DataFile.File()) {
  if (recording_ != nullptr) name_ = recording_->PathName() + u"dat";
}

FlatDataFile::~FlatDataFile() {
  if (file_ && !upToDate_) Abandon();
}

void FlatDataFile::Abandon() {
  try {
    if (isNew_ && file_->File().HasName()) file_->File().Remove(opening_.Folder, Title());
    if (isOld_) file_->Resize(0);
  } catch (const std::system_error&) {
    // Its size fits no frames.
  }
  file_.reset();
}

bool FlatDataFile::Judge() {
  upToDate_ =
      file_->Size() == length_ && file_->TimesAtOpen().Written > recording_->TimesAtOpen().Written;
  if (upToDate_ && recording_->TimesAtOpen().Changed > file_->TimesAtOpen().Changed)
    opening_.Warn("flat-file-older", -1,
                  "The recording, its names or its rights were changed, or it was put in the "
                  "place of another, after its flat data file ",
                  ToUtf8(name_),
                  " was written, whose samples are shown. If they may be another recording's, "
                  "delete that file: it is written anew then.");
  return upToDate_;
}

bool FlatDataFile::OpenBeside(Access access, Lock lock) {
  auto file = std::make_shared<FileSource>();
  error_ = file->Open(name_, access, lock, &opening_.Folder);
  if (error_) return false;
  if (!file->File().IsTrustedFor(recording_->File())) {
    opening_.Note("flat-file-passed-over", -1, "The flat data file ", ToUtf8(name_),
                  " belongs to another user, and isn't used: its place takes a temporary one.");
    return false;
  }
  file_ = std::move(file);
  return true;
}

bool FlatDataFile::CreateBeside() {
  file_ = std::make_shared<FileSource>();
  isNew_ = !file_->CreateBeside(*recording_, opening_.Folder, name_);
  if (!isNew_) return false;
  if (HasRoom()) {
    if (file_->File().HasName()) Begin();
    return true;
  }
  Abandon();
  isNew_ = false;
  return false;
}

bool FlatDataFile::HasRoom() {
  // For the mark, too, and for the byte that makes the size odd.
  const std::int64_t size =
      IsWholeAtOnce() ? length_ : std::max(length_, file_->Size()) + std::ssize(Mark);
  try {
    file_->Reserve(size);
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

bool FlatDataFile::FindOrCreateBeside() {
  if (!opening_.Rules.KeepsFlatFile || recording_ == nullptr || !opening_.Folder.IsOpen())
    return false;
  // A finished file needs no right to write, and may have other readers.
  if (!OpenBeside(Access::ReadOwn, Lock::Shared))
    return error_ == std::errc::no_such_file_or_directory && CreateBeside();
  if (file_->File().IsOpenToMoreThan(recording_->File())) return Replace();
  if (Judge()) return true;
  file_.reset();
  if (!OpenBeside(Access::Write, Lock::Exclusive)) return false;
  const bool wider = file_->File().IsOpenToMoreThan(recording_->File());
  if (wider || file_->File().IsOpenElsewhere()) return Replace();
  if (Judge()) {  // another program has finished it just now
    file_->Share();
    return true;
  }
  return BeginOver();
}

// Nobody else can see it before it is whole.
bool FlatDataFile::IsWholeAtOnce() const {
  return !isOld_ && !file_->File().HasName();
}

// Others can see what is in the file, now or since they opened it.
bool FlatDataFile::Replace() {
  if (file_->File().Remove(opening_.Folder, Title())) return CreateBeside();
  file_->File().TakeRightsOf(recording_->File());  // the next best
  return false;
}

// Taking room changes the date of the file. One that is out of date by that alone must not have its
// full length then, also where there turns out to be no room.
bool FlatDataFile::BeginOver() {
  const bool fits = file_->Size() == length_;
  if (fits) Begin();
  isOld_ = HasRoom();
  if (isOld_ && !fits) Begin();
  return isOld_;
}

void FlatDataFile::FindOrCreate() {
  if (!FindOrCreateBeside()) file_ = MakeTemporaryFile(length_);
}

// Gives the file a size that fits no frames, on the disk too, before anything else of it changes.
void FlatDataFile::Begin() {
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
  file_->ReadAt(length_, std::as_writable_bytes(std::span(end)));
  return end == Mark;
}

void FlatDataFile::Append(const void* frames, std::int64_t size) {
  if (size <= 0) return;
  const bool complete = written_ + size == length_;
  Write(frames, complete ? size - 1 : size);
  if (complete) lastByte_ = static_cast<const char*>(frames)[size - 1];
}

void FlatDataFile::Write(const void* bytes, std::int64_t size) {
  try {
    file_->WriteAt(written_, bytes, size);
  } catch (const std::system_error& fault) {
    // Not every file system keeps the room that it promised.
    if ((!isNew_ && !isOld_) || !MeansNoRoom(fault.code())) throw;
    MoveToTemporary();
    file_->WriteAt(written_, bytes, size);
  }
  written_ += size;
}

// With what is written so far.
void FlatDataFile::MoveToTemporary() {
  constexpr std::int64_t pieceBytes = 1 << 20;
  const std::shared_ptr<FileSource> temporary = MakeTemporaryFile(length_);
  std::vector<std::byte> piece(static_cast<std::size_t>(std::min(pieceBytes, written_)));
  for (std::int64_t position = 0; position < written_; position += pieceBytes) {
    const std::int64_t size = std::min(pieceBytes, written_ - position);
    file_->ReadAt(position, std::span(piece).first(static_cast<std::size_t>(size)));
    temporary->WriteAt(position, piece.data(), size);
  }
  Abandon();
  isNew_ = isOld_ = false;
  file_ = temporary;
}

void FlatDataFile::Adopt() {
  if (!upToDate_) Complete();
  opening_.Store.DataFile = std::move(file_);
}

void FlatDataFile::Flush() {
  try {
    file_->Flush();
  } catch (const std::system_error& fault) {
    if (!MeansNoRoom(fault.code())) throw;
    MoveToTemporary();
  }
}

void FlatDataFile::Complete() {
  if (!IsWholeAtOnce()) Flush();  // which may find no room, and make it a temporary one
  if (!IsWholeAtOnce()) return CompleteInPlace();
  if (length_ > 0) Write(&lastByte_, 1);
  if (isNew_) Flush();
  if (!isNew_) return;
  file_->Share();
  if (RecordingHasChanged() || !file_->File().Publish(opening_.Folder, Title())) return;
  if (RecordingHasChanged()) file_->File().Remove(opening_.Folder, Title());
}

void FlatDataFile::CompleteInPlace() {
  const auto mark = [this] {
    if (oldSize_ == 0) file_->WriteAt(length_, Mark.data(), std::ssize(Mark));
  };
  // The mark comes first, so that there is no moment at which the file fits and is of no use.
  const bool changed = RecordingHasChanged();
  if (changed) mark();
  if (length_ > 0) file_->WriteAt(written_, &lastByte_, 1);
  if (!changed && oldSize_ > 0) file_->Resize(oldSize_);
  if (!changed && RecordingHasChanged()) mark();
  file_->Share();
}

}  // namespace lmimport
