#include "service/ImportState.h"

#include <lmimport/LMIFile.h>

#include <atomic>

#include "platform/ThreadState.h"

namespace lmimport {
namespace {

std::uint64_t NextThreadNumber() {
  static std::atomic<std::uint64_t> last = 0;
  return ++last;
}

ImportState* StateOrNull() {
  return static_cast<ImportState*>(
      platform::ThreadState([]() -> void* { return new ImportState; },
                            [](void* state) { delete static_cast<ImportState*>(state); }));
}

}  // namespace

ImportState::ImportState() : ThreadNumber(NextThreadNumber()) {}

void ImportState::SettleDefaults() {
  if (DefaultChannelCount < 1) DefaultChannelCount = 1;
  if (!(DefaultSamplingRate > 0)) DefaultSamplingRate = FallbackSamplingRate;
}

void ImportState::ResetStore() {
  Store.reset();
  FileHandle = 0;
}

ImportState& CurrentState() {
  ImportState* state = StateOrNull();
  if (state == nullptr) throw std::logic_error("lmimport: this thread has ended");
  return *state;
}

ImportState& StateOf(std::uint64_t threadNumber) {
  ImportState* state = StateOrNull();
  if (state == nullptr || state->ThreadNumber != threadNumber)
    throw std::logic_error("lmimport: an object was called from another thread than its own");
  if (state->Progress.IsCalling())
    throw std::logic_error("lmimport: an object was called by the progress handler of an open");
  return *state;
}

ImportState* StateIfOwned(std::uint64_t threadNumber) noexcept {
  try {
    ImportState* state = StateOrNull();
    const bool owned = state != nullptr && state->ThreadNumber == threadNumber;
    return owned && !state->Progress.IsCalling() ? state : nullptr;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace lmimport
