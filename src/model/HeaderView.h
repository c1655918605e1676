// The fields of a file header: each is a constant of its type and place, and header[Field] its value.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

#include "model/BinaryFile.h"

namespace lmimport {

/// A number at an offset in bytes; Gain(3) is the fourth of a table that begins there.
template <class T>
struct Field {
  std::size_t Offset;
  constexpr Field operator()(std::size_t index) const { return {Offset + index * sizeof(T)}; }
  constexpr std::int64_t Position() const { return static_cast<std::int64_t>(Offset); }
};

/// The number with its bytes in the other order.
template <class T>
T Swapped(T value) {
  std::array<Byte, sizeof(T)> bytes;
  std::memcpy(bytes.data(), &value, sizeof(T));
  std::reverse(bytes.begin(), bytes.end());
  std::memcpy(&value, bytes.data(), sizeof(T));
  return value;
}

/// A text of fixed width.
struct TextField {
  std::size_t Offset;
  std::size_t Size;
  constexpr TextField operator()(std::size_t index) const { return {Offset + index * Size, Size}; }
  constexpr std::int64_t Position() const { return static_cast<std::int64_t>(Offset); }
};

/// What lies past the end of the bytes is 0. Numbers are little-endian unless it is said otherwise.
class HeaderView {
 public:
  HeaderView(std::span<const Byte> bytes, const TextTools& texts) : bytes_(bytes), texts_(texts) {}

  template <class T>
  T operator[](Field<T> field) const {
    T value{};
    const auto bytes = Bytes({field.Offset, sizeof(T)});
    if (bytes.size() == sizeof(T)) std::memcpy(&value, bytes.data(), sizeof(T));
    return isBigEndian_ ? Swapped(value) : value;
  }

  /// Numbers have their highest byte first from now on.
  void SetBigEndian(bool isBigEndian) { isBigEndian_ = isBigEndian; }

  /// Up to the first zero byte, without the blanks at both ends.
  String operator[](TextField field) const { return FixedText(texts_, Bytes(field)); }

  /// Up to the first zero byte.
  String Untrimmed(TextField field) const { return texts_.TextFromBytes(Bytes(field)); }

  /// The part of the field that there is.
  std::span<const Byte> Bytes(TextField field) const {
    const std::size_t start = std::min(field.Offset, bytes_.size());
    return bytes_.subspan(start, std::min(field.Size, bytes_.size() - start));
  }

 private:
  std::span<const Byte> bytes_;
  const TextTools& texts_;
  bool isBigEndian_ = false;
};

/// A header of so many bytes, with the bytes.
template <std::size_t Size>
class Header : public HeaderView {
 public:
  /// Reads on from where the file is.
  explicit Header(BinaryFile& file) : HeaderView(bytes_, file.Texts()) { ReadMore(file, 0, Size); }
  Header(BinaryFile& file, std::int64_t position) : HeaderView(bytes_, file.Texts()) {
    file.Seek(position);
    ReadMore(file, 0, Size);
  }
  /// All zeros, until some are read.
  explicit Header(const TextTools& texts) : HeaderView(bytes_, texts) {}
  Header(const Header&) = delete;
  Header& operator=(const Header&) = delete;

  /// The bytes from `first` to before `end`; gives how many there are.
  std::int64_t ReadMore(BinaryFile& file, std::size_t first, std::size_t end) {
    return file.ReadByteArray(bytes_.data() + first, static_cast<std::int64_t>(end - first));
  }
  /// Reads over all, and keeps what the file doesn't hold; gives how many bytes there are.
  std::int64_t ReadOver(BinaryFile& file) { return file.ReadOver(bytes_); }

 private:
  std::array<Byte, Size> bytes_{};
};

}  // namespace lmimport
