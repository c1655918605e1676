// Which blocks become signals of one EDF file, and how long its records are.
#pragma once

#include <string>
#include <vector>

#include "export/ExportTask.h"

namespace lmi {

/// Blocks of one piece of time: same start and length, each at its own rate.
struct EdfSegment {
  double Start = 0;  // seconds from the start of the recording
  double End = 0;
  std::vector<const Part*> Parts;
};

/// Segments of the same channels, one after the other, with or without gaps.
struct EdfFile {
  std::vector<EdfSegment> Segments;
  std::string Channels;  // what the channels are: the same in all segments
};

/// A block with no rate counts as one sample a second.
double EdfRateOf(const ExportTask& task, const Part& part);

/// Throws std::runtime_error where there is no sample.
std::vector<EdfFile> PlanEdfFiles(const ExportTask& task);

struct EdfRecords {
  std::string Seconds;               // of a record, as the header states it
  std::vector<std::int64_t> Frames;  // of a record, of each part of a segment
  double RateError = 0;              // of the rates that come of it, the largest, relative
  double Padding = 0;                // seconds at the end of segments that the blocks don't have

  double Duration() const;
  /// Records of the segment; the last may stick out.
  std::int64_t CountOf(const EdfSegment& segment) const;
};

/// Records of whole samples of all signals, without padding if that can be; near to a second.
EdfRecords PlanEdfRecords(const ExportTask& task, const EdfFile& file);

}  // namespace lmi
