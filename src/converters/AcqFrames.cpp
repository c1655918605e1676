#include "converters/AcqFrames.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "readers/FrameRange.h"

namespace lmimport {
namespace {

constexpr std::int64_t PieceBytes = 512LL * 1024;
constexpr std::int64_t LargestBatch = 4096;  // steps

// The first step from `step` on that has a sample of the channel.
constexpr std::int64_t NextSample(std::int64_t step, std::int64_t divider) {
  return (step + divider - 1) / divider * divider;
}

}  // namespace

AcqFrames::AcqFrames(std::vector<AcqChannel>& channels, std::size_t shown)
    : channels_(channels), shown_(shown), last_(shown) {}

std::int64_t AcqFrames::BytesOf(std::int64_t steps) const {
  std::int64_t bytes = 0;
  for (const AcqChannel& channel : channels_)
    bytes += (steps + channel.Divider - 1) / channel.Divider * channel.Width();
  return bytes;
}

std::int64_t AcqFrames::StepsIn(std::int64_t bytes, std::int64_t steps) const {
  std::int64_t within = 0;
  std::int64_t beyond = steps + 1;
  while (beyond - within > 1) {
    const std::int64_t middle = within + (beyond - within) / 2;
    (BytesOf(middle) <= bytes ? within : beyond) = middle;
  }
  return within;
}

std::int64_t AcqFrames::StepsOfBatch() const {
  Double bytesOfStep = 0;
  for (const AcqChannel& channel : channels_)
    bytesOfStep += static_cast<Double>(channel.Width()) / channel.Divider;
  const auto steps = static_cast<std::int64_t>(static_cast<Double>(PieceBytes) / bytesOfStep);
  return std::clamp<std::int64_t>(steps, 1, LargestBatch);
}

// Sets the places to where the samples of each step begin, counted from the first of the batch.
void AcqFrames::LayOut(std::int64_t step, std::int64_t count) {
  std::fill(places_.begin(), places_.end(), 0);
  for (const AcqChannel& channel : channels_) {
    const auto width = static_cast<std::size_t>(channel.Width());
    for (std::int64_t i = NextSample(step, channel.Divider) - step; i < count; i += channel.Divider)
      places_[static_cast<std::size_t>(i)] += width;
  }
  std::size_t place = 0;
  for (std::size_t& entry : places_) {
    const std::size_t bytesOfStep = entry;
    entry = place;
    place += bytesOfStep;
  }
}

template <class Stored, class ToValue>
void AcqFrames::DecodeChannel(std::size_t channel, std::int64_t step, std::int64_t count,
                              std::span<const Byte> bytes, ToValue toValue) {
  const std::int64_t divider = channels_[channel].Divider;
  Double value = last_[channel];
  Double* frame = frames_.data() + channel;
  const std::int64_t first = std::min(count, NextSample(step, divider) - step);
  const auto repeat = [&](std::int64_t times) {
    for (; times > 0; --times, frame += shown_) *frame = value;
  };
  repeat(first);
  for (std::int64_t i = first; i < count; i += divider) {
    std::size_t& place = places_[static_cast<std::size_t>(i)];
    if (place + sizeof(Stored) <= bytes.size()) {
      Stored sample;
      std::memcpy(&sample, bytes.data() + place, sizeof(Stored));
      value = toValue(sample);
    }
    place += sizeof(Stored);
    repeat(std::min(divider, count - i));
  }
  last_[channel] = value;
}

void AcqFrames::DecodeBatch(std::int64_t step, std::int64_t count, std::span<const Byte> bytes) {
  LayOut(step, count);
  for (std::size_t k = 0; k < shown_; ++k) {
    AcqChannel& channel = channels_[k];
    if (channel.StoredKind == SampleDouble) {
      Double least = channel.MinValue;
      Double greatest = channel.MaxValue;
      DecodeChannel<Double>(k, step, count, bytes, [&](Double value) {
        if (value < least) least = value;
        if (value > greatest) greatest = value;
        return value;
      });
      channel.MinValue = least;
      channel.MaxValue = greatest;
    } else {
      const Double scale = channel.AmplitudeScale;
      const Double offset = channel.AmplitudeOffset;
      DecodeChannel<Integer>(k, step, count, bytes,
                             [=](Integer counts) { return counts * scale + offset; });
    }
  }
}

// All frames like the last one.
void AcqFrames::RepeatLast() {
  for (auto frame = frames_.begin(); frame != frames_.end();)
    frame = std::copy(last_.begin(), last_.end(), frame);
}

void AcqFrames::Decode(BinaryFile& file, std::int64_t dataStart, std::int64_t steps,
                       FlatDataFile* flat, Progress& progress) {
  for (AcqChannel& channel : channels_) {
    channel.MinValue = std::numeric_limits<Double>::infinity();
    channel.MaxValue = -channel.MinValue;
  }
  const auto frameBytes = static_cast<std::int64_t>(shown_ * sizeof(Double));
  const std::int64_t batch = std::min(StepsOfBatch(), std::max<std::int64_t>(steps, 1));
  places_.resize(static_cast<std::size_t>(batch));
  frames_.resize(static_cast<std::size_t>(batch) * shown_);
  std::vector<Byte> bytes;
  std::int64_t position = 0;
  bool ended = false;
  for (std::int64_t step = 0; step < steps && !(ended && flat == nullptr); step += batch) {
    progress.Report(step, steps);
    const std::int64_t count = std::min(batch, steps - step);
    if (ended) {
      RepeatLast();
    } else {
      const std::int64_t size = BytesOf(step + count) - position;
      bytes.resize(static_cast<std::size_t>(size));
      file.Seek(dataStart + position);
      const std::int64_t done = file.ReadByteArray(bytes.data(), size);
      DecodeBatch(step, count, std::span(bytes).first(static_cast<std::size_t>(done)));
      position += size;
      ended = done < size;
    }
    if (flat != nullptr) flat->Append(frames_.data(), count * frameBytes);
  }
  for (AcqChannel& channel : channels_) {
    if (channel.MinValue > channel.MaxValue) channel.MinValue = channel.MaxValue = 0;
  }
  progress.Report(steps, steps);
}

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
