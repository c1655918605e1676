// Plain loops over lanes, which the compiler turns into vector instructions.
#include "recordings/Sums.h"

#include <algorithm>
#include <array>
#include <utility>

namespace lmi {
namespace {

// Each is compiled for wider vectors too, and chosen by the processor at hand.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && \
    !defined(__SANITIZE_ADDRESS__)
#define LMI_VECTOR_LOOP __attribute__((target_clones("avx2", "default")))
#else
#define LMI_VECTOR_LOOP
#endif

template <class T>
std::pair<T, T> ExtremesOf(std::span<const T> x) {
  constexpr std::size_t lanes = 16;
  std::array<T, lanes> low;
  std::array<T, lanes> high;
  low.fill(x[0]);
  high.fill(x[0]);
  std::size_t i = 0;
  for (; i + lanes <= x.size(); i += lanes) {
    for (std::size_t k = 0; k < lanes; ++k) {
      low[k] = x[i + k] < low[k] ? x[i + k] : low[k];
      high[k] = x[i + k] > high[k] ? x[i + k] : high[k];
    }
  }
  for (; i < x.size(); ++i) {
    low[0] = std::min(low[0], x[i]);
    high[0] = std::max(high[0], x[i]);
  }
  return {std::ranges::min(low), std::ranges::max(high)};
}

// Sum, and sum of squares.
LMI_VECTOR_LOOP std::pair<std::int64_t, std::int64_t> WholeSums(const std::int16_t* x,
                                                                std::size_t n) {
  constexpr std::size_t lanes = 16;
  std::array<std::int64_t, lanes> squares{};
  std::int64_t sum = 0;
  std::size_t i = 0;
  while (i + lanes <= n) {
    std::array<std::int32_t, lanes> sums{};
    // So few that a lane stays within 32 bits.
    const std::size_t end = std::min(n, i + lanes * 4096);
    for (; i + lanes <= end; i += lanes) {
      for (std::size_t k = 0; k < lanes; ++k) {
        const std::int32_t v = x[i + k];
        sums[k] += v;
        squares[k] += static_cast<std::uint32_t>(v * v);
      }
    }
    for (const std::int32_t one : sums) sum += one;
  }
  std::int64_t allSquares = 0;
  for (const std::int64_t one : squares) allSquares += one;
  for (; i < n; ++i) {
    sum += x[i];
    allSquares += std::int64_t{x[i]} * x[i];
  }
  return {sum, allSquares};
}

LMI_VECTOR_LOOP std::pair<std::int16_t, std::int16_t> WholeExtremes(const std::int16_t* x,
                                                                    std::size_t n) {
  std::int16_t low = x[0];
  std::int16_t high = x[0];
  for (std::size_t i = 0; i < n; ++i) {
    low = std::min(low, x[i]);
    high = std::max(high, x[i]);
  }
  return {low, high};
}

template <class T>
Sums AnySumsOf(std::span<const T> x) {
  constexpr std::size_t lanes = 8;
  const auto sumOf = [x](auto term) {
    std::array<double, lanes> sums{};
    std::size_t i = 0;
    for (; i + lanes <= x.size(); i += lanes) {
      for (std::size_t k = 0; k < lanes; ++k) sums[k] += term(static_cast<double>(x[i + k]));
    }
    for (; i < x.size(); ++i) sums[0] += term(static_cast<double>(x[i]));
    double sum = 0;
    for (const double one : sums) sum += one;
    return sum;
  };
  const double mean = sumOf([](double v) { return v; }) / static_cast<double>(x.size());
  const double squares = sumOf([mean](double v) { return (v - mean) * (v - mean); });
  const auto [low, high] = ExtremesOf(x);
  return {static_cast<double>(low), static_cast<double>(high), mean, squares};
}

}  // namespace

// Whole numbers of 16 bits add up exactly: 2^13 of them, squared, and times their number.
Sums SumsOf(std::span<const std::int16_t> x) {
  const auto [sum, squares] = WholeSums(x.data(), x.size());
  const auto [low, high] = WholeExtremes(x.data(), x.size());
  const auto count = static_cast<std::int64_t>(x.size());
  return {static_cast<double>(low), static_cast<double>(high),
          static_cast<double>(sum) / static_cast<double>(count),
          static_cast<double>(count * squares - sum * sum) / static_cast<double>(count)};
}

Sums SumsOf(std::span<const std::int32_t> x) {
  return AnySumsOf(x);
}

Sums SumsOf(std::span<const double> x) {
  return AnySumsOf(x);
}

}  // namespace lmi
