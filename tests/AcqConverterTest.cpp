// ACQ: the three ways to the samples, dividers, markers, and what is refused.
#include <cmath>
#include <filesystem>
#include <limits>

#include "support/ImportTest.h"

namespace lmimport::test {
namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

class AcqTest : public ImportTest {
 protected:
  std::string FlatFile() { return Contents(folder_.PathOf("f.acqdat")); }
};

std::string Doubles(const std::vector<double>& values) {
  Bytes bytes;
  for (const double value : values) bytes.Real64(value);
  return bytes.Get();
}

AcqChannelOf Ramp(int samples, bool isDouble = false) {
  AcqChannelOf channel{.IsDouble = isDouble};
  for (int i = 0; i < samples; ++i) channel.Samples.push_back(i % 1000);
  return channel;
}

TEST_F(AcqTest, BringsMixedChannelsToTheBaseRate) {
  const std::string bytes = Acq().Build();
  ASSERT_TRUE(Open("f.acq", bytes));
  EXPECT_EQ(Type(), std::pair(8, 0));
  EXPECT_EQ(Summary(),
            "ACQ '' 2000 Hz, 4 frames of: ECG [mV] 0.5 n + 10, Flow [l/s] 6.25e-05 n + 0");
  EXPECT_EQ(FlatFile(), Doubles({10.5, -2, 11, -2, 11.5, 2, 12, 2}));
  std::vector<Integer> counts;  // those of the source
  file_->Block(1)->GetChannelIntegerArray(1, 1, 4, counts);
  EXPECT_EQ(counts, (std::vector<Integer>{1, 2, 3, 4}));
  EXPECT_EQ(Comments(), "2 begin, 4 ");
  EXPECT_EQ(FindingCodes(), Codes{"comments-left-out"});
  EXPECT_TRUE(IsFound("rates-raised"));
  // The finished file gives the same, ranges too.
  SetWriteTime(folder_.PathOf("f.acq"), 1'000'000'000);
  ASSERT_TRUE(Open(folder_.PathOf("f.acq")));
  EXPECT_EQ(Summary(),
            "ACQ '' 2000 Hz, 4 frames of: ECG [mV] 0.5 n + 10, Flow [l/s] 6.25e-05 n + 0");
}

TEST_F(AcqTest, ReadsEqualChannelsInPlace) {
  const auto real = [](const std::vector<double>& samples) {
    return AcqChannelOf{.Title = "x", .Unit = "V", .Samples = samples, .IsDouble = true};
  };
  struct Row {
    std::vector<AcqChannelOf> Channels;
    const char* Summary;
    std::vector<double> Values;
  };
  const std::vector<Row> rows = {
      {{{.Title = "x", .Unit = "V", .Samples = {2, 4}, .Scale = 0.5, .Offset = 10},
        {.Title = "y", .Unit = "A", .Samples = {3, 6}, .Scale = 2, .Offset = 0}},
       "2 frames of: x [V] 0.5 n + 10, y [A] 2 n + 0",
       {11, 6, 12, 12}},
      {{real({-2, 0, 2}), real({0, 1, 0.5})},
       "3 frames of: x [V] 6.25e-05 n + 0, x [V] 1.5625e-05 n + 0.5",
       {-2, 0, 0, 1, 2, 0.5}},
      {{real({3.5, 3.5})}, "2 frames of: x [V] 0.001 n + 3.5", {3.5, 3.5}},
      {{real({1, NaN, 3})}, "3 frames of: x [V] 3.125e-05 n + 2", {1, NaN, 3}},
      {{real({NaN, NaN})}, "2 frames of: x [V] 0.001 n + 0", {NaN, NaN}}};
  for (const Row& row : rows) {
    ASSERT_TRUE(Open("f.acq", Acq{.Interval = 1, .Channels = row.Channels, .Markers = {}}.Build()));
    EXPECT_EQ(Summary(), std::string("ACQ '' 1000 Hz, ") + row.Summary);
    const std::vector<Double> values = Values();
    ASSERT_EQ(values.size(), row.Values.size());
    for (std::size_t i = 0; i < values.size(); ++i)
      EXPECT_TRUE(std::isnan(row.Values[i]) ? std::isnan(values[i]) : values[i] == row.Values[i])
          << i;
    EXPECT_EQ(FlatFile(), "");
  }
}

TEST_F(AcqTest, WorksTheDividersOut) {
  struct Row {
    int Second;
    Long Frames;
    Long LastFrame;  // of its second sample
  };
  for (const Row& row :
       {Row{500, 1000, 4}, Row{300, 1000, 6}, Row{400, 1000, 4}, Row{700, 700, 0}}) {
    SCOPED_TRACE(row.Second);
    std::filesystem::remove(folder_.PathOf("f.acqdat"));
    ASSERT_TRUE(Open("f.acq", Acq{.Channels = {Ramp(1000), Ramp(row.Second)}}.Build()));
    LMIBlock& block = *file_->Block(1);
    EXPECT_EQ(block.SizeChannel(), row.Frames);
    EXPECT_EQ(FlatFile().empty(), row.LastFrame == 0);
    std::vector<Integer> counts;
    block.GetChannelIntegerArray(2, 1, row.Frames, counts);
    const Long divider = row.LastFrame == 0 ? 1 : row.LastFrame / 2;
    for (Long i = 0; i < 2 * divider; ++i)
      EXPECT_EQ(counts[static_cast<std::size_t>(i)], i / divider) << i;
  }
}

// Against the rule, step by step, over many batches, with dividers that share no period.
TEST_F(AcqTest, BatchesGiveWhatStepsGive) {
  const int steps = 20015;
  const std::vector<int> dividers = {7, 1, 13, 1, 2, 4003, 5};
  Acq acq{.Channels = {}, .Markers = {}};
  for (std::size_t k = 0; k < dividers.size(); ++k) {
    acq.Channels.push_back(Ramp((steps + dividers[k] - 1) / dividers[k], k % 3 == 0));
    acq.Channels.back().Offset = static_cast<double>(1000 * k);
  }
  const std::string bytes = acq.Build();
  // Whole, and with the samples cut off in the middle: the last values go on.
  for (const std::size_t cut : {std::size_t{8}, bytes.size() / 2 + 1}) {
    ASSERT_TRUE(Open("f.acq", bytes.substr(0, bytes.size() - cut)));
    ASSERT_EQ(file_->Block(1)->SizeChannel(), steps);
    const std::vector<Double> values = Values();
    std::vector<double> frame(dividers.size());
    std::size_t place = 160 + 254 * dividers.size() + 6 + 4 * dividers.size();
    for (int step = 0; step < steps; ++step) {
      for (std::size_t k = 0; k < dividers.size(); ++k) {
        const bool isDouble = acq.Channels[k].IsDouble;
        if (step % dividers[k] == 0) {
          const bool isThere = place + (isDouble ? 8 : 2) <= bytes.size() - cut;
          const double sample =
              acq.Channels[k].Samples[static_cast<std::size_t>(step / dividers[k])];
          if (isThere) frame[k] = isDouble ? sample : sample * 0.5 + acq.Channels[k].Offset;
          place += isDouble ? 8 : 2;
        }
        ASSERT_EQ(values[static_cast<std::size_t>(step) * dividers.size() + k], frame[k])
            << step << ' ' << k;
      }
    }
  }
  EXPECT_EQ(FindingCodes(), Codes{"data-cut-off"});
}

TEST_F(AcqTest, ARangeIsThatOfAllTheSamplesThatAreThere) {
  // The extremes are in the first batch and in a later one.
  AcqChannelOf flow = Ramp(30000, true);
  flow.Samples[5] = -1000;
  flow.Samples[29000] = 3000;
  ASSERT_TRUE(Open("f.acq", Acq{.Channels = {Ramp(30000), flow}, .Markers = {}}.Build()));
  EXPECT_EQ(file_->Block(1)->ChannelDoubleA(2), 4000.0 / 64000);
  EXPECT_EQ(file_->Block(1)->ChannelDoubleB(2), 1000);
  // In place, the last frame counts as far as it is there.
  const AcqChannelOf first{.Samples = {0, 1, 100}, .IsDouble = true};
  const AcqChannelOf second{.Samples = {0, 1, 500}, .IsDouble = true};
  const std::string bytes = Acq{.Channels = {first, second}, .Markers = {}}.Build();
  ASSERT_TRUE(Open("f.acq", bytes.substr(0, bytes.size() - 8 - 8)));
  EXPECT_EQ(file_->Block(1)->ChannelDoubleB(1), 50);
  EXPECT_EQ(file_->Block(1)->ChannelDoubleB(2), 0.5);
}

// The last header tells where the samples lie, the stated widths where the markers are.
TEST_F(AcqTest, FollowsTheLayoutAsStated) {
  Acq acq{.Markers = {{9, "", -1, 0}, {9, "", -5, 0}, {9, "skipped"}, {1, "found"}, {2, ""}}};
  acq.Channels[0].SampleBytes = 1;
  acq.Channels[1].SampleBytes = 10;
  const std::string bytes = acq.Build();
  ASSERT_TRUE(Open("f.acq", bytes));
  EXPECT_EQ(Comments(), "2 found, 3 ");
  ASSERT_TRUE(Open("f.acq", bytes.substr(0, bytes.size() - 2)));
  EXPECT_EQ(Comments(), "2 found");
  EXPECT_EQ(FindingCodes(), (Codes{"comments-cut", "comments-left-out"}));
  // The first header tells where the second one is, the second where the samples are.
  const std::string lengths =
      Patched(Patched(bytes, 160, Bytes().Int32(264)), 160 + 254, Bytes().Int32(259));
  ASSERT_TRUE(Open(
      "f.acq",
      Bytes().Text(lengths.substr(0, 160 + 254)).Zeros(10).Text(lengths.substr(160 + 254)).Get()));
  EXPECT_EQ(Comments(), "2 found, 3 ");
  EXPECT_EQ(file_->Block(1)->ChannelTitle(2), u"Flow");
}

TEST_F(AcqTest, FramesHoldTheFirst32Channels) {
  Acq acq{.Channels = {}, .Markers = {{0, "mark"}}};
  for (int k = 0; k < 40; ++k) acq.Channels.push_back({.Samples = {k + 0.0, k + 100.0}});
  ASSERT_TRUE(Open("f.acq", acq.Build()));
  EXPECT_EQ(file_->Block(1)->ChannelCount(), 32);
  EXPECT_EQ(FlatFile().size(), 2U * 32 * 8);
  EXPECT_EQ(Values()[63], 131 * 0.5 + 10);
  EXPECT_EQ(Comments(), "1 mark");
}

TEST_F(AcqTest, RefusesWhatItCannotRead) {
  const std::string good = Acq().Build();
  const auto with = [](const auto& change) {
    Acq acq;
    change(acq);
    return acq.Build();
  };
  const Codes version = {"version-not-read"};
  const Codes left = {"comments-left-out"};
  ExpectOutcomes("f.acq",
                 {{Acq{.Version = 29}.Build(), Unknown, version},
                  {Acq{.Version = 30}.Build(), "", {"markers-misread", "comments-left-out"}},
                  {Acq{.Version = 35, .Markers = {}}.Build(), ""},
                  {Acq{.Version = 36}.Build(), "", left},
                  {Acq{.Version = 45}.Build(), "", left},
                  {Acq{.Version = 46}.Build(), Unknown, version},
                  {Acq{.Version = 0x26000000}.Build(), Unknown, version},  // 38 in big-endian order
                  {Acq{.Version = -7}.Build(), Unknown},
                  {Patched(good, 6, Bytes().Int32(147)), Unknown},
                  {good.substr(0, 160 + 117), Unknown},
                  {good.substr(0, 160 + 118), Damaged},
                  {Acq{.ChannelTotal = 0}.Build(), Damaged},
                  {Acq{.ChannelTotal = 16385}.Build(), Damaged},
                  {Acq{.Interval = 10000001}.Build(), Damaged},
                  {Acq{.Interval = -1}.Build(), Damaged},
                  {Acq{.Interval = 0}.Build(), Damaged},
                  {Acq{.Interval = NaN}.Build(), Damaged},
                  {with([](Acq& acq) { acq.Channels[1].Kind = 3; }), Damaged},
                  {with([](Acq& acq) { acq.Channels[1].SampleCount = 0; }), Damaged},
                  {with([](Acq& acq) { acq.Channels[1].SampleCount = -1; }), Damaged},
                  {with([](Acq& acq) { acq.Channels[0].Scale = NaN; }), Damaged},
                  {with([](Acq& acq) { acq.Channels[0].Scale = 0; }), "", left}});
  const std::string many = folder_.Write("f.acq", Acq{.ChannelTotal = 16384}.Build());
  const HeapUse heap;
  EXPECT_FALSE(Open(many));
  EXPECT_EQ(Error(), Damaged);
  EXPECT_LT(heap.Peak(), 1U << 18);  // a list of them would take four times as much
}

TEST_F(AcqTest, TellsWhatRunsOutOfStep) {
  Acq acq{.Markers = {}};
  acq.Channels[0].StatedDivider = 1;
  acq.Channels[1].StatedDivider = 2;
  acq.GraphLength = 2000;
  ExpectOutcomes("f.acq", {{acq.Build(), ""}});
  acq.Channels[1].StatedDivider = 3;
  acq.Version = 41;
  ExpectOutcomes(
      "f.acq", {{Patched(acq.Build(), 1936, Bytes().Int32(1)), "", {"divider-differs", "packed"}}});
  acq.Version = 37;
  ExpectOutcomes("f.acq", {{Patched(acq.Build(), 1936, Bytes().Int32(1)), ""}});
}

// A header that claims far more than the file holds costs no more than a whole recording of that
// size could.
TEST_F(AcqTest, AClaimIsHeldToTheFile) {
  Acq acq{.Markers = {}};
  acq.Channels[0].SampleCount = 2'000'000'000;
  acq.Channels[1].SampleCount = 1'000'000'000;
  const std::string bytes = acq.Build();
  ASSERT_TRUE(Open("f.acq", bytes));
  const std::size_t most = bytes.size() * 128 + (16U << 20);
  EXPECT_EQ(static_cast<std::size_t>(file_->Block(1)->SizeChannel()), most / 16);
  EXPECT_LE(FlatFile().size(), most);
  EXPECT_EQ(Values().back(), 2);
  EXPECT_EQ(FindingCodes(), Codes{"data-cut-off"});
}

}  // namespace
}  // namespace lmimport::test
