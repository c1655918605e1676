// Samples piece by piece, so that memory stays small however long a recording is.
#pragma once

#include <span>

#include "recordings/Selection.h"

namespace lmi {

/// The frames of a part, of its channels alone, as counts or values.
template <class T>
class FrameReader {
 public:
  FrameReader(const lmimport::Recording& recording, const Part& part)
      : recording_(recording), part_(part), next_(part.First) {
    const std::size_t all = recording.Blocks()[part.Block].Channels.size();
    const std::size_t chosen = part.Channels.size();
    isWhole_ = chosen == all;
    for (std::size_t c = 0; c < chosen; ++c) isWhole_ = isWhole_ && part.Channels[c] == c;
    // A few of many are read one by one.
    isByChannel_ = !isWhole_ && chosen * 4 <= all;
    const std::size_t width = isByChannel_ ? 1 : all;
    pieceFrames_ = std::max<std::size_t>(1, PieceSamples / std::max(width, chosen));
    read_.resize(pieceFrames_ * width);
    if (!isWhole_) chosen_.resize(pieceFrames_ * chosen);
  }

  std::size_t Channels() const { return part_.Channels.size(); }
  std::int64_t Position() const { return next_; }  // the frame that comes next

  /// The next frames, one after the other; empty at the end.
  std::span<const T> Next() {
    const std::int64_t wanted =
        std::min(part_.End - next_, static_cast<std::int64_t>(pieceFrames_));
    if (wanted <= 0) return {};
    const std::int64_t frames = isByChannel_ ? ReadChannels(wanted) : ReadFrames(wanted);
    next_ = frames > 0 ? next_ + frames : part_.End;
    return std::span<const T>(isWhole_ ? read_ : chosen_)
        .first(static_cast<std::size_t>(frames) * Channels());
  }

 private:
  static constexpr std::size_t PieceSamples = 1 << 16;

  std::int64_t ReadChannels(std::int64_t wanted) {
    std::int64_t frames = 0;
    for (std::size_t c = 0; c < Channels(); ++c) {
      const std::span<T> target = std::span<T>(read_).first(static_cast<std::size_t>(wanted));
      frames = recording_.Read(part_.Block, part_.Channels[c], next_, target);
      for (std::size_t i = 0; i < static_cast<std::size_t>(frames); ++i)
        chosen_[i * Channels() + c] = read_[i];
    }
    return frames;
  }

  std::int64_t ReadFrames(std::int64_t wanted) {
    const std::size_t all = read_.size() / pieceFrames_;
    const std::int64_t frames = recording_.ReadFrames(
        part_.Block, next_, std::span<T>(read_).first(static_cast<std::size_t>(wanted) * all));
    if (isWhole_) return frames;
    T* target = chosen_.data();
    for (std::size_t i = 0; i < static_cast<std::size_t>(frames); ++i) {
      for (const std::size_t channel : part_.Channels) *target++ = read_[i * all + channel];
    }
    return frames;
  }

  const lmimport::Recording& recording_;
  const Part& part_;
  std::int64_t next_;
  std::size_t pieceFrames_ = 0;
  bool isWhole_ = false;
  bool isByChannel_ = false;
  std::vector<T> read_;
  std::vector<T> chosen_;
};

}  // namespace lmi
