#include "converters/AcqColumns.h"

#include <algorithm>

#include "model/TemporaryFile.h"

namespace lmimport {
namespace {

// The bytes of the samples, read ahead.
class SampleBytes {
 public:
  SampleBytes(Opening& opening, std::int64_t start, std::int64_t total)
      : progress_(opening.Progress),
        source_(*opening.DataFile.Source()),
        start_(start),
        position_(start),
        total_(total),
        piece_(static_cast<std::size_t>(std::min(PieceBytes, total)) + LongestSample) {}

  /// The next bytes, at most LongestSample; zeros past the end of the file.
  const std::byte* Next(std::size_t width) {
    if (there_ - at_ < width) Refill();
    if (there_ - at_ < width) std::fill_n(Place(at_), width, std::byte{});
    const std::byte* const next = piece_.data() + at_;
    at_ = std::min(at_ + width, there_);
    return next;
  }
  void Report() { progress_.Report(position_ - start_, total_); }

 private:
  static constexpr std::int64_t PieceBytes = 1 << 20;
  static constexpr std::size_t LongestSample = 8;

  std::vector<std::byte>::iterator Place(std::size_t index) {
    return piece_.begin() + static_cast<std::ptrdiff_t>(index);
  }
  void Refill() {
    Report();
    std::copy(Place(at_), Place(there_), piece_.begin());
    there_ -= at_;
    at_ = 0;
    const std::size_t done = ReadSource(source_, position_, std::span(piece_).subspan(there_));
    position_ += static_cast<std::int64_t>(done);
    there_ += done;
  }

  Progress& progress_;
  const ByteSource& source_;
  std::int64_t start_;
  std::int64_t position_;
  std::int64_t total_;
  std::vector<std::byte> piece_;
  std::size_t at_ = 0;
  std::size_t there_ = 0;
};

}  // namespace

void AcqColumns::Flush(FileSource& file, const PublishedAcqChannel& channel, Column& column) {
  file.WriteAt(channel.Column + column.Written, column.Bytes.data(),
               static_cast<std::int64_t>(column.Filled));
  column.Written += static_cast<std::int64_t>(column.Filled);
  column.Filled = 0;
}

void AcqColumns::Unpack(Opening& opening) const {
  constexpr std::size_t allBuffers = 1 << 22, smallest = 512, largest = 65536;
  constexpr std::int64_t stepsOfReport = 65536, none = INT64_MAX;
  std::int64_t total = 0;
  std::vector<Column> columns(channels_.size());
  for (std::size_t k = 0; k < channels_.size(); ++k) {
    total += channels_[k].Count * channels_[k].Width();
    columns[k].Left = channels_[k].Count;
    columns[k].Bytes.resize(std::clamp(allBuffers / channels_.size(), smallest, largest));
  }
  const std::shared_ptr<FileSource> file = MakeTemporaryFile(total);
  SampleBytes samples(opening, dataStart_, total);
  // From each step at which a channel has a sample to the next one.
  std::int64_t steps = 0;
  for (std::int64_t step = 0; step != none;) {
    std::int64_t next = none;
    for (std::size_t k = 0; k < channels_.size(); ++k) {
      Column& column = columns[k];
      if (column.Left == 0) continue;
      if (column.Next == step) {
        const auto width = static_cast<std::size_t>(channels_[k].Width());
        if (column.Filled + width > column.Bytes.size()) Flush(*file, channels_[k], column);
        std::copy_n(samples.Next(width), width, column.Bytes.data() + column.Filled);
        column.Filled += width;
        column.Next = step + channels_[k].Divider;
        --column.Left;
      }
      if (column.Left > 0) next = std::min(next, column.Next);
    }
    if (++steps % stepsOfReport == 0) samples.Report();
    step = next;
  }
  for (std::size_t k = 0; k < channels_.size(); ++k) Flush(*file, channels_[k], columns[k]);
  opening.Store.DataFile = file;
}

}  // namespace lmimport
