// "lmi read": samples as CSV or raw numbers, in pieces, so memory stays small however long the
// recording is.
#include <fmt/compile.h>
#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <stdexcept>

#include "Commands.h"
#include "Interrupt.h"
#include "Output.h"
#include "Text.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr std::size_t PieceSamples = 1 << 18;

// A percentage on the terminal, for reads that take longer than a moment.
class Progress {
 public:
  explicit Progress(std::int64_t total) : total_(total), shown_(Clock::now() + FirstAfter) {}
  ~Progress() {
    if (visible_) fmt::print(stderr, "\r\x1b[K");
  }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Show(std::int64_t done) {
    if (Clock::now() < shown_ || !wanted_) return;
    fmt::print(stderr, "\r{:3.0f} %",
               100.0 * static_cast<double>(done) / static_cast<double>(total_));
    shown_ = Clock::now() + Interval;
    visible_ = true;
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds FirstAfter{1000};
  static constexpr std::chrono::milliseconds Interval{100};
  // Not between samples that go to the same terminal.
  const bool wanted_ = ::isatty(STDERR_FILENO) != 0 && ::isatty(STDOUT_FILENO) == 0;
  std::int64_t total_;
  Clock::time_point shown_;
  bool visible_ = false;
};

// The chosen channels of one block, as frames of just these channels. All numbers count from 0.
template <class T>
class Selection {
 public:
  Selection(const Recording& recording, std::size_t block, std::vector<std::size_t> channels)
      : recording_(recording), block_(block), channels_(std::move(channels)) {
    const std::size_t all = recording.Blocks()[block].Channels.size();
    whole_.resize(PieceSamples / all * all);
    picked_.reserve(whole_.size() / all * channels_.size());
  }

  std::size_t Channels() const { return channels_.size(); }

  /// At most `count` frames from `first` on; empty past the end of the block.
  std::span<const T> Read(std::int64_t first, std::int64_t count) {
    const std::size_t all = recording_.Blocks()[block_].Channels.size();
    const std::int64_t frames =
        std::min(count, std::ssize(whole_) / static_cast<std::int64_t>(all));
    const auto target = [&](std::size_t channels) {
      return std::span<T>(whole_).first(static_cast<std::size_t>(frames) * channels);
    };
    if (channels_.size() == 1) {
      const std::int64_t n = recording_.Read(block_, channels_[0], first, target(1));
      return std::span<const T>(whole_).first(static_cast<std::size_t>(n));
    }
    const std::int64_t n = recording_.ReadFrames(block_, first, target(all));
    picked_.clear();
    for (std::size_t frame = 0; frame < static_cast<std::size_t>(n); ++frame) {
      for (const std::size_t channel : channels_) picked_.push_back(whole_[frame * all + channel]);
    }
    return picked_;
  }

 private:
  const Recording& recording_;
  std::size_t block_;
  std::vector<std::size_t> channels_;
  std::vector<T> whole_;
  std::vector<T> picked_;
};

std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\n\r") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

void WriteCsvHead(const Block& block, const std::vector<std::size_t>& channels,
                  const ReadOptions& options) {
  std::string line = options.Times ? "Time [s]" : "";
  for (const std::size_t channel : channels) {
    std::string name = OneLine(block.Channels[channel].Title);
    if (name.empty()) name = fmt::format("Channel {}", channel + 1);
    const std::string unit = OneLine(block.Channels[channel].Unit);
    // Counts are in no unit.
    if (!unit.empty() && options.As != "integer") name += fmt::format(" [{}]", unit);
    if (!line.empty()) line += ',';
    line += CsvField(name);
  }
  line += '\n';
  Write(line.data(), line.size());
}

template <class T>
void WriteCsv(std::span<const T> samples, std::size_t channels, std::int64_t firstFrame,
              const double* rate) {
  fmt::memory_buffer lines;
  const auto out = std::back_inserter(lines);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (i % channels == 0) {
      if (i > 0) lines.push_back('\n');
      const std::size_t frame = static_cast<std::size_t>(firstFrame) + i / channels;
      if (rate != nullptr)
        fmt::format_to(out, FMT_COMPILE("{},"), static_cast<double>(frame) / *rate);
    } else {
      lines.push_back(',');
    }
    fmt::format_to(out, FMT_COMPILE("{}"), samples[i]);
  }
  lines.push_back('\n');
  Write(lines.data(), lines.size());
}

template <class T>
void WriteSamples(const Recording& recording, std::size_t blockNumber,
                  const std::vector<std::size_t>& channels, const ReadOptions& options) {
  Selection<T> selection(recording, blockNumber, channels);
  const Block& block = recording.Blocks()[blockNumber];
  const std::int64_t first = std::min(options.Start - 1, block.FrameCount);
  const std::int64_t end = first + std::min(options.Count, block.FrameCount - first);
  if (first == end)
    PrintFailure(options.File, fmt::format("block {} has {} frames, and none from {} on",
                                           blockNumber + 1, block.FrameCount, options.Start));
  const bool raw = options.Format == "raw";
  if (!raw) WriteCsvHead(block, channels, options);
  Progress progress(std::max<std::int64_t>(1, end - first));
  for (std::int64_t frame = first; frame < end;) {
    const std::span<const T> samples = selection.Read(frame, end - frame);
    if (raw) {
      Write(samples.data(), samples.size_bytes());
    } else {
      WriteCsv(samples, selection.Channels(), frame, options.Times ? &block.SamplingRate : nullptr);
    }
    frame += static_cast<std::int64_t>(samples.size() / selection.Channels());
    progress.Show(frame - first);
    if (IsInterrupted()) break;
  }
  Flush();
}

// A channel by its number, else by its title; from 0.
std::size_t FindChannel(const Block& block, const std::string& name) {
  std::size_t number = 0;
  const auto parsed = std::from_chars(name.data(), name.data() + name.size(), number);
  const bool isNumber = parsed.ec == std::errc() && parsed.ptr == name.data() + name.size();
  if (isNumber && number >= 1 && number <= block.Channels.size()) return number - 1;
  const auto isNamed = [&name](const Channel& channel) { return channel.Title == name; };
  const auto found = std::ranges::find_if(block.Channels, isNamed);
  if (found == block.Channels.end())
    throw std::invalid_argument(
        fmt::format("there is no channel \"{}\" among the {}", name, block.Channels.size()));
  const auto other = std::find_if(found + 1, block.Channels.end(), isNamed);
  const auto place = [&block](auto channel) { return channel - block.Channels.begin() + 1; };
  if (other != block.Channels.end())
    throw std::invalid_argument(
        fmt::format("channels {} and {} are both called \"{}\"; say the number", place(found),
                    place(other), name));
  return static_cast<std::size_t>(place(found) - 1);
}

std::vector<std::size_t> FindChannels(const Block& block, const std::vector<std::string>& names) {
  std::vector<std::size_t> channels;
  channels.reserve(block.Channels.size());
  for (const std::string& name : names) channels.push_back(FindChannel(block, name));
  for (std::size_t i = 0; names.empty() && i < block.Channels.size(); ++i) channels.push_back(i);
  return channels;
}

void ReadFile(const Recording& recording, const ReadOptions& options) {
  const std::vector<Block>& blocks = recording.Blocks();
  if (options.Block > std::ssize(blocks))
    throw std::invalid_argument(
        fmt::format("there is no block {} among the {}", options.Block, blocks.size()));
  if (blocks.size() > 1 && options.Block == 0)
    PrintFailure(options.File,
                 fmt::format("this is block 1 of {}; --block N gives another", blocks.size()));
  const auto block = static_cast<std::size_t>(std::max<std::int64_t>(1, options.Block) - 1);
  const std::vector<std::size_t> channels = FindChannels(blocks[block], options.Channels);
  if (options.As == "integer" && blocks[block].SampleBits <= 16)
    return WriteSamples<std::int16_t>(recording, block, channels, options);
  if (options.As == "integer")
    return WriteSamples<std::int32_t>(recording, block, channels, options);
  if (options.As == "single") return WriteSamples<float>(recording, block, channels, options);
  WriteSamples<double>(recording, block, channels, options);
}

void ReadComments(Opened& opened) {
  try {
    opened.Recording->Comments();
  } catch (const std::exception& fault) {
    opened.Failure = fault.what();
  }
  opened.Findings = opened.Recording->Findings();
}

}  // namespace

int Read(const ReadOptions& options) {
  ProgressLine line(OneLine(options.File));
  Opened opened = OpenOrExplain(options.Open, {options.File, false, {}}, line);
  if (opened && options.Times) ReadComments(opened);  // gaps are seen then
  for (const Finding& finding : opened.FurtherFindings()) {
    if (finding.Warning) PrintFailure(options.File, FindingText(finding));
  }
  if (opened && opened.Failure.empty()) {
    try {
      ReadFile(*opened.Recording, options);
    } catch (const std::exception& fault) {
      opened.Failure = fault.what();
    }
  }
  if (opened.Failure.empty()) return 0;
  PrintFailure(options.File, opened.Failure);
  return 1;
}

}  // namespace lmi
