// Writes the first inputs of each target into folders of their names: recordings from the builders
// of the tests, and the real ones of a folder, if one is named, cut to a size that is quick to try.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include "Seeds.h"
#include "Targets.h"
#include "support/Builders.h"

namespace {

using namespace lmimport::fuzz;

constexpr std::size_t LargestSeed = 65536;

void AddReal(const std::filesystem::path& folder, Seeds& seeds) {
  const std::map<std::string, std::string> targets = {
      {".wdq", "windaq"}, {".edf", "edf"},     {".acq", "acq"},  {".wav", "wave"},
      {".abf", "abf"},    {".mat", "matlab5"}, {".cfwb", "cfwb"}};
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::string extension = entry.path().extension().string();
    std::ranges::transform(extension, extension.begin(), [](char c) {
      return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    const auto target = targets.find(extension);
    if (target == targets.end()) continue;
    const std::string bytes =
        lmimport::test::Contents(entry.path().string()).substr(0, LargestSeed - 2);
    if (extension == ".mat") seeds.emplace("matlab4", bytes);
    seeds.emplace(target->second, Input(*FindTarget(target->second), bytes, ""));
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  Seeds seeds = BuiltSeeds();
  if (argc > 2) AddReal(argv[2], seeds);
  int number = 0;
  for (const auto& [target, bytes] : seeds) {
    const std::filesystem::path folder = std::filesystem::path(argv[1]) / target;
    create_directories(folder);
    std::ofstream(folder / ("seed-" + std::to_string(++number)), std::ios::binary) << bytes;
  }
}
