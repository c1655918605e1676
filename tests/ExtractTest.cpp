#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <limits>

#include "extract/ChannelReads.h"
#include "extract/ClampRange.h"
#include "extract/FrameReads.h"
#include "extract/Routes.h"
#include "extract/VectorOps.h"
#include "support/MemorySource.h"

namespace lmimport::test {
namespace {

TEST(ClampRange, CutsToTheBlock) {
  constexpr Long most = std::numeric_limits<Long>::max();
  // start, count, and what is left of them; a count of 0: nothing
  const Long rows[][4] = {
      {1, 100, 1, 100}, {0, 10, 1, 9},      {-5, 5, 0, 0},      {-5, 7, 1, 1},  {100, 9, 100, 1},
      {101, 1, 0, 0},   {0, 1, 0, 0},       {50, 0, 0, 0},      {50, -1, 0, 0}, {1, most, 1, 100},
      {2, most, 2, 99}, {most, most, 0, 0}, {-most, most, 0, 0}};
  BlockRec block;
  block.SizeChannel = 100;
  for (const auto& row : rows) {
    Long start = row[0];
    Long count = row[1];
    ASSERT_EQ(ClampRange(block, start, count), row[3] > 0) << row[0] << ' ' << row[1];
    if (row[3] == 0) continue;
    EXPECT_EQ(start, row[2]);
    EXPECT_EQ(count, row[3]);
  }
}

TEST(VectorOps, RoundToTheNearestCountAndHoldItsLimits) {
  const struct {
    double Value;
    Integer Count;
  } rows[] = {{0.5, 0},           {1.5, 2},
              {2.5, 2},           {-0.5, 0},
              {-1.5, -2},         {0.49999997, 0},
              {32766.5, 32766},   {32767.4, 32767},
              {32768, 32767},     {1e30, 32767},
              {-32768.6, -32768}, {-1e30, -32768},
              {HUGE_VAL, 32767},  {-HUGE_VAL, -32768},
              {std::nan(""), 0},  {-32767.5, -32768}};
  std::vector<Double> reals;
  std::vector<Single> singles;
  for (const auto& row : rows) {
    reals.push_back(row.Value);
    singles.push_back(static_cast<Single>(row.Value));
  }
  std::feclearexcept(FE_ALL_EXCEPT);
  // Each by itself, and all of them as a vector loop takes them.
  for (const std::size_t n : {std::size_t{1}, reals.size()}) {
    for (std::size_t i = 0; i < reals.size(); i += n) {
      std::vector<Integer> ofReals(n);
      std::vector<Integer> ofSingles(n);
      ValuesToCounts(&reals[i], n, Double{1}, Double{0}, ofReals.data());
      ValuesToCounts(&singles[i], n, Single{1}, Single{0}, ofSingles.data());
      for (std::size_t k = 0; k < n; ++k) {
        EXPECT_EQ(ofReals[k], rows[i + k].Count) << reals[i + k];
        EXPECT_EQ(ofSingles[k], rows[i + k].Count) << singles[i + k];
      }
    }
  }
  EXPECT_FALSE(std::fetestexcept(FE_INVALID));  // which a host may have unmasked
}

// A file of stored samples, and a block that describes it.
class ExtractTest : public testing::Test {
 protected:
  template <class T>
  void Store(Integer sampleType, Integer channels, const std::vector<T>& samples,
             std::vector<Single> scales, std::vector<Single> offsets) {
    constexpr std::size_t head = 3;  // odd, so samples lie unaligned in the file
    std::string bytes(head, '?');
    bytes.append(reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof(T));
    block_ = BlockRec();
    block_.DimensionChannels(channels);
    block_.SampleType = sampleType;
    block_.SizeChannel = static_cast<Long>(samples.size()) / channels;
    block_.DataPtr = head;
    block_.ChannelScale = std::move(scales);
    block_.ChannelOffset = std::move(offsets);
    source_ = std::make_unique<MemorySource>(bytes);
  }

  template <class Stored>
  void CheckAllOutputs(Integer sampleType, Integer channels, Integer sampleUnsigned);
  template <class Stored, class Output>
  void CheckOutput(const std::vector<Stored>& samples);

  std::unique_ptr<MemorySource> source_;
  BlockRec block_;
};

TEST_F(ExtractTest, ConvertsByHand) {
  Store<Integer>(SampleInt16, 3, {8, 8, 8}, {1, 2, 4}, {0, 10, 20});
  Single singles[3] = {};
  Integer counts[3] = {};
  EXPECT_EQ(ReadFramesSingle(*source_, block_, singles, 1, 1), 1);
  EXPECT_EQ(ReadFramesInteger(*source_, block_, counts, 1, 1), 1);
  const int expected[] = {8, 14, 22};
  for (int i = 0; i < 3; ++i) EXPECT_EQ(singles[i], static_cast<Single>(expected[i]));
  for (const Integer count : counts) EXPECT_EQ(count, 8);
  EXPECT_EQ(ReadChannelInteger(*source_, block_, 3, counts, 1, 1), 0);
  EXPECT_EQ(ReadChannelInteger(*source_, block_, -1, counts, 1, 1), 0);

  Store<Single>(SampleSingle, 1, {3}, {1000}, {2});
  EXPECT_EQ(ReadChannelSingle(*source_, block_, 0, singles, 1, 1), 1);
  EXPECT_EQ(ReadChannelInteger(*source_, block_, 0, counts, 1, 1), 1);
  EXPECT_EQ(singles[0], 3);
  EXPECT_EQ(counts[0], 1000);

  Store<Integer>(SampleInt16, 1, {INT16_MIN, 0, -1}, {1}, {0});
  block_.SampleUnsigned = -1;
  EXPECT_EQ(ReadChannelInteger(*source_, block_, 0, counts, 1, 3), 3);
  EXPECT_EQ(counts[0], 0);
  EXPECT_EQ(counts[1], -32768);
  Store<Long>(SampleInt32, 1, {70000, -70000}, {2}, {1});
  Double value = 0;
  EXPECT_EQ(ReadChannelDouble(*source_, block_, 0, &value, 1, 1), 1);
  EXPECT_EQ(value, 35001);
  EXPECT_EQ(ReadChannelInteger(*source_, block_, 0, counts, 1, 2), 2);
  EXPECT_EQ(counts[0], 32767);
}

TEST_F(ExtractTest, SamplesThatTheFileLacksAreStoredZeros) {
  Store<Integer>(SampleInt16, 2, {10, 20, 30}, {2, 2}, {1, 1});  // half of a second frame
  block_.SizeChannel = 3;
  Double values[6] = {9, 9, 9, 9, 9, 9};
  EXPECT_EQ(ReadFramesDouble(*source_, block_, values, 1, 3), 3);
  const Double expected[] = {6, 11, 16, 1, 1, 1};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(values[i], expected[i]);
}

// What a sample is to become, by the steps and the precision that the formats promise.
template <class Output, class Stored>
Output Convert(const BlockRec& block, std::size_t channel, Stored stored) {
  if constexpr (std::integral<Stored>) {
    const bool flip = block.SampleUnsigned != 0;
    const auto count =
        static_cast<Stored>(flip ? stored ^ std::numeric_limits<Stored>::min() : stored);
    if constexpr (std::integral<Output>)
      return static_cast<Output>(std::clamp<Long>(count, std::numeric_limits<Output>::min(),
                                                  std::numeric_limits<Output>::max()));
    else
      return static_cast<Output>(count) / static_cast<Output>(block.ChannelScale[channel]) +
             static_cast<Output>(block.ChannelOffset[channel]);
  } else if constexpr (std::integral<Output>) {
    const Stored count = (stored - block.ChannelOffset[channel]) * block.ChannelScale[channel];
    return static_cast<Output>(std::clamp<Double>(std::nearbyint(count),
                                                  std::numeric_limits<Output>::min(),
                                                  std::numeric_limits<Output>::max()));
  } else {
    return static_cast<Output>(stored);
  }
}

template <class Stored, class Output>
void ExtractTest::CheckOutput(const std::vector<Stored>& samples) {
  const auto channels = static_cast<std::size_t>(block_.ChannelCount);
  const Long last = block_.SizeChannel;
  const Long ranges[][2] = {{1, last}, {1, 1023}, {2, 1024}, {3, 1025}, {last - 1, 2}};
  for (const auto& [start, count] : ranges) {
    const auto first = static_cast<std::size_t>(start - 1);
    const auto n = static_cast<std::size_t>(count);
    std::vector<Output> frames(n * channels);
    ASSERT_EQ(ReadFrames(*source_, block_, frames.data(), start, count), count);
    for (std::size_t i = 0; i < frames.size(); ++i)
      ASSERT_EQ(frames[i], Convert<Output>(block_, i % channels, samples[first * channels + i]))
          << "frame value " << i << " of " << channels << " channels";
    const std::size_t channel = channels - 1;
    std::vector<Output> values(n);
    ASSERT_EQ(
        ReadChannel(*source_, block_, static_cast<Integer>(channel), values.data(), start, count),
        count);
    for (std::size_t i = 0; i < n; ++i) ASSERT_EQ(values[i], frames[i * channels + channel]) << i;
  }
}

template <class Stored>
void ExtractTest::CheckAllOutputs(Integer sampleType, Integer channels, Integer sampleUnsigned) {
  // Long enough for more than one piece of the file.
  const std::size_t frames =
      PieceBytes / (sizeof(Stored) * static_cast<std::size_t>(channels)) + 2000;
  std::vector<Stored> samples(frames * static_cast<std::size_t>(channels));
  std::uint32_t random = 12345;
  for (Stored& sample : samples) {
    random = random * 1664525 + 1013904223;
    if constexpr (std::integral<Stored>)
      sample = static_cast<Stored>(random >> 8);
    else
      sample = static_cast<Stored>(static_cast<std::int32_t>(random)) / 65536;
  }
  std::vector<Single> scales;
  std::vector<Single> offsets;
  for (int i = 0; i < channels; ++i) {
    scales.push_back(i % 2 == 0 ? 3.7F + static_cast<Single>(i) : -0.3F);
    offsets.push_back(i % 3 == 0 ? 0.0F : 1.1F * static_cast<Single>(i));
  }
  Store(sampleType, channels, samples, scales, offsets);
  block_.SampleUnsigned = sampleUnsigned;
  CheckOutput<Stored, Integer>(samples);
  CheckOutput<Stored, Long>(samples);
  CheckOutput<Stored, Single>(samples);
  CheckOutput<Stored, Double>(samples);
}

TEST_F(ExtractTest, EveryRouteFollowsTheFormulaBitForBit) {
  for (const Integer channels : std::initializer_list<Integer>{1, 2, 3, 32}) {
    for (const Integer sampleUnsigned : std::initializer_list<Integer>{0, -1}) {
      CheckAllOutputs<std::int8_t>(SampleInt8, channels, sampleUnsigned);
      CheckAllOutputs<Integer>(SampleInt16, channels, sampleUnsigned);
      CheckAllOutputs<Integer>(99, channels, sampleUnsigned);  // any other number is 16-bit
      CheckAllOutputs<Long>(SampleInt32, channels, sampleUnsigned);
    }
    CheckAllOutputs<Single>(SampleSingle, channels, -1);  // reals have no sign to flip
    CheckAllOutputs<Double>(SampleDouble, channels, 0);
  }
}

}  // namespace
}  // namespace lmimport::test
