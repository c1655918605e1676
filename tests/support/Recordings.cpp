#include "support/Recordings.h"

#include <ostream>

#include "support/Builders.h"

namespace lmimport::test {

namespace {

BuiltRecording PublishedAlone(std::string target, std::pair<Long, Long> type, std::string name,
                              std::string bytes) {
  return {std::move(target), type, std::move(name), std::move(bytes), {}, {}, true};
}

// 24 bits, above 4 GiB by its mark, with a chunk of odd size before the format.
std::string BigWave() {
  return Bytes()
      .Text("RF64")
      .Int32(-1)
      .Text("WAVE")
      .Text(Chunk("ds64", Bytes().Zeros(8).Int32(12).Zeros(16).Get()))
      .Text(Chunk("LIST", "odd"))
      .Zeros(1)
      .Text(Chunk("fmt ", Bytes().Int16(1).Int16(2).Int32(8000).Zeros(4).Int16(6).Int16(24).Get()))
      .Text("data")
      .Int32(-1)
      .Text(std::string("\x01\0\0\xff\xff\xff\0\0\x40\0\0\x80", 12))
      .Get();
}

// A matrix of more rows than columns, and one beside it that isn't compressed.
std::string PackedMat() {
  const std::string tall = Mat5(
      {{.Name = "tall", .Dimensions = {3, 2}, .Type = 3, .Data = Words({1, 2, 3, -1, -2, -3})}});
  const std::string plain = Mat5({{.Name = "plain"}});
  const std::string packed = Zlib(std::string_view(tall).substr(128));
  return tall.substr(0, 128) +
         Bytes().Int32(15).Int32(static_cast<int>(packed.size())).Text(packed).Get() +
         plain.substr(128);
}

}  // namespace

std::vector<BuiltRecording> AllRecordings() {
  const Chart chart{
      .Blocks = {ChartBlock{}, ChartBlock{.ChannelIndex = {1}, .Scale = {-3}, .Offset = {1}}}};
  const WinDaq winDaq{.Markers = {2, 77, CommentAt(20), -3}, .CommentTexts = "go"};
  const std::string samples = Words({6400, -6400, 3200, 0, 0, 64, 7, 8, 9, 10});
  Edf edf{.Reserved = "EDF+D"};
  edf.Signals.push_back(
      EdfAnnotations({std::string("+0\x14\x14\0+0.5\x14go\x14\0", 15), "+1\x14\x14"}, 8));
  Edf bdf{.Version =
              "\xff"
              "BIOSEMI",
          .Reserved = "BDF+C"};
  bdf.Signals = {{.Records = {std::string("\1\0\0\xff\xff\xff", 6)}, .RecordSamples = "2"},
                 {.Label = "BDF Annotations",
                  .Records = {std::string("+0\x14\x14\0+1\x14go\x14\0", 12)},
                  .RecordSamples = "4"}};
  const Edf gaps{
      .Reserved = "EDF+D",
      .Signals = {{.Label = "fast", .Records = {Words({1, 2}), Words({3, 4})}},
                  {.Label = "slow", .Records = {Words({5}), Words({6})}},
                  EdfAnnotations({std::string("+0.5\x14\x14\0", 7) + std::string("+1\x15"
                                                                                 "2\x14go\x14\0",
                                                                                 9),
                                  std::string("+5\x14\x14\0", 5)},
                                 8)}};
  const std::string text =
      "NumAChannels=2\nMaxADCValue=8000\nResolution=14\nSamplerate=50\n"
      "[Ch0]\nName=a\nYUnit=V\nMaxRange=5\n[Ch1]\nMinRange=-1\n";
  const std::string counts = Words({6, -6, 3, 0, 0, 9});
  return {{"chart", {1, 0}, "chart.lmc", chart.Build()},
          {"windaq", {6, 0}, "windaq.wdq", winDaq.Build()},
          {"wave",
           {4, 1},
           "wave.wav",
           Wave{.BeforeData = Chunk("fact", "1234")}.Build(),
           "wave_wavheader.txt",
           text},
          {"text", {2, 2}, "text.bin", samples, "text_binheader.txt", text},
          {"par",
           {3, 1},
           "par.dat",
           samples,
           "par.par",
           FullPar({{4, "title"}, {8, "note"}, {1, "last"}})},
          {"par", {3, 1}, "short.dat", samples, "short.par", ShortPar()},
          {"par", {3, 1}, "long.dat", samples, "long.par", LongPar()},
          {"rvp", {3, 2}, "rvp.dat", samples, "rvp.rvp", Rvp()},
          {"abf", {7, 0}, "abf.abf", Abf()},
          {"abin", {2, 0}, "abin.dat", Abin()},
          {"cfwb", {2, 1}, "cfwb.dat", Cfwb()},
          {"adclab", {5, 0}, "plain.alf", PlainAlf()},
          {"adclab", {5, 0}, "device.alf", DeviceAlf()},
          {"ar", {3, 0}, "ar.dat", Ar()},
          {"peak", {11, 0}, "peak0.pk", Peak(0, 2)},
          {"peak", {11, 1}, "peak1.pk", Peak(1, 2)},
          {"matlab4", {10, 0}, "four.mat", Mat4(30, 2, 3, false, "x_Data", counts)},
          {"matlab5",
           {10, 0},
           "five.mat",
           Mat5({{.Name = "x_Data", .Dimensions = {2, 3}, .Type = 3, .Data = counts},
                 {.Name = "x_SamplingRate", .Dimensions = {1, 1}}})},
          {"edf", {9, 0}, "mixed.edf", edf.Build()},
          {"edf", {9, 0}, "single.edf", Edf{.Signals = {Edf().Signals[0]}}.Build()},
          {"acq", {8, 0}, "mixed.acq", Acq().Build()},
          {"acq",
           {8, 0},
           "integers.acq",
           Acq{.Channels = {{.Samples = {1, 2}}, {.Samples = {3, 4}}}}.Build()},
          PublishedAlone("bdf", {9, 0}, "b.bdf", bdf.Build()),
          PublishedAlone("edf", {9, 0}, "gaps.edf", gaps.Build()),
          PublishedAlone("acq", {8, 0}, "late.acq", PublishedAcq().Build()),
          PublishedAlone("acq", {8, 0}, "packed4.acq", PublishedAcq{.IsCompressed = true}.Build()),
          PublishedAlone(
              "acq", {8, 0}, "packed3.acq",
              PublishedAcq{.Version = 41, .IsBigEndian = false, .IsCompressed = true}.Build()),
          PublishedAlone("wave", {4, 0}, "big.wav", BigWave()),
          PublishedAlone("matlab5", {10, 0}, "packed.mat", PackedMat())};
}

void PrintTo(const BuiltRecording& recording, std::ostream* out) {
  *out << recording.Name;
}

}  // namespace lmimport::test
