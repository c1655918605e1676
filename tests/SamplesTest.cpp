// Real recordings against what independent readers found in them.
#include <lmimport/Recording.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "model/Date.h"
#include "support/ImportTest.h"

namespace lmimport::test {
namespace {

using nlohmann::json;

// "1990-08-10T15:45:35", with or without a fraction of the second.
Date DateOf(const std::string& iso) {
  int part[5] = {};
  double second = 0;
  EXPECT_EQ(std::sscanf(iso.c_str(), "%d-%d-%dT%d:%d:%lf", &part[0], &part[1], &part[2], &part[3],
                        &part[4], &second),
            6);
  return DateSerial(part[0], part[1], part[2]) + TimeSerial(part[3], part[4], 0) +
         second / SecondsPerDay;
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
    EXPECT_NEAR(block.StartDateTime(), DateOf(expected["StartDateTime_iso"]),
                0.002 / SecondsPerDay);
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

class Samples : public ImportTest {
 protected:
  // Opens a copy of each recording that expected.json in the folder lists.
  void CompareFolder(const std::filesystem::path& source);
};

json ExpectedOf(const std::filesystem::path& source) {
  return json::parse(std::ifstream(source / "expected.json"));
}

void Samples::CompareFolder(const std::filesystem::path& source) {
  for (const json& entry : ExpectedOf(source)) {
    const std::string name = entry["file"];
    SCOPED_TRACE(name);
    const std::string copy = folder_.PathOf(name);
    copy_file(source / name, copy);
    ASSERT_EQ(Open(copy), entry["opens"].get<bool>());
    if (!file_) {
      EXPECT_EQ(Error(), entry["error_string"].get<std::string>());
      continue;
    }
    EXPECT_EQ(file_->FileType(), entry["FileType"].get<Long>());
    EXPECT_EQ(file_->FileSubType(), entry["FileSubType"].get<Long>());
    EXPECT_EQ(ToUtf8(file_->Notes()), entry.value("FileNotes", ""));
    const json& blocks = entry["blocks"];
    ASSERT_EQ(file_->BlockCount(), static_cast<Integer>(blocks.size()));
    for (Integer i = 1; i <= file_->BlockCount(); ++i)
      CompareBlock(*file_->Block(i), blocks[static_cast<std::size_t>(i - 1)]);
  }
}

// The channel with that number in a block that starts then, and of that title where a file has several.
std::optional<std::pair<std::size_t, std::size_t>> Find(const Recording& recording, double start,
                                                        const std::string& title, int number) {
  for (std::size_t b = 0; b < recording.Blocks().size(); ++b) {
    const Block& block = recording.Blocks()[b];
    if (std::abs(block.StartTime - start) > 1e-4 || block.Title != title) continue;
    for (std::size_t c = 0; c < block.Channels.size(); ++c)
      if (block.Channels[c].Number == number) return std::pair(b, c);
  }
  return {};
}

void ComparePublished(const Recording& recording, const json& piece, const json& expected,
                      double ofSpan) {
  SCOPED_TRACE(expected["number"].get<int>());
  const bool isSound = recording.Format() == "wave";  // whose title is LMImport's own
  const auto place = Find(recording, piece["start_s"],
                          isSound ? recording.Blocks()[0].Title : piece["title"].get<std::string>(),
                          expected["number"]);
  ASSERT_TRUE(place);
  const auto [b, c] = *place;
  const Block& block = recording.Blocks()[b];
  EXPECT_EQ(block.Channels[c].Title, expected["title"].get<std::string>());
  EXPECT_EQ(block.Channels[c].Unit, expected["unit"].get<std::string>());
  if (Stated(expected, "rate")) {
    const double rate = expected["rate"];
    EXPECT_NEAR(block.SamplingRate, rate, 1e-6 * rate);
  }
  ASSERT_EQ(block.FrameCount, expected["count"].get<std::int64_t>());
  std::vector<double> values(static_cast<std::size_t>(block.FrameCount));
  ASSERT_EQ(recording.Read(b, c, 0, values), block.FrameCount);
  const double lowest = std::min(expected["min"].get<double>(), 0.0);
  const double highest = std::max(expected["max"].get<double>(), 0.0);
  const double tolerance = ofSpan * (highest - lowest);
  const auto& first = expected["first"];
  const auto& last = expected["last"];
  for (std::size_t i = 0; i < std::min(first.size(), values.size()); ++i)
    EXPECT_NEAR(values[i], first[i].get<double>(), tolerance) << "first " << i;
  for (std::size_t i = 0; i < std::min(last.size(), values.size()); ++i)
    EXPECT_NEAR(values[values.size() - std::min(last.size(), values.size()) + i],
                last[i].get<double>(), tolerance);
  double sum = 0;
  for (const double value : values) sum += value;
  EXPECT_NEAR(sum, expected["sum"].get<double>(),
              tolerance * static_cast<double>(block.FrameCount));
  EXPECT_NEAR(*std::ranges::min_element(values), expected["min"].get<double>(), tolerance);
  EXPECT_NEAR(*std::ranges::max_element(values), expected["max"].get<double>(), tolerance);
  // The frames of the block hold the same.
  std::vector<double> frames(values.size() * block.Channels.size());
  ASSERT_EQ(recording.ReadFrames(b, 0, frames), block.FrameCount);
  for (std::size_t i = 0; i < values.size(); ++i)
    ASSERT_EQ(frames[i * block.Channels.size() + c], values[i]) << i;
}

// By the layouts that the formats' makers published. Of what those heal, nothing is found.
void ComparePublishedFolder(const std::filesystem::path& folder) {
  const std::map<std::string, Codes> healed = {{"W1", {"rate-over-channels"}},
                                               {"W2", {"low-bits"}},
                                               {"A1", {"telegraph-gain"}},
                                               {"A2", {"sweeps-in-a-row"}},
                                               {"A3", {"start-milliseconds"}},
                                               {"A4", {"comments-behind-end"}},
                                               {"E1", {"rates-raised", "rates-not-multiples"}},
                                               {"E2", {"annotations-left-out"}},
                                               {"E3", {"annotation-texts"}},
                                               {"E4", {"text-utf8"}},
                                               {"E5", {"start-offset"}},
                                               {"E8", {"unit-changed"}},
                                               {"E10", {"gaps-joined"}},
                                               {"C1", {"divider-differs", "rates-raised"}},
                                               {"C2", {"packed", "data-cut-off"}},
                                               {"C4", {"version-not-read"}},
                                               {"C5", {"version-not-read"}},
                                               {"V2", {"chunk-in-the-way"}},
                                               {"V4", {"coding-not-read"}},
                                               {"V5", {"coding-not-read"}},
                                               {"M1", {"variables-misread"}},
                                               {"M3", {"coding-not-read"}},
                                               {"M4", {"coding-not-read"}},
                                               {"M5", {"variables-misread"}},
                                               {"F1", {"start-fraction"}}};
  for (const json& entry : json::parse(std::ifstream(folder / "published.json"))) {
    const std::string name = entry["file"];
    SCOPED_TRACE(name);
    const Recording recording = Recording::Open(folder / name);
    const double ofSpan = name.ends_with(".abf") ? 1e-5 : 1e-6;
    std::size_t channels = 0;
    for (const json& piece : entry["blocks"]) {
      for (const json& channel : piece["channels"]) {
        ComparePublished(recording, piece, channel, ofSpan);
        ++channels;
      }
    }
    std::size_t shown = 0;
    for (const Block& block : recording.Blocks()) shown += block.Channels.size();
    EXPECT_EQ(shown, channels);
    ASSERT_EQ(recording.Start().has_value(), Stated(entry, "start"));
    if (recording.Start()) {
      EXPECT_NEAR(*recording.Start(), DateOf(entry["start"]), 1e-4 / SecondsPerDay);
    }
    const json annotations = entry.value("annotations", json::array());
    ASSERT_EQ(recording.Comments().size(), annotations.size());
    for (std::size_t i = 0; i < annotations.size(); ++i) {
      const Comment& comment = recording.Comments()[i];
      EXPECT_NEAR(comment.Time, annotations[i]["onset"].get<double>(), 1e-4);
      ASSERT_EQ(std::isnan(comment.Duration), !Stated(annotations[i], "duration"));
      if (!std::isnan(comment.Duration)) {
        EXPECT_NEAR(comment.Duration, annotations[i]["duration"].get<double>(), 1e-4);
      }
      EXPECT_EQ(comment.Text, annotations[i]["text"].get<std::string>());
    }
    for (const Finding& finding : recording.Findings()) {
      for (const std::string change : entry["changes"])
        EXPECT_EQ(std::ranges::count(healed.at(change), finding.Code), 0) << finding.Code;
    }
  }
}

TEST_F(Samples, AgreeWithIndependentReaders) {
  CompareFolder(SAMPLES_FOLDER);
}

TEST_F(Samples, ArePublishedValues) {
  ComparePublishedFolder(SAMPLES_FOLDER);
}

TEST_F(Samples, AllAreListed) {
  std::set<std::string> files{"README.md", "demo.lmc", "expected.json",
                              "published.json"};  // no recording to compare
  int opened = 0;
  const json all = ExpectedOf(SAMPLES_FOLDER);
  for (const json& entry : all) {
    opened += entry["opens"].get<bool>();
    EXPECT_TRUE(files.insert(entry["file"]).second) << entry["file"];
  }
  EXPECT_EQ(all.size(), 15U);
  EXPECT_EQ(opened, 7);
  for (const auto& file : std::filesystem::directory_iterator(SAMPLES_FOLDER))
    EXPECT_TRUE(files.contains(file.path().filename())) << file.path();
}

TEST_F(Samples, OfTheLargerSetAgreeWithIndependentReaders) {
  if (!std::filesystem::exists(REAL_SAMPLES_FOLDER))
    GTEST_SKIP() << "LMIMPORT_REAL_SAMPLES names no folder: " << REAL_SAMPLES_FOLDER;
  CompareFolder(REAL_SAMPLES_FOLDER);
  ComparePublishedFolder(REAL_SAMPLES_FOLDER);
}

}  // namespace
}  // namespace lmimport::test
