#include "converters/EdfFrames.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace lmimport {
namespace {

constexpr std::int64_t PieceSamples = 256LL * 1024;  // read or written at a time
constexpr std::int64_t StripFrames = 256;            // few enough to stay in the nearest cache

constexpr std::int64_t Copies = 8;  // of a sample, put down with one store

// A store of copies may reach behind the last frame.
using Strip = std::array<Integer, StripFrames + Copies>;

// Puts the samples of some channels side by side into each frame, with one store for all of them.
template <class Group, std::size_t N>
void PutSideBySide(const std::array<const Integer*, N>& from, std::int64_t count, std::int64_t step,
                   Integer* to) {
  for (std::int64_t i = 0; i < count; ++i) {
    Group group = 0;
    for (std::size_t c = 0; c < N; ++c)
      group |= static_cast<Group>(static_cast<Group>(static_cast<std::uint16_t>(from[c][i]))
                                  << (16 * c));
    std::memcpy(to + i * step, &group, sizeof(Group));
  }
}

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
  const std::int64_t repeatedHere = std::clamp<std::int64_t>(repeated - first, 0, count);
  const Integer* sample = samples + std::min(first / repeat, channel.Samples - 1);
  std::int64_t end = repeat - first % repeat;
  for (std::int64_t i = 0; i < repeatedHere; end += repeat) {
    std::array<Integer, Copies> copies;
    copies.fill(*sample++);
    for (const std::int64_t to = std::min(end, repeatedHere); i < to; i += Copies)
      std::memcpy(target + i, copies.data(), sizeof(copies));
    i = end;
  }
  std::fill(target + repeatedHere, target + count, samples[channel.Samples - 1]);
  return target;
}

void EdfFrames::Interleave(const Integer* record, std::int64_t first, std::int64_t count,
                           Integer* frames) const {
  const auto step = static_cast<std::int64_t>(channels_.size());
  std::array<Strip, 4> strips;
  const auto source = [&](std::size_t channel, Strip& strip) {
    return Repeated(channels_[channel], record, first, count, strip.data());
  };
  std::size_t c = 0;
  for (; c + 4 <= channels_.size(); c += 4) {
    const std::array from{source(c, strips[0]), source(c + 1, strips[1]), source(c + 2, strips[2]),
                          source(c + 3, strips[3])};
    PutSideBySide<std::uint64_t>(from, count, step, frames + c);
  }
  for (; c + 2 <= channels_.size(); c += 2) {
    const std::array from{source(c, strips[0]), source(c + 1, strips[1])};
    PutSideBySide<std::uint32_t>(from, count, step, frames + c);
  }
  for (; c < channels_.size(); ++c)
    PutSideBySide<std::uint16_t>(std::array{source(c, strips[0])}, count, step, frames + c);
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
