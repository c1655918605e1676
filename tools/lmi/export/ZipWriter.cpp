// before each file                 in the directory, for each file      at the end of the directory
//   4  "PK" 3 4                      4  "PK" 1 2                          4  "PK" 5 6
//   2  version that reads it         2, 2  versions                       2, 2  disks
//   2  flags: 0x800 names in UTF-8   2  flags                             2, 2  entries
//   2  method, 0: as it is           2  method                            4  size of the directory
//   4  time, date                    4  time, date                        4  its position
//   4  CRC                           4  CRC                               2  length of a comment
//   4, 4  size, twice                4, 4  size, twice                  before it, where a number is
//   2, 2  length of name, extra      2, 2, 2  name, extra, comment      too large: "PK" 6 6 with all
//   name, extra                      2, 2, 4  disk, attributes          of it in 64 bits, and its
//   extra: uint16 1, its length,     4  position                        position after "PK" 6 7
//     64-bit sizes (, position)      name, extra
#include "export/ZipWriter.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

namespace lmi {
namespace {

constexpr std::uint16_t FirstVersion = 20;
constexpr std::uint16_t LongVersion = 45;  // with 64-bit fields
constexpr std::uint16_t Utf8Names = 0x800;
constexpr std::uint16_t LongFields = 1;
constexpr std::uint32_t FirstDay = 0x00210000;  // 1980-01-01: the same recording, the same bytes
constexpr std::uint64_t InLongFields = 0xffffffff;
constexpr std::uint64_t EntriesInLongFields = 0xffff;
constexpr std::int64_t CrcPosition = 14;

template <class T>
void Append(std::string& bytes, T value) {
  for (std::size_t i = 0; i < sizeof value; ++i)
    bytes += static_cast<char>((static_cast<std::uint64_t>(value) >> (8 * i)) & 0xff);
}

bool IsLong(std::uint64_t value) {
  return value >= InLongFields;
}

std::uint32_t Held(std::uint64_t value) {
  return static_cast<std::uint32_t>(std::min(value, InLongFields));
}

// Version, flags, method, time, CRC, sizes, lengths: in both places.
template <class EntryType>
void AppendCommon(std::string& bytes, const EntryType& entry, bool isLong, std::size_t extra) {
  Append(bytes, isLong ? LongVersion : FirstVersion);
  Append(bytes, Utf8Names);
  Append(bytes, std::uint16_t{0});
  Append(bytes, FirstDay);
  Append(bytes, entry.Crc);
  const bool hasLongSize = IsLong(entry.Size);
  Append(bytes, hasLongSize ? Held(InLongFields) : Held(entry.Size));
  Append(bytes, hasLongSize ? Held(InLongFields) : Held(entry.Size));
  Append(bytes, static_cast<std::uint16_t>(entry.Name.size()));
  Append(bytes, static_cast<std::uint16_t>(extra));
}

}  // namespace

void ZipWriter::Begin(const std::string& name, std::int64_t size) {
  const Entry entry{name, static_cast<std::uint64_t>(size),
                    static_cast<std::uint64_t>(writer_.Position()), 0};
  std::string extra;
  if (IsLong(entry.Size)) {
    Append(extra, LongFields);
    Append(extra, std::uint16_t{16});
    Append(extra, entry.Size);
    Append(extra, entry.Size);
  }
  std::string bytes = "PK\x03\x04";
  AppendCommon(bytes, entry, !extra.empty(), extra.size());
  Put(bytes + name + extra);
  entries_.push_back(entry);
}

void ZipWriter::Write(const void* data, std::size_t size) {
  std::uint32_t& crc = entries_.back().Crc;
  crc = static_cast<std::uint32_t>(::crc32_z(crc, static_cast<const Bytef*>(data), size));
  writer_.Write(data, size);
}

void ZipWriter::End() {
  const Entry& entry = entries_.back();
  std::string bytes;
  Append(bytes, entry.Crc);
  writer_.WriteAt(static_cast<std::int64_t>(entry.Position) + CrcPosition, bytes.data(),
                  bytes.size());
}

std::string ZipWriter::DirectoryEntry(const Entry& entry) const {
  std::string numbers;
  if (IsLong(entry.Size)) {
    Append(numbers, entry.Size);
    Append(numbers, entry.Size);
  }
  if (IsLong(entry.Position)) Append(numbers, entry.Position);
  std::string extra;
  if (!numbers.empty()) {
    Append(extra, LongFields);
    Append(extra, static_cast<std::uint16_t>(numbers.size()));
    extra += numbers;
  }
  std::string bytes = "PK\x01\x02";
  Append(bytes, LongVersion);
  AppendCommon(bytes, entry, !extra.empty(), extra.size());
  Append(bytes, std::uint16_t{0});  // comment
  Append(bytes, std::uint16_t{0});  // disk
  Append(bytes, std::uint16_t{0});  // attributes, both
  Append(bytes, std::uint32_t{0});
  Append(bytes, Held(entry.Position));
  return bytes + entry.Name + extra;
}

void ZipWriter::Close() {
  const auto start = static_cast<std::uint64_t>(writer_.Position());
  for (const Entry& entry : entries_) Put(DirectoryEntry(entry));
  const auto end = static_cast<std::uint64_t>(writer_.Position());
  const std::uint64_t count = entries_.size();
  std::string bytes;
  if (IsLong(end) || count >= EntriesInLongFields) {
    constexpr std::uint64_t sizeOfRest = 44;
    bytes = "PK\x06\x06";
    Append(bytes, sizeOfRest);
    Append(bytes, LongVersion);
    Append(bytes, LongVersion);
    Append(bytes, std::uint64_t{0});  // disks
    for (const std::uint64_t number : {count, count, end - start, start}) Append(bytes, number);
    bytes += "PK\x06\x07";
    Append(bytes, std::uint32_t{0});
    Append(bytes, end);
    Append(bytes, std::uint32_t{1});
  }
  bytes += "PK\x05\x06";
  Append(bytes, std::uint32_t{0});  // disks
  const auto shortCount = static_cast<std::uint16_t>(std::min(count, EntriesInLongFields));
  Append(bytes, shortCount);
  Append(bytes, shortCount);
  Append(bytes, Held(end - start));
  Append(bytes, Held(start));
  Append(bytes, std::uint16_t{0});
  Put(bytes);
  writer_.Close();
}

}  // namespace lmi
