// Writes the first inputs of each target into folders of their names: recordings from the builders
// of the tests, and the real ones of a folder, if one is named, cut to a size that is quick to try.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "Targets.h"
#include "support/Builders.h"

namespace {

using namespace lmimport;
using namespace lmimport::test;

constexpr std::size_t LargestSeed = 64 * 1024;

using Seeds = std::multimap<std::string, std::string>;  // by target

Seeds Built() {
  const std::string samples = Wave().Build();
  const std::string text =
      "NumAChannels=2\nMaxADCValue=8000\nResolution=14\nSamplerate=50\n"
      "[Ch0]\nName=a\nYUnit=V\nMaxRange=5\n[Ch1]\nMinRange=-1\n";
  const auto with = [](const char* name, const std::string& recording, const std::string& sidecar) {
    return fuzz::Input(*fuzz::FindTarget(name), recording, sidecar);
  };
  Edf edf{.Reserved = "EDF+D"};
  edf.Signals.push_back(
      EdfAnnotations({std::string("+0\x14\x14\0+0.5\x14go\x14\0", 15), "+1\x14\x14"}, 8));
  Edf wide{.Signals = std::vector<EdfSignal>(34, EdfSignal{.Records = {Words({1, 2})}})};
  wide.Signals.push_back(EdfAnnotations({"+0\x14\x14"}, 3));
  wide.Signals.push_back(EdfAnnotations({"+0\x14\x14"}, 3));
  const std::string doubles = Bytes().Real64(1).Real64(2).Get();
  const std::string matlab4 = Mat4(0, 1, 2, false, "x_Data", doubles) +
                              Mat4(0, 1, 1, false, "x_SamplingRate", doubles.substr(8));
  Seeds seeds = {
      {"abf", Abf()},
      {"abin", Abin()},
      {"acq", Acq().Build()},
      {"acq", Acq{.Channels = {{.Samples = {1, 2}}, {.Samples = {3, 4}}}}.Build()},
      {"adclab", PlainAlf()},
      {"adclab", DeviceAlf()},
      {"ar", Ar()},
      {"cfwb", Cfwb()},
      {"chart", Chart().Build()},
      {"edf", edf.Build()},
      {"edf", wide.Build()},
      {"edf", Edf{.Signals = {Edf().Signals[0]}}.Build()},
      {"matlab4", matlab4},
      {"matlab5", Mat5({Mat5Variable{.Name = "x_Data"}, Mat5Variable{.Name = "y"}})},
      {"par", with("par", samples, FullPar({{4, "title"}, {8, "note"}, {1, "last"}}))},
      {"peak", Peak(0, 2)},
      {"peak", Peak(1, 2)},
      {"rvp", with("rvp", samples, Rvp())},
      {"text", with("text", samples, text)},
      {"wave", with("wave", Wave{.BeforeData = Chunk("fact", "1234")}.Build(), text)},
      {"windaq", WinDaq{.Markers = {2, 77, CommentAt(20), -3}, .CommentTexts = "go"}.Build()}};
  for (const int type : {1, 2, 3, 4, 5, 6, 7, 9})  // of the rates: integers of all widths, reals
    seeds.emplace("matlab5", Mat5({{.Name = "x_Data"},
                                   {.Name = "x_SamplingRate",
                                    .Dimensions = {1, 2},
                                    .Type = type,
                                    .Data = Bytes().Int32(7).Zeros(12).Get()}}));
  for (const char* board : {"L783", "L76", "L79", "L50", "E15", "E2010", "USB3000", "E-24"})
    seeds.emplace("abin", Patched(Abin(), 64, Bytes().Text(board)));
  return seeds;
}

void AddReal(const std::filesystem::path& folder, Seeds& seeds) {
  const std::map<std::string, std::string> targets = {
      {".wdq", "windaq"}, {".edf", "edf"}, {".acq", "acq"},     {".wav", "wave"},
      {".abf", "abf"},    {".adicht", ""}, {".mat", "matlab5"}, {".cfwb", "cfwb"}};
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::string extension = entry.path().extension().string();
    std::ranges::transform(extension, extension.begin(), [](char c) {
      return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    const auto target = targets.find(extension);
    if (target == targets.end() || target->second.empty()) continue;
    const std::string bytes = Contents(entry.path().string()).substr(0, LargestSeed - 2);
    if (extension == ".mat") seeds.emplace("matlab4", bytes);
    seeds.emplace(target->second, fuzz::Input(*fuzz::FindTarget(target->second), bytes, ""));
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  Seeds seeds = Built();
  if (argc > 2) AddReal(argv[2], seeds);
  int number = 0;
  for (const auto& [target, bytes] : seeds) {
    const std::filesystem::path folder = std::filesystem::path(argv[1]) / target;
    create_directories(folder);
    std::ofstream(folder / ("seed-" + std::to_string(++number)), std::ios::binary) << bytes;
  }
}
