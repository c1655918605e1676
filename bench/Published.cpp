// The rows of the published reading.
#include <fcntl.h>
#include <fmt/core.h>
#include <lmimport/lmimport.h>
#include <unistd.h>
#include <zlib.h>

#include <array>
#include <random>

#include "Inputs.h"
#include "Output.h"
#include "Peers.h"
#include "Rows.h"

namespace lmimport::bench {
namespace {

double ReadAllFrames(const Recording& recording) {
  double sum = 0;
  for (std::size_t b = 0; b < recording.Blocks().size(); ++b) {
    const Block& block = recording.Blocks()[b];
    const auto out =
        Output<double>(static_cast<std::size_t>(block.FrameCount) * block.Channels.size());
    recording.ReadFrames(b, 0, out);
    sum += Sum(out);
  }
  return sum;
}

double ReadChannel(const Recording& recording, std::size_t channel) {
  const auto out = Output<double>(static_cast<std::size_t>(recording.Blocks()[0].FrameCount));
  recording.Read(0, channel, 0, out);
  return Sum(out);
}

// Signal by signal, as EDFlib gives them.
double ReadAllChannels(const Recording& recording) {
  std::vector<std::pair<std::size_t, std::size_t>> places(32);
  std::size_t total = 0;
  for (std::size_t b = 0; b < recording.Blocks().size(); ++b) {
    const Block& block = recording.Blocks()[b];
    total += static_cast<std::size_t>(block.FrameCount) * block.Channels.size();
    for (std::size_t c = 0; c < block.Channels.size(); ++c)
      places[static_cast<std::size_t>(block.Channels[c].Number - 1)] = {b, c};
  }
  const auto out = Output<double>(total);
  std::size_t at = 0;
  for (const auto& [b, c] : places) {
    const auto count = static_cast<std::size_t>(recording.Blocks()[b].FrameCount);
    recording.Read(b, c, 0, out.subspan(at, count));
    at += count;
  }
  return Sum(out);
}

void Edf(const std::string& folder) {
  constexpr int windows = 10000, opens = 1000;
  const std::string edf = EdfFile(folder, false);
  const std::string mixed = EdfFile(folder, true);
  const Recording lanes = Recording::Open(edf);
  // The same frames, as they would lie in a file of frames.
  const Recording frames = Recording::Open(FramesOfEdf(folder), {.As = Reading::Written});
  Print({"EDF in place, 32 signals of one rate: all as Double, frame by frame",
         [&] { return ReadAllFrames(lanes); },
         {{"", [&] { return ReadAllFrames(frames); }},
          {"EDFlib, signal by signal", [=] { return EdflibReadDoubles(edf); }}}});
  Print({"EDF in place: one signal of 32 as Double",
         [&] { return ReadChannel(lanes, 16); },
         {{"out of frames", [&] { return ReadChannel(frames, 16); }},
          {"EDFlib", [=] { return EdflibReadChannel(edf, 16); }}}});
  const Recording rates = Recording::Open(mixed);
  Print({"EDF in place, 32 signals of four rates: all as Double, signal by signal",
         [&] { return ReadAllChannels(rates); },
         {{"EDFlib", [=] { return EdflibReadDoubles(mixed); }}}});
  constexpr std::int64_t second = 250;
  std::mt19937 random(7);
  Starts starts;
  for (int i = 0; i < windows; ++i)
    starts.push_back(random() % static_cast<unsigned>(lanes.Blocks()[0].FrameCount - second));
  const auto ours = [&] {
    const auto out = Output<double>(32 * second);
    double sum = 0;
    for (const std::int64_t start : starts) {
      lanes.ReadFrames(0, start, out);
      sum += Sum(out);
    }
    return sum;
  };
  Print({"EDF in place, 32 signals: 10,000 windows of one second, each",
         ours,
         {{"EDFlib", [&] { return EdflibReadWindows(edf, starts, second); }}},
         windows});
  const auto repeated = [](const auto& once) {
    return [=] {
      for (int i = 1; i < opens; ++i) once();
      return once();
    };
  };
  Print({"EDF in place: open to first sample",
         repeated([=] {
           double value = 0;
           Recording::Open(edf).Read(0, 0, 0, std::span(&value, 1));
           return value;
         }),
         {{"EDFlib", repeated([=] { return EdflibFirstSample(edf); })}},
         opens});
}

void Kinds(const std::string& folder) {
  const std::string word32 = KindFile(folder, 32, false, false);
  const std::string word24 = KindFile(folder, 24, false, false);
  const std::string real64 = KindFile(folder, 64, true, false);
  const std::string swapped64 = KindFile(folder, 64, true, true);
  const std::string real32 = KindFile(folder, 32, true, false);
  const Recording of32 = Recording::Open(word32), of24 = Recording::Open(word24);
  const Recording reals = Recording::Open(real64), swapped = Recording::Open(swapped64);
  const Recording singles = Recording::Open(real32);
  // The same numbers in each, so the sums agree.
  Print({"WAVE of 24 bits, 8 channels: all as Double; the limit is that of 32 bits",
         [&] { return ReadAllFrames(of24); },
         {{"", [&] { return ReadAllFrames(of32); }},
          {"libsndfile", [&] { return SndfileReadNormed(word24); }}}});
  Print({"WAVE of Singles, 8 channels: all as Double",
         [&] { return ReadAllFrames(singles); },
         {{"libsndfile", [&] { return SndfileReadNormed(real32); }}}});
  Print({"WAVE of big-endian Doubles, 8 channels: all as Double; the limit is that of plain ones",
         [&] { return ReadAllFrames(swapped); },
         {{"", [&] { return ReadAllFrames(reals); }}}});
}

// The stream alone, into one buffer.
double Inflate(const std::string& name) {
  constexpr std::int64_t stream = 136;
  const int handle = ::open(name.c_str(), O_RDONLY);
  const std::int64_t size = ::lseek(handle, 0, SEEK_END) - stream;
  std::vector<Bytef> packed(static_cast<std::size_t>(size));
  if (::pread(handle, packed.data(), packed.size(), stream) != size)
    throw std::runtime_error("a short read");
  ::close(handle);
  std::vector<Bytef> piece(1 << 20);
  z_stream state{};
  inflateInit(&state);
  state.next_in = packed.data();
  state.avail_in = static_cast<uInt>(packed.size());
  int result = Z_OK;
  while (result == Z_OK) {
    state.next_out = piece.data();
    state.avail_out = static_cast<uInt>(piece.size());
    result = inflate(&state, Z_NO_FLUSH);
  }
  inflateEnd(&state);
  return result == Z_STREAM_END ? 1 : 0;
}

void Packed(const std::string& folder) {
  const std::string name = PackedMatFile(folder);
  Print({"MATLAB 5, compressed, 100 MB of Doubles: open and unpack",
         [&] {
           std::array<double, 1> first{};
           return static_cast<double>(Recording::Open(name).Read(0, 0, 0, first));
         },
         {{"", [&] { return Inflate(name); }}}});
}

}  // namespace

void PrintPublished(const std::string& folder) {
  Edf(folder);
  Kinds(folder);
  Packed(folder);
}

}  // namespace lmimport::bench
