#include "converters/EdfFrames.h"

#include <algorithm>
#include <array>

namespace lmimport {
namespace {

constexpr std::int64_t PieceSamples = 256LL * 1024;  // read or written at a time
constexpr std::int64_t StripFrames = 256;            // few enough to stay in the nearest cache

}  // namespace

void EdfFrames::AddChannel(std::int64_t place, std::int64_t samples) {
  channels_.push_back({place, samples, recordFrames_ / samples});
}

// The samples of `count` frames of a record: where they lie in it, or repeated into the target.
const Integer* EdfFrames::Repeated(const Channel& channel, const Integer* record,
                                   std::int64_t first, std::int64_t count, Integer* target) const {
  const Integer* samples = record + channel.Place;
  if (channel.Samples == recordFrames_) return samples + first;
  const std::int64_t repeat = channel.RepeatFactor;
  const std::int64_t repeated = channel.Samples * repeat;
  Integer* out = target;
  Integer* const end = target + count;
  std::int64_t skipped = first % repeat;
  for (std::int64_t frame = first; out < end && frame < repeated;) {
    const std::int64_t run = std::min<std::int64_t>(repeat - skipped, end - out);
    out = std::fill_n(out, run, samples[frame / repeat]);
    frame += run;
    skipped = 0;
  }
  std::fill(out, end, samples[channel.Samples - 1]);
  return target;
}

void EdfFrames::Interleave(const Integer* record, std::int64_t first, std::int64_t count,
                           Integer* frames) const {
  const auto step = static_cast<std::int64_t>(channels_.size());
  std::array<Integer, StripFrames> strip;
  for (std::size_t c = 0; c < channels_.size(); ++c) {
    const Integer* from = Repeated(channels_[c], record, first, count, strip.data());
    Integer* to = frames + c;
    for (std::int64_t i = 0; i < count; ++i) to[i * step] = from[i];
  }
}

void EdfFrames::Write(BinaryFile& file, std::int64_t chunkStart, std::int64_t recordCount,
                      FlatDataFile& flat, Progress& progress) const {
  if (recordCount == 0) return;
  const auto channels = static_cast<std::int64_t>(channels_.size());
  const std::int64_t batch =
      std::clamp<std::int64_t>(PieceSamples / recordSamples_, 1, recordCount);
  const std::int64_t outFrames = PieceSamples / channels;
  const auto in =
      std::make_unique_for_overwrite<Integer[]>(static_cast<std::size_t>(batch * recordSamples_));
  const auto out =
      std::make_unique_for_overwrite<Integer[]>(static_cast<std::size_t>(outFrames * channels));
  std::int64_t filled = 0;
  const auto flush = [&] {
    flat.Append(out.get(), filled * channels * 2);
    filled = 0;
  };
  for (std::int64_t record = 0; record < recordCount; record += batch) {
    progress.Report(record, recordCount);
    const std::int64_t records = std::min(batch, recordCount - record);
    file.Seek(chunkStart + record * recordSamples_ * 2);
    file.ReadInt16Array(in.get(), records * recordSamples_);
    for (std::int64_t r = 0; r < records; ++r) {
      for (std::int64_t frame = 0; frame < recordFrames_;) {
        const std::int64_t count =
            std::min({StripFrames, recordFrames_ - frame, outFrames - filled});
        Interleave(in.get() + r * recordSamples_, frame, count, out.get() + filled * channels);
        frame += count;
        filled += count;
        if (filled == outFrames) flush();
      }
    }
  }
  flush();
  progress.Report(recordCount, recordCount);
}

}  // namespace lmimport
