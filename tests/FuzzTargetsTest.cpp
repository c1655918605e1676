// The fuzz targets, on inputs that are known.
#include <gtest/gtest.h>

#include <filesystem>

#include "Seeds.h"
#include "Targets.h"
#include "support/Builders.h"

namespace lmimport::fuzz {
namespace {

std::span<const std::uint8_t> AsInput(const std::string& bytes) {
  return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

// A target whose seeds don't open would try nothing but refusals.
TEST(FuzzTargets, OpenTheirSeedsAndStandWhatOnceBrokeThem) {
  const Seeds seeds = BuiltSeeds();
  for (const auto& [target, bytes] : seeds)
    EXPECT_TRUE(fuzz::Run(*FindTarget(target), AsInput(bytes))) << target;
  for (const Target& target : AllTargets()) {
    EXPECT_TRUE(seeds.contains(std::string(target.Name))) << target.Name;
    const std::filesystem::path found =
        std::filesystem::path(FUZZ_REGRESSIONS_FOLDER) / target.Name;
    if (!exists(found)) continue;
    for (const auto& file : std::filesystem::directory_iterator(found))
      fuzz::Run(target, AsInput(test::Contents(file.path().string())));
  }
}

}  // namespace
}  // namespace lmimport::fuzz
