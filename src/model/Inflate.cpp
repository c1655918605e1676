#include "model/Inflate.h"

#include <algorithm>
#include <array>
#include <new>

#include "model/SourceReads.h"

#ifdef LMIMPORT_HAS_ZLIB
#include <zlib.h>
#endif

namespace lmimport {

#ifdef LMIMPORT_HAS_ZLIB

struct Inflater::Stream {
  static constexpr std::size_t PackedBytes = 65536;

  z_stream State{};
  bool Ended = false;
  std::array<std::byte, PackedBytes> Packed;
};

bool CanInflate() {
  return true;
}

Inflater::Inflater(const ByteSource& source, std::int64_t position, std::int64_t size)
    : source_(source), position_(position), left_(size), stream_(std::make_unique<Stream>()) {
  if (inflateInit(&stream_->State) != Z_OK) throw std::bad_alloc();
}

Inflater::~Inflater() {
  inflateEnd(&stream_->State);
}

std::size_t Inflater::Read(std::span<std::byte> target) {
  z_stream& state = stream_->State;
  state.next_out = reinterpret_cast<Bytef*>(target.data());
  std::size_t room = target.size();
  while (room > 0 && !stream_->Ended) {
    if (state.avail_in == 0) {
      const auto wanted = static_cast<std::size_t>(
          std::clamp<std::int64_t>(left_, 0, std::int64_t{Stream::PackedBytes}));
      const std::size_t done =
          wanted == 0 ? 0
                      : ReadSource(source_, position_, std::span(stream_->Packed).first(wanted));
      if (done == 0) break;
      state.next_in = reinterpret_cast<Bytef*>(stream_->Packed.data());
      state.avail_in = static_cast<uInt>(done);
      position_ += static_cast<std::int64_t>(done);
      left_ -= static_cast<std::int64_t>(done);
    }
    constexpr std::size_t largest = 1U << 30;
    const std::size_t part = std::min(room, largest);
    state.avail_out = static_cast<uInt>(part);
    const int result = inflate(&state, Z_NO_FLUSH);
    room -= part - state.avail_out;
    stream_->Ended = result != Z_OK && result != Z_BUF_ERROR;
  }
  return target.size() - room;
}

#else

struct Inflater::Stream {};

bool CanInflate() {
  return false;
}

Inflater::Inflater(const ByteSource& source, std::int64_t position, std::int64_t size)
    : source_(source), position_(position), left_(size) {}
Inflater::~Inflater() = default;

std::size_t Inflater::Read(std::span<std::byte> /*target*/) {
  return 0;
}

#endif

bool Inflater::Skip(std::int64_t count) {
  std::array<std::byte, 8192> past;
  while (count > 0) {
    const auto part = static_cast<std::size_t>(std::min<std::int64_t>(count, past.size()));
    if (Read(std::span(past).first(part)) < part) return false;
    count -= static_cast<std::int64_t>(part);
  }
  return true;
}

std::int64_t Inflater::SkipAll() {
  std::array<std::byte, 65536> past;
  std::int64_t count = 0;
  while (const std::size_t done = Read(past)) count += static_cast<std::int64_t>(done);
  return count;
}

}  // namespace lmimport
