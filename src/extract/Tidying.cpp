#include "extract/Tidying.h"

namespace lmimport {
namespace {

// Each byte is a sign, an exponent of three bits and a mantissa of four, all or every other bit of
// it turned round.
constexpr Integer CountOfALaw(int byte) {
  const int bits = byte ^ 0x55;
  const int exponent = bits >> 4 & 7;
  const int mantissa = (bits & 15) << 4 | 8;
  const int magnitude = exponent == 0 ? mantissa : (mantissa + 256) << (exponent - 1);
  return static_cast<Integer>((bits & 0x80) != 0 ? magnitude : -magnitude);
}

constexpr Integer CountOfMuLaw(int byte) {
  constexpr int bias = 132;
  const int bits = ~byte & 0xff;
  const int magnitude = (((bits & 15) << 3 | bias) << (bits >> 4 & 7)) - bias;
  return static_cast<Integer>((bits & 0x80) != 0 ? -magnitude : magnitude);
}

template <class CountOf>
constexpr std::array<Integer, 256> TableOf(CountOf countOf) {
  std::array<Integer, 256> table{};
  for (int byte = 0; byte < 256; ++byte) table[static_cast<std::size_t>(byte)] = countOf(byte);
  return table;
}

}  // namespace

const std::array<Integer, 256>& ALawTable() {
  static constexpr std::array<Integer, 256> table = TableOf(CountOfALaw);
  return table;
}

const std::array<Integer, 256>& MuLawTable() {
  static constexpr std::array<Integer, 256> table = TableOf(CountOfMuLaw);
  return table;
}

}  // namespace lmimport
