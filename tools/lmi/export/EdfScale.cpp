#include "export/EdfScale.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include "export/EightBitText.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr std::size_t NumberWidth = 8;
constexpr std::size_t UnitWidth = 8;
constexpr double GoodError = 0.05;     // of a step
constexpr double PerfectError = 1e-3;  // no better text is looked for
constexpr std::int64_t LongestSearch = 4096;
constexpr std::int64_t Lowest = -32768;
constexpr std::int64_t Highest = 32767;

double ValueOf(const std::string& text) {
  return std::strtod(text.c_str(), nullptr);
}

// The unit for values that are 10 to the power of -exponent times as large: "V" for -3 is "mV". Of
// what has no prefix, the power itself.
std::string UnitTimes(const std::string& unit, int exponent) {
  constexpr std::array<std::string_view, 12> bases = {"V", "A", "Hz", "Pa", "N", "W",
                                                      "T", "J", "g",  "m",  "s", "Ohm"};
  constexpr std::string_view prefixes = "pnum kMGT";  // from -12 on, in steps of 3
  if (exponent == 0) return unit;
  for (const std::string_view base : bases) {
    if (!unit.ends_with(base) || unit.size() > base.size() + 1) continue;
    const std::size_t own =
        unit.size() == base.size() ? prefixes.find(' ') : prefixes.find(unit.front());
    if (own == std::string_view::npos) continue;
    const auto place = static_cast<std::ptrdiff_t>(own) + exponent / 3;
    if (place < 0 || place >= std::ssize(prefixes)) continue;
    const char prefix = prefixes[static_cast<std::size_t>(place)];
    return prefix == ' ' ? std::string(base) : prefix + std::string(base);
  }
  return fmt::format("E{}{}{}", exponent, unit.empty() ? "" : " ", unit);
}

struct Point {
  std::string Text;
  int Digital = 0;
  double Error = INFINITY;  // of a step
};

// Of the digital numbers from first on to last, in either direction, one whose value a text says
// well.
Point FindPoint(double factor, double offset, std::int64_t first, std::int64_t last) {
  Point best;
  const std::int64_t step = first <= last ? 1 : -1;
  for (std::int64_t digital = first;; digital += step) {
    const double value = static_cast<double>(digital) * factor + offset;
    std::string text = EdfNumber(value);
    const double error =
        text.empty() ? INFINITY : std::abs(ValueOf(text) - value) / std::abs(factor);
    if (error < best.Error) best = {std::move(text), static_cast<int>(digital), error};
    const bool isEnd = digital == last || std::abs(digital - first) == LongestSearch;
    if (isEnd || best.Error <= PerfectError) return best;
  }
}

EdfScale OfCounts(double factor, double offset, std::int64_t lowest, std::int64_t highest) {
  EdfScale scale;
  // All numbers of 16 bits where that is exact; else what the samples don't need may be cut off.
  const Point bottom = FindPoint(factor, offset, Lowest, std::min(lowest, highest - 1));
  const Point top = FindPoint(factor, offset, Highest, std::max(highest, lowest + 1));
  scale.DigitalMin = bottom.Digital;
  scale.DigitalMax = top.Digital;
  scale.PhysicalMin = bottom.Text;
  scale.PhysicalMax = top.Text;
  scale.Error = std::max(bottom.Error, top.Error);
  return scale;
}

// The number of 8 characters that is not on the inner side of the value.
std::string Outward(double value, bool up) {
  std::string text = EdfNumber(value);
  if (text.empty() || (up ? ValueOf(text) >= value : ValueOf(text) <= value)) return text;
  const std::size_t point = text.find('.');
  const auto decimals = point == std::string::npos ? 0 : text.size() - point - 1;
  // Zeros at the end were left out.
  for (int more = 6; more >= 0; --more) {
    const double unit = std::pow(10.0, -static_cast<double>(decimals) - more);
    std::string next = EdfNumber(ValueOf(text) + (up ? unit : -unit));
    if (!next.empty() && (up ? ValueOf(next) >= value : ValueOf(next) <= value)) return next;
  }
  return EdfNumber(value + (up ? 1 : -1));
}

EdfScale OfValues(double smallest, double largest) {
  EdfScale scale;
  scale.Counts = false;
  scale.PhysicalMin = Outward(smallest, false);
  scale.PhysicalMax = Outward(largest, true);
  if (ValueOf(scale.PhysicalMin) == ValueOf(scale.PhysicalMax))
    scale.PhysicalMax = Outward(largest + std::max(1e-6, std::abs(largest) * 1e-5), true);
  // What the range has more than the values need makes steps coarser.
  const double range = ValueOf(scale.PhysicalMax) - ValueOf(scale.PhysicalMin);
  const bool isEmpty = scale.PhysicalMin.empty() || scale.PhysicalMax.empty();
  scale.Error = isEmpty ? INFINITY : largest > smallest ? range / (largest - smallest) - 1 : 0;
  return scale;
}

}  // namespace

std::string EdfNumber(double value) {
  if (!std::isfinite(value)) return {};
  for (int decimals = NumberWidth - 2; decimals >= 0; --decimals) {
    std::string text = fmt::format("{:.{}f}", value, decimals);
    if (decimals > 0) {
      text.erase(text.find_last_not_of('0') + 1);
      if (text.back() == '.') text.pop_back();
    }
    if (text == "-0") text = "0";
    if (text.size() <= NumberWidth) return text;
  }
  return {};
}

double EdfScale::Factor() const {
  return (ValueOf(PhysicalMax) - ValueOf(PhysicalMin)) / (DigitalMax - DigitalMin);
}

double EdfScale::Offset() const {
  return ValueOf(PhysicalMin) - DigitalMin * Factor();
}

EdfScale FindEdfScale(const Block& block, const Channel& channel, const Extremes& values) {
  constexpr std::array exponents = {0, -3, -6, -9, -12, 3, 6, 9};
  const bool isScaled = !block.RealSamples && channel.Factor != 0 && std::isfinite(channel.Factor);
  const double one =
      isScaled ? std::nearbyint((values.Smallest - channel.Offset) / channel.Factor) : 0;
  const double other =
      isScaled ? std::nearbyint((values.Largest - channel.Offset) / channel.Factor) : 0;
  const bool isCounts = isScaled && std::abs(one - other) <= double{Highest - Lowest} &&
                        std::abs(one) < 1e15 && std::abs(other) < 1e15;
  const auto lowest = static_cast<std::int64_t>(isCounts ? std::min(one, other) : 0);
  const auto highest = static_cast<std::int64_t>(isCounts ? std::max(one, other) : 0);
  const std::int64_t shift = lowest >= Lowest && highest <= Highest ? 0 : lowest - Lowest;
  EdfScale best;
  best.Error = INFINITY;
  for (const int exponent : exponents) {
    const double inUnit = std::pow(10.0, -exponent);
    const double offset = channel.Offset + static_cast<double>(shift) * channel.Factor;
    EdfScale scale = isCounts ? OfCounts(channel.Factor * inUnit, offset * inUnit, lowest - shift,
                                         highest - shift)
                              : OfValues(values.Smallest * inUnit, values.Largest * inUnit);
    const std::string unit = UnitTimes(ToAscii(channel.Unit), exponent);
    if (!(scale.Error < best.Error) || (exponent != 0 && unit.size() > UnitWidth)) continue;
    scale.Unit = unit.substr(0, UnitWidth);
    scale.InUnit = inUnit;
    scale.Shift = shift;
    best = std::move(scale);
    if (best.Error <= GoodError) break;
  }
  if (best.PhysicalMin.empty() || best.PhysicalMax.empty())
    throw std::runtime_error(
        fmt::format("EDF has no room for the values of channel {} \"{}\", from {} to {}",
                    channel.Number, channel.Title, values.Smallest, values.Largest));
  return best;
}

}  // namespace lmi
