// The fields of a file header, by their offset in a buffer of its bytes.
#pragma once

#include <lmimport/Types.h>

#include <algorithm>
#include <cstring>
#include <span>

namespace lmimport {

/// Little-endian fields; a field behind the end of the bytes is 0.
class HeaderView {
 public:
  explicit HeaderView(std::span<const Byte> bytes) : bytes_(bytes) {}

  Byte Int8(std::size_t offset) const { return Field<Byte>(offset); }
  Integer Int16(std::size_t offset) const { return Field<Integer>(offset); }
  Long Int32(std::size_t offset) const { return Field<Long>(offset); }
  Single Real32(std::size_t offset) const { return Field<Single>(offset); }
  Double Real64(std::size_t offset) const { return Field<Double>(offset); }

  /// The part of the field that the bytes hold.
  std::span<const Byte> Bytes(std::size_t offset, std::size_t size) const {
    const std::size_t start = std::min(offset, bytes_.size());
    return bytes_.subspan(start, std::min(size, bytes_.size() - start));
  }

 private:
  template <class T>
  T Field(std::size_t offset) const {
    T value{};
    const auto field = Bytes(offset, sizeof(T));
    if (field.size() == sizeof(T)) std::memcpy(&value, field.data(), sizeof(T));
    return value;
  }

  std::span<const Byte> bytes_;
};

}  // namespace lmimport
