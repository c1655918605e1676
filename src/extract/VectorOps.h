// The loops that stored samples go through: plain, over contiguous memory, and such that the
// compiler makes vector instructions of them. Each element goes through the steps that its comment
// names, in that order and in the precision of Real, never fused into one rounding, so a result that
// is a number is the same bit for bit however a request is cut into pieces and whatever the
// processor.
//
// Count is a stored integer (8, 16 or 32 bits), Real a Single or Double. `flip` is 0, or the top
// bit of Count where stored counts are unsigned. Source and target are the same or don't overlap.
#pragma once

#include <lmimport/Types.h>

#include <algorithm>
#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <limits>
#include <type_traits>

namespace lmimport {

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

/// to[i] = from[i * step]. Compiled by itself, it has a loop for each step that is worth one.
template <class T>
[[gnu::noinline]] void DownSample(const T* from, std::size_t step, std::size_t n, T* to) {
  for (std::size_t i = 0; i < n; ++i) to[i] = from[i * step];
}

/// to[i] = from[i] xor flip, held at the limits of Output, which is Integer or Long
template <class Count, class Output>
[[gnu::noinline]] void HoldCounts(const Count* from, Count flip, std::size_t n, Output* to) {
  RunWidest([=]() __attribute__((always_inline)) {
    constexpr Long smallest = std::numeric_limits<Output>::min();
    constexpr Long largest = std::numeric_limits<Output>::max();
    for (std::size_t i = 0; i < n; ++i)
      to[i] = static_cast<Output>(std::clamp(Long{Flipped(from[i], flip)}, smallest, largest));
  });
}

/// to[i] = (from[i] xor flip) / scale, + offset unless that is 0
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

/// to[i] = (from[i] xor flip) / scales[i] + offsets[i]
template <class Count, class Real>
void CountsToValues(const Count* from, Count flip, std::size_t n, const Real* scales,
                    const Real* offsets, Real* to) {
  RunWidest([=]() __attribute__((always_inline)) {
    for (std::size_t i = 0; i < n; ++i)
      to[i] = static_cast<Real>(Flipped(from[i], flip)) / scales[i] + offsets[i];
  });
}

/// to[i] = (from[i] xor flip) * factor + offset in Double, then rounded to Real
template <class Count, class Real>
void CountsToPublished(const Count* from, Count flip, std::size_t n, Double factor, Double offset,
                       Real* to) {
  RunWidest([=]() __attribute__((always_inline)) {
    for (std::size_t i = 0; i < n; ++i)
      to[i] = static_cast<Real>(static_cast<Double>(Flipped(from[i], flip)) * factor + offset);
  });
}

/// The same with factors[i] and offsets[i].
template <class Count, class Real>
void CountsToPublished(const Count* from, Count flip, std::size_t n, const Double* factors,
                       const Double* offsets, Real* to) {
  RunWidest([=]() __attribute__((always_inline)) {
    for (std::size_t i = 0; i < n; ++i)
      to[i] =
          static_cast<Real>(static_cast<Double>(Flipped(from[i], flip)) * factors[i] + offsets[i]);
  });
}

/// to[i] = (from[i] - offset) * scale, rounded to nearest, ties to even, held at the limits of
/// Output; NaN gives 0
template <class Real, class Output>
void ValuesToCounts(const Real* from, std::size_t n, Real scale, Real offset, Output* to) {
  RunWidest([=]() __attribute__((always_inline)) {
    for (std::size_t i = 0; i < n; ++i)
      to[i] = ToCount<Output>(CountingReal<Output, Real>{(from[i] - offset) * scale});
  });
}

/// The same with scales[i] and offsets[i].
template <class Real, class Output>
void ValuesToCounts(const Real* from, std::size_t n, const Real* scales, const Real* offsets,
                    Output* to) {
  RunWidest([=]() __attribute__((always_inline)) {
    for (std::size_t i = 0; i < n; ++i)
      to[i] = ToCount<Output>(CountingReal<Output, Real>{(from[i] - offsets[i]) * scales[i]});
  });
}

/// to[i] = from[i], widened or narrowed
inline void ConvertReals(const Single* from, std::size_t n, Double* to) {
  RunWidest([=]() __attribute__((always_inline)) {
    for (std::size_t i = 0; i < n; ++i) to[i] = from[i];
  });
}

inline void ConvertReals(const Double* from, std::size_t n, Single* to) {
  RunWidest([=]() __attribute__((always_inline)) {
    for (std::size_t i = 0; i < n; ++i) to[i] = static_cast<Single>(from[i]);
  });
}

/// Lowers `smallest` and raises `largest` to the extremes of from[i] xor flip; NaN is passed over,
/// and real numbers have no flip.
template <std::integral T>
void FindExtremes(const T* from, T flip, std::size_t n, T& smallest, T& largest) {
  RunWidest([&]() __attribute__((always_inline)) {
    T low = smallest;
    T high = largest;
    for (std::size_t i = 0; i < n; ++i) {
      const T count = Flipped(from[i], flip);
      low = std::min(low, count);
      high = std::max(high, count);
    }
    smallest = low;
    largest = high;
  });
}

// Side by side in lanes, so that the loop over them is a vector loop, though NaN has no order.
template <std::floating_point T>
void FindExtremes(const T* from, T /*flip*/, std::size_t n, T& smallest, T& largest) {
  constexpr std::size_t lanes = 128 / sizeof(T);
  std::array<T, lanes> lows;
  std::array<T, lanes> highs;
  lows.fill(smallest);
  highs.fill(largest);
  RunWidest([&]() __attribute__((always_inline)) {
    for (std::size_t i = 0; i < n; i += lanes) {
      const std::size_t end = std::min(lanes, n - i);
      for (std::size_t k = 0; k < end; ++k) {
        lows[k] = from[i + k] < lows[k] ? from[i + k] : lows[k];
        highs[k] = from[i + k] > highs[k] ? from[i + k] : highs[k];
      }
    }
  });
  smallest = *std::min_element(lows.begin(), lows.end());
  largest = *std::max_element(highs.begin(), highs.end());
}

}  // namespace lmimport
