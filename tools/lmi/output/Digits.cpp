#include "output/Digits.h"

#include <fmt/compile.h>

#include <algorithm>
#include <cmath>

namespace lmi {
namespace {

constexpr int MostDecimals = 9;             // more are written with an exponent
constexpr double LargestExact = 1LL << 53;  // whole numbers up to here are exact
constexpr int MostDigits = 17;

// value * power, rounded, as a whole number and what follows the point.
void AppendDecimals(fmt::memory_buffer& text, std::int64_t scaled, int decimals, char decimal) {
  std::array<char, 24> digits;
  char* const end = digits.data() + digits.size();
  char* start = end;
  std::uint64_t rest = static_cast<std::uint64_t>(scaled < 0 ? -scaled : scaled);
  bool any = false;
  for (int i = 0; i < decimals; ++i, rest /= 10) {
    const char digit = static_cast<char>('0' + rest % 10);
    any = any || digit != '0';
    if (any) *--start = digit;
  }
  if (any) *--start = decimal;
  do {
    *--start = static_cast<char>('0' + rest % 10);
    rest /= 10;
  } while (rest > 0);
  if (scaled < 0) *--start = '-';
  text.append(start, end);
}

void ReplacePoint(fmt::memory_buffer& text, std::size_t from, char decimal) {
  if (decimal != '.') std::replace(text.begin() + from, text.end(), '.', decimal);
}

}  // namespace

Digits Digits::OfStep(double step, double largest) {
  step = std::abs(step);
  if (!(step > 0) || !std::isfinite(step) || !std::isfinite(largest)) return {};
  Digits digits;
  const int decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step))) + 1);
  digits.kind_ = Kind::Decimals;
  digits.count_ = decimals;
  digits.power_ = std::pow(10.0, decimals);
  if (decimals <= MostDecimals && std::abs(largest) * digits.power_ < LargestExact) return digits;
  const double needed = std::ceil(std::log10(std::max(std::abs(largest), step) / step)) + 2;
  return Significant(static_cast<int>(std::min<double>(needed, MostDigits)));
}

Digits Digits::Of(const lmimport::Block& block, const lmimport::Channel& channel) {
  constexpr int bitsOfSingle = 32;
  if (!block.RealSamples) {
    const double highest = std::ldexp(1.0, block.CountBits - 1);
    return OfStep(channel.Factor, std::abs(channel.Factor) * highest + std::abs(channel.Offset));
  }
  const bool single =
      block.SampleBits == bitsOfSingle && channel.Factor == 1 && channel.Offset == 0;
  return single ? OfSingle() : Digits();
}

Digits Digits::OfSingle() {
  Digits digits;
  digits.kind_ = Kind::ShortestSingle;
  return digits;
}

Digits Digits::Significant(int digits) {
  Digits made;
  made.kind_ = Kind::Significant;
  made.count_ = std::clamp(digits, 1, MostDigits);
  return made;
}

void Digits::Append(fmt::memory_buffer& text, double value, char decimal) const {
  if (kind_ == Kind::Decimals) {
    const double scaled = std::nearbyint(value * power_);
    if (std::abs(scaled) < LargestExact)
      return AppendDecimals(text, static_cast<std::int64_t>(scaled), count_, decimal);
  }
  const std::size_t start = text.size();
  const auto out = std::back_inserter(text);
  if (kind_ == Kind::Significant)
    fmt::format_to(out, FMT_COMPILE("{:.{}g}"), value, count_);
  else if (kind_ == Kind::ShortestSingle)
    fmt::format_to(out, FMT_COMPILE("{}"), static_cast<float>(value));
  else
    fmt::format_to(out, FMT_COMPILE("{}"), value);
  ReplacePoint(text, start, decimal);
}

std::string Digits::Text(double value) const {
  fmt::memory_buffer text;
  Append(text, value);
  return fmt::to_string(text);
}

}  // namespace lmi
