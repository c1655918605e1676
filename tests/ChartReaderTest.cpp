#include <cmath>
#include <limits>

#include "support/ImportTest.h"

namespace lmimport::test {
namespace {

using ChartReaderTest = ImportTest;

using Types = std::pair<Long, Long>;

TEST_F(ChartReaderTest, GivesEveryField) {
  ASSERT_TRUE(Open("f.lmc", Chart().Build()));
  EXPECT_EQ(Type(), Types(1, 0));
  EXPECT_EQ(file_->Notes() + u", " + file_->DataPad(), u"file notes, file pad");
  EXPECT_EQ(file_->BlockCount(), 1);
  // The title is stored as " Run ", and the notes keep their blank.
  EXPECT_EQ(Summary(),
            "Model X 'Run' 1000 Hz, 3 frames of: Pressure [mmHg] 0.01 n + 0, Flow [l/s] "
            "0.005 n + 5");
  EXPECT_EQ(Comments(), "2 begin");
  const LMIBlockPtr block = file_->Block(0);
  EXPECT_EQ(block->Notes() + u"," + block->DataPad(), u" block notes,block pad");
  EXPECT_EQ(block->StartDateTime(), 40000.25);
  EXPECT_EQ(block->SizeData(), 6);
  EXPECT_EQ(block->ChannelSingleA(1), 0.01F);
  double values[6] = {};
  EXPECT_EQ(block->GetDataDouble(1, 3, values), 3);
  const double expected[] = {1, 6, -1, 4, 0.5, 5.3};
  for (int i = 0; i < 6; ++i) EXPECT_DOUBLE_EQ(values[i], expected[i]);
  EXPECT_EQ(FindingCodes(), Codes{});
}

TEST_F(ChartReaderTest, BlocksHaveTheirOwnChannels) {
  Chart chart{.Channels = {{"a", "1"}, {"b", "2"}, {"c", "3"}, {"d", "4"}}};
  chart.Blocks.push_back(ChartBlock{.ChannelIndex = {3}, .Scale = {2}, .Offset = {0}});
  chart.Blocks.push_back(ChartBlock{.ChannelIndex = {3, 1}});
  ASSERT_TRUE(Open("f.lmc", chart.Build()));
  ASSERT_EQ(file_->BlockCount(), 3);
  EXPECT_EQ(Summary(*file_->Block(2)), "Model X 'Run' 1000 Hz, 6 frames of: d [4] 0.5 n + 0");
  EXPECT_EQ(Summary(*file_->Block(3)),
            "Model X 'Run' 1000 Hz, 3 frames of: d [4] 0.01 n + 0, b [2] 0.005 n + 5");
  EXPECT_EQ(file_->Block(3)->ChannelGlobalIndex(1), 4);
}

// Each row breaks one thing of a file of three blocks. What opens tells its number of blocks.
TEST_F(ChartReaderTest, KeepsTheWholeBlocksBeforeADamage) {
  constexpr float nan = std::numeric_limits<float>::quiet_NaN();
  constexpr float infinity = std::numeric_limits<float>::infinity();
  const struct {
    void (*Break)(Chart&);
    int Blocks;
    const char* Error;
  } rows[] = {
      {[](Chart& c) { c.Minor = 10; }, 3, ""},
      {[](Chart& c) { c.Major = 4, c.Minor = 0; }, 3, ""},
      {[](Chart& c) { c.Minor = 1; }, 0, "Unsupported file format (v3.1)"},
      {[](Chart& c) { c.Major = 2, c.Minor = 9; }, 0, "Unsupported file format (v2.9)"},
      {[](Chart& c) { c.ChannelCount = 0; }, 0, "Error in the file format"},
      {[](Chart& c) { c.ChannelCount = 33; }, 0, "Error in the file format"},
      {[](Chart& c) { c.ChannelCount = 3; }, 0, "Error in the file format"},  // there are two
      {[](Chart& c) { c.BlockCount = 0; }, 0, "Error in the file format"},
      {[](Chart& c) { c.BlockCount = 32767; }, 3, ""},
      {[](Chart& c) { c.BlockCount = 2; }, 2, ""},
      {[](Chart& c) { c.ChannelSignature = "ADCx"; }, 0, "Error in the file format"},
      {[](Chart& c) { c.Blocks[0].Signature = "ADBx"; }, 0, "Unknown file format"},
      {[](Chart& c) { c.Blocks[2].Signature = "ADBx"; }, 2, ""},
      {[](Chart& c) { c.Blocks[0].ChannelCount = 33; }, 0, "Unknown file format"},
      {[](Chart& c) { c.Blocks[1].ChannelCount = 0; }, 1, ""},
      {[](Chart& c) { c.Blocks[0].ChannelIndex[1] = 32; }, 0, "Unknown file format"},
      {[](Chart& c) { c.Blocks[1].ChannelIndex[1] = -1; }, 1, ""},
      {[](Chart& c) { c.Blocks[1].ChannelIndex[1] = 31; }, 3, ""},
      {[](Chart& c) { c.Blocks[1].ChunkId = "date"; }, 1, ""},
      {[](Chart& c) { c.Blocks[1].Samples.resize(3); }, 1, ""},  // a chunk of 6 bytes
      {[](Chart& c) { c.Blocks[0].ChunkSize = -1; }, 0, "Unknown file format"},
      {[](Chart& c) { c.Blocks[2].Samples.resize(4); }, 3, ""},  // a chunk of 8 bytes is enough
      {[](Chart& c) { c.Blocks[0].CommentCount = 65536; }, 0, "Error in the file format"},
      {[](Chart& c) { c.Blocks[1].CommentCount = -1; }, 1, ""},
      {[](Chart& c) { c.Blocks[2].CommentCount = 65535; }, 3, ""},
      {[](Chart& c) { c.Blocks[0].Rate = nan; }, 0, "Error in the file format"},
      {[](Chart& c) { c.Blocks[1].Rate = infinity; }, 1, ""},
      {[](Chart& c) { c.Blocks[1].Scale[0] = nan; }, 1, ""},
      {[](Chart& c) { c.Blocks[1].SizeChannel = -1; }, 1, ""},
  };
  int number = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(++number);
    Chart chart{.Blocks = std::vector<ChartBlock>(3)};
    row.Break(chart);
    EXPECT_EQ(Open("f.lmc", chart.Build()), row.Blocks > 0);
    EXPECT_EQ(Error(), row.Error);
    EXPECT_EQ(file_ ? file_->BlockCount() : 0, row.Blocks);
  }
}

TEST_F(ChartReaderTest, SaysWhatAFileLacks) {
  const std::string whole = Chart().Build();
  // The samples are followed by the count, a comment of 17 bytes and 12 bytes.
  const std::size_t samples = whole.size() - 12 - 17 - 4 - 12;
  ASSERT_TRUE(Open("cut.lmc", whole.substr(0, samples + 4)));  // one of three frames
  EXPECT_EQ(file_->Block(1)->SizeChannel(), 3);
  EXPECT_EQ(file_->Block(1)->CommentCount(), 0);
  ASSERT_EQ(FindingCodes(), Codes{"data-cut-off"});
  EXPECT_EQ(Findings()[0].Position, static_cast<std::int64_t>(samples) + 4);
  EXPECT_EQ(Findings()[0].Text,
            "Block 1 claims 3 frames, and the file holds 1; the rest reads as stored zeros.");

  ChartBlock block{.SizeChannel = 4, .Comments = {{1, "a"}, {5, "behind"}}, .CommentCount = 65535};
  const HeapUse heap;
  ASSERT_TRUE(Open("f.lmc", Chart{.BlockCount = 9, .Blocks = {block}}.Build()));
  EXPECT_LT(heap.Peak(), 1U << 20);
  EXPECT_EQ(FindingCodes(),
            (Codes{"comments-cut", "blocks-cut", "data-beyond-chunk", "comments-behind-end"}));
  EXPECT_EQ(file_->Block(1)->CommentCount(), 3);  // those two, and 12 zero bytes that make a third
}

}  // namespace
}  // namespace lmimport::test
