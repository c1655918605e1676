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
TEST(FuzzTargets, OpenTheirSeeds) {
  const Seeds seeds = BuiltSeeds();
  for (const Target& target : AllTargets())
    EXPECT_TRUE(seeds.contains(std::string(target.Name))) << target.Name;
  for (const auto& [target, bytes] : seeds)
    EXPECT_TRUE(fuzz::Run(*FindTarget(target), AsInput(bytes))) << target;
}

TEST(FuzzTargets, StandWhatOnceBrokeThem) {
  const std::filesystem::recursive_directory_iterator files(FUZZ_REGRESSIONS_FOLDER);
  int count = 0;
  for (const auto& file : files) {
    if (file.is_directory()) continue;
    const Target* target = FindTarget(file.path().parent_path().filename().string());
    ASSERT_NE(target, nullptr) << file.path();
    const test::HeapUse heap;
    fuzz::Run(*target, AsInput(test::Contents(file.path().string())));
    EXPECT_LT(heap.Peak(), 1U << 20) << file.path();
    ++count;
  }
  EXPECT_GT(count, 0);
}

}  // namespace
}  // namespace lmimport::fuzz
