#include "converters/AcqColumns.h"

#include <algorithm>

#include "model/TemporaryFile.h"

namespace lmimport {

void AcqColumns::Flush(FileSource& file, const PublishedAcqChannel& channel, Column& column) {
  file.WriteAt(channel.Column + column.Written, column.Bytes.data(),
               static_cast<std::int64_t>(column.Filled));
  column.Written += static_cast<std::int64_t>(column.Filled);
  column.Filled = 0;
}

void AcqColumns::Unpack(Opening& opening) const {
  constexpr std::size_t allBuffers = 1 << 22, smallest = 512, largest = 65536;
  constexpr std::int64_t pieceBytes = 1 << 20;
  constexpr std::size_t longestSample = 8;
  constexpr std::int64_t stepsOfReport = 65536;
  std::int64_t steps = 0;
  std::int64_t total = 0;
  std::vector<Column> columns(channels_.size());
  for (std::size_t k = 0; k < channels_.size(); ++k) {
    total += channels_[k].Count * channels_[k].Width();
    columns[k].Left = channels_[k].Count;
    columns[k].Bytes.resize(std::clamp(allBuffers / channels_.size(), smallest, largest));
  }
  const std::shared_ptr<FileSource> file = MakeTemporaryFile(total);
  const ByteSource& source = *opening.DataFile.Source();
  std::vector<std::byte> piece(static_cast<std::size_t>(std::min(pieceBytes, total)) +
                               longestSample);
  std::size_t at = 0;
  std::size_t there = 0;
  std::int64_t position = dataStart_;
  const auto refill = [&] {
    opening.Progress.Report(position - dataStart_, total);
    std::copy(piece.begin() + static_cast<std::ptrdiff_t>(at),
              piece.begin() + static_cast<std::ptrdiff_t>(there), piece.begin());
    there -= at;
    at = 0;
    const std::size_t done = ReadSource(source, position, std::span(piece).subspan(there));
    position += static_cast<std::int64_t>(done);
    there += done;
  };
  // From each step at which a channel has a sample to the next one.
  constexpr std::int64_t none = INT64_MAX;
  for (std::int64_t step = 0; step != none;) {
    std::int64_t next = none;
    for (std::size_t k = 0; k < channels_.size(); ++k) {
      Column& column = columns[k];
      if (column.Left == 0) continue;
      if (column.Next > step) {
        next = std::min(next, column.Next);
        continue;
      }
      const auto width = static_cast<std::size_t>(channels_[k].Width());
      if (there - at < width) refill();
      if (there - at < width)
        std::fill_n(piece.begin() + static_cast<std::ptrdiff_t>(at), width, std::byte{});
      if (column.Filled + width > column.Bytes.size()) Flush(*file, channels_[k], column);
      std::copy_n(piece.data() + at, width, column.Bytes.data() + column.Filled);
      column.Filled += width;
      at = std::min(at + width, there);
      column.Next = step + channels_[k].Divider;
      if (--column.Left > 0) next = std::min(next, column.Next);
    }
    if (++steps % stepsOfReport == 0) opening.Progress.Report(position - dataStart_, total);
    step = next;
  }
  for (std::size_t k = 0; k < channels_.size(); ++k) Flush(*file, channels_[k], columns[k]);
  opening.Store.DataFile = file;
}

}  // namespace lmimport
