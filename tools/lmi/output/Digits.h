// Numbers with the digits that their measurement has, and no more: a count of the converter is a
// step, and digits far below it say nothing.
#pragma once

#include <fmt/format.h>
#include <lmimport/Recording.h>

namespace lmi {

class Digits {
 public:
  /// Shortest text that reads back as the same Double.
  Digits() = default;

  /// To a twentieth of the step at least, so the count is found again; `largest` is the largest
  /// magnitude. A step of 0 or one that is not a number: as the default.
  static Digits OfStep(double step, double largest);

  /// Shortest text that reads back as the same Single.
  static Digits OfSingle();

  /// Of values read as Double: of counts by their step, of Singles those of a Single.
  static Digits Of(const lmimport::Block& block, const lmimport::Channel& channel);

  /// So many significant digits, 1 to 17.
  static Digits Significant(int digits);

  /// Without zeros at the end of the fraction, with this mark before it.
  void Append(fmt::memory_buffer& text, double value, char decimal = '.') const;
  std::string Text(double value) const;

 private:
  enum class Kind { Shortest, ShortestSingle, Significant, Decimals };
  Kind kind_ = Kind::Shortest;
  int count_ = 0;     // of significant digits, or behind the decimal point
  double power_ = 1;  // of 10, to the count of decimals
};

}  // namespace lmi
