// Real recordings against what independent readers found in them.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "support/Builders.h"

namespace lmimport::test {
namespace {

using nlohmann::json;

// The recordings whose readers are there.
const char* const Expected[] = {"AUTO.WDQ"};

std::string IsoText(Date date) {
  using namespace std::chrono;
  const auto stamp =
      sys_days(year{1899} / 12 / 30) + seconds(static_cast<std::int64_t>(std::round(date * 86400)));
  const auto day = floor<days>(stamp);
  const year_month_day calendar(day);
  const hh_mm_ss time(stamp - day);
  char text[32];
  std::snprintf(text, sizeof(text), "%04d-%02u-%02uT%02d:%02d:%02d", int{calendar.year()},
                unsigned{calendar.month()}, unsigned{calendar.day()},
                static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                static_cast<int>(time.seconds().count()));
  return text;
}

bool Stated(const json& entry, const char* key) {
  return entry.contains(key) && !entry[key].is_null();
}

void CompareValues(LMIBlock& block, Integer index, const json& expected) {
  std::vector<Double> values;
  ASSERT_EQ(block.GetChannelDoubleArray(index, 1, block.SizeChannel(), values),
            block.SizeChannel());
  const double lowest = std::min(expected["min"].get<double>(), 0.0);
  const double highest = std::max(expected["max"].get<double>(), 0.0);
  const double tolerance = 1e-5 * (highest - lowest);
  const auto& first = expected["first"];
  const auto& last = expected["last"];
  for (std::size_t i = 0; i < first.size(); ++i)
    EXPECT_NEAR(values[i], first[i].get<double>(), tolerance) << "first " << i;
  for (std::size_t i = 0; i < last.size(); ++i)
    EXPECT_NEAR(values[values.size() - last.size() + i], last[i].get<double>(), tolerance);
  double sum = 0;
  for (const double value : values) sum += value;
  EXPECT_NEAR(sum, expected["sum"].get<double>(), tolerance * block.SizeChannel());
  EXPECT_NEAR(*std::ranges::min_element(values), expected["min"].get<double>(), tolerance);
  EXPECT_NEAR(*std::ranges::max_element(values), expected["max"].get<double>(), tolerance);
}

void CompareChannel(LMIBlock& block, Integer index, const json& expected) {
  SCOPED_TRACE(index);
  if (!expected.contains("title_bytes")) {
    EXPECT_EQ(ToUtf8(block.ChannelTitle(index)), expected["title"].get<std::string>());
  }
  if (!expected.contains("unit_bytes")) {
    EXPECT_EQ(ToUtf8(block.ChannelUnitName(index)), expected["unit"].get<std::string>());
  }
  EXPECT_EQ(block.ChannelGlobalIndex(index), expected.value("global_index", int{index}));
  const double factor = expected["A"].get<double>();
  const double offset = expected["B"].get<double>();
  EXPECT_NEAR(block.ChannelDoubleA(index), factor, 1e-6 * std::abs(factor));
  EXPECT_NEAR(block.ChannelDoubleB(index), offset, 1e-5 * std::max(1.0, std::abs(offset)));
  if (Stated(expected, "sum")) CompareValues(block, index, expected);
}

void CompareBlock(LMIBlock& block, const json& expected) {
  EXPECT_EQ(ToUtf8(block.ADCName()), expected["ADCName"].get<std::string>());
  EXPECT_EQ(ToUtf8(block.Title()), expected.value("Title", ""));
  EXPECT_EQ(ToUtf8(block.Notes()), expected.value("Notes", ""));
  const double rate = expected["SamplingRate"].get<double>();
  EXPECT_NEAR(block.SamplingRate(), rate, 1e-6 * rate);
  EXPECT_EQ(block.SizeChannel(), expected["SizeChannel"].get<Long>());
  if (Stated(expected, "StartDateTime_iso")) {
    EXPECT_EQ(IsoText(block.StartDateTime()), expected["StartDateTime_iso"].get<std::string>());
  }
  const json comments = expected.value("comments", json::array());
  ASSERT_EQ(block.CommentCount(), static_cast<Long>(comments.size()));
  for (Long i = 1; i <= block.CommentCount(); ++i) {
    const json& comment = comments[static_cast<std::size_t>(i - 1)];
    EXPECT_EQ(block.CommentPosition(i), comment["position"].get<Long>());
    EXPECT_EQ(ToUtf8(block.CommentText(i)), comment["text"].get<std::string>());
  }
  ASSERT_EQ(block.ChannelCount(), expected["ChannelCount"].get<Integer>());
  for (Integer i = 1; i <= block.ChannelCount(); ++i)
    CompareChannel(block, i, expected["channels"][static_cast<std::size_t>(i - 1)]);
}

TEST(Samples, AgreeWithIndependentReaders) {
  const std::filesystem::path source = REAL_SAMPLES_FOLDER;
  if (!exists(source)) GTEST_SKIP() << "the real recordings are not beside the project";
  const json all = json::parse(std::ifstream(source / "expected.json"));
  const TempFolder folder;
  const Environment english("LC_ALL", "C");
  for (const std::string name : Expected) {
    SCOPED_TRACE(name);
    const auto found =
        std::find_if(all.begin(), all.end(), [&name](const json& e) { return e["file"] == name; });
    ASSERT_NE(found, all.end());
    const json& entry = *found;
    const std::string copy = folder.PathOf(name);
    copy_file(source / name, copy);
    LMImport import;
    LMIFilePtr file;
    ASSERT_EQ(import.OpenFile(FromUtf8(copy), file), entry["opens"].get<bool>());
    if (!file) {
      EXPECT_EQ(ToUtf8(import.ErrorString()), entry["error_string"].get<std::string>());
      continue;
    }
    EXPECT_EQ(file->FileType(), entry["FileType"].get<Long>());
    EXPECT_EQ(file->FileSubType(), entry["FileSubType"].get<Long>());
    EXPECT_EQ(ToUtf8(file->Notes()), entry.value("FileNotes", ""));
    const json& blocks = entry["blocks"];
    ASSERT_EQ(file->BlockCount(), static_cast<Integer>(blocks.size()));
    for (Integer i = 1; i <= file->BlockCount(); ++i)
      CompareBlock(*file->Block(i), blocks[static_cast<std::size_t>(i - 1)]);
  }
}

}  // namespace
}  // namespace lmimport::test
