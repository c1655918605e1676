// What channel reads and frame reads share: the choice of a route by the stored type, and the way
// of the frames out of the file.
#pragma once

#include <algorithm>
#include <concepts>
#include <limits>
#include <memory>

#include "model/BinaryFile.h"
#include "model/Records.h"

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

/// The frames of a request: `count` of them from frame `start`, from 1, of the block.
template <class Stored>
class Frames {
 public:
  Frames(BinaryFile& file, const BlockRec& block, Long start, Long count)
      : file_(file),
        channels_(static_cast<std::size_t>(block.ChannelCount)),
        count_(static_cast<std::size_t>(count)),
        position_(block.DataPtr + (std::int64_t{start} - 1) * block.ChannelCount * Width) {}

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

  void ReadPart(std::size_t first, std::size_t n, Stored* target) const {
    file_.ReadFresh(position_ + static_cast<std::int64_t>(first * channels_) * Width, target,
                    static_cast<std::int64_t>(n * channels_));
  }

  BinaryFile& file_;
  std::size_t channels_;
  std::size_t count_;
  std::int64_t position_;
};

}  // namespace lmimport
