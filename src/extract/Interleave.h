// Channels that lie one after the other, brought into frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <utility>

namespace lmimport {

// A square of samples of which rows become columns: pairs are exchanged, then pairs of pairs, then
// halves, eight samples of two bytes or four of four bytes a row.
template <class T, std::size_t Side>
struct Square {
  using Row [[gnu::vector_size(16)]] = T;
  Row Rows[Side];  // NOLINT(modernize-avoid-c-arrays): templates lose what makes it a vector

  void Load(std::size_t row, const T* from) { std::memcpy(&Rows[row], from, sizeof(Row)); }
  void Store(std::size_t row, T* to) const { std::memcpy(to, &Rows[row], sizeof(Row)); }

  void Transpose() {
    if constexpr (Side == 8) {
      for (std::size_t i = 0; i < Side; i += 2) Exchange(Rows[i], Rows[i + 1], Low16, High16);
      for (std::size_t i = 0; i < Side; i += 4) {
        Exchange(Rows[i], Rows[i + 2], Low32, High32);
        Exchange(Rows[i + 1], Rows[i + 3], Low32, High32);
      }
      for (std::size_t i = 0; i < Side / 2; ++i) Exchange(Rows[i], Rows[i + 4], Low64, High64);
      std::swap(Rows[1], Rows[4]);
      std::swap(Rows[3], Rows[6]);
    } else {
      for (std::size_t i = 0; i < Side; i += 2) Exchange(Rows[i], Rows[i + 1], Low32, High32);
      for (std::size_t i = 0; i < Side / 2; ++i) Exchange(Rows[i], Rows[i + 2], Low64, High64);
      std::swap(Rows[1], Rows[2]);
    }
  }

 private:
  template <class Low, class High>
  static void Exchange(Row& one, Row& other, Low low, High high) {
    const Row first = low(one, other);
    other = high(one, other);
    one = first;
  }
  static Row Low16(Row a, Row b) { return __builtin_shufflevector(a, b, 0, 8, 1, 9, 2, 10, 3, 11); }
  static Row High16(Row a, Row b) {
    return __builtin_shufflevector(a, b, 4, 12, 5, 13, 6, 14, 7, 15);
  }
  static Row Low32(Row a, Row b) {
    if constexpr (Side == 8)
      return __builtin_shufflevector(a, b, 0, 1, 8, 9, 2, 3, 10, 11);
    else
      return __builtin_shufflevector(a, b, 0, 4, 1, 5);
  }
  static Row High32(Row a, Row b) {
    if constexpr (Side == 8)
      return __builtin_shufflevector(a, b, 4, 5, 12, 13, 6, 7, 14, 15);
    else
      return __builtin_shufflevector(a, b, 2, 6, 3, 7);
  }
  static Row Low64(Row a, Row b) {
    if constexpr (Side == 8)
      return __builtin_shufflevector(a, b, 0, 1, 2, 3, 8, 9, 10, 11);
    else
      return __builtin_shufflevector(a, b, 0, 1, 4, 5);
  }
  static Row High64(Row a, Row b) {
    if constexpr (Side == 8)
      return __builtin_shufflevector(a, b, 4, 5, 6, 7, 12, 13, 14, 15);
    else
      return __builtin_shufflevector(a, b, 2, 3, 6, 7);
  }
};

/// to[i * channels + c] = from[starts[c] + i], for i below n and as many channels as there are starts
template <class T>
void Interleave(const T* from, std::span<const std::size_t> starts, std::size_t n, T* to) {
  const std::size_t channels = starts.size();
  std::size_t squareChannels = 0;
  std::size_t squareFrames = 0;
  if constexpr (sizeof(T) == 2 || sizeof(T) == 4) {
    constexpr std::size_t side = 16 / sizeof(T);
    squareChannels = channels / side * side;
    squareFrames = squareChannels > 0 ? n / side * side : 0;
    for (std::size_t i = 0; i < squareFrames; i += side) {
      for (std::size_t c = 0; c < squareChannels; c += side) {
        Square<T, side> square;
        for (std::size_t k = 0; k < side; ++k) square.Load(k, from + starts[c + k] + i);
        square.Transpose();
        for (std::size_t k = 0; k < side; ++k) square.Store(k, to + (i + k) * channels + c);
      }
    }
  }
  const auto copy = [&](std::size_t firstFrame, std::size_t firstChannel) {
    for (std::size_t i = firstFrame; i < n; ++i) {
      for (std::size_t c = firstChannel; c < channels; ++c)
        to[i * channels + c] = from[starts[c] + i];
    }
  };
  if (squareFrames == 0) return copy(0, 0);
  copy(squareFrames, 0);
  n = squareFrames;
  copy(0, squareChannels);
}

}  // namespace lmimport
