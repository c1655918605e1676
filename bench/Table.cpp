// Measures the library against the bare file system and against other readers of the same files, and
// prints one table of one run: bench_table FOLDER [WORDS], where the recordings are made, and what the
// rows to print have in them.
#include <fcntl.h>
#include <fmt/core.h>
#include <lmimport/lmimport.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <functional>
#include <random>
#include <stdexcept>

#include "Inputs.h"
#include "Output.h"
#include "Peers.h"
#include "Rows.h"

namespace {

using namespace lmimport;
using namespace lmimport::bench;

constexpr int Rounds = 5;
constexpr std::int64_t PieceBytes = 1 << 20;

constexpr double CountsPerUnit = 6400;  // of a wave file

std::string Wanted;  // part of what the rows to print measure

bool IsWanted(std::string_view what) {
  return what.find(Wanted) != std::string_view::npos;
}

double Seconds(const std::function<double()>& run) {
  const auto start = std::chrono::steady_clock::now();
  run();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The sum of all that is read, where nothing of an earlier run is left.
double CompleteSum(const Row& row, const std::function<double()>& run) {
  row.Prepare();
  std::ranges::fill(WholeOutput<double>(), NAN);
  std::ranges::fill(WholeOutput<Integer>(), Integer{12345});
  std::ranges::fill(WholeOutput<int>(), 12345);
  SumsAreComplete = true;
  const double sum = run();
  SumsAreComplete = false;
  return sum;
}

}  // namespace

void lmimport::bench::Print(const Row& row) {
  if (!IsWanted(row.What)) return;
  const double expected = CompleteSum(row, row.Ours);
  for (const Contestant& other : row.Others) {
    const double sum = CompleteSum(row, other.Run);
    if (!(std::abs(sum - expected) <= 1e-6 * std::abs(expected)))
      throw std::runtime_error(
          fmt::format("{}: {} reads {}, not {}", row.What, other.Name, sum, expected));
  }
  double ours = INFINITY;
  std::vector<double> others(row.Others.size(), INFINITY);
  for (int round = 0; round < Rounds; ++round) {
    row.Prepare();
    ours = std::min(ours, Seconds(row.Ours));
    for (std::size_t i = 0; i < others.size(); ++i) {
      row.Prepare();
      others[i] = std::min(others[i], Seconds(row.Others[i].Run));
    }
  }
  const double each = ours / row.Times;
  const std::string time =
      each < 1e-3 ? fmt::format("{:.1f} us", each * 1e6) : fmt::format("{:.1f} ms", each * 1e3);
  std::string limit;
  std::string peers;
  for (std::size_t i = 0; i < others.size(); ++i) {
    const Contestant& other = row.Others[i];
    if (other.Name.empty())
      limit = fmt::format("{:.2f}", ours / others[i]);
    else
      peers += fmt::format("{}{} {:.1f}", peers.empty() ? "" : ", ", other.Name, others[i] / ours);
  }
  fmt::print("| {} | {} | {} | {} |\n", row.What, time, limit, peers);
  std::fflush(stdout);
}

namespace {

LMImport& Import() {
  static LMImport import;
  return import;
}

LMIBlockPtr OpenBlock(const std::string& name) {
  const LMIFilePtr file = Import().OpenFileObject(FromUtf8(name));
  if (!file) throw std::runtime_error(name + ": " + ToUtf8(Import().ErrorString()));
  return file->Block(1);
}

Long Read(LMIBlock& block, Long start, Long count, Double* out) {
  return block.GetDataDouble(start, count, out);
}
Long Read(LMIBlock& block, Long start, Long count, Integer* out) {
  return block.GetDataInteger(start, count, out);
}

template <class T>
double ReadAll(LMIBlock& block) {
  const auto out = Output<T>(static_cast<std::size_t>(block.SizeData()));
  Read(block, 1, block.SizeChannel(), out.data());
  return Sum(out);
}

double ReadChannel(LMIBlock& block, int channel) {
  const auto out = Output<double>(static_cast<std::size_t>(block.SizeChannel()));
  block.GetChannelDouble(static_cast<Integer>(channel + 1), 1, block.SizeChannel(), out);
  return Sum(out);
}

// What the samples of a recording are, for those who read them with nothing but the system.
struct Layout {
  std::string Name;
  std::int64_t DataPtr = 0;
  std::int64_t Samples = 0;
  std::int64_t Channels = 0;
  std::vector<double> Scale;  // counts per unit
  std::vector<double> Offset;
};

Layout LayoutOf(const LMIBlock& block, const std::string& name) {
  const std::string flat = name + "dat";  // of a converted recording
  Layout layout{std::filesystem::exists(flat) ? flat : name,
                block.DataPtr(),
                block.SizeData(),
                block.ChannelCount(),
                {},
                {}};
  for (Integer c = 1; c <= block.ChannelCount(); ++c) {
    layout.Scale.push_back(1 / block.ChannelDoubleA(c));
    layout.Offset.push_back(block.ChannelDoubleB(c));
  }
  return layout;
}

class BareFile {
 public:
  explicit BareFile(const std::string& name) : handle_(::open(name.c_str(), O_RDONLY)) {}
  ~BareFile() { ::close(handle_); }
  BareFile(const BareFile&) = delete;
  BareFile& operator=(const BareFile&) = delete;
  std::int64_t Read(void* target, std::int64_t size, std::int64_t position) const {
    return ::pread(handle_, target, static_cast<std::size_t>(size), position);
  }
  void ReadAll(void* target, std::int64_t size, std::int64_t position) const {
    if (Read(target, size, position) != size) throw std::runtime_error("a short read");
  }

 private:
  int handle_;
};

// Positional reads into one buffer, and a plain loop.
template <class Stored>
double LimitDouble(const Layout& layout) {
  const BareFile file(layout.Name);
  const auto out = Output<double>(static_cast<std::size_t>(layout.Samples));
  const std::int64_t step =
      PieceBytes / static_cast<std::int64_t>(sizeof(Stored)) / layout.Channels * layout.Channels;
  std::vector<Stored> piece(static_cast<std::size_t>(step));
  for (std::int64_t i = 0; i < layout.Samples; i += step) {
    const std::int64_t count = std::min(step, layout.Samples - i);
    const std::int64_t width = sizeof(Stored);
    file.ReadAll(piece.data(), count * width, layout.DataPtr + i * width);
    double* to = out.data() + i;
    if constexpr (std::is_same_v<Stored, double>) {
      std::copy_n(piece.begin(), count, to);
    } else {
      const auto channels = static_cast<std::size_t>(layout.Channels);
      for (std::size_t f = 0; f < static_cast<std::size_t>(count); f += channels)
        for (std::size_t c = 0; c < channels; ++c)
          to[f + c] = piece[f + c] / layout.Scale[c] + layout.Offset[c];
    }
  }
  return Sum(out);
}

// The same reads, and the range of each channel, one or as many as there are lanes; gives 1 when it
// is the one that the library found, which is wider by less than ten times.
double LimitRange(const Layout& layout) {
  const BareFile file(layout.Name);
  constexpr std::size_t lanes = 16;
  constexpr std::int64_t step = PieceBytes / 8;
  std::vector<double> piece(step);
  std::array<double, lanes> least{};
  std::array<double, lanes> greatest{};
  for (std::int64_t i = 0; i < layout.Samples; i += step) {
    const std::int64_t count = std::min(step, layout.Samples - i);
    file.ReadAll(piece.data(), count * 8, layout.DataPtr + i * 8);
    for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k) {
      least[k % lanes] = piece[k] < least[k % lanes] ? piece[k] : least[k % lanes];
      greatest[k % lanes] = piece[k] > greatest[k % lanes] ? piece[k] : greatest[k % lanes];
    }
  }
  for (std::size_t lane = 0; lane < lanes; ++lane) {
    const std::size_t channel = lane % static_cast<std::size_t>(layout.Channels);
    const double low = layout.Offset[channel] - 32768 / layout.Scale[channel];
    const double high = layout.Offset[channel] + 32767 / layout.Scale[channel];
    const double width = greatest[lane] - least[lane];
    if (least[lane] < low || greatest[lane] > high || high - low > 10 * width) return 0;
  }
  return 1;
}

double LimitInteger(const Layout& layout) {
  const BareFile file(layout.Name);
  const auto out = Output<Integer>(static_cast<std::size_t>(layout.Samples));
  constexpr std::int64_t step = PieceBytes / 2;
  for (std::int64_t i = 0; i < layout.Samples; i += step)
    file.ReadAll(out.data() + i, 2 * std::min(step, layout.Samples - i), layout.DataPtr + 2 * i);
  return Sum(out);
}

double LimitChannel(const Layout& layout, int channel) {
  const BareFile file(layout.Name);
  const std::int64_t channels = layout.Channels;
  const auto out = Output<double>(static_cast<std::size_t>(layout.Samples / channels));
  const std::int64_t step = PieceBytes / 2 / channels;
  std::vector<Integer> piece(static_cast<std::size_t>(step * channels));
  const double scale = layout.Scale[static_cast<std::size_t>(channel)];
  const double offset = layout.Offset[static_cast<std::size_t>(channel)];
  for (std::int64_t i = 0; i < std::ssize(out); i += step) {
    const std::int64_t count = std::min(step, std::ssize(out) - i);
    file.ReadAll(piece.data(), 2 * count * channels, layout.DataPtr + 2 * i * channels);
    for (std::int64_t f = 0; f < count; ++f)
      out[static_cast<std::size_t>(i + f)] =
          piece[static_cast<std::size_t>(f * channels + channel)] / scale + offset;
  }
  return Sum(out);
}

void WholeFiles(const std::string& folder) {
  struct File {
    const char* What;
    std::string Name;
    std::vector<Contestant> Doubles;
    std::vector<Contestant> Integers;
  };
  const std::string wave = WaveFile(folder, 2);
  const std::string edf = EdfFile(folder, false);
  const File files[] = {
      {"WinDaq, 8 channels", WindaqFile(folder, 8), {}, {}},
      {"WAVE, stereo",
       wave,
       {{"libsndfile", [=] { return SndfileReadDoubles(wave) / CountsPerUnit; }}},
       {{"libsndfile", [=] { return SndfileReadIntegers(wave); }}}},
      {"EDF, 32 signals of one rate, converted before",
       edf,
       {{"EDFlib", [=] { return EdflibReadDoubles(edf); }},
        {"libbiosig", [=] { return BiosigReadDoubles(edf); }}},
       {{"EDFlib", [=] { return EdflibReadIntegers(edf); }}}},
      // What peers give of several rates is half as much, or twice as much.
      {"EDF, 32 signals of four rates, converted before", EdfFile(folder, true), {}, {}},
      {"ABF, 2 channels", AbfFile(folder), {}, {}},
      {"ACQ, 4 channels in place", AcqFile(folder, false), {}, {}},
      {"chart, 8 channels", ChartFile(folder, 8), {}, {}}};
  for (const File& file : files) {
    const LMIBlockPtr block = OpenBlock(file.Name);
    const Layout layout = LayoutOf(*block, file.Name);
    std::vector<Contestant> doubles = {{"", [=] { return LimitDouble<Integer>(layout); }}};
    doubles.insert(doubles.end(), file.Doubles.begin(), file.Doubles.end());
    Print({fmt::format("{}: all as Double", file.What), [&] { return ReadAll<Double>(*block); },
           doubles});
    std::vector<Contestant> integers = {{"", [=] { return LimitInteger(layout); }}};
    integers.insert(integers.end(), file.Integers.begin(), file.Integers.end());
    Print({fmt::format("{}: all as Integer", file.What), [&] { return ReadAll<Integer>(*block); },
           integers});
  }
  const LMIBlockPtr block = OpenBlock(wave);
  const Layout layout = LayoutOf(*block, wave);
  SampleTable<Double> table;
  Print({"WAVE, stereo: all into a table that is used again",
         [&] {
           block->GetDataDoubleArray(1, block->SizeChannel(), table);
           return Sum(table.Values());
         },
         {{"", [=] { return LimitDouble<Integer>(layout); }}}});
  for (const int channels : {1, 16}) {
    const std::string name = Matlab5File(folder, channels);
    const LMIBlockPtr block = OpenBlock(name);
    const Layout layout = LayoutOf(*block, name);
    Print({fmt::format("MATLAB 5, Doubles, {} in a frame: all as Double", channels),
           [&] { return ReadAll<Double>(*block); },
           {{"", [=] { return LimitDouble<Double>(layout); }},
            {"matio", [=] { return MatioReadDoubles(name); }}}});
    Print({fmt::format("MATLAB 5, Doubles, {} in a frame: open, with their range", channels),
           [&] { return OpenBlock(name) ? 1 : 0; },
           {{"", [=] { return LimitRange(layout); }}}});
  }
}

void OneChannel(const std::string& folder) {
  for (const int channels : {1, 8, 32}) {
    const std::string name = WaveFile(folder, channels);
    const LMIBlockPtr block = OpenBlock(name);
    const Layout layout = LayoutOf(*block, name);
    const int channel = channels / 2;
    Print({fmt::format("WAVE: one channel of {} as Double", channels),
           [&] { return ReadChannel(*block, channel); },
           {{"", [=] { return LimitChannel(layout, channel); }},
            {"libsndfile", [=] { return SndfileReadChannel(name, channel) / CountsPerUnit; }}}});
  }
  const std::string edf = EdfFile(folder, false);
  const LMIBlockPtr block = OpenBlock(edf);
  const Layout layout = LayoutOf(*block, edf);
  Print({"EDF, converted before: one signal of 32 as Double",
         [&] { return ReadChannel(*block, 16); },
         {{"", [=] { return LimitChannel(layout, 16); }},
          {"EDFlib", [=] { return EdflibReadChannel(edf, 16); }}}});
}

double LimitWindows(const Layout& layout, const Starts& starts, std::int64_t frames) {
  const BareFile file(layout.Name);
  const auto channels = static_cast<std::size_t>(layout.Channels);
  std::vector<Integer> piece(static_cast<std::size_t>(frames) * channels);
  const auto out = Output<double>(piece.size());
  double sum = 0;
  for (const std::int64_t start : starts) {
    file.ReadAll(piece.data(), 2 * std::ssize(piece), layout.DataPtr + 2 * start * layout.Channels);
    for (std::size_t f = 0; f < piece.size(); f += channels)
      for (std::size_t c = 0; c < channels; ++c)
        out[f + c] = piece[f + c] / layout.Scale[c] + layout.Offset[c];
    sum += Sum(out);
  }
  return sum;
}

void Windows(const std::string& folder) {
  constexpr int windows = 10000;
  struct File {
    const char* What;
    std::string Name;
    Long Frames;  // of one second
    const char* Peer;
    double (*ReadWindows)(const std::string&, const Starts&, std::int64_t);
    double PeerScale;  // its values are so many times ours
  };
  const File files[] = {
      {"WAVE, stereo", WaveFile(folder, 2), 1000, "libsndfile", SndfileReadWindows, CountsPerUnit},
      {"EDF, 32 signals, converted before", EdfFile(folder, false), 250, "EDFlib",
       EdflibReadWindows, 1}};
  for (const File& file : files) {
    const LMIBlockPtr block = OpenBlock(file.Name);
    const Layout layout = LayoutOf(*block, file.Name);
    std::mt19937 random(7);
    Starts starts;
    for (int i = 0; i < windows; ++i)
      starts.push_back(random() % static_cast<unsigned>(block->SizeChannel() - file.Frames));
    const auto ours = [&] {
      const auto out =
          Output<double>(static_cast<std::size_t>(file.Frames * block->ChannelCount()));
      double sum = 0;
      for (const std::int64_t start : starts) {
        Read(*block, static_cast<Long>(start + 1), file.Frames, out.data());
        sum += Sum(out);
      }
      return sum;
    };
    const auto peer = [&] {
      return file.ReadWindows(file.Name, starts, file.Frames) / file.PeerScale;
    };
    Print({fmt::format("{}: 10,000 windows of one second, each", file.What),
           ours,
           {{"", [&] { return LimitWindows(layout, starts, file.Frames); }}, {file.Peer, peer}},
           windows});
  }
}

// The reads alone, of all channels.
double LimitBytes(const Layout& layout) {
  const BareFile file(layout.Name);
  std::vector<Integer> piece(PieceBytes / 2);
  const std::int64_t size = 2 * layout.Samples;
  for (std::int64_t i = 0; i < size; i += PieceBytes)
    file.ReadAll(piece.data(), std::min(PieceBytes, size - i), layout.DataPtr + i);
  return 1;
}

void Overviews(const std::string& folder) {
  for (const int channels : {1, 8}) {
    const std::string name = WaveFile(folder, channels);
    const Layout layout = LayoutOf(*OpenBlock(name), name);
    const Recording recording = Recording::Open(name);
    const auto overview = [recording, channels] {
      std::vector<Extremes> bins(2000);
      recording.Overview(0, static_cast<std::size_t>(channels / 2), 0,
                         recording.Blocks()[0].FrameCount, bins);
      return bins.back().Smallest < bins.back().Largest ? 1.0 : 0.0;
    };
    Print({fmt::format("WAVE: overview of one channel of {} in 2,000 bins", channels),
           overview,
           {{"", [=] { return LimitBytes(layout); }}}});
  }
}

void Opens(const std::string& folder) {
  constexpr int opens = 1000;
  using FirstSample = std::function<double(const std::string&)>;
  const auto repeated = [](const FirstSample& firstSample, const std::string& name) {
    return [=] {
      for (int i = 1; i < opens; ++i) firstSample(name);
      return firstSample(name);
    };
  };
  const auto firstSampleOf = [](LMImport& import, const std::string& name) {
    double value = 0;
    const LMIFilePtr file = import.OpenFileObject(FromUtf8(name));
    file->Block(1)->GetChannelDouble(1, 1, 1, &value);
    return value;
  };
  const FirstSample warm = [&](const std::string& name) { return firstSampleOf(Import(), name); };
  const FirstSample cold = [&](const std::string& name) {
    LMImport import;
    return firstSampleOf(import, name);
  };
  struct File {
    const char* What;
    std::string Name;
    const char* Peer;
    FirstSample Theirs;
  };
  const std::string windaq = WindaqFile(folder, 8);
  const File files[] = {
      {"WinDaq", windaq, "", {}},
      {"WinDaq of 2 GB", WindaqFile(folder, 8, 2'000'000'000), "", {}},
      {"WAVE", WaveFile(folder, 2), "libsndfile",
       [](const std::string& name) { return SndfileFirstSample(name) / CountsPerUnit; }},
      {"ABF", AbfFile(folder), "", {}},
      {"chart", ChartFile(folder, 8), "", {}},
      {"ACQ in place", AcqFile(folder, false), "", {}},
      {"EDF, converted", EdfFile(folder, false), "EDFlib", EdflibFirstSample}};
  for (const File& file : files) {
    std::vector<Contestant> others;
    if (file.Theirs) others.push_back({file.Peer, repeated(file.Theirs, file.Name)});
    Print({fmt::format("{}: open to first sample", file.What), repeated(warm, file.Name), others,
           opens});
    const FirstSample byRecording = [](const std::string& name) {
      double value = 0;
      Recording::Open(name, {.As = Reading::Written}).Read(0, 0, 0, std::span(&value, 1));
      return value;
    };
    // A recording would rewrite the last one for its first sample.
    if (!file.Name.ends_with(".edf"))
      Print({fmt::format("{}: open to first sample by Recording", file.What),
             repeated(byRecording, file.Name),
             {{"LMImport", repeated(warm, file.Name)}},
             opens});
  }
  const std::string edf = EdfFile(folder, false);
  const FirstSample openAlone = [](const std::string& name) {
    return static_cast<double>(Recording::Open(name, {.As = Reading::Written}).Blocks().size());
  };
  const FirstSample openedByLMImport = [](const std::string& name) {
    return static_cast<double>(Import().OpenFileObject(FromUtf8(name))->BlockCount());
  };
  Print({"EDF: open by Recording, without a sample",
         repeated(openAlone, edf),
         {{"LMImport", repeated(openedByLMImport, edf)}},
         opens});
  Print({"WinDaq: the same, with a new LMImport each time", repeated(cold, windaq), {}, opens});
}

// Copies as safely as the library writes: the bytes are on the disk when it ends.
double Copy(const std::string& name) {
  const std::string copy = name + "copy";
  const BareFile file(name);
  const int out = ::open(copy.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0666);
  std::vector<char> piece(PieceBytes);
  std::int64_t position = 0;
  while (const std::int64_t done = file.Read(piece.data(), PieceBytes, position)) {
    if (::pwrite(out, piece.data(), static_cast<std::size_t>(done), position) != done)
      throw std::runtime_error("can't write " + copy);
    position += done;
  }
  ::fdatasync(out);
  ::close(out);
  return 1;
}

// Closes the file again: what is open isn't gone, though its name is.
double Convert(const std::string& name) {
  const LMIFilePtr file = Import().OpenFileObject(FromUtf8(name));
  if (!file || !std::filesystem::exists(name + "dat"))
    throw std::runtime_error("no flat file of " + name);
  Import().CloseFile(file);
  return 1;
}

void Conversions(const std::string& folder) {
  const std::pair<const char*, std::string> files[] = {
      {"EDF of one rate: conversion, over a copy of the file", EdfFile(folder, false)},
      {"EDF of four rates: conversion, over a copy of the result", EdfFile(folder, true)},
      {"ACQ of three rates: conversion, over a copy of the result", AcqFile(folder, true)}};
  for (const auto& [what, name] : files) {
    if (!IsWanted(what)) continue;
    OpenBlock(name);
    std::string original = name;
    if (std::string_view(what).ends_with("result")) {
      original += "flat";
      std::filesystem::copy_file(name + "dat", original,
                                 std::filesystem::copy_options::overwrite_existing);
    }
    // What the file system does to drop an old file isn't the work of the new one.
    const auto prepare = [&original, &file = name] {
      ::unlink((file + "dat").c_str());
      ::unlink((original + "copy").c_str());
      ::sync();
    };
    Print({what,
           [&file = name] { return Convert(file); },
           {{"", [=] { return Copy(original); }}},
           1,
           prepare});
    std::filesystem::remove(original + "copy");
    if (original != name) std::filesystem::remove(original);
  }
}

// The most memory of a process that does it, in MiB.
double PeakOf(const std::function<void()>& work) {
  const pid_t child = ::fork();
  if (child == 0) {
    work();
    ::_exit(0);
  }
  int status = 0;
  rusage use{};
  ::wait4(child, &status, 0, &use);
  if (status != 0) throw std::runtime_error("a measured process failed");
  return static_cast<double>(use.ru_maxrss) / 1024;
}

void Memory(const std::string& folder) {
  const std::pair<const char*, std::string> readThrough[] = {
      {"WinDaq of 200 MB", WindaqFile(folder, 8)},
      {"WinDaq of 2 GB", WindaqFile(folder, 8, 2'000'000'000)},
      {"WAVE", WaveFile(folder, 2)},
      {"chart", ChartFile(folder, 8)},
      {"MATLAB 5, its range too,", Matlab5File(folder, 16)}};
  const std::string converted[] = {EdfFile(folder, true), AcqFile(folder, true)};
  const double start = PeakOf([] { LMImport(); });  // making the files has made this process grow
  const auto print = [start](const std::string& what, const std::function<void()>& work) {
    if (IsWanted(what))
      fmt::print("| {} | {:.1f} MiB | | |\n", what, std::max(0.0, PeakOf(work) - start));
  };
  for (const auto& [what, name] : readThrough) {
    print(fmt::format("peak memory: {} read through", what), [&file = name] {
      const LMIBlockPtr block = OpenBlock(file);
      constexpr Long frames = 4096;
      std::vector<double> out(static_cast<std::size_t>(frames * block->ChannelCount()));
      for (Long frame = 1; frame <= block->SizeChannel(); frame += frames)
        Read(*block, frame, frames, out.data());
    });
  }
  print("peak memory: a thousand WinDaq recordings, open at once", [&] {
    std::vector<Recording> recordings;
    for (int i = 0; i < 1000; ++i) recordings.push_back(Recording::Open(readThrough[0].second));
  });
  for (const std::string& name : converted) {
    std::filesystem::remove(name + "dat");
    print(fmt::format("peak memory: {}, conversion", name.ends_with("edf") ? "EDF" : "ACQ"),
          [&] { Convert(name); });
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) return 2;
  const std::string folder = argv[1];
  if (argc == 3) Wanted = argv[2];
  try {
    std::filesystem::create_directories(folder);
    fmt::print("| what | LMImport | over the limit | others, times slower |\n|---|---|---|---|\n");
    Memory(folder);  // before this process has grown
    WholeFiles(folder);
    OneChannel(folder);
    Windows(folder);
    Overviews(folder);
    Opens(folder);
    Conversions(folder);
    PrintPublished(folder);
  } catch (const std::exception& fault) {
    fmt::print(stderr, "{}\n", fault.what());
    return 1;
  }
}
