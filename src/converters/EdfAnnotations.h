// The annotation signal of EDF+ ("EDF+, an EDF extension", Clin. Neurophysiol. 114, 2003): lists of
// an onset in seconds and texts, each record beginning with a list that keeps its time.
#pragma once

#include "model/BinaryFile.h"
#include "model/Progress.h"
#include "model/Records.h"

namespace lmimport {

/// What ReadEdfAnnotations met and the comments don't show.
struct EdfAnnotationReport {
  std::int64_t AtOnset0 = 0;  // annotations left out: at or before the start,
  std::int64_t PastEnd = 0;
  std::int64_t OutOfRoom = 0;       // and after the last comment there is room for
  Double FirstOnset = 0;            // of the first record, in seconds
  std::int64_t Gaps = 0;            // records that don't begin where the one before ends
  std::int64_t FirstGapRecord = 0;  // the first record after a gap, from 0,
  Double FirstGapOnset = 0;         // and where it begins
  std::int64_t Durations = 0;       // annotations that begin with their duration,
  std::int64_t JoinedTexts = 0;     // and such of several texts
  bool MisreadUtf8 = false;
};

/// Fills the comments of the block from one annotation signal and gives their number, at most
/// 20000. Positions count from 1, texts have at most 256 characters; a list at the start of the
/// recording, before it or past its end gives none. `Position` is that of the signal's bytes in
/// the first record, of which each is `RecordBytes` long, and `AnnotationBytes` of them the
/// signal's.
Long ReadEdfAnnotations(BinaryFile& File, const TextTools& Texts, BlockRec& Block,
                        std::int64_t Position, std::int64_t RecordBytes,
                        std::int64_t AnnotationBytes, std::int64_t RecordCount,
                        Single RecordDuration, EdfAnnotationReport& Report, Progress& Progress);

}  // namespace lmimport
