// The samples of EDF records, brought into frames of one rate.
#pragma once

#include <memory>

#include "converters/FlatDataFile.h"

namespace lmimport {

/// Records hold the samples of each signal in turn; frames hold a sample of each channel. A channel
/// of fewer samples than a record has frames gets each of them several times, as often as it goes
/// without a rest, and the last one fills up.
class EdfFrames {
 public:
  EdfFrames(BinaryFile& file, FlatDataFile& flat, Progress& progress, std::int64_t recordSamples,
            std::int64_t recordFrames)
      : file_(file),
        flat_(flat),
        progress_(progress),
        recordSamples_(recordSamples),
        recordFrames_(recordFrames) {}

  /// `place`: where in a record its `samples` begin, counted in samples.
  void AddChannel(std::int64_t place, std::int64_t samples);

  /// Appends the frames of all records; reads many of them at once, or parts of long ones.
  void Write(std::int64_t chunkStart, std::int64_t recordCount);

 private:
  struct Channel {
    std::int64_t Place;
    std::int64_t Samples;
    std::int64_t RepeatFactor;
    const Integer* Held = nullptr;  // its samples of a record, from sample FirstHeld on
    std::int64_t FirstHeld = 0;

    std::int64_t SampleOf(std::int64_t frame) const;
  };

  const Integer* Repeated(const Channel& channel, std::int64_t first, std::int64_t count,
                          Integer* target) const;
  void Interleave(std::int64_t first, std::int64_t count, Integer* frames) const;
  void Append(std::int64_t first, std::int64_t end);
  void Flush();
  void AppendRecords(std::int64_t start, std::int64_t count);
  void AppendLongRecord(std::int64_t start);

  BinaryFile& file_;
  FlatDataFile& flat_;
  Progress& progress_;
  std::int64_t recordSamples_;
  std::int64_t recordFrames_;
  std::vector<Channel> channels_;
  std::unique_ptr<Integer[]> in_;
  std::unique_ptr<Integer[]> out_;
  std::int64_t outFrames_ = 0;  // that `out_` has room for
  std::int64_t filled_ = 0;     // frames in it
  std::int64_t written_ = 0;    // frames in the flat file
  std::int64_t allFrames_ = 0;
};

}  // namespace lmimport
