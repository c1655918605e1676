// Samples as lines of text: a line a frame, a field a channel.
#pragma once

#include <string>
#include <vector>

#include "output/ProgressLine.h"
#include "recordings/Selection.h"

namespace lmi {

struct CsvStyle {
  std::string As = "double";    // values; or "single", "integer" for counts
  std::string Times = "none";   // or "seconds", "clock" (from the start of the recording), "frame"
  std::string Separator = ",";  // between fields
  char Decimal = '.';           // before the fraction
  int Digits = 0;               // significant ones; 0: what the measurement has
  std::int64_t Every = 1;       // each so manieth frame
  std::int64_t Bins = 0;      // equal stretches, each as its smallest, largest and mean; 0: frames
  bool Header = true;         // titles and units in a line above
  bool Comments = false;      // their texts in a last field
  bool BlockNumbers = false;  // in a first field
};

/// Writes the parts to Print, each after the other, a new line of titles where they change. Numbers
/// have the digits of their step. Throws std::invalid_argument where a clock is asked for and no
/// start is stated.
void WriteCsv(const lmimport::Recording& recording, const std::vector<Part>& parts,
              const CsvStyle& style, ProgressLine& progress);

}  // namespace lmi
