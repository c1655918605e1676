// The plain types of the interface, and the table in which the array reads hand over frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#if defined(__GNUC__)
#define LMIMPORT_API __attribute__((visibility("default")))
#else
#define LMIMPORT_API
#endif

namespace lmimport {

using Byte = std::uint8_t;
using Integer = std::int16_t;
using Long = std::int32_t;
using Single = float;
using Double = double;
using Date = double;  // days since 1899-12-30 00:00, the time of day as the fraction
using String = std::u16string;

/// Smallest and largest of some values; NaN where there is none.
struct Extremes {
  double Smallest;
  double Largest;
};

/// How a recording is read where the layout that its format's maker published and the older rules of
/// LMImport differ. Published: by the layout, so the values are true. Written: by those rules.
enum class Reading { Published, Written };

class LMIFile;
class LMIBlock;
using LMIFilePtr = std::shared_ptr<LMIFile>;    // an empty reference is a null pointer
using LMIBlockPtr = std::shared_ptr<LMIBlock>;  // likewise

/// Samples of several channels: two dimensions, both counted from 1, the channel running fastest in
/// memory as it does in a recording.
template <class T>
class SampleTable {
 public:
  SampleTable() = default;

  /// A table of zeros. Throws std::length_error for a negative count.
  SampleTable(Long channelCount, Long frameCount) { Dimension(channelCount, frameCount); }

  /// Gives the table another shape; its memory is kept, so its samples have no meaning until they
  /// are written. Throws std::length_error for a negative count.
  void Dimension(Long channelCount, Long frameCount) {
    if (channelCount < 0 || frameCount < 0) throw std::length_error("SampleTable: negative count");
    values_.resize(static_cast<std::size_t>(channelCount) * static_cast<std::size_t>(frameCount));
    channelCount_ = channelCount;
    frameCount_ = frameCount;
  }

  Long ChannelCount() const { return channelCount_; }
  Long FrameCount() const { return frameCount_; }

  /// The sample of a channel in a frame, both from 1. Throws std::out_of_range outside the table.
  T& operator()(Long Channel, Long Frame) { return values_[Index(Channel, Frame)]; }
  const T& operator()(Long Channel, Long Frame) const { return values_[Index(Channel, Frame)]; }

  /// All samples, frame by frame.
  std::span<T> Values() { return values_; }
  std::span<const T> Values() const { return values_; }

 private:
  std::size_t Index(Long channel, Long frame) const {
    if (channel < 1 || channel > channelCount_ || frame < 1 || frame > frameCount_)
      throw std::out_of_range("SampleTable: no such channel or frame");
    return static_cast<std::size_t>(frame - 1) * static_cast<std::size_t>(channelCount_) +
           static_cast<std::size_t>(channel - 1);
  }

  Long channelCount_ = 0;
  Long frameCount_ = 0;
  std::vector<T> values_;
};

}  // namespace lmimport
