#include "extract/ChannelReads.h"

#include <array>

#include "extract/ClampRange.h"
#include "extract/Routes.h"
#include "extract/VectorOps.h"

namespace lmimport {
namespace {

// Stored samples of one channel, one behind the other, to what the host asked for.
template <class Stored, class Output>
class Conversion {
 public:
  Conversion(const BlockRec& block, std::size_t channel)
      : scale_(block.ChannelScale[channel]), offset_(block.ChannelOffset[channel]) {
    if constexpr (std::integral<Stored>) flip_ = SignFlip<Stored>(block);
  }

  void operator()(const Stored* from, std::size_t n, Output* to) const {
    if constexpr (std::integral<Stored> && std::integral<Output>) {
      HoldCounts(from, flip_, n, to);
    } else if constexpr (std::integral<Stored>) {
      CountsToValues(from, flip_, n, scale_, offset_, to);
    } else if constexpr (std::integral<Output>) {
      ValuesToCounts(from, n, scale_, offset_, to);
    } else if constexpr (!SameType<Stored, Output>) {
      ConvertReals(from, n, to);
    }
  }

 private:
  // Counts are scaled in the precision of the output, real numbers in their own.
  using Real =
      std::conditional_t<std::integral<Stored>,
                         std::conditional_t<std::integral<Output>, Single, Output>, Stored>;
  Real scale_;
  Real offset_;
  std::conditional_t<std::integral<Stored>, Stored, Byte> flip_ = 0;
};

template <class Stored, class Output>
void ReadRoute(BinaryFile& file, const BlockRec& block, std::size_t channel, Output* target,
               Long start, Long count) {
  const Frames<Stored> frames(file, block, start, count);
  const Conversion<Stored, Output> convert(block, channel);
  const auto channels = static_cast<std::size_t>(block.ChannelCount);
  if constexpr (SameType<Stored, Output>) {
    if (channels == 1) {
      frames.ReadAll(target);
    } else {
      frames.ReadInPieces([&](const Stored* piece, std::size_t first, std::size_t n) {
        DownSample(piece + channel, channels, n, target + first);
      });
    }
    if (block.SampleUnsigned != 0) convert(target, static_cast<std::size_t>(count), target);
  } else {
    std::array<Stored, BatchSize> picked;
    frames.ReadInPieces([&](const Stored* piece, std::size_t first, std::size_t n) {
      for (std::size_t i = 0; i < n; i += BatchSize) {
        const std::size_t batch = std::min(BatchSize, n - i);
        const Stored* samples = piece + i * channels;
        if (channels > 1) {
          DownSample(samples + channel, channels, batch, picked.data());
          samples = picked.data();
        }
        convert(samples, batch, target + first + i);
      }
    });
  }
}

template <class Output>
Long ReadChannel(BinaryFile& file, const BlockRec& block, Integer channel, Output* target,
                 Long start, Long count) {
  if (channel < 0 || channel >= block.ChannelCount) return 0;
  if (!ClampRange(block, start, count)) return 0;
  SelectRoute(block, [&]<class Stored>() {
    ReadRoute<Stored>(file, block, static_cast<std::size_t>(channel), target, start, count);
  });
  return count;
}

}  // namespace

Long ReadChannelInteger(BinaryFile& File, const BlockRec& Block, Integer Channel, Integer* Target,
                        Long SampleStart, Long SampleCount) {
  return ReadChannel(File, Block, Channel, Target, SampleStart, SampleCount);
}

Long ReadChannelSingle(BinaryFile& File, const BlockRec& Block, Integer Channel, Single* Target,
                       Long SampleStart, Long SampleCount) {
  return ReadChannel(File, Block, Channel, Target, SampleStart, SampleCount);
}

Long ReadChannelDouble(BinaryFile& File, const BlockRec& Block, Integer Channel, Double* Target,
                       Long SampleStart, Long SampleCount) {
  return ReadChannel(File, Block, Channel, Target, SampleStart, SampleCount);
}

}  // namespace lmimport
