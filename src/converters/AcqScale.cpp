#include "converters/AcqScale.h"

#include "readers/FrameRange.h"

namespace lmimport {

void ScanAcqDoubles(std::span<AcqChannel> AcqChannels, BinaryFile& File, std::int64_t DataStart,
                    std::int64_t FrameCount, Progress& Progress) {
  const std::int64_t channels = std::ssize(AcqChannels);
  const auto range = ScanFrames<Double>(File, DataStart, channels, FrameCount * channels, Progress);
  for (std::size_t k = 0; k < AcqChannels.size(); ++k)
    range.Of(k, AcqChannels[k].MinValue, AcqChannels[k].MaxValue);
}

void FitAcqScale(BlockRec& Block, std::span<const AcqChannel> AcqChannels) {
  constexpr Double countsOfRange = 64000;
  for (std::size_t k = 0; k < Block.ChannelScale.size(); ++k) {
    const AcqChannel& channel = AcqChannels[k];
    if (channel.StoredKind != SampleDouble) continue;
    const Double least = channel.MinValue;
    const Double greatest = channel.MaxValue;
    const bool varies = least < greatest;
    Block.ChannelScale[k] = varies ? static_cast<Single>(countsOfRange / (greatest - least)) : 1000;
    const Double middle = -greatest == least ? 0 : (least + greatest) / 2;
    Block.ChannelOffset[k] = static_cast<Single>(varies ? middle : greatest);
  }
}

}  // namespace lmimport
