#include "model/ImportState.h"

#include <lmimport/LMIFile.h>

#include <algorithm>
#include <atomic>
#include <numeric>
#include <utility>

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

void BlockRec::DimensionChannels(Integer count) {
  const auto size = static_cast<std::size_t>(count);
  ChannelCount = count;
  ChannelIndex.resize(size);
  std::iota(ChannelIndex.begin(), ChannelIndex.end(), Integer{0});
  ChannelScale.assign(size, 0);
  ChannelOffset.assign(size, 0);
}

ImportState::ImportState() : ThreadNumber(NextThreadNumber()) {}

bool ImportState::Refuse(Refusal why, std::string detail) {
  RefusedFor = why;
  RefusalDetail = std::move(detail);
  return false;
}

void ImportState::Note(std::string_view code, std::int64_t position, const std::string& text) {
  Found.push_back({false, code, position, FromUtf8(text)});
}

void ImportState::Warn(std::string_view code, std::int64_t position, const std::string& text) {
  Found.push_back({true, code, position, FromUtf8(text)});
}

Single ImportState::SettledSamplingRate() {
  constexpr Single largest = 1e10F;
  if (!(DefaultSamplingRate > 0) || DefaultSamplingRate > largest)
    DefaultSamplingRate = FallbackSamplingRate;
  return DefaultSamplingRate;
}

void BlockRec::FillFrom(std::int64_t bytes) {
  const std::int64_t frame = std::int64_t{ChannelCount} * SampleWidth(SampleType);
  SizeChannel = HeldAsLong(std::max<std::int64_t>(bytes, 0) / frame);
}

void ImportState::FinishFile(Long signature, Integer versionMajor, Integer versionMinor,
                             Long fileType, Long fileSubType) {
  FileType = fileType;
  FileSubType = fileSubType;
  std::int64_t total = 0;
  for (const BlockRec& block : Blocks) total += block.SizeChannel;
  FileRec.Signature = signature;
  FileRec.VersionMajor = versionMajor;
  FileRec.VersionMinor = versionMinor;
  FileRec.FileSamplingRate = Blocks.front().SamplingRate;
  FileRec.ChannelCount = Blocks.front().ChannelCount;
  FileRec.TotalSamples = HeldAsLong(total);
  FileRec.BlockCount = static_cast<Integer>(Blocks.size());
  FileRec.CurrentBlock = 0;
}

void ImportState::ResetStore() {
  if (!IsOpen) return;
  Blocks = std::vector<BlockRec>();  // gives the memory back, too
  std::ranges::fill(Channels, ChannelRec());
  FileRec = {};
  FileHandle = 0;
  Magic = 0;
  FileType = 0;
  FileSubType = 0;
  IsOpen = false;
  FileName.clear();
  if (DataFile) DataFile->Close();
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
