// RIFF wave. Counts stay counts, in the upper bits of a sample; NAME_wavheader.txt beside the file
// says what they mean, in the form that this library reads.
#include <fmt/core.h>
#include <sndfile.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "export/EightBitText.h"
#include "export/ExportFormats.h"
#include "export/FileWriter.h"
#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;
namespace fs = std::filesystem;

constexpr double WordTop = 32768;  // the text beside a file tells ranges by the upper 16 bits
constexpr std::size_t LargestDescribed = 32;  // channels that the text can describe
constexpr double GoodError = 0.05;            // of a step

// How a channel becomes whole numbers of the file: sample = (value - Offset) / Factor.
struct Scale {
  double Factor;
  double Offset;
};

// What the samples of a part become.
struct Shape {
  int Bits = 16;       // 0: floating point
  bool Counts = true;  // as they are; else each value is rounded once
  int Shift = 0;       // of counts, up to the top of the sample
  std::vector<Scale> Scales = {};
};

class WaveFile {
 public:
  WaveFile(const NewFile& file, std::int64_t frames, int channels, int rate, int bits)
      : name_(file.Place().string()), channels_(channels) {
    constexpr std::int64_t largestRiff = 0xffffffff - 4096;  // with room for other chunks
    const int bytes = bits == 0 ? 4 : bits / 8;
    SF_INFO info{};
    info.channels = channels;
    info.samplerate = rate;
    info.format = frames * channels * bytes > largestRiff ? SF_FORMAT_RF64 : SF_FORMAT_WAV;
    info.format |= bits == 0 ? SF_FORMAT_FLOAT : bits == 16 ? SF_FORMAT_PCM_16 : SF_FORMAT_PCM_24;
    if (sf_format_check(&info) == 0)
      throw std::runtime_error(
          fmt::format("a wave file of {} channels at {} Hz can't be written", channels, rate));
    file_ = sf_open(file.Path().c_str(), SFM_WRITE, &info);
    if (file_ == nullptr) throw OutputFailed{name_, sf_strerror(nullptr)};
    // It would lie before the samples, and hold the time of the export.
    sf_command(file_, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
  }
  ~WaveFile() {
    if (file_ != nullptr) sf_close(file_);
  }
  WaveFile(const WaveFile&) = delete;
  WaveFile& operator=(const WaveFile&) = delete;

  void Write(std::span<const std::int16_t> samples) {
    const auto bytes = static_cast<sf_count_t>(samples.size_bytes());
    Check(sf_write_raw(file_, samples.data(), bytes) == bytes);
  }
  void Write(std::span<const std::int32_t> samples) {
    const sf_count_t frames = std::ssize(samples) / channels_;
    Check(sf_writef_int(file_, samples.data(), frames) == frames);
  }
  void Write(std::span<const float> samples) {
    const sf_count_t frames = std::ssize(samples) / channels_;
    Check(sf_writef_float(file_, samples.data(), frames) == frames);
  }

  /// After the samples: some readers want those first.
  void Describe(int what, const std::string& text) {
    if (!text.empty()) sf_set_string(file_, what, text.c_str());
  }

  void Close() {
    SNDFILE* const file = file_;
    file_ = nullptr;
    Check(sf_close(file) == 0);
  }

 private:
  void Check(bool good) const {
    if (good) return;
    throw OutputFailed{name_, errno != 0 ? std::strerror(errno) : "it can't be written"};
  }
  std::string name_;
  int channels_;
  SNDFILE* file_ = nullptr;
};

Shape ShapeOf(ExportTask& task, const Part& part) {
  const Block& block = task.BlockOf(part);
  const std::string& asked = task.Options().Bits;
  Shape shape;
  const bool isReal = block.RealSamples;
  const int stored = block.CountBits;
  if (asked == "float" || (asked.empty() && (isReal || stored > 24)))
    shape.Bits = 0;
  else
    shape.Bits = asked == "24" || (asked.empty() && stored > 16) ? 24 : 16;
  shape.Counts = shape.Bits > 0 && !isReal && stored <= shape.Bits;
  shape.Shift = shape.Counts ? shape.Bits - stored : 0;
  for (const std::size_t c : part.Channels) {
    const Channel& channel = block.Channels[c];
    if (shape.Counts) {
      shape.Scales.push_back({std::ldexp(channel.Factor, -shape.Shift), channel.Offset});
    } else if (shape.Bits == 0) {
      shape.Scales.push_back({1 / WordTop, 0});
    } else {
      const double top = std::ldexp(1.0, shape.Bits - 1) - 1;
      const Extremes values = ExtremesOf(task, part, c);
      const double half = (values.Largest - values.Smallest) / 2;
      shape.Scales.push_back({half > 0 ? half / top : 1, values.Smallest + half});
    }
  }
  return shape;
}

template <class Samples>
std::vector<std::int32_t> Rounded(const Samples& samples, const Shape& shape) {
  const double top = std::ldexp(1.0, shape.Bits - 1) - 1;
  const double atTop = std::ldexp(1.0, 32 - shape.Bits);  // the file takes the upper bits
  std::vector<std::int32_t> rounded;
  rounded.reserve(samples.size());
  const std::size_t channels = shape.Scales.size();
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const Scale& scale = shape.Scales[i % channels];
    const double sample = std::nearbyint((samples[i] - scale.Offset) / scale.Factor);
    const double held = std::isnan(sample) ? 0 : std::clamp(sample, -top - 1, top);
    rounded.push_back(static_cast<std::int32_t>(held * atTop));
  }
  return rounded;
}

void WriteSamples(ExportTask& task, const Part& part, const Shape& shape, WaveFile& file) {
  const auto write = [&](auto samples, std::size_t) { file.Write(samples); };
  if (shape.Bits == 0) return ForEachPiece<float>(task, part, write);
  if (shape.Counts && shape.Bits == 16 && shape.Shift == 0)
    return ForEachPiece<std::int16_t>(task, part, write);
  if (!shape.Counts)
    return ForEachPiece<double>(task, part, [&](std::span<const double> samples, std::size_t) {
      file.Write(std::span<const std::int32_t>(Rounded(samples, shape)));
    });
  std::vector<std::int32_t> shifted;
  const int shift = 32 - shape.Bits + shape.Shift;
  ForEachPiece<std::int32_t>(task, part, [&](std::span<const std::int32_t> samples, std::size_t) {
    shifted.resize(samples.size());
    std::ranges::transform(samples, shifted.begin(), [&](std::int32_t count) {
      return static_cast<std::int32_t>(static_cast<std::uint32_t>(count) << shift);
    });
    file.Write(std::span<const std::int32_t>(shifted));
  });
}

// The text, and how far it is off: the ranges are read as Singles.
class Description {
 public:
  Description(const Block& block, const Part& part, const Shape& shape)
      : block_(block), part_(part), shape_(shape) {}

  /// A plain wave file says as much.
  bool IsNeeded() const {
    if (block_.SamplingRate != std::floor(block_.SamplingRate)) return true;
    for (std::size_t i = 0; i < part_.Channels.size(); ++i) {
      const Channel& channel = block_.Channels[part_.Channels[i]];
      const Scale& scale = shape_.Scales[i];
      const bool isFullScale =
          shape_.Bits == 0 || (std::ldexp(scale.Factor, shape_.Bits - 1) == 1 && scale.Offset == 0);
      if (!channel.Title.empty() || !channel.Unit.empty() || !isFullScale) return true;
    }
    return false;
  }

  std::string Text() {
    std::string text = fmt::format("NumAChannels={}\nSamplerate={}\nMaxADCValue={}\n",
                                   part_.Channels.size(), block_.SamplingRate, WordTop);
    for (std::size_t i = 0; i < part_.Channels.size(); ++i) {
      const Channel& channel = block_.Channels[part_.Channels[i]];
      const Scale& scale = shape_.Scales[i];
      const double half =
          shape_.Bits == 0 ? WordTop : std::ldexp(scale.Factor, shape_.Bits - 16) * WordTop;
      const auto top = static_cast<float>(scale.Offset + half);
      const auto bottom = static_cast<float>(scale.Offset - half);
      if (!std::isfinite(top) || !std::isfinite(bottom) || !std::isfinite(top - bottom))
        throw std::runtime_error(fmt::format(
            "channel {} has values that the text beside a wave file can't tell: from {} to {}",
            channel.Number, scale.Offset - half, scale.Offset + half));
      text += fmt::format("[Ch{}]\nName={}\nYUnit={}\nMaxRange={}\nMinRange={}\n", i,
                          Line(channel.Title), Line(channel.Unit), top, bottom);
      if (shape_.Bits > 0) AddError(scale, half, top, bottom);
    }
    return text;
  }

  double Error() const { return error_; }  // in steps of a sample, the largest

 private:
  // A line has one "=".
  static std::string Line(const std::string& text) {
    std::string line = OneLine(text);
    std::ranges::replace(line, '=', ':');
    return line;
  }

  void AddError(const Scale& scale, double half, double top, double bottom) {
    const auto perUnit = static_cast<float>(WordTop / ((top - bottom) / 2));
    const auto offset = static_cast<float>(static_cast<float>(top + bottom) / 2.0);
    const double off = std::abs(WordTop / double{perUnit} - half) + std::abs(offset - scale.Offset);
    error_ = std::max(error_, off / std::abs(scale.Factor));
  }

  const Block& block_;
  const Part& part_;
  const Shape& shape_;
  double error_ = 0;
};

// In the code page that is asked for, or the first that has all characters.
std::string Encoded(ExportTask& task, const std::string& text) {
  std::vector<int> pages = {1252, 1250, 1251, 1253, 1254, 1255, 1256, 1257, 1258, 874, 65001};
  if (task.Options().CodePage != 0) pages.insert(pages.begin(), task.Options().CodePage);
  for (const int page : pages) {
    std::string bytes;
    if (!ToCodePage(page, text, bytes)) continue;
    if (bytes != text || page == 65001)
      task.Say(fmt::format("its texts are read with --code-page {}", page));
    return bytes;
  }
  return text;
}

void Describe(ExportTask& task, const Part& part, const Shape& shape, const fs::path& wave) {
  Description description(task.BlockOf(part), part, shape);
  // The library finds it by the name without its last four characters.
  std::string base = wave.filename().string();
  base.resize(base.size() - std::min<std::size_t>(base.size(), 4));
  const fs::path place = wave.parent_path() / (base + "_wavheader.txt");
  const std::string title = place.filename().string();
  std::error_code error;
  const bool isDescribable = part.Channels.size() <= LargestDescribed;
  if (!isDescribable || !description.IsNeeded()) {
    if (!isDescribable)
      task.Say(fmt::format("not kept: titles, units and scales of more than {} channels",
                           LargestDescribed));
    if (fs::exists(place, error))
      task.Say(fmt::format("\"{}\" is of an earlier wave file; delete it", title));
    return;
  }
  const std::string text = description.Text();
  task.Say("titles, units and scales are in \"NAME_wavheader.txt\"");
  if (description.Error() > GoodError)
    task.Say(fmt::format("values are off by up to {:.2g} of a step, as it is read in Singles",
                         description.Error()));
  const std::string bytes = Encoded(task, text);
  FileWriter writer(task.FileAt(place));
  writer.Write(bytes.data(), bytes.size());
  writer.Close();
}

int HeaderRate(ExportTask& task, double rate) {
  const double held = rate > 0 ? std::clamp(std::nearbyint(rate), 1.0, double{INT32_MAX}) : 1;
  if (held != rate)
    task.Say(fmt::format("the rate of {} Hz is {} Hz in the wave file itself", rate, held));
  return static_cast<int>(held);
}

void ExportPart(ExportTask& task, const Part& part) {
  const Block& block = task.BlockOf(part);
  if (part.Channels.size() > 1024) throw std::runtime_error("wav holds at most 1024 channels");
  const Shape shape = ShapeOf(task, part);
  if (shape.Bits > 0 && !shape.Counts)
    task.Say(fmt::format(
        "{} are scaled to {} bits",
        block.RealSamples ? "real numbers" : fmt::format("counts of {} bits", block.SampleBits),
        shape.Bits));
  if (shape.Bits == 0 && !(block.RealSamples && block.SampleBits == 32))
    task.Say("values are rounded to Singles");
  const int rate = HeaderRate(task, block.SamplingRate);
  const NewFile& place = task.FileOf(part);
  WaveFile file(place, part.Frames(), static_cast<int>(part.Channels.size()), rate, shape.Bits);
  WriteSamples(task, part, shape, file);
  const double clock = task.Recording().Start().value_or(0);
  file.Describe(SF_STR_TITLE, block.Title);
  if (clock != 0) file.Describe(SF_STR_DATE, ClockText(clock, task.StartOf(part), 1));
  file.Close();
  Describe(task, part, shape, place.Place());
}

}  // namespace

void ExportWav(ExportTask& task) {
  for (const Part& part : task.Parts()) ExportPart(task, part);
}

}  // namespace lmi
