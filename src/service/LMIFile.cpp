#include <lmimport/LMIBlock.h>
#include <lmimport/LMIFile.h>

#include "service/ImportState.h"

namespace lmimport {
namespace {

// The store, if it is this file's, else one of nothing: an object whose LMImport has ended is no
// longer the thread's file, and never shows the next one.
const RecordingStore& StoreOf(const LMIFile* file, std::uint64_t thread) {
  static const RecordingStore none;
  const ImportState& state = StateOf(thread);
  return state.CurrentFile.get() == file && state.Store ? *state.Store : none;
}

}  // namespace

LMIFile::LMIFile() : thread_(CurrentState().ThreadNumber) {}

String LMIFile::FileName() const {
  return StoreOf(this, thread_).FileName;
}

String LMIFile::FileTitle() const {
  return PathTools::TitleOf(FileName());
}

String LMIFile::Notes() const {
  return StoreOf(this, thread_).FileRec.FileNotes;
}

String LMIFile::DataPad() const {
  return StoreOf(this, thread_).FileRec.FileDataPad;
}

Integer LMIFile::BlockCount() const {
  return StoreOf(this, thread_).FileRec.BlockCount;
}

LMIBlockPtr LMIFile::Block(Integer Index) {
  const RecordingStore& store = StoreOf(this, thread_);
  if (Index < 0 || Index > store.FileRec.BlockCount || store.Blocks.empty()) return {};
  const Integer number = Index == 0 ? store.FileRec.CurrentBlock : static_cast<Integer>(Index - 1);
  blockObjects_.resize(store.Blocks.size());
  LMIBlockPtr& object = blockObjects_[static_cast<std::size_t>(number)];
  if (!object) {
    object.reset(new LMIBlock);
    object->blockNumber_ = number;
  }
  return object;
}

Long LMIFile::FileHandle() const {
  return StoreOf(this, thread_).Blocks.empty() ? 0 : CurrentState().FileHandle;
}

Long LMIFile::FileType() const {
  return StoreOf(this, thread_).FileType;
}

Long LMIFile::FileSubType() const {
  return StoreOf(this, thread_).FileSubType;
}

void LMIFile::CloseInternal() {
  ImportState& state = StateOf(thread_);
  for (const LMIBlockPtr& object : blockObjects_) {
    if (object) object->blockNumber_ = -1;
  }
  blockObjects_.clear();
  if (state.CurrentFile.get() == this) state.ResetStore();
}

}  // namespace lmimport
