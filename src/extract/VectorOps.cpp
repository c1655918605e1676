#include "extract/VectorOps.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <type_traits>

namespace lmimport {
namespace {

// The steps below 2^22 (Single) or 2^51 (Double) around this number are whole: adding it and taking
// it off again rounds to the nearest whole number, ties to even, in any vector instruction set.
template <class Real>
constexpr Real Rounder = Real{3} * (std::uint64_t{1} << (std::numeric_limits<Real>::digits - 2));

// Compared and chosen by their bits, which are in order as whole numbers are: then nothing raises the
// invalid exception of floating-point numbers, which a host may have unmasked, and no branch keeps
// the compiler from vector instructions.
template <class Output, class Real>
inline Output ToCount(Real value) {
  using Bits = std::conditional_t<sizeof(Real) == sizeof(Long), std::int32_t, std::int64_t>;
  constexpr auto smallest = std::bit_cast<Bits>(Real{std::numeric_limits<Output>::min()});
  constexpr auto largest = std::bit_cast<Bits>(Real{std::numeric_limits<Output>::max()});
  constexpr auto infinity = std::bit_cast<Bits>(std::numeric_limits<Real>::infinity());
  constexpr Bits withoutSign = std::numeric_limits<Bits>::max();
  const auto allOnesIf = [](bool condition) { return -static_cast<Bits>(condition); };
  const auto bits = std::bit_cast<Bits>(value);
  const Bits magnitude = bits & withoutSign;
  const Bits limit = largest ^ ((largest ^ smallest) & allOnesIf(bits < 0));
  const Bits beyond = allOnesIf(magnitude > (limit & withoutSign));
  const Bits held = ((limit & beyond) | (bits & ~beyond)) & allOnesIf(magnitude <= infinity);
  const auto number = std::bit_cast<Real>(held);
  return static_cast<Output>(static_cast<Long>((number + Rounder<Real>)-Rounder<Real>));
}

// A Single can't hold the limits of a Long.
template <class Output, class Real>
using CountingReal = std::conditional_t<sizeof(Output) == sizeof(Long), Double, Real>;

// Runs a loop with the widest vector instructions that the processor has. Always inlined, the loop is
// compiled once for each kind. Wider instructions do the same steps on more elements.
#if defined(__x86_64__) && !defined(LMIMPORT_BASELINE_VECTORS)
template <class Loop>
__attribute__((target("avx2"))) void RunWithAvx2(Loop loop) {
  loop();
}
template <class Loop>
void RunWidest(Loop loop) {
  static const bool hasAvx2 = __builtin_cpu_supports("avx2") != 0;
  if (hasAvx2)
    RunWithAvx2(loop);
  else
    loop();
}
#else
template <class Loop>
void RunWidest(Loop loop) {
  loop();
}
#endif

template <class Count>
inline Count Flipped(Count count, Count flip) {
  return static_cast<Count>(count ^ flip);
}

}  // namespace

template <class T>
void DownSample(const T* from, std::size_t step, std::size_t n, T* to) {
  for (std::size_t i = 0; i < n; ++i) to[i] = from[i * step];
}

template <class Count, class Output>
void HoldCounts(const Count* from, Count flip, std::size_t n, Output* to) {
  RunWidest([=]() __attribute__((always_inline)) {
    constexpr Long smallest = std::numeric_limits<Output>::min();
    constexpr Long largest = std::numeric_limits<Output>::max();
    for (std::size_t i = 0; i < n; ++i)
      to[i] = static_cast<Output>(std::clamp(Long{Flipped(from[i], flip)}, smallest, largest));
  });
}

template <class Count, class Real>
void CountsToValues(const Count* from, Count flip, std::size_t n, Real scale, Real offset,
                    Real* to) {
  if (offset == 0) {
    RunWidest([=]() __attribute__((always_inline)) {
      for (std::size_t i = 0; i < n; ++i) to[i] = static_cast<Real>(Flipped(from[i], flip)) / scale;
    });
  } else {
    RunWidest([=]() __attribute__((always_inline)) {
      for (std::size_t i = 0; i < n; ++i)
        to[i] = static_cast<Real>(Flipped(from[i], flip)) / scale + offset;
    });
  }
}

template <class Count, class Real>
void CountsToValues(const Count* from, Count flip, std::size_t n, const Real* scales,
                    const Real* offsets, Real* to) {
  RunWidest([=]() __attribute__((always_inline)) {
    for (std::size_t i = 0; i < n; ++i)
      to[i] = static_cast<Real>(Flipped(from[i], flip)) / scales[i] + offsets[i];
  });
}

template <class Real, class Output>
void ValuesToCounts(const Real* from, std::size_t n, Real scale, Real offset, Output* to) {
  RunWidest([=]() __attribute__((always_inline)) {
    for (std::size_t i = 0; i < n; ++i)
      to[i] = ToCount<Output>(CountingReal<Output, Real>{(from[i] - offset) * scale});
  });
}

template <class Real, class Output>
void ValuesToCounts(const Real* from, std::size_t n, const Real* scales, const Real* offsets,
                    Output* to) {
  RunWidest([=]() __attribute__((always_inline)) {
    for (std::size_t i = 0; i < n; ++i)
      to[i] = ToCount<Output>(CountingReal<Output, Real>{(from[i] - offsets[i]) * scales[i]});
  });
}

void ConvertReals(const Single* from, std::size_t n, Double* to) {
  RunWidest([=]() __attribute__((always_inline)) {
    for (std::size_t i = 0; i < n; ++i) to[i] = from[i];
  });
}

void ConvertReals(const Double* from, std::size_t n, Single* to) {
  RunWidest([=]() __attribute__((always_inline)) {
    for (std::size_t i = 0; i < n; ++i) to[i] = static_cast<Single>(from[i]);
  });
}

// Side by side in lanes, so that the loop over them is one vector loop, of real numbers too.
template <class T>
void FindExtremes(const T* from, T flip, std::size_t n, T& smallest, T& largest) {
  constexpr std::size_t lanes = 256 / sizeof(T);
  const auto sample = [flip](T stored) __attribute__((always_inline)) {
    if constexpr (std::is_integral_v<T>)
      return Flipped(stored, flip);
    else
      return stored;
  };
  std::size_t i = 0;
  if (n >= 2 * lanes) {
    std::array<T, lanes> lows;
    std::array<T, lanes> highs;
    lows.fill(smallest);
    highs.fill(largest);
    RunWidest([&]() __attribute__((always_inline)) {
      for (; i + lanes <= n; i += lanes) {
        for (std::size_t k = 0; k < lanes; ++k) {
          const T value = sample(from[i + k]);
          lows[k] = value < lows[k] ? value : lows[k];
          highs[k] = value > highs[k] ? value : highs[k];
        }
      }
    });
    smallest = *std::min_element(lows.begin(), lows.end());
    largest = *std::max_element(highs.begin(), highs.end());
  }
  for (; i < n; ++i) {
    const T value = sample(from[i]);
    if (value < smallest) smallest = value;
    if (value > largest) largest = value;
  }
}

template void DownSample(const std::int8_t*, std::size_t, std::size_t, std::int8_t*);
template void DownSample(const Integer*, std::size_t, std::size_t, Integer*);
template void DownSample(const Long*, std::size_t, std::size_t, Long*);
template void DownSample(const Single*, std::size_t, std::size_t, Single*);
template void DownSample(const Double*, std::size_t, std::size_t, Double*);

template void HoldCounts(const std::int8_t*, std::int8_t, std::size_t, Integer*);
template void HoldCounts(const Integer*, Integer, std::size_t, Integer*);
template void HoldCounts(const Long*, Long, std::size_t, Integer*);
template void HoldCounts(const std::int8_t*, std::int8_t, std::size_t, Long*);
template void HoldCounts(const Integer*, Integer, std::size_t, Long*);
template void HoldCounts(const Long*, Long, std::size_t, Long*);

template void CountsToValues(const std::int8_t*, std::int8_t, std::size_t, Single, Single, Single*);
template void CountsToValues(const std::int8_t*, std::int8_t, std::size_t, Double, Double, Double*);
template void CountsToValues(const Integer*, Integer, std::size_t, Single, Single, Single*);
template void CountsToValues(const Integer*, Integer, std::size_t, Double, Double, Double*);
template void CountsToValues(const Long*, Long, std::size_t, Single, Single, Single*);
template void CountsToValues(const Long*, Long, std::size_t, Double, Double, Double*);

template void CountsToValues(const std::int8_t*, std::int8_t, std::size_t, const Single*,
                             const Single*, Single*);
template void CountsToValues(const std::int8_t*, std::int8_t, std::size_t, const Double*,
                             const Double*, Double*);
template void CountsToValues(const Integer*, Integer, std::size_t, const Single*, const Single*,
                             Single*);
template void CountsToValues(const Integer*, Integer, std::size_t, const Double*, const Double*,
                             Double*);
template void CountsToValues(const Long*, Long, std::size_t, const Single*, const Single*, Single*);
template void CountsToValues(const Long*, Long, std::size_t, const Double*, const Double*, Double*);

template void ValuesToCounts(const Single*, std::size_t, Single, Single, Integer*);
template void ValuesToCounts(const Double*, std::size_t, Double, Double, Integer*);
template void ValuesToCounts(const Single*, std::size_t, const Single*, const Single*, Integer*);
template void ValuesToCounts(const Double*, std::size_t, const Double*, const Double*, Integer*);
template void ValuesToCounts(const Single*, std::size_t, Single, Single, Long*);
template void ValuesToCounts(const Double*, std::size_t, Double, Double, Long*);
template void ValuesToCounts(const Single*, std::size_t, const Single*, const Single*, Long*);
template void ValuesToCounts(const Double*, std::size_t, const Double*, const Double*, Long*);

template void FindExtremes(const std::int8_t*, std::int8_t, std::size_t, std::int8_t&,
                           std::int8_t&);
template void FindExtremes(const Integer*, Integer, std::size_t, Integer&, Integer&);
template void FindExtremes(const Long*, Long, std::size_t, Long&, Long&);
template void FindExtremes(const Single*, Single, std::size_t, Single&, Single&);
template void FindExtremes(const Double*, Double, std::size_t, Double&, Double&);

}  // namespace lmimport
