#include "Inputs.h"

#include <zlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>

#include "support/Builders.h"

namespace lmimport::bench {
namespace {

using namespace test;

// Some MiB of samples that no processor predicts, to be written again and again.
std::string Pattern(bool doubles) {
  constexpr int values = 1 << 20;
  std::mt19937 random(1);
  Bytes bytes;
  for (int i = 0; i < values; ++i) {
    const int value = static_cast<int>(random() % 20000) - 10000;
    if (doubles)
      bytes.Real64(value * 0.001);
    else
      bytes.Int16(value);
  }
  return bytes.Get();
}

bool StartsWith(const std::string& name, const std::string& head) {
  std::string start(head.size(), '\0');
  std::ifstream(name, std::ios::binary).read(start.data(), std::ssize(start));
  return start == head;
}

std::string Make(const std::string& name, const std::string& head, std::int64_t bytes,
                 const std::string& tail = {}, bool doubles = false) {
  const auto size = static_cast<std::int64_t>(head.size() + tail.size()) + bytes;
  std::error_code none;
  if (static_cast<std::int64_t>(std::filesystem::file_size(name, none)) == size &&
      StartsWith(name, head))
    return name;
  static const std::string patterns[] = {Pattern(false), Pattern(true)};
  const std::string& pattern = patterns[doubles ? 1 : 0];
  std::ofstream file(name, std::ios::binary);
  file << head;
  // Of a very long one, only the length counts.
  const bool sparse = bytes > InputBytes;
  for (std::int64_t left = sparse ? 0 : bytes; left > 0;) {
    const auto part = std::min<std::int64_t>(left, std::ssize(pattern));
    file.write(pattern.data(), part);
    left -= part;
  }
  file << tail;
  if (!file.flush()) throw std::runtime_error("can't write " + name);
  if (sparse) std::filesystem::resize_file(name, static_cast<std::uintmax_t>(size));
  return name;
}

std::string Name(const std::string& folder, const char* format, int channels, const char* ending) {
  return folder + "/" + format + std::to_string(channels) + ending;
}

std::int64_t WholeFrames(std::int64_t bytes, std::int64_t frameBytes) {
  return bytes / frameBytes * frameBytes;
}

}  // namespace

std::string WindaqFile(const std::string& folder, int channels, std::int64_t bytes) {
  const std::int64_t size = WholeFrames(bytes, 2 * channels);
  const WinDaq file{.Channels = std::vector<WinDaqChannel>(static_cast<std::size_t>(channels)),
                    .Samples = {},
                    .DataBytes = static_cast<int>(size),
                    .Annotations = ""};
  return Make(Name(folder, bytes == InputBytes ? "windaq" : "long", channels, ".wdq"), file.Build(),
              size);
}

std::string WaveFile(const std::string& folder, int channels) {
  const std::int64_t size = WholeFrames(InputBytes, 2 * channels);
  const Wave file{.Channels = channels, .Rate = 1000, .Samples = {}, .DataBytes = size};
  // A peer looks at the length of the form, too.
  std::string head = file.Build();
  head = Patched(head, 4, Bytes().Int32(static_cast<std::int64_t>(head.size()) - 8 + size));
  return Make(Name(folder, "wave", channels, ".wav"), head, size);
}

std::string ChartFile(const std::string& folder, int channels) {
  const std::int64_t size = WholeFrames(InputBytes, 2 * channels);
  ChartBlock block{.ChannelIndex = {},
                   .Scale = {},
                   .Offset = {},
                   .Samples = {},
                   .SizeChannel = static_cast<int>(size / (2 * channels)),
                   .ChunkSize = static_cast<int>(size),
                   .Comments = {}};
  for (int c = 0; c < channels; ++c) {
    block.ChannelIndex.push_back(c);
    block.Scale.push_back(100);
    block.Offset.push_back(1);
  }
  Chart file{.Channels = {}, .Blocks = {block}};
  for (int c = 0; c < channels; ++c) file.Channels.emplace_back("c", "V");
  const std::string built = file.Build();
  constexpr std::size_t tail = 16;  // the number of comments, and what closes a block
  return Make(Name(folder, "chart", channels, ".lmc"), built.substr(0, built.size() - tail), size,
              built.substr(built.size() - tail));
}

std::string AbfFile(const std::string& folder) {
  constexpr std::int64_t frames = InputBytes / 4;
  std::string head = Abf().substr(0, 6144);
  head = Patched(head, 10, Bytes().Int32(frames * 2));
  head = Patched(head, 44, Bytes().Int32(0).Int32(0));  // no tags
  return Make(folder + "/abf2.abf", head, frames * 4);
}

std::string Matlab5File(const std::string& folder, int channels) {
  const std::int64_t size = WholeFrames(InputBytes, 8 * channels);
  const std::string built =
      Mat5({{.Name = "x", .Dimensions = {channels, static_cast<int>(size / 8 / channels)}}});
  constexpr std::size_t builtData = 32;
  std::string head = built.substr(0, built.size() - builtData);
  const auto inner = static_cast<std::int64_t>(head.size()) - 136;
  head = Patched(head, 132, Bytes().Int32(inner + size));
  head = Patched(head, head.size() - 4, Bytes().Int32(size));
  return Make(Name(folder, "matlab", channels, ".mat"), head, size, {}, true);
}

std::string EdfFile(const std::string& folder, bool mixedRates) {
  Edf file{.Signals = {}};
  std::int64_t recordBytes = 0;
  for (int s = 0; s < 32; ++s) {
    const int samples = !mixedRates || s % 4 == 0 ? 250 : s % 4 == 1 ? 125 : s % 4 == 2 ? 100 : 50;
    recordBytes += 2 * samples;
    file.Signals.push_back({.Label = "s" + std::to_string(s),
                            .Records = {""},
                            .RecordSamples = std::to_string(samples),
                            // A peer cuts what lies outside.
                            .DigitalMin = "-10000",
                            .DigitalMax = "10000"});
  }
  const std::int64_t records = InputBytes / recordBytes;
  file.RecordCount = std::to_string(records);
  return Make(folder + (mixedRates ? "/mixed32.edf" : "/edf32.edf"), file.Build(),
              records * recordBytes);
}

std::string AcqFile(const std::string& folder, bool mixedRates) {
  Acq file{.Channels = std::vector<AcqChannelOf>(4), .Markers = {}};
  for (AcqChannelOf& channel : file.Channels) channel.Samples = {0};
  std::string head = file.Build();
  head.resize(head.size() - 8 - 8);  // the samples and the end
  const int dividers[] = {1, mixedRates ? 2 : 1, mixedRates ? 5 : 1, 1};
  Double bytesOfStep = 0;
  for (const int divider : dividers) bytesOfStep += 2.0 / divider;
  const auto steps = static_cast<std::int64_t>(InputBytes / bytesOfStep) / 10 * 10;
  std::int64_t size = 0;
  for (std::size_t c = 0; c < 4; ++c) {
    const std::int64_t samples = steps / dividers[c];
    size += 2 * samples;
    head = Patched(head, 160 + 254 * c + 88, Bytes().Int32(samples));
  }
  return Make(folder + (mixedRates ? "/mixed4.acq" : "/acq4.acq"), head, size,
              std::string(8, '\0'));
}

std::string FramesOfEdf(const std::string& folder) {
  constexpr std::int64_t signals = 32, samples = 250, recordBytes = 2 * signals * samples;
  const std::string edf = EdfFile(folder, false);
  const std::int64_t records = InputBytes / recordBytes;
  // Counts of -10000 to 10000 are -100 to 100 units.
  ChartBlock block{.ChannelIndex = {},
                   .Scale = std::vector<float>(signals, 100),
                   .Offset = std::vector<float>(signals, 0),
                   .Samples = {},
                   .SizeChannel = static_cast<int>(records * samples),
                   .ChunkSize = static_cast<int>(records * recordBytes),
                   .Comments = {}};
  Chart file{.Channels = {}};
  for (int c = 0; c < signals; ++c) {
    block.ChannelIndex.push_back(c);
    file.Channels.emplace_back("c", "V");
  }
  file.Blocks = {block};
  const std::string built = file.Build();
  constexpr std::size_t tail = 16;
  const std::string name = folder + "/edf32.lmc";
  const auto size = static_cast<std::int64_t>(built.size()) + records * recordBytes;
  std::error_code none;
  if (static_cast<std::int64_t>(std::filesystem::file_size(name, none)) == size) return name;
  std::ofstream out(name, std::ios::binary);
  out << built.substr(0, built.size() - tail);
  std::ifstream in(edf, std::ios::binary);
  in.seekg(256 * (1 + signals));
  std::vector<std::int16_t> record(signals * samples), frames(record.size());
  for (std::int64_t r = 0; r < records; ++r) {
    in.read(reinterpret_cast<char*>(record.data()), recordBytes);
    for (std::size_t i = 0; i < record.size(); ++i)
      frames[i] = record[i % signals * samples + i / signals];
    out.write(reinterpret_cast<const char*>(frames.data()), recordBytes);
  }
  out << built.substr(built.size() - tail);
  return name;
}

std::string KindFile(const std::string& folder, int bits, bool real, bool bigEndian) {
  constexpr int channels = 8, samples = 20'000'000;
  const int width = bits / 8;
  const std::string name = folder + "/kind" + std::to_string(bits) + (real ? "r" : "i") +
                           (bigEndian ? "b" : "l") + ".wav";
  const std::int64_t size = std::int64_t{width} * samples;
  const auto head = [&](bool big) {
    Bytes bytes(big);
    bytes.Int32(16).Int16(real ? 3 : 1).Int16(channels).Int32(1000).Int32(1000 * width * channels);
    bytes.Int16(width * channels).Int16(bits);
    return std::string(big ? "RIFX" : "RIFF") + Bytes(big).Int32(36 + size).Get() + "WAVEfmt " +
           bytes.Get() + "data" + Bytes(big).Int32(size).Get();
  }(bigEndian);
  std::error_code none;
  if (static_cast<std::int64_t>(std::filesystem::file_size(name, none)) == std::ssize(head) + size)
    return name;
  std::ofstream out(name, std::ios::binary);
  out << head;
  std::mt19937 random(1);
  std::string piece;
  for (int done = 0; done < samples; done += 1 << 16) {
    Bytes bytes(bigEndian);
    for (int i = done; i < std::min(samples, done + (1 << 16)); ++i) {
      // Exact in each kind.
      const auto count = static_cast<std::int32_t>(random() % 20000) - 10000;
      const double value = count / 32768.0;
      if (real && bits == 32) bytes.Real32(static_cast<float>(value));
      if (real && bits == 64) bytes.Real64(value);
      if (!real && bits == 32) bytes.Int32(std::int64_t{count} << 16);
      if (!real && bits == 24)
        bytes.Text(Bytes().Int32(std::int64_t{count} << 8).Get().substr(0, 3));
    }
    out << bytes.Get();
  }
  return name;
}

std::string PackedMatFile(const std::string& folder) {
  constexpr int samples = 100'000'000 / 8;
  const std::string name = folder + "/packed.mat";
  if (std::filesystem::exists(name)) return name;
  std::string data = Pattern(true);
  while (data.size() < std::size_t{samples} * 8) data += data.substr(0, samples * 8 - data.size());
  const std::string plain =
      Mat5({{.Name = "x", .Dimensions = {1, samples}, .Data = std::move(data)}});
  uLongf size = ::compressBound(plain.size() - 128);
  std::string packed(size, '\0');
  ::compress2(reinterpret_cast<Bytef*>(packed.data()), &size,
              reinterpret_cast<const Bytef*>(plain.data()) + 128, plain.size() - 128, 1);
  packed.resize(size);
  std::ofstream(name, std::ios::binary)
      << plain.substr(0, 128) << Bytes().Int32(15).Int32(static_cast<int>(size)).Text(packed).Get();
  return name;
}

}  // namespace lmimport::bench
