// What channel reads and frame reads share: the choice of a route by the stored type, and the way
// of the frames out of the file.
#pragma once

#include <lmimport/ByteSource.h>

#include <algorithm>
#include <concepts>
#include <limits>
#include <memory>
#include <type_traits>

#include "extract/VectorOps.h"
#include "model/Records.h"
#include "model/SourceReads.h"

namespace lmimport {

/// Samples that go through the conversion loops at a time: few enough to stay in the first cache.
inline constexpr std::size_t BatchSize = 1024;

/// Frames are read into a buffer of at most this size, however long the request is.
inline constexpr std::size_t PieceBytes = std::size_t{512} * 1024;

/// Calls route.operator()<Stored>() with the type of the block's stored samples.
template <class Route>
void SelectRoute(const BlockRec& block, Route route) {
  switch (block.SampleType) {
    case SampleInt8:
      return route.template operator()<std::int8_t>();
    case SampleInt32:
      return route.template operator()<Long>();
    case SampleSingle:
      return route.template operator()<Single>();
    case SampleDouble:
      return route.template operator()<Double>();
    default:
      return route.template operator()<Integer>();
  }
}

/// The bits to flip in a stored count to make it signed.
template <std::integral Count>
Count SignFlip(const BlockRec& block) {
  return block.SampleUnsigned != 0 ? std::numeric_limits<Count>::min() : Count{0};
}

/// Stored samples need no conversion.
template <class Stored, class Output>
inline constexpr bool SameType = std::same_as<Stored, Output>;

/// The frames of a request: `count` of them from frame `first`, from 0, of the block.
template <class Stored>
class Frames {
 public:
  Frames(const ByteSource& source, const BlockRec& block, std::int64_t first, std::size_t count)
      : source_(source),
        channels_(static_cast<std::size_t>(block.ChannelCount)),
        count_(count),
        position_(block.DataPtr + first * block.ChannelCount * Width) {}

  /// All of them with one read, straight to the target.
  void ReadAll(Stored* target) const { ReadPart(0, count_, target); }

  /// Piece by piece: calls take(frames, first, n) with n frames, the first of which is frame
  /// `first` of the request, from 0.
  template <class Take>
  void ReadInPieces(Take take) const {
    const std::size_t pieceFrames = std::min(count_, PieceBytes / (channels_ * sizeof(Stored)));
    const auto piece = std::make_unique_for_overwrite<Stored[]>(pieceFrames * channels_);
    for (std::size_t first = 0; first < count_; first += pieceFrames) {
      const std::size_t n = std::min(pieceFrames, count_ - first);
      ReadPart(first, n, piece.get());
      take(piece.get(), first, n);
    }
  }

 private:
  static constexpr std::int64_t Width = sizeof(Stored);

  // The file as it is at this moment, with a recorder's latest samples. A sample that isn't there
  // whole is zero.
  void ReadPart(std::size_t first, std::size_t n, Stored* target) const {
    const std::int64_t position = position_ + static_cast<std::int64_t>(first * channels_) * Width;
    const auto bytes = std::as_writable_bytes(std::span(target, n * channels_));
    const std::size_t done = position < 0 ? 0 : ReadSource(source_, position, bytes);
    const std::size_t whole = done / sizeof(Stored);
    std::fill(target + whole, target + n * channels_, Stored{});
  }

  const ByteSource& source_;
  std::size_t channels_;
  std::size_t count_;
  std::int64_t position_;
};

/// Stored samples of one channel, one after the other, to what the host asked for.
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

  /// The same of a sample whose sign has been flipped already.
  Output OfSigned(Stored sample) const {
    Output value{};
    Conversion plain(*this);
    plain.flip_ = 0;
    if constexpr (SameType<Stored, Output>)
      value = sample;
    else
      plain(&sample, 1, &value);
    return value;
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

}  // namespace lmimport
