#include "extract/ChannelReads.h"

#include <array>

#include "extract/Routes.h"
#include "extract/VectorOps.h"

namespace lmimport {
namespace {

template <class Stored, class Output>
void ReadRoute(const ByteSource& source, const BlockRec& block, std::size_t channel,
               std::int64_t first, std::span<Output> target) {
  const Frames<Stored> frames(source, block, first, target.size());
  const Conversion<Stored, Output> convert(block, channel);
  const auto channels = static_cast<std::size_t>(block.ChannelCount);
  if constexpr (SameType<Stored, Output>) {
    if (channels == 1) {
      frames.ReadAll(target.data());
    } else {
      frames.ReadInPieces([&](const Stored* piece, std::size_t start, std::size_t n) {
        DownSample(piece + channel, channels, n, target.data() + start);
      });
    }
    if (block.SampleUnsigned != 0) convert(target.data(), target.size(), target.data());
  } else {
    std::array<Stored, BatchSize> picked;
    frames.ReadInPieces([&](const Stored* piece, std::size_t start, std::size_t n) {
      for (std::size_t i = 0; i < n; i += BatchSize) {
        const std::size_t batch = std::min(BatchSize, n - i);
        const Stored* samples = piece + i * channels;
        if (channels > 1) {
          DownSample(samples + channel, channels, batch, picked.data());
          samples = picked.data();
        }
        convert(samples, batch, target.data() + start + i);
      }
    });
  }
}

}  // namespace

template <class T>
void ReadSamples(const ByteSource& source, const BlockRec& block, std::size_t channel,
                 std::int64_t first, std::span<T> target) {
  SelectRoute(block,
              [&]<class Stored>() { ReadRoute<Stored>(source, block, channel, first, target); });
}

template void ReadSamples(const ByteSource&, const BlockRec&, std::size_t, std::int64_t,
                          std::span<Integer>);
template void ReadSamples(const ByteSource&, const BlockRec&, std::size_t, std::int64_t,
                          std::span<Long>);
template void ReadSamples(const ByteSource&, const BlockRec&, std::size_t, std::int64_t,
                          std::span<Single>);
template void ReadSamples(const ByteSource&, const BlockRec&, std::size_t, std::int64_t,
                          std::span<Double>);

}  // namespace lmimport
