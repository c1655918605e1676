#include "support/Recordings.h"

#include <ostream>

#include "support/Builders.h"

namespace lmimport::test {

std::vector<BuiltRecording> AllRecordings() {
  const Chart chart{
      .Blocks = {ChartBlock{}, ChartBlock{.ChannelIndex = {1}, .Scale = {-3}, .Offset = {1}}}};
  const WinDaq winDaq{.Markers = {2, 77, CommentAt(20), -3}, .CommentTexts = "go"};
  const std::string samples = Words({6400, -6400, 3200, 0, 0, 64, 7, 8, 9, 10});
  Edf edf{.Reserved = "EDF+D"};
  edf.Signals.push_back(
      EdfAnnotations({std::string("+0\x14\x14\0+0.5\x14go\x14\0", 15), "+1\x14\x14"}, 8));
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
           Acq{.Channels = {{.Samples = {1, 2}}, {.Samples = {3, 4}}}}.Build()}};
}

void PrintTo(const BuiltRecording& recording, std::ostream* out) {
  *out << recording.Name;
}

}  // namespace lmimport::test
