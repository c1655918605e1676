#include "platform/ThreadState.h"

namespace lmimport::platform {
namespace {

thread_local bool ended = false;  // has no destructor, so it can be asked at any time

struct Slot {
  void* State = nullptr;
  void (*Destroy)(void*) = nullptr;

  ~Slot() {
    ended = true;
    if (State != nullptr) Destroy(State);
  }
};

}  // namespace

void* ThreadState(void* (*make)(), void (*destroy)(void*)) {
  if (ended) return nullptr;
  thread_local Slot slot;
  if (slot.State == nullptr) {
    slot.State = make();
    slot.Destroy = destroy;
  }
  return slot.State;
}

}  // namespace lmimport::platform
