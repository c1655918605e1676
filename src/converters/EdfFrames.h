// The samples of EDF records, brought into frames of one rate.
#pragma once

#include "converters/FlatDataFile.h"

namespace lmimport {

/// Records hold the samples of each signal in turn; frames hold a sample of each channel. A channel
/// of fewer samples than a record has frames gets each of them several times, as often as it goes
/// without a rest, and the last one fills up.
class EdfFrames {
 public:
  EdfFrames(std::int64_t recordSamples, std::int64_t recordFrames)
      : recordSamples_(recordSamples), recordFrames_(recordFrames) {}

  /// `place`: where in a record its `samples` begin, counted in samples.
  void AddChannel(std::int64_t place, std::int64_t samples);

  /// Appends the frames of all records, many of them with each read.
  void Write(BinaryFile& file, std::int64_t chunkStart, std::int64_t recordCount,
             FlatDataFile& flat, Progress& progress) const;

 private:
  struct Channel {
    std::int64_t Place;
    std::int64_t Samples;
    std::int64_t RepeatFactor;
  };

  const Integer* Repeated(const Channel& channel, const Integer* record, std::int64_t first,
                          std::int64_t count, Integer* target) const;
  void Interleave(const Integer* record, std::int64_t first, std::int64_t count,
                  Integer* frames) const;

  std::int64_t recordSamples_;
  std::int64_t recordFrames_;
  std::vector<Channel> channels_;
};

}  // namespace lmimport
