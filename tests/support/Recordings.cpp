#include "support/Recordings.h"

#include <ostream>

#include "support/Builders.h"

namespace lmimport::test {

std::vector<Recording> AllRecordings() {
  const Chart chart{
      .Blocks = {ChartBlock{}, ChartBlock{.ChannelIndex = {1}, .Scale = {-3}, .Offset = {1}}}};
  const WinDaq winDaq{.Markers = {2, 77, CommentAt(20), -3}, .CommentTexts = "go"};
  const std::string samples = Wave().Build();
  Edf edf{.Reserved = "EDF+D"};
  edf.Signals.push_back(
      EdfAnnotations({std::string("+0\x14\x14\0+0.5\x14go\x14\0", 15), "+1\x14\x14"}, 8));
  const std::string text =
      "NumAChannels=2\nMaxADCValue=8000\nResolution=14\nSamplerate=50\n"
      "[Ch0]\nName=a\nYUnit=V\nMaxRange=5\n[Ch1]\nMinRange=-1\n";
  const std::string counts = Words({6, -6, 3, 0, 0, 9});
  return {
      {"chart", "chart.lmc", chart.Build()},
      {"windaq", "windaq.wdq", winDaq.Build()},
      {"wave", "wave.wav", Wave{.BeforeData = Chunk("fact", "1234")}.Build(), "wave_wavheader.txt",
       text},
      {"text", "text.bin", samples, "text_binheader.txt", text},
      {"par", "par.dat", samples, "par.par", FullPar({{4, "title"}, {8, "note"}, {1, "last"}})},
      {"rvp", "rvp.dat", samples, "rvp.rvp", Rvp()},
      {"abf", "abf.abf", Abf()},
      {"abin", "abin.dat", Abin()},
      {"cfwb", "cfwb.dat", Cfwb()},
      {"adclab", "plain.alf", PlainAlf()},
      {"adclab", "device.alf", DeviceAlf()},
      {"ar", "ar.dat", Ar()},
      {"peak0", "peak0.pk", Peak(0, 2)},
      {"peak1", "peak1.pk", Peak(1, 2)},
      {"matlab4", "four.mat", Mat4(30, 2, 3, false, "x_Data", counts)},
      {"matlab5", "five.mat",
       Mat5({{.Name = "x_Data", .Dimensions = {2, 3}, .Type = 3, .Data = counts},
             {.Name = "x_SamplingRate", .Dimensions = {1, 1}}})},
      {"edf", "mixed.edf", edf.Build()},
      {"edf", "single.edf", Edf{.Signals = {Edf().Signals[0]}}.Build()},
      {"acq", "mixed.acq", Acq().Build()},
      {"acq", "integers.acq", Acq{.Channels = {{.Samples = {1, 2}}, {.Samples = {3, 4}}}}.Build()}};
}

void PrintTo(const Recording& recording, std::ostream* out) {
  *out << recording.Name;
}

}  // namespace lmimport::test
