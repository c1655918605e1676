#include "extract/ChannelReads.h"

#include "extract/Routes.h"
#include "extract/VectorOps.h"

namespace lmimport {
namespace {

template <class Stored, class Output>
void ReadRoute(const ByteSource& source, const BlockRec& block, std::size_t channel,
               std::int64_t first, std::span<Output> target) {
  const Frames<Stored> frames(source, block, first, target.size());
  const Conversion<Stored, Output> convert(block, channel);
  if constexpr (SameType<Stored, Output>) {
    if (block.ChannelCount == 1 && frames.AreAsWide()) {
      frames.ReadAll(target.data());
      if (block.SampleUnsigned != 0) convert(target.data(), target.size(), target.data());
      return;
    }
  }
  frames.ReadChannelInPieces(channel, [&](const Stored* samples, std::size_t start, std::size_t n) {
    for (std::size_t i = 0; i < n; i += BatchSize)
      convert(samples + i, std::min(BatchSize, n - i), target.data() + start + i);
  });
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
