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
#include "Output.h"
#include "Text.h"

namespace lmi {
namespace {

using namespace lmimport;

constexpr std::size_t PieceSamples = 1 << 18;

// A percentage on the terminal, for reads that take longer than a moment.
class Progress {
 public:
  explicit Progress(Long total) : total_(total), shown_(Clock::now() + FirstAfter) {}
  ~Progress() {
    if (visible_) fmt::print(stderr, "\r\x1b[K");
  }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Show(Long done) {
    if (Clock::now() < shown_ || !wanted_) return;
    fmt::print(stderr, "\r{:3.0f} %", 100.0 * done / total_);
    shown_ = Clock::now() + Interval;
    visible_ = true;
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds FirstAfter{1000};
  static constexpr std::chrono::milliseconds Interval{100};
  // Not between samples that go to the same terminal.
  const bool wanted_ = ::isatty(STDERR_FILENO) != 0 && ::isatty(STDOUT_FILENO) == 0;
  Long total_;
  Clock::time_point shown_;
  bool visible_ = false;
};

Long GetChannel(LMIBlock& block, Integer channel, Long start, Long count, std::span<Integer> to) {
  return block.GetChannelInteger(channel, start, count, to);
}
Long GetChannel(LMIBlock& block, Integer channel, Long start, Long count, std::span<Single> to) {
  return block.GetChannelSingle(channel, start, count, to);
}
Long GetChannel(LMIBlock& block, Integer channel, Long start, Long count, std::span<Double> to) {
  return block.GetChannelDouble(channel, start, count, to);
}
Long GetData(LMIBlock& block, Long start, Long count, std::span<Integer> to) {
  return block.GetDataInteger(start, count, to);
}
Long GetData(LMIBlock& block, Long start, Long count, std::span<Single> to) {
  return block.GetDataSingle(start, count, to);
}
Long GetData(LMIBlock& block, Long start, Long count, std::span<Double> to) {
  return block.GetDataDouble(start, count, to);
}

// The chosen channels of one block, as frames of just these channels.
template <class T>
class Selection {
 public:
  Selection(LMIBlock& block, std::vector<Integer> channels)
      : block_(block), channels_(std::move(channels)) {
    const auto all = static_cast<std::size_t>(block.ChannelCount());
    frames_ = static_cast<Long>(PieceSamples / all);
    whole_.resize(static_cast<std::size_t>(frames_) * all);
    picked_.reserve(static_cast<std::size_t>(frames_) * channels_.size());
  }

  std::size_t Channels() const { return channels_.size(); }

  /// At most `count` frames from `start` on; empty behind the end of the block.
  std::span<const T> Read(Long start, Long count) {
    count = std::min(count, frames_);
    if (channels_.size() == 1) {
      const Long n = GetChannel(block_, channels_[0], start, count, std::span<T>(whole_));
      return std::span<const T>(whole_).first(static_cast<std::size_t>(n));
    }
    const auto all = static_cast<std::size_t>(block_.ChannelCount());
    const auto n = static_cast<std::size_t>(GetData(block_, start, count, std::span<T>(whole_)));
    picked_.clear();
    for (std::size_t frame = 0; frame < n; ++frame) {
      for (const Integer channel : channels_)
        picked_.push_back(whole_[frame * all + static_cast<std::size_t>(channel - 1)]);
    }
    return picked_;
  }

 private:
  LMIBlock& block_;
  std::vector<Integer> channels_;
  Long frames_;
  std::vector<T> whole_;
  std::vector<T> picked_;
};

std::string CsvField(const std::string& text) {
  if (text.find_first_of(",\"\n\r") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + "\"";
}

void WriteCsvHead(const LMIBlock& block, const std::vector<Integer>& channels,
                  const ReadOptions& options) {
  std::string line = options.Times ? "Time [s]" : "";
  for (const Integer channel : channels) {
    std::string name = OneLine(block.ChannelTitle(channel));
    if (name.empty()) name = fmt::format("Channel {}", channel);
    const std::string unit = OneLine(block.ChannelUnitName(channel));
    // Counts are in no unit.
    if (!unit.empty() && options.As != "integer") name += fmt::format(" [{}]", unit);
    if (!line.empty()) line += ',';
    line += CsvField(name);
  }
  line += '\n';
  Write(line.data(), line.size());
}

template <class T>
void WriteCsv(std::span<const T> samples, std::size_t channels, Long firstFrame,
              const double* rate) {
  fmt::memory_buffer lines;
  const auto out = std::back_inserter(lines);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (i % channels == 0) {
      if (i > 0) lines.push_back('\n');
      const std::size_t frame = static_cast<std::size_t>(firstFrame - 1) + i / channels;
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
void WriteSamples(LMIBlock& block, const std::vector<Integer>& channels,
                  const ReadOptions& options) {
  Selection<T> selection(block, channels);
  const double rate = block.SamplingRate();
  const std::int64_t end =
      std::min<std::int64_t>(block.SizeChannel(), std::int64_t{options.Start} + options.Count - 1);
  const bool raw = options.Format == "raw";
  if (!raw) WriteCsvHead(block, channels, options);
  Progress progress(static_cast<Long>(std::max<std::int64_t>(1, end - options.Start + 1)));
  for (std::int64_t frame = options.Start; frame <= end;) {
    const auto first = static_cast<Long>(frame);
    const std::span<const T> samples = selection.Read(first, static_cast<Long>(end - frame + 1));
    if (raw) {
      Write(samples.data(), samples.size_bytes());
    } else {
      WriteCsv(samples, selection.Channels(), first, options.Times ? &rate : nullptr);
    }
    frame += static_cast<std::int64_t>(samples.size() / selection.Channels());
    progress.Show(static_cast<Long>(frame - options.Start));
  }
  Flush();
}

// A channel by its number, else by its title.
Integer FindChannel(const LMIBlock& block, const std::string& name) {
  int number = 0;
  const auto parsed = std::from_chars(name.data(), name.data() + name.size(), number);
  const bool isNumber = parsed.ec == std::errc() && parsed.ptr == name.data() + name.size();
  if (isNumber && number >= 1 && number <= block.ChannelCount())
    return static_cast<Integer>(number);
  Integer found = 0;
  for (Integer i = 1; i <= block.ChannelCount(); ++i) {
    if (ToUtf8(block.ChannelTitle(i)) != name) continue;
    if (found != 0)
      throw std::invalid_argument(
          fmt::format("channels {} and {} are both called \"{}\"; say the number", found, i, name));
    found = i;
  }
  if (found == 0)
    throw std::invalid_argument(
        fmt::format("there is no channel \"{}\" among the {}", name, block.ChannelCount()));
  return found;
}

std::vector<Integer> FindChannels(const LMIBlock& block, const std::vector<std::string>& names) {
  std::vector<Integer> channels;
  channels.reserve(static_cast<std::size_t>(block.ChannelCount()));
  for (const std::string& name : names) channels.push_back(FindChannel(block, name));
  if (names.empty()) {
    for (Integer i = 1; i <= block.ChannelCount(); ++i) channels.push_back(i);
  }
  return channels;
}

void ReadFile(LMIFile& file, const ReadOptions& options) {
  const LMIBlockPtr block = file.Block(options.Block);
  if (!block)
    throw std::invalid_argument(
        fmt::format("there is no block {} among the {}", options.Block, file.BlockCount()));
  const std::vector<Integer> channels = FindChannels(*block, options.Channels);
  if (options.As == "integer") return WriteSamples<Integer>(*block, channels, options);
  if (options.As == "single") return WriteSamples<Single>(*block, channels, options);
  WriteSamples<Double>(*block, channels, options);
}

}  // namespace

int Read(LMImport& import, const ReadOptions& options) {
  std::string failure;
  const LMIFilePtr file = OpenOrExplain(import, options.File, failure);
  if (file) {
    for (const Finding& finding : Findings()) {
      if (finding.Warning) PrintFailure(options.File, "warning: " + ToUtf8(finding.Text));
    }
    try {
      ReadFile(*file, options);
    } catch (const std::exception& fault) {
      failure = fault.what();
    }
  }
  if (failure.empty()) return 0;
  PrintFailure(options.File, failure);
  return 1;
}

}  // namespace lmi
