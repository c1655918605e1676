#include "extract/FrameReads.h"

#include <array>

#include "extract/Routes.h"
#include "extract/VectorOps.h"

namespace lmimport {
namespace {

// Scales and offsets, repeated for as many whole frames as go through at a time, so that the
// conversion is one loop over samples, with no loop over channels in it.
template <class Real>
class ScaleRows {
 public:
  ScaleRows(const BlockRec& block, std::size_t frames)
      : channels_(static_cast<std::size_t>(block.ChannelCount)),
        frames_(std::min(BatchSize / channels_, frames)) {
    Repeat(block.ChannelScale, scales_);
    Repeat(block.ChannelOffset, offsets_);
  }

  const Real* Scales() const { return scales_.data(); }
  const Real* Offsets() const { return offsets_.data(); }
  std::size_t Values() const { return frames_ * channels_; }

 private:
  // One frame, and then all that is there once more after itself.
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
void ReadRoute(const ByteSource& source, const BlockRec& block, std::int64_t first,
               std::span<Output> target) {
  const std::size_t count = target.size() / static_cast<std::size_t>(block.ChannelCount);
  const Frames<Stored> frames(source, block, first, count);
  if constexpr (SameType<Stored, Output>) {
    frames.ReadAll(target.data());
    if constexpr (std::integral<Stored>) {
      if (block.SampleUnsigned != 0)
        HoldCounts(target.data(), SignFlip<Stored>(block), target.size(), target.data());
    }
  } else if constexpr (std::integral<Stored> && std::integral<Output>) {
    ConvertFrames(frames, block, BatchSize, target.data(),
                  [&](const Stored* from, std::size_t n, Output* to) {
                    HoldCounts(from, SignFlip<Stored>(block), n, to);
                  });
  } else if constexpr (std::integral<Stored>) {
    const ScaleRows<Output> rows(block, count);
    ConvertFrames(frames, block, rows.Values(), target.data(),
                  [&](const Stored* from, std::size_t n, Output* to) {
                    CountsToValues(from, SignFlip<Stored>(block), n, rows.Scales(), rows.Offsets(),
                                   to);
                  });
  } else if constexpr (std::integral<Output>) {
    const ScaleRows<Stored> rows(block, count);
    ConvertFrames(frames, block, rows.Values(), target.data(),
                  [&](const Stored* from, std::size_t n, Output* to) {
                    ValuesToCounts(from, n, rows.Scales(), rows.Offsets(), to);
                  });
  } else {
    ConvertFrames(frames, block, BatchSize, target.data(),
                  [](const Stored* from, std::size_t n, Output* to) { ConvertReals(from, n, to); });
  }
}

}  // namespace

template <class T>
void ReadWholeFrames(const ByteSource& source, const BlockRec& block, std::int64_t first,
                     std::span<T> target) {
  SelectRoute(block, [&]<class Stored>() { ReadRoute<Stored>(source, block, first, target); });
}

template void ReadWholeFrames(const ByteSource&, const BlockRec&, std::int64_t, std::span<Integer>);
template void ReadWholeFrames(const ByteSource&, const BlockRec&, std::int64_t, std::span<Long>);
template void ReadWholeFrames(const ByteSource&, const BlockRec&, std::int64_t, std::span<Single>);
template void ReadWholeFrames(const ByteSource&, const BlockRec&, std::int64_t, std::span<Double>);

}  // namespace lmimport
