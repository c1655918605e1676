#include "extract/FrameReads.h"

#include <array>

#include "extract/ClampRange.h"
#include "extract/Routes.h"
#include "extract/VectorOps.h"

namespace lmimport {
namespace {

// Scales and offsets, repeated for as many whole frames as go through at a time, so that the
// conversion is one loop over samples, with no loop over channels in it.
template <class Real>
class ScaleRows {
 public:
  ScaleRows(const BlockRec& block, Long frames)
      : channels_(static_cast<std::size_t>(block.ChannelCount)),
        frames_(std::min(BatchSize / channels_, static_cast<std::size_t>(frames))) {
    Repeat(block.ChannelScale, scales_);
    Repeat(block.ChannelOffset, offsets_);
  }

  const Real* Scales() const { return scales_.data(); }
  const Real* Offsets() const { return offsets_.data(); }
  std::size_t Values() const { return frames_ * channels_; }

 private:
  // One frame, and then all that is there behind itself.
  void Repeat(const std::vector<Single>& frame, std::array<Real, BatchSize>& rows) const {
    std::copy(frame.begin(), frame.end(), rows.begin());
    for (std::size_t filled = channels_; filled < Values(); filled *= 2)
      std::copy_n(rows.begin(), std::min(filled, Values() - filled), rows.begin() + filled);
  }

  std::size_t channels_;
  std::size_t frames_;
  std::array<Real, BatchSize> scales_;
  std::array<Real, BatchSize> offsets_;
};

// Goes through the samples in batches of whole frames.
template <class Stored, class Output, class Convert>
void ConvertFrames(const Frames<Stored>& frames, const BlockRec& block, std::size_t batchValues,
                   Output* target, Convert convert) {
  const auto channels = static_cast<std::size_t>(block.ChannelCount);
  frames.ReadInPieces([&](const Stored* piece, std::size_t first, std::size_t n) {
    Output* to = target + first * channels;
    for (std::size_t i = 0; i < n * channels; i += batchValues)
      convert(piece + i, std::min(batchValues, n * channels - i), to + i);
  });
}

template <class Stored, class Output>
void ReadRoute(BinaryFile& file, const BlockRec& block, Output* target, Long start, Long count) {
  const Frames<Stored> frames(file, block, start, count);
  if constexpr (SameType<Stored, Output>) {
    frames.ReadAll(target);
    if constexpr (std::integral<Stored>) {
      if (block.SampleUnsigned == 0) return;
      const auto n = static_cast<std::size_t>(count) * static_cast<std::size_t>(block.ChannelCount);
      HoldCounts(target, SignFlip<Stored>(block), n, target);
    }
  } else if constexpr (std::integral<Stored> && std::integral<Output>) {
    ConvertFrames(frames, block, BatchSize, target,
                  [&](const Stored* from, std::size_t n, Output* to) {
                    HoldCounts(from, SignFlip<Stored>(block), n, to);
                  });
  } else if constexpr (std::integral<Stored>) {
    const ScaleRows<Output> rows(block, count);
    ConvertFrames(
        frames, block, rows.Values(), target, [&](const Stored* from, std::size_t n, Output* to) {
          CountsToValues(from, SignFlip<Stored>(block), n, rows.Scales(), rows.Offsets(), to);
        });
  } else if constexpr (std::integral<Output>) {
    const ScaleRows<Stored> rows(block, count);
    ConvertFrames(frames, block, rows.Values(), target,
                  [&](const Stored* from, std::size_t n, Output* to) {
                    ValuesToCounts(from, n, rows.Scales(), rows.Offsets(), to);
                  });
  } else {
    ConvertFrames(frames, block, BatchSize, target,
                  [](const Stored* from, std::size_t n, Output* to) { ConvertReals(from, n, to); });
  }
}

template <class Output>
Long ReadFrames(BinaryFile& file, const BlockRec& block, Output* target, Long start, Long count) {
  if (!ClampRange(block, start, count)) return 0;
  SelectRoute(block, [&]<class Stored>() { ReadRoute<Stored>(file, block, target, start, count); });
  return count;
}

}  // namespace

Long ReadFramesInteger(BinaryFile& File, const BlockRec& Block, Integer* Target, Long KadrStart,
                       Long KadrCount) {
  return ReadFrames(File, Block, Target, KadrStart, KadrCount);
}

Long ReadFramesSingle(BinaryFile& File, const BlockRec& Block, Single* Target, Long KadrStart,
                      Long KadrCount) {
  return ReadFrames(File, Block, Target, KadrStart, KadrCount);
}

Long ReadFramesDouble(BinaryFile& File, const BlockRec& Block, Double* Target, Long KadrStart,
                      Long KadrCount) {
  return ReadFrames(File, Block, Target, KadrStart, KadrCount);
}

}  // namespace lmimport
