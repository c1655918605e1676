#include <lmimport/LMIBlock.h>
#include <lmimport/LMIFile.h>

#include "model/ImportState.h"
#include "platform/System.h"

namespace lmimport {
namespace {

// The store, if it is this file's: an object whose LMImport has ended is no longer the thread's
// file, and never shows the next one.
const ImportState* OpenStore(const LMIFile* file, std::uint64_t thread) {
  const ImportState& state = StateOf(thread);
  return state.IsOpen && state.CurrentFile.get() == file ? &state : nullptr;
}

}  // namespace

LMIFile::LMIFile() : thread_(CurrentState().ThreadNumber) {}

String LMIFile::FileName() const {
  const ImportState* state = OpenStore(this, thread_);
  return state != nullptr ? state->FileName : String();
}

String LMIFile::FileTitle() const {
  const String name = FileName();
  return name.substr(name.rfind(platform::PathSeparator) + 1);
}

String LMIFile::Notes() const {
  const ImportState* state = OpenStore(this, thread_);
  return state != nullptr ? state->FileRec.FileNotes : String();
}

String LMIFile::DataPad() const {
  const ImportState* state = OpenStore(this, thread_);
  return state != nullptr ? state->FileRec.FileDataPad : String();
}

Integer LMIFile::BlockCount() const {
  const ImportState* state = OpenStore(this, thread_);
  return state != nullptr ? state->FileRec.BlockCount : Integer{0};
}

LMIBlockPtr LMIFile::Block(Integer Index) {
  const ImportState* state = OpenStore(this, thread_);
  if (state == nullptr || Index < 0 || Index > state->FileRec.BlockCount) return {};
  const Integer number = Index == 0 ? state->FileRec.CurrentBlock : static_cast<Integer>(Index - 1);
  blockObjects_.resize(state->Blocks.size());
  LMIBlockPtr& object = blockObjects_[static_cast<std::size_t>(number)];
  if (!object) {
    object.reset(new LMIBlock);
    object->blockNumber_ = number;
  }
  return object;
}

Long LMIFile::FileHandle() const {
  const ImportState* state = OpenStore(this, thread_);
  return state != nullptr ? state->FileHandle : 0;
}

Long LMIFile::FileType() const {
  const ImportState* state = OpenStore(this, thread_);
  return state != nullptr ? state->FileType : 0;
}

Long LMIFile::FileSubType() const {
  const ImportState* state = OpenStore(this, thread_);
  return state != nullptr ? state->FileSubType : 0;
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
