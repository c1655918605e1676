// EDF, EDF+, BDF and BDF+ by their published layout: each signal at its own rate, where it lies.
#pragma once

#include <algorithm>

#include "converters/EdfHeader.h"

namespace lmimport {

/// The header, and what the records add up to.
struct EdfLayout {
  EdfHeader Header;
  std::int64_t MaxRecordSamples = 0;  // of a channel, which are the frames of a record as written
  std::int64_t TotalRecordSamples = 0;

  std::int64_t SampleBytes() const { return Header.IsBdf ? 3 : 2; }
  std::int64_t RecordBytes() const { return TotalRecordSamples * SampleBytes(); }
  template <class Condition>
  std::int64_t Count(Condition condition) const {
    return std::ranges::count_if(Header.Signals, condition);
  }
};

/// Fills the store: for each piece of time without a gap, a block for each rate, the fastest first;
/// channels keep the number of their signal. Times count from the onset of the first record.
void ReadEdfInPlace(Opening& opening, const std::shared_ptr<EdfLayout>& layout);

}  // namespace lmimport
