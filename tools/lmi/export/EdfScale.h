// Scales of EDF signals: a header holds them as two points, each a physical value of at most 8
// characters for a digital one of 16 bits. The texts decide what a sample means.
#pragma once

#include <lmimport/Recording.h>

#include <string>

namespace lmi {

/// The decimal number of at most 8 characters that is nearest; empty where there is none.
std::string EdfNumber(double value);

struct EdfScale {
  int DigitalMin = -32768;
  int DigitalMax = 32767;
  std::string PhysicalMin;
  std::string PhysicalMax;
  std::string Unit;
  double InUnit = 1;       // value of the recording * InUnit = value in Unit
  std::int64_t Shift = 0;  // of counts: digital = count - Shift
  bool Counts = true;      // else each value is rounded to the nearest digital number
  double Error = 0;        // of counts, by the texts, in steps; the largest

  /// By the texts: value in Unit = digital * Factor() + Offset().
  double Factor() const;
  double Offset() const;
};

/// For values from Smallest to Largest of a channel. Throws std::runtime_error where no text of 8
/// characters holds them.
EdfScale FindEdfScale(const lmimport::Block& block, const lmimport::Channel& channel,
                      const lmimport::Extremes& values);

}  // namespace lmi
