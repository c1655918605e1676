// Stored samples of kinds that no processor knows, brought to kinds that it does: the other byte
// order, 24 bits, A-law and mu-law, low bits that are no data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "extract/VectorOps.h"
#include "model/Records.h"

namespace lmimport {

/// The counts that the 256 bytes stand for, in 16 bits.
const std::array<Integer, 256>& ALawTable();
const std::array<Integer, 256>& MuLawTable();

/// `n` samples of the block, as they are stored, to counts or numbers of the type that SelectRoute
/// calls its route with. Where a sample keeps its width, source and target may be the same.
template <class Stored>
class Tidying {
 public:
  explicit Tidying(const BlockRec& block)
      : type_(block.SampleType), bigEndian_(block.BigEndian), dataBits_(block.DataBits) {}

  /// What is stored has the width of what it is brought to.
  bool KeepsWidth() const { return SampleWidth(type_) == Long{sizeof(Stored)}; }

  void operator()(const std::byte* from, std::size_t n, Stored* to) const {
    if constexpr (std::same_as<Stored, Long>) {
      if (type_ == SampleInt24) return Widen24(from, n, to);
    }
    if constexpr (std::same_as<Stored, Integer>) {
      if (type_ == SampleALaw || type_ == SampleMuLaw) return Expand(from, n, to);
    }
    if (bigEndian_)
      Swap(from, n, to);
    else if (static_cast<const void*>(from) != to)
      std::memcpy(to, from, n * sizeof(Stored));
    if constexpr (std::same_as<Stored, Integer>) {
      if (dataBits_ != -1) KeepBits(to, n);
    }
  }

 private:
  void Widen24(const std::byte* from, std::size_t n, Long* to) const {
    const bool bigEndian = bigEndian_;
    RunWidest([=]() __attribute__((always_inline)) {
      const auto* bytes = reinterpret_cast<const Byte*>(from);
      if (bigEndian) {
        for (std::size_t i = 0; i < n; ++i)
          to[i] = Signed24(bytes[3 * i + 2], bytes[3 * i + 1], bytes[3 * i]);
      } else {
        for (std::size_t i = 0; i < n; ++i)
          to[i] = Signed24(bytes[3 * i], bytes[3 * i + 1], bytes[3 * i + 2]);
      }
    });
  }
  static Long Signed24(std::uint32_t low, std::uint32_t middle, std::uint32_t high) {
    return static_cast<Long>(low << 8 | middle << 16 | high << 24) >> 8;
  }

  // By the tables of G.711.
  void Expand(const std::byte* from, std::size_t n, Integer* to) const {
    const auto& table = type_ == SampleALaw ? ALawTable() : MuLawTable();
    for (std::size_t i = 0; i < n; ++i) to[i] = table[static_cast<std::size_t>(from[i])];
  }

  static void Swap(const std::byte* from, std::size_t n, Stored* to) {
    using Bits = std::conditional_t<
        sizeof(Stored) == 8, std::uint64_t,
        std::conditional_t<sizeof(Stored) == 4, std::uint32_t,
                           std::conditional_t<sizeof(Stored) == 2, std::uint16_t, Byte>>>;
    RunWidest([=]() __attribute__((always_inline)) {
      for (std::size_t i = 0; i < n; ++i) {
        Bits bits;
        std::memcpy(&bits, from + i * sizeof(Bits), sizeof(Bits));
        if constexpr (sizeof(Bits) == 8) bits = __builtin_bswap64(bits);
        if constexpr (sizeof(Bits) == 4) bits = __builtin_bswap32(bits);
        if constexpr (sizeof(Bits) == 2) bits = __builtin_bswap16(bits);
        std::memcpy(to + i, &bits, sizeof(Bits));
      }
    });
  }

  void KeepBits(Integer* counts, std::size_t n) const {
    const Integer bits = dataBits_;
    RunWidest([=]() __attribute__((always_inline)) {
      for (std::size_t i = 0; i < n; ++i) counts[i] = static_cast<Integer>(counts[i] & bits);
    });
  }

  Integer type_;
  bool bigEndian_;
  Integer dataBits_;
};

}  // namespace lmimport
