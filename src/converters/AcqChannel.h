// A channel of an ACQ file, as the headers tell of it and as it is worked out.
#pragma once

#include "model/Records.h"

namespace lmimport {

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

}  // namespace lmimport
