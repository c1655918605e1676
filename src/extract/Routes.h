// What channel reads and frame reads share: the choice of a route by the stored type, and the
// conversion of one channel.
#pragma once

#include <lmimport/ByteSource.h>

#include <concepts>
#include <limits>
#include <type_traits>

#include "extract/Frames.h"

namespace lmimport {

/// Calls route.operator()<Stored>() with the type of the block's stored samples once they are tidied.
template <class Route>
void SelectRoute(const BlockRec& block, Route route) {
  switch (block.SampleType) {
    case SampleInt8:
      return route.template operator()<std::int8_t>();
    case SampleInt32:
    case SampleInt24:
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

/// Stored samples of one channel, one after the other, to what the host asked for.
template <class Stored, class Output>
class Conversion {
 public:
  Conversion(const BlockRec& block, std::size_t channel)
      : scale_(block.ChannelScale[channel]), offset_(block.ChannelOffset[channel]) {
    if constexpr (std::integral<Stored>) {
      flip_ = SignFlip<Stored>(block);
      isPublished_ = !block.Factor.empty();
      if (!isPublished_) return;
      factor_ = block.Factor[channel];
      publishedOffset_ = block.Offset[channel];
    }
  }

  void operator()(const Stored* from, std::size_t n, Output* to) const {
    if constexpr (std::integral<Stored> && std::integral<Output>) {
      HoldCounts(from, flip_, n, to);
    } else if constexpr (std::integral<Stored>) {
      if (isPublished_)
        CountsToPublished(from, flip_, n, factor_, publishedOffset_, to);
      else
        CountsToValues(from, flip_, n, scale_, offset_, to);
    } else if constexpr (std::integral<Output>) {
      ValuesToCounts(from, n, scale_, offset_, to);
    } else if constexpr (SameType<Stored, Output>) {
      if (from != to) std::copy_n(from, n, to);
    } else {
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
  bool isPublished_ = false;
  Double factor_ = 1;
  Double publishedOffset_ = 0;
  std::conditional_t<std::integral<Stored>, Stored, Byte> flip_ = 0;
};

}  // namespace lmimport
