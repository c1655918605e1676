// Samples in compressed stretches of a file: unpacked when one of them is first read.
#pragma once

#include "model/Opening.h"

namespace lmimport {

/// Some bytes of what a compressed stretch stands for, from `start` on, as far as there are any.
class InflatedHead final : public ByteSource {
 public:
  InflatedHead(const ByteSource& source, std::int64_t position, std::int64_t packed,
               std::int64_t start, std::size_t most);
  std::int64_t Size() const override { return std::ssize(bytes_); }
  std::size_t ReadAt(std::int64_t position, std::span<std::byte> target) const override;
  std::shared_ptr<const ByteSource> Beside(std::string_view /*name*/) const override { return {}; }

 private:
  std::vector<std::byte> bytes_;
};

/// The samples of blocks that lie in compressed stretches, or beside some that do: all of them go into
/// one file, since a store has one.
class Unpacking {
 public:
  bool IsEmpty() const { return !anyPacked_; }

  /// Bytes of the source, as they are: gives where they will lie, right after those before.
  std::int64_t AddPlain(std::int64_t position, std::int64_t size);

  /// `size` bytes, from `start` on, of what a stream of `packed` bytes stands for.
  std::int64_t AddPacked(std::int64_t position, std::int64_t packed, std::int64_t start,
                         std::int64_t size);

  /// Puts them into a temporary file, which becomes the store's. What a stream lacks is zero, and
  /// told.
  void Unpack(Opening& opening) const;

 private:
  struct Part {
    std::int64_t Position;
    bool IsPacked;
    std::int64_t Packed;  // bytes of the stream
    std::int64_t Start;
    std::int64_t Size;
    std::int64_t Target;
  };
  std::int64_t Add(Part part);

  std::vector<Part> parts_;
  std::int64_t size_ = 0;
  std::int64_t plainSize_ = 0;  // of those that aren't packed
  bool anyPacked_ = false;
};

}  // namespace lmimport
