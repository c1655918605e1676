#include "converters/EdfFrames.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace lmimport {
namespace {

constexpr std::int64_t PieceSamples = 256LL * 1024;  // read or written at a time
constexpr std::int64_t StripFrames = 256;            // few enough to stay in the nearest cache
constexpr std::int64_t Copies = 8;                   // of a sample, put down with one store

// A store of copies may reach past the last frame.
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

// Each sample `repeat` times, the first one less often by `offset`.
void PutRepeated(const Integer* sample, std::int64_t count, std::int64_t repeat,
                 std::int64_t offset, Integer* to) {
  std::int64_t end = repeat - offset;
  for (std::int64_t i = 0; i < count; end += repeat) {
    std::array<Integer, Copies> copies;
    copies.fill(*sample++);
    for (const std::int64_t last = std::min(end, count); i < last; i += Copies)
      std::memcpy(to + i, copies.data(), sizeof(copies));
    i = end;
  }
}

// The most usual case, which vector instructions have a way of their own for.
void PutTwice(const Integer* sample, std::int64_t count, Integer* to) {
  for (std::int64_t i = 0; i < count / 2; ++i) to[2 * i] = to[2 * i + 1] = sample[i];
  if (count % 2 != 0) to[count - 1] = sample[count / 2];
}

}  // namespace

void EdfFrames::AddChannel(std::int64_t place, std::int64_t samples) {
  channels_.push_back({place, samples, recordFrames_ / samples});
}

std::int64_t EdfFrames::Channel::SampleOf(std::int64_t frame) const {
  return std::min(frame / RepeatFactor, Samples - 1);
}

// The samples of `count` frames of a record: where they lie in it, or repeated into the target.
const Integer* EdfFrames::Repeated(const Channel& channel, std::int64_t first, std::int64_t count,
                                   Integer* target) const {
  const Integer* sample = channel.Held + (channel.SampleOf(first) - channel.FirstHeld);
  if (channel.Samples == recordFrames_) return sample;
  const std::int64_t repeat = channel.RepeatFactor;
  const std::int64_t repeated = channel.Samples * repeat;
  const std::int64_t repeatedHere = std::clamp<std::int64_t>(repeated - first, 0, count);
  if (repeat == 2 && first % 2 == 0)
    PutTwice(sample, repeatedHere, target);
  else
    PutRepeated(sample, repeatedHere, repeat, first % repeat, target);
  if (repeatedHere < count) {
    const Integer last = channel.Held[channel.Samples - 1 - channel.FirstHeld];
    std::fill(target + repeatedHere, target + count, last);
  }
  return target;
}

void EdfFrames::Interleave(std::int64_t first, std::int64_t count, Integer* frames) const {
  const auto step = static_cast<std::int64_t>(channels_.size());
  std::array<Strip, 4> strips;
  const auto source = [&](std::size_t channel, Strip& strip) {
    return Repeated(channels_[channel], first, count, strip.data());
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

void EdfFrames::Append(std::int64_t first, std::int64_t end) {
  const auto channels = static_cast<std::int64_t>(channels_.size());
  while (first < end) {
    const std::int64_t count = std::min({StripFrames, end - first, outFrames_ - filled_});
    Interleave(first, count, out_.get() + filled_ * channels);
    first += count;
    filled_ += count;
    if (filled_ == outFrames_) Flush();
  }
}

void EdfFrames::Flush() {
  flat_.Append(out_.get(), filled_ * std::ssize(channels_) * 2);
  written_ += filled_;
  filled_ = 0;
  progress_.Report(written_, allFrames_);
}

// Many records with each read.
void EdfFrames::AppendRecords(std::int64_t start, std::int64_t count) {
  file_.Seek(start);
  file_.ReadInt16Array(in_.get(), count * recordSamples_);
  for (std::int64_t r = 0; r < count; ++r) {
    for (Channel& channel : channels_) {
      channel.Held = in_.get() + r * recordSamples_ + channel.Place;
      channel.FirstHeld = 0;
    }
    Append(0, recordFrames_);
  }
}

// A record too long to be held: as many frames at a time as are written at a time.
void EdfFrames::AppendLongRecord(std::int64_t start) {
  for (std::int64_t first = 0; first < recordFrames_; first += outFrames_) {
    const std::int64_t end = std::min(first + outFrames_, recordFrames_);
    Integer* to = in_.get();
    for (Channel& channel : channels_) {
      channel.Held = to;
      channel.FirstHeld = channel.SampleOf(first);
      const std::int64_t samples = channel.SampleOf(end - 1) + 1 - channel.FirstHeld;
      file_.Seek(start + (channel.Place + channel.FirstHeld) * 2);
      file_.ReadInt16Array(to, samples);
      to += samples;
    }
    Append(first, end);
  }
}

void EdfFrames::Write(std::int64_t chunkStart, std::int64_t recordCount) {
  if (recordCount == 0) return;
  const std::int64_t batch =
      std::clamp<std::int64_t>(PieceSamples / recordSamples_, 1, recordCount);
  const auto buffer = [](std::int64_t samples) {
    return std::make_unique_for_overwrite<Integer[]>(static_cast<std::size_t>(samples));
  };
  outFrames_ = PieceSamples / std::ssize(channels_);
  in_ = buffer(std::min(PieceSamples, batch * recordSamples_));
  out_ = buffer(PieceSamples);
  allFrames_ = recordCount * recordFrames_;
  progress_.Report(0, allFrames_);
  for (std::int64_t record = 0; record < recordCount; record += batch) {
    const std::int64_t start = chunkStart + record * recordSamples_ * 2;
    if (recordSamples_ > PieceSamples)
      AppendLongRecord(start);
    else
      AppendRecords(start, std::min(batch, recordCount - record));
  }
  Flush();
}

}  // namespace lmimport
