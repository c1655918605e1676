#include "readers/AdcTables.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace lmimport {
namespace {

// Units from 0 to the end of the range, by gain code; a code that the board doesn't have gives the
// last entry.
template <std::size_t N>
Double Range(const std::array<Double, N>& ranges, Integer first, Integer gain) {
  const int index = gain - first;
  return ranges[index >= 0 && index < static_cast<int>(N) - 1 ? static_cast<std::size_t>(index)
                                                              : N - 1];
}

Double ScaleL783(Integer gain) {
  return 2000.0 / 5 * std::exp2(gain);
}
Double ScaleL78(Integer gain) {
  return 8000.0 / 5 * std::exp2(2.0 * gain);
}
Double ScaleL79(Integer gain) {
  return 8192.0 / 10 * std::exp2(gain);
}
Double ScaleL50(Integer gain) {
  return 30000 / Range(std::array{5.0, 2.0, 1.0, 0.5, 0.2, 10.0}, 1, gain);
}
Double ScaleE15(Integer gain) {
  return 2000 / Range(std::array{1.6, 0.5, 0.16, 5.0}, 1, gain);
}
Double ScaleE14(Integer gain) {
  return 8000.0 / 10 * std::exp2(2.0 * gain);
}
Double ScaleE2010(Integer gain) {
  return 8000 / Range(std::array{1.0, 0.3, 3.0}, 1, gain);
}
Double ScaleUsb3000(Integer) {
  return 8000.0 / 5;
}
Double ScaleOther(Integer gain) {
  return std::exp2(16.0 + gain) / 10.24;
}

struct Board {
  std::array<std::u16string_view, 4> Names;  // beginnings; an empty one is not used
  Byte Bits;
  Double (*Scale)(Integer gain);
};

// The first row that fits is used, so the 12-bit board precedes the rest of its family.
constexpr std::array Boards = {
    Board{{u"L-783", u"L783"}, 12, ScaleL783},
    Board{{u"L-76", u"L76", u"L-78", u"L78"}, 14, ScaleL78},
    Board{{u"L-79", u"L79"}, 14, ScaleL79},
    Board{{u"L-50", u"L50"}, 16, ScaleL50},
    Board{{u"E-15", u"E15"}, 12, ScaleE15},
    Board{{u"E14", u"E-140", u"E-440", u"E440"}, 14, ScaleE14},
    Board{{u"E20-10", u"E2010"}, 14, ScaleE2010},
    Board{{u"USB-3000", u"USB3000"}, 14, ScaleUsb3000},
};

constexpr Board OtherBoard = {{}, 16, ScaleOther};

const Board& FindBoard(std::u16string_view name) {
  const auto fits = [name](const Board& board) {
    return std::any_of(board.Names.begin(), board.Names.end(), [name](std::u16string_view start) {
      return !start.empty() && name.starts_with(start);
    });
  };
  const auto* row = std::find_if(Boards.begin(), Boards.end(), fits);
  return row != Boards.end() ? *row : OtherBoard;
}

}  // namespace

Single AdcScale(std::u16string_view ADCName, Integer Gain) {
  Double scale = FindBoard(ADCName).Scale(Gain);
  if (ADCName == u"E-24") scale *= 2;
  if (ADCName == u"F-Generator") scale /= 2;
  return static_cast<Single>(scale);
}

Byte AdcResolution(std::u16string_view ADCName) {
  return FindBoard(ADCName).Bits;
}

}  // namespace lmimport
