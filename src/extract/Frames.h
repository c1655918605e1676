// The way of the samples out of the source: piece by piece, as frames or channel by channel, however
// they lie there.
#pragma once

#include <lmimport/ByteSource.h>

#include <algorithm>
#include <memory>

#include "extract/Interleave.h"
#include "extract/Tidying.h"
#include "model/SourceReads.h"

namespace lmimport {

/// Samples that go through the conversion loops at a time: few enough to stay in the first cache.
inline constexpr std::size_t BatchSize = 1024;

/// Samples are read into a buffer of at most this size, however long the request is.
inline constexpr std::size_t PieceBytes = std::size_t{512} * 1024;

/// The frames of a request: `count` of them from frame `first`, from 0, of the block, all of which
/// lie in it.
template <class Stored>
class Frames {
 public:
  Frames(const ByteSource& source, const BlockRec& block, std::int64_t first, std::size_t count)
      : source_(source),
        block_(block),
        channels_(static_cast<std::size_t>(block.ChannelCount)),
        width_(static_cast<std::size_t>(SampleWidth(block.SampleType))),
        first_(first),
        count_(count) {}

  /// Frames of samples that keep their width: they can be read straight to where they belong.
  bool AreAsWide() const { return block_.Lanes.Starts.empty() && tidy_.KeepsWidth(); }

  /// All of them, to the target: with one read where they are as the file holds them, else in pieces
  /// that are tidied while they are at hand.
  void ReadAll(Stored* target) const {
    if (isNative_) return ReadFrames(0, count_, target, nullptr);
    const std::size_t step = std::max<std::size_t>(1, PieceBytes / (channels_ * sizeof(Stored)));
    for (std::size_t first = 0; first < count_; first += step)
      ReadFrames(first, std::min(step, count_ - first), target + first * channels_, nullptr);
  }

  /// Piece by piece: calls take(frames, first, n) with n frames, the first of which is frame
  /// `first` of the request, from 0.
  template <class Take>
  void ReadInPieces(Take take) const {
    if (count_ == 0) return;
    if (!block_.Lanes.Starts.empty()) return ReadLanesInPieces(take);
    const std::size_t pieceFrames =
        std::min(count_, std::max<std::size_t>(1, PieceBytes / (channels_ * sizeof(Stored))));
    const auto piece = Buffer<Stored>(pieceFrames * channels_);
    const auto raw = RawBuffer(pieceFrames * channels_);
    for (std::size_t first = 0; first < count_; first += pieceFrames) {
      const std::size_t n = std::min(pieceFrames, count_ - first);
      ReadFrames(first, n, piece.get(), raw.get());
      take(static_cast<const Stored*>(piece.get()), first, n);
    }
  }

  /// One channel: calls take(samples, first, n), likewise.
  template <class Take>
  void ReadChannelInPieces(std::size_t channel, Take take) const {
    if (!block_.Lanes.Starts.empty()) return ReadLaneInPieces(channel, take);
    std::array<Stored, BatchSize> picked;
    ReadInPieces([&](const Stored* piece, std::size_t first, std::size_t n) {
      if (channels_ == 1) return take(piece, first, n);
      for (std::size_t i = 0; i < n; i += BatchSize) {
        const std::size_t batch = std::min(BatchSize, n - i);
        DownSample(piece + i * channels_ + channel, channels_, batch, picked.data());
        take(static_cast<const Stored*>(picked.data()), first + i, batch);
      }
    });
  }

 private:
  template <class T>
  static std::unique_ptr<T[]> Buffer(std::size_t size) {
    return std::make_unique_for_overwrite<T[]>(size);
  }

  // The file as it is at this moment, with a recorder's latest samples. A sample that isn't there
  // whole is zero.
  void ReadBytes(std::int64_t position, std::byte* target, std::size_t size) const {
    const std::size_t done = position < 0 ? 0 : ReadSource(source_, position, {target, size});
    const std::size_t whole = done / width_ * width_;
    std::fill(target + whole, target + size, std::byte{});
  }

  void ReadFrames(std::size_t first, std::size_t n, Stored* target, std::byte* raw) const {
    const auto frame = static_cast<std::int64_t>(channels_ * width_);
    Fetch(block_.DataPtr + (first_ + static_cast<std::int64_t>(first)) * frame, n * channels_,
          target, raw);
  }

  // For as many samples as they are stored; null where they are read straight to their target.
  std::unique_ptr<std::byte[]> RawBuffer(std::size_t samples) const {
    if (tidy_.KeepsWidth()) return nullptr;
    return Buffer<std::byte>(samples * width_);
  }

  // Samples that lie one after the other.
  void Fetch(std::int64_t position, std::size_t n, Stored* target, std::byte* raw) const {
    std::byte* const stored = raw != nullptr ? raw : reinterpret_cast<std::byte*>(target);
    ReadBytes(position, stored, n * width_);
    if (isNative_) return;
    for (std::size_t i = 0; i < n; i += BatchSize)
      tidy_(stored + i * width_, std::min(BatchSize, n - i), target + i);
  }

  // Where a run of a channel begins that sample i, from 0, of the block lies in, and how much of it
  // follows from there on.
  struct Run {
    std::int64_t Position;
    std::size_t Samples;
  };
  Run RunOf(std::size_t channel, std::int64_t sample) const {
    const SampleLanes& lanes = block_.Lanes;
    const std::int64_t inRun = sample % lanes.RecordFrames;
    return {block_.DataPtr + sample / lanes.RecordFrames * lanes.RecordBytes +
                lanes.Starts[channel] + inRun * static_cast<std::int64_t>(width_),
            static_cast<std::size_t>(lanes.RecordFrames - inRun)};
  }

  // Runs are read one by one where much lies between them, and else with all that does.
  template <class Take>
  void ReadLaneInPieces(std::size_t channel, Take take) const {
    constexpr std::size_t worthSkipping = 4096;
    const SampleLanes& lanes = block_.Lanes;
    const auto run = static_cast<std::size_t>(lanes.RecordFrames);
    const std::size_t between = static_cast<std::size_t>(lanes.RecordBytes) - run * width_;
    const bool whole = between < worthSkipping && count_ > run &&
                       static_cast<std::size_t>(lanes.RecordBytes) <= PieceBytes;
    const std::size_t pieceSamples = std::min(count_, PieceBytes / sizeof(Stored));
    if (whole) return ReadRecordsInPieces({&channel, 1}, take);
    const auto piece = Buffer<Stored>(pieceSamples);
    const auto raw = RawBuffer(pieceSamples);
    for (std::size_t first = 0; first < count_;) {
      std::size_t n = 0;
      while (n < pieceSamples && first + n < count_) {
        const Run next = RunOf(channel, first_ + static_cast<std::int64_t>(first + n));
        const std::size_t samples = std::min({next.Samples, pieceSamples - n, count_ - first - n});
        Fetch(next.Position, samples, piece.get() + n, raw.get());
        n += samples;
      }
      take(static_cast<const Stored*>(piece.get()), first, n);
      first += n;
    }
  }

  template <class Take>
  void ReadLanesInPieces(Take take) const {
    if (block_.Lanes.RecordBytes > 0 &&
        static_cast<std::size_t>(block_.Lanes.RecordBytes) <= PieceBytes) {
      ReadRecordsInPieces({}, take);
    } else {
      ReadColumnsInPieces(take);
    }
  }

  // Whole records, of which the wanted channel is picked, or all are brought into frames.
  template <class Take>
  void ReadRecordsInPieces(std::span<const std::size_t> wanted, Take take) const {
    const SampleLanes& lanes = block_.Lanes;
    const auto recordBytes = static_cast<std::size_t>(lanes.RecordBytes);
    const std::size_t recordSamples = recordBytes / width_;
    const auto run = static_cast<std::size_t>(lanes.RecordFrames);
    const std::size_t columns = wanted.empty() ? channels_ : 1;
    const auto lead = static_cast<std::size_t>(first_ % lanes.RecordFrames);
    const std::size_t records = (lead + count_ + run - 1) / run;
    const std::size_t step = std::clamp<std::size_t>(PieceBytes / recordBytes, 1, records);
    const auto stored = Buffer<Stored>(step * recordSamples);
    const auto raw = RawBuffer(step * recordSamples);
    const auto piece = Buffer<Stored>(step * run * columns);
    std::vector<std::size_t> starts;
    for (std::size_t c = 0; c < columns; ++c)
      starts.push_back(StartOf(wanted.empty() ? c : wanted[0]));
    const std::int64_t start = block_.DataPtr + first_ / lanes.RecordFrames * lanes.RecordBytes;
    std::vector<std::size_t> from(columns);
    for (std::size_t record = 0; record < records; record += step) {
      const std::size_t n = std::min(step, records - record);
      Fetch(start + static_cast<std::int64_t>(record * recordBytes), n * recordSamples,
            stored.get(), raw.get());
      // Of the first and of the last record only a part is asked for.
      const std::size_t begin = record == 0 ? lead : 0;
      const std::size_t end = std::min(n * run, lead + count_ - record * run);
      Stored* to = piece.get();
      for (std::size_t at = begin; at < end;) {
        const std::size_t inRun = at % run;
        const std::size_t part = std::min(run - inRun, end - at);
        for (std::size_t c = 0; c < columns; ++c)
          from[c] = at / run * recordSamples + starts[c] + inRun;
        if (columns > 1)
          Interleave(stored.get(), std::span<const std::size_t>(from), part, to);
        else
          std::copy_n(stored.get() + from[0], part, to);
        to += part * columns;
        at += part;
      }
      take(static_cast<const Stored*>(piece.get()), record * run + begin - lead, end - begin);
    }
  }
  std::size_t StartOf(std::size_t channel) const {
    return static_cast<std::size_t>(block_.Lanes.Starts[channel]) / width_;
  }

  // Of each channel a stretch at a time.
  template <class Take>
  void ReadColumnsInPieces(Take take) const {
    constexpr std::size_t fewestFrames = 64;
    const std::size_t pieceFrames =
        std::min(count_, std::max(fewestFrames, PieceBytes / (channels_ * sizeof(Stored))));
    const auto columns = Buffer<Stored>(pieceFrames * channels_);
    const auto raw = RawBuffer(pieceFrames);
    const auto piece = Buffer<Stored>(pieceFrames * channels_);
    std::vector<std::size_t> starts(channels_);
    for (std::size_t first = 0; first < count_;) {
      const Run run = RunOf(0, first_ + static_cast<std::int64_t>(first));
      const std::size_t n = std::min({pieceFrames, count_ - first, run.Samples});
      for (std::size_t c = 0; c < channels_; ++c) {
        starts[c] = c * n;
        Fetch(RunOf(c, first_ + static_cast<std::int64_t>(first)).Position, n,
              columns.get() + starts[c], raw.get());
      }
      Interleave(columns.get(), std::span<const std::size_t>(starts), n, piece.get());
      take(static_cast<const Stored*>(piece.get()), first, n);
      first += n;
    }
  }

  const ByteSource& source_;
  const BlockRec& block_;
  std::size_t channels_;
  std::size_t width_;
  std::int64_t first_;
  std::size_t count_;
  const Tidying<Stored> tidy_{block_};
  const bool isNative_ =
      !block_.BigEndian && block_.DataBits == -1 && block_.SampleType <= SampleInt8;
};

}  // namespace lmimport
