#include <limits>
#include <thread>

#include "support/ImportTest.h"

namespace lmimport::test {
namespace {

class ObjectsTest : public ImportTest {
 protected:
  ObjectsTest() {
    const Chart chart{.Blocks = {ChartBlock{}, ChartBlock{.Scale = {0, 1}}}};
    Open("two blocks.lmc", chart.Build());
    name_ = file_->FileName();
  }

  String name_;
};

TEST_F(ObjectsTest, BlocksAreOneObjectEach) {
  const LMIBlockPtr first = file_->Block(1);
  EXPECT_EQ(file_->Block(0), first);
  EXPECT_EQ(file_->Block(1), first);
  EXPECT_EQ(first->BlockIndex(), 1);
  EXPECT_EQ(file_->Block(2)->BlockIndex(), 2);
  EXPECT_EQ(file_->Block(3), nullptr);
  EXPECT_EQ(file_->Block(-1), nullptr);
}

TEST_F(ObjectsTest, AClosedBlockGivesNothingAndStaysSo) {
  const LMIBlockPtr block = file_->Block(1);
  import_.CloseFile(file_);
  for (const bool reopened : {false, true}) {
    if (reopened) {
      ASSERT_TRUE(import_.OpenFile(name_, file_));
      EXPECT_NE(file_->Block(1), block);
    }
    EXPECT_EQ(block->BlockIndex(), 0);
    EXPECT_EQ(block->Title() + block->Notes() + block->ChannelTitle(1) + block->CommentText(1),
              u"");
    EXPECT_EQ(block->SizeChannel() + block->SizeData() + block->ChannelCount(), 0);
    EXPECT_EQ(block->SamplingRate() + block->ChannelDoubleA(1), 0);
    Integer count = 9;
    std::vector<Integer> array = {9};
    EXPECT_EQ(block->GetChannelInteger(1, 1, 1, &count), 0);
    EXPECT_EQ(block->GetDataInteger(1, 1, &count), 0);
    EXPECT_EQ(block->GetChannelIntegerArray(1, 1, 1, array), 0);
    EXPECT_EQ(count, 9);
    EXPECT_EQ(array, std::vector<Integer>{9});
  }
}

TEST_F(ObjectsTest, BadIndicesGiveNothing) {
  const LMIBlockPtr block = file_->Block(1);
  for (const Integer channel : {Integer{0}, Integer{3}, Integer{-1}, Integer{-32768}}) {
    EXPECT_EQ(block->ChannelTitle(channel) + block->ChannelUnitName(channel), u"");
    EXPECT_EQ(block->ChannelGlobalIndex(channel), 0);
    EXPECT_EQ(block->ChannelSingleA(channel), 0);
    EXPECT_EQ(block->ChannelDoubleB(channel), 0);
    double value = 9;
    EXPECT_EQ(block->GetChannelDouble(channel, 1, 1, &value), 0);
    EXPECT_EQ(value, 9);
  }
  for (const Long comment : {0, 2, -1}) {
    EXPECT_EQ(block->CommentPosition(comment), 0);
    EXPECT_EQ(block->CommentText(comment), u"");
  }
  EXPECT_EQ(file_->Block(2)->ChannelSingleA(1), std::numeric_limits<Single>::infinity());
}

TEST_F(ObjectsTest, ArraysAreDimensionedForWhatLiesInTheBlock) {
  const LMIBlockPtr block = file_->Block(1);
  SampleTable<Double> table(7, 7);
  EXPECT_EQ(block->GetDataDoubleArray(1, 99, table), 3);
  EXPECT_EQ(table.ChannelCount(), 2);
  EXPECT_EQ(table.FrameCount(), 3);
  EXPECT_DOUBLE_EQ(table(2, 2), 4);  // count -200 / 200 + 5
  EXPECT_DOUBLE_EQ(table.Values()[3], 4);
  EXPECT_THROW(table(3, 1), std::out_of_range);
  const double* memory = table.Values().data();
  EXPECT_EQ(block->GetDataDoubleArray(1, 2, table), 2);
  EXPECT_EQ(block->GetDataDoubleArray(1, 3, table), 3);
  EXPECT_EQ(table.Values().data(), memory);  // kept when the table is used again
  EXPECT_EQ(block->GetDataDoubleArray(4, 1, table), 0);
  EXPECT_EQ(table.FrameCount(), 3);  // left alone

  SampleTable<Single> singles;
  EXPECT_EQ(block->GetDataSingleArray(0, 3, singles), 2);
  EXPECT_EQ(singles(2, 1), 6);
  std::vector<Single> samples;
  EXPECT_EQ(block->GetChannelSingleArray(2, 3, 9, samples), 1);
  EXPECT_EQ(samples, std::vector<Single>{5.3F});  // count 60 / 200 + 5
  EXPECT_EQ(block->ChannelSingleB(2), 5);

  std::vector<Integer> counts(7, 1);
  EXPECT_EQ(block->GetChannelIntegerArray(1, 0, 3, counts), 2);
  EXPECT_EQ(counts, (std::vector<Integer>{100, -100}));
  EXPECT_EQ(block->GetChannelIntegerArray(3, 1, 99, counts), 0);  // no such channel
  EXPECT_EQ(counts, (std::vector<Integer>{0, 0, 0}));
  EXPECT_EQ(block->GetChannelIntegerArray(1, 4, 1, counts), 0);
  EXPECT_EQ(counts.size(), 3U);
}

TEST_F(ObjectsTest, SpansAreNeverWrittenPast) {
  const LMIBlockPtr block = file_->Block(1);
  Single values[5] = {9, 9, 9, 9, 9};
  const std::span<Single> four(values, 4);
  EXPECT_EQ(block->GetChannelSingle(2, 2, 100, four.first(1)), 1);
  EXPECT_EQ(values[0], 4);
  EXPECT_EQ(values[1], 9);
  EXPECT_EQ(block->GetChannelSingle(1, -1, 4, four), 2);  // samples 1 and 2
  EXPECT_EQ(block->GetChannelSingle(1, 1, 3, four.first(0)), 0);
  EXPECT_EQ(block->GetDataSingle(3, 9, values), 1);
  EXPECT_EQ(values[0], 0.5F);
  EXPECT_EQ(block->GetDataSingle(1, 3, std::span<Single>(values)), 2);
  EXPECT_EQ(values[3], 4);
  EXPECT_EQ(values[4], 9);
  EXPECT_EQ(block->GetDataSingle(1, 3, four.first(1)), 0);  // no room for a frame
}

TEST_F(ObjectsTest, BelongToTheirThread) {
  const LMIBlockPtr block = file_->Block(1);
  LMIFilePtr orphan;
  LMIBlockPtr orphanBlock;
  std::unique_ptr<LMImport> orphanImport;
  std::thread([&] {
    Integer count = 9;
    EXPECT_THROW(import_.OpenFile(name_, orphan), std::logic_error);
    EXPECT_THROW(import_.CloseFile(file_), std::logic_error);
    EXPECT_THROW((void)file_->FileName(), std::logic_error);
    EXPECT_THROW((void)file_->Block(1), std::logic_error);
    EXPECT_THROW((void)block->SizeChannel(), std::logic_error);
    EXPECT_THROW(block->GetChannelInteger(1, 1, 1, &count), std::logic_error);
    EXPECT_EQ(count, 9);

    orphanImport = std::make_unique<LMImport>();  // a file of this thread beside that one
    EXPECT_TRUE(orphanImport->OpenFile(name_, orphan));
    EXPECT_NE(orphan, file_);
    orphanBlock = orphan->Block(2);
    EXPECT_EQ(orphanBlock->SizeChannel(), 3);
  }).join();
  EXPECT_EQ(block->SizeChannel(), 3);
  // What outlived its thread can only be let go.
  EXPECT_THROW((void)orphan->FileName(), std::logic_error);
  EXPECT_THROW((void)orphanBlock->Title(), std::logic_error);
  EXPECT_THROW((void)orphanImport->ErrorString(), std::logic_error);
  orphanImport.reset();
  orphanBlock.reset();
  orphan.reset();
  EXPECT_EQ(file_->BlockCount(), 2);
}

TEST_F(ObjectsTest, TheEndOfAnyLMImportClosesTheFileOfAll) {
  { const LMImport second; }
  EXPECT_EQ(file_->FileName(), u"");
  const LMIFilePtr orphan = file_;
  ASSERT_TRUE(import_.OpenFile(name_, file_));
  EXPECT_NE(file_, orphan);
  EXPECT_EQ(orphan->FileName(), u"");  // it doesn't show the file of its successor
  EXPECT_EQ(orphan->Block(1), nullptr);
  import_.CloseFile(orphan);  // nor close it
  EXPECT_EQ(file_->BlockCount(), 2);
}

// Ends with the program, when the main thread's store is gone already.
TEST(StaticObjects, EndHarmlessly) {
  static LMImport import;
  EXPECT_EQ(import.Major(), 1);
}

}  // namespace
}  // namespace lmimport::test
