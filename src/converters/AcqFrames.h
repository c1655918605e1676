// The samples of an ACQ file, brought into frames of one rate.
#pragma once

#include <span>

#include "converters/FlatDataFile.h"

namespace lmimport {

/// A channel as the headers tell of it and as it is worked out.
struct AcqChannel {
  Long SampleCount = 0;
  Long Divider = 1;  // steps of the base rate from one sample to the next
  Double MinValue = 0;
  Double MaxValue = 0;
  Double AmplitudeScale = 0;
  Double AmplitudeOffset = 0;
  Integer StoredKind = SampleInt16;  // or SampleDouble
  Integer SampleBytes = 0;           // as the file states it, these two
  Integer StatedDivider = 0;         // 0: it doesn't
  std::int64_t HeaderPosition = 0;

  std::int64_t Width() const { return SampleWidth(StoredKind); }
};

/// For each step of the base rate, the file holds a sample of each channel whose Divider divides
/// the number of the step. A frame holds the values of the first channels at a step, as Doubles; a
/// channel without a sample keeps its value, also past the end of the file, and is 0 before its
/// first one.
class AcqFrames {
 public:
  AcqFrames(std::vector<AcqChannel>& channels, std::size_t shown);

  /// Steps, of at most `steps`, whose samples all lie in so many bytes.
  std::int64_t StepsIn(std::int64_t bytes, std::int64_t steps) const;

  /// Goes through the samples from `dataStart` on and sets MinValue and MaxValue of the Double
  /// channels among the shown ones, NaN passed over; appends the frames to `flat` unless it is
  /// null.
  void Decode(BinaryFile& file, std::int64_t dataStart, std::int64_t steps, FlatDataFile* flat,
              Progress& progress);

 private:
  std::int64_t BytesOf(std::int64_t steps) const;
  std::int64_t StepsOfBatch() const;
  void LayOut(std::int64_t step, std::int64_t count);
  void RepeatLast();
  void DecodeBatch(std::int64_t step, std::int64_t count, std::span<const Byte> bytes);
  template <class Stored, class ToValue>
  void DecodeChannel(std::size_t channel, std::int64_t step, std::int64_t count,
                     std::span<const Byte> bytes, ToValue toValue);

  std::vector<AcqChannel>& channels_;
  std::size_t shown_;
  std::vector<std::size_t> places_;  // of a batch: where the next sample of each step lies
  std::vector<Double> frames_;       // of a batch
  std::vector<Double> last_;         // the last frame
};

/// Sets MinValue and MaxValue of the channels of a file of nothing but Doubles at one rate, as far
/// as the file holds their samples; NaN is passed over.
void ScanAcqDoubles(std::span<AcqChannel> AcqChannels, BinaryFile& File, std::int64_t DataStart,
                    std::int64_t FrameCount, Progress& Progress);

/// Sets ChannelScale and ChannelOffset of the Double channels of the block, such that their range is
/// 64000 counts; a constant channel gets 1000 and its value.
void FitAcqScale(BlockRec& Block, std::span<const AcqChannel> AcqChannels);

}  // namespace lmimport
