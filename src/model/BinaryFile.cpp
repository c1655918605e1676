#include "model/BinaryFile.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>

#include "model/Date.h"
#include "platform/System.h"

static_assert(std::endian::native == std::endian::little,
              "files hold little-endian numbers, and are read without conversion");

namespace lmimport {

bool BinaryFile::Open(const String& Path, Long ShareMode, const platform::Folder* folder) {
  Close();
  lastError_.clear();
  const auto lock =
      ShareMode == ShareReadingAndWriting ? platform::Lock::None : platform::Lock::Shared;
  auto file = std::make_shared<FileSource>();
  systemError_ = file->Open(Path, platform::Access::Read, lock, folder);
  if (systemError_) {
    lastError_ = FromUtf8(WhyNotOpened(Path, systemError_));
    return false;
  }
  file_ = file.get();
  source_ = std::move(file);
  return true;
}

void BinaryFile::Close() {
  source_.reset();
  file_ = nullptr;
  position_ = 0;
  windowFilled_ = 0;
}

Date BinaryFile::FileDateTime() const {
  if (file_ == nullptr) return 0;
  const std::tm local = platform::LocalTime(file_->TimesAtOpen().Written.Seconds);
  return DateSerial(local.tm_year + std::int64_t{1900}, local.tm_mon + 1, local.tm_mday) +
         TimeSerial(local.tm_hour, local.tm_min, local.tm_sec);
}

std::int64_t BinaryFile::ReadBytes(void* Target, std::int64_t ByteCount) {
  if (ByteCount <= 0) return 0;
  const auto size = static_cast<std::size_t>(ByteCount);
  const std::size_t done = position_ < 0 ? 0 : ReadAt(position_, Target, size);
  std::memset(static_cast<char*>(Target) + done, 0, size - done);
  position_ += static_cast<std::int64_t>(done);
  return static_cast<std::int64_t>(done);
}

std::size_t BinaryFile::ReadAt(std::int64_t position, void* target, std::size_t size) {
  if (size < SmallestBulkRead) return ReadThroughWindow(position, target, size);
  return ReadSource(*source_, position, {static_cast<std::byte*>(target), size});
}

std::size_t BinaryFile::ReadThroughWindow(std::int64_t position, void* target, std::size_t size) {
  const auto held = static_cast<std::int64_t>(windowFilled_);
  const auto wanted = static_cast<std::int64_t>(size);
  if (position < windowStart_ || position + wanted > windowStart_ + held) {
    windowFilled_ = 0;
    windowFilled_ = ReadSource(*source_, position, std::as_writable_bytes(std::span(window_)));
    windowStart_ = position;
  }
  const auto offset = static_cast<std::size_t>(position - windowStart_);
  const std::size_t done = std::min(size, windowFilled_ - offset);
  std::memcpy(target, window_.data() + offset, done);
  return done;
}

std::string BinaryFile::ReadRaw(std::int64_t length) {
  // The length comes from the file: of a long one, only what the file can hold is ever allocated.
  std::int64_t size = position_ < 0 ? 0 : std::max<std::int64_t>(0, length);
  if (size > std::int64_t{WindowSize}) size = std::clamp<std::int64_t>(Size() - position_, 0, size);
  std::string bytes(static_cast<std::size_t>(size), '\0');
  bytes.resize(
      static_cast<std::size_t>(ReadBytes(bytes.data(), static_cast<std::int64_t>(bytes.size()))));
  return bytes;
}

std::int64_t BinaryFile::ReadFixedString(String& Text, std::int64_t Length) {
  const std::string bytes = ReadRaw(Length);
  Text = texts_.Text(bytes);
  return static_cast<std::int64_t>(bytes.size());
}

std::int64_t BinaryFile::ReadCountedString(String& Text) {
  return ReadFixedString(Text, ReadValue<Long>());
}

std::int64_t BinaryFile::ReadTerminatedString(String& Text, std::int64_t limit) {
  constexpr std::int64_t step = 256;
  std::string bytes;
  const std::int64_t start = position_;
  bool ended = false;
  while (!ended && limit > 0) {
    std::array<char, step> part{};
    const std::int64_t wanted = std::min(step, limit);
    const std::int64_t done = ReadBytes(part.data(), wanted);
    const std::string_view read(part.data(), static_cast<std::size_t>(done));
    const std::string_view text = read.substr(0, read.find('\0'));
    bytes += text;
    limit -= done;
    ended = done < wanted || text.size() < read.size();
    if (text.size() < read.size()) Seek(start + static_cast<std::int64_t>(bytes.size()) + 1);
  }
  Text = texts_.Text(bytes);
  return static_cast<std::int64_t>(bytes.size());
}

String PathTools::TempFileName(const String& Prefix) {
  static std::atomic<unsigned> count = 0;
  const std::string number =
      std::to_string(platform::ProcessNumber()) + "-" + std::to_string(++count);
  return Join(FromUtf8(platform::TemporaryFolder()), Prefix + FromUtf8(number));
}

String PathTools::Join(const String& Folder, const String& Name) {
  if (Folder.ends_with(platform::PathSeparator)) return Folder + Name;
  return Folder + platform::PathSeparator + Name;
}

}  // namespace lmimport
