#include "extract/FrameReads.h"

#include <array>

#include "extract/Routes.h"
#include "extract/VectorOps.h"

namespace lmimport {
namespace {

// Factors or scales, and offsets, repeated for as many whole frames as go through at a time, so that
// the conversion is one loop over samples, with no loop over channels in it.
template <class Real>
class ScaleRows {
 public:
  template <class Table>
  ScaleRows(const std::vector<Table>& scales, const std::vector<Table>& offsets, std::size_t frames)
      : channels_(scales.size()),
        frames_(std::clamp<std::size_t>(BatchSize / channels_, 1, frames)) {
    if (Values() > BatchSize) more_.resize(2 * Values());
    Repeat(scales, const_cast<Real*>(Scales()));
    Repeat(offsets, const_cast<Real*>(Offsets()));
  }

  const Real* Scales() const { return more_.empty() ? scales_.data() : more_.data(); }
  const Real* Offsets() const { return more_.empty() ? offsets_.data() : more_.data() + Values(); }
  std::size_t Values() const { return frames_ * channels_; }

 private:
  // One frame, and then all that is there once more after itself.
  template <class Table>
  void Repeat(const std::vector<Table>& frame, Real* rows) const {
    std::copy(frame.begin(), frame.end(), rows);
    for (std::size_t filled = channels_; filled < Values(); filled *= 2)
      std::copy_n(rows, std::min(filled, Values() - filled), rows + filled);
  }

  std::size_t channels_;
  std::size_t frames_;
  std::array<Real, BatchSize> scales_;
  std::array<Real, BatchSize> offsets_;
  std::vector<Real> more_;  // both, of a frame that is longer than that
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
    if (frames.AreAsWide()) {
      frames.ReadAll(target.data());
      if constexpr (std::integral<Stored>) {
        if (block.SampleUnsigned != 0)
          HoldCounts(target.data(), SignFlip<Stored>(block), target.size(), target.data());
      }
      return;
    }
  }
  const auto convert = [&](std::size_t batchValues, const auto& convertBatch) {
    ConvertFrames(frames, block, batchValues, target.data(), convertBatch);
  };
  if constexpr (std::integral<Stored> && std::integral<Output>) {
    convert(BatchSize, [&](const Stored* from, std::size_t n, Output* to) {
      HoldCounts(from, SignFlip<Stored>(block), n, to);
    });
  } else if constexpr (std::integral<Stored>) {
    if (!block.Factor.empty()) {
      const ScaleRows<Double> rows(block.Factor, block.Offset, count);
      return convert(rows.Values(), [&](const Stored* from, std::size_t n, Output* to) {
        CountsToPublished(from, SignFlip<Stored>(block), n, rows.Scales(), rows.Offsets(), to);
      });
    }
    const ScaleRows<Output> rows(block.ChannelScale, block.ChannelOffset, count);
    convert(rows.Values(), [&](const Stored* from, std::size_t n, Output* to) {
      CountsToValues(from, SignFlip<Stored>(block), n, rows.Scales(), rows.Offsets(), to);
    });
  } else if constexpr (std::integral<Output>) {
    const ScaleRows<Stored> rows(block.ChannelScale, block.ChannelOffset, count);
    convert(rows.Values(), [&](const Stored* from, std::size_t n, Output* to) {
      ValuesToCounts(from, n, rows.Scales(), rows.Offsets(), to);
    });
  } else if constexpr (SameType<Stored, Output>) {
    convert(BatchSize,
            [](const Stored* from, std::size_t n, Output* to) { std::copy_n(from, n, to); });
  } else {
    convert(BatchSize,
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
