#include <gtest/gtest.h>

#include <limits>
#include <thread>

#include "support/Builders.h"

namespace lmimport::test {
namespace {

class ObjectsTest : public testing::Test {
 protected:
  ObjectsTest() {
    Chart chart;
    chart.Blocks.push_back(ChartBlock{.Scale = {0, 1}, .Samples = {7, 8, 9, 10}});
    name_ = FromUtf8(folder_.Write("two blocks.lmc", chart.Build()));
    import_.OpenFile(name_, file_);
  }

  TempFolder folder_;
  String name_;
  LMImport import_;
  LMIFilePtr file_;
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
  const LMIFilePtr held = file_;
  for (const bool byClose : {true, false}) {
    if (byClose) {
      import_.CloseFile(file_);
    } else {
      ASSERT_TRUE(import_.OpenFile(name_, file_));  // an old object never comes back to life
      EXPECT_NE(file_->Block(1), block);
    }
    EXPECT_EQ(block->BlockIndex(), 0);
    EXPECT_EQ(block->Title(), u"");
    EXPECT_EQ(block->Notes(), u"");
    EXPECT_EQ(block->SizeChannel(), 0);
    EXPECT_EQ(block->SizeData(), 0);
    EXPECT_EQ(block->SamplingRate(), 0);
    EXPECT_EQ(block->ChannelCount(), 0);
    EXPECT_EQ(block->ChannelTitle(1), u"");
    EXPECT_EQ(block->ChannelDoubleA(1), 0);
    EXPECT_EQ(block->CommentCount(), 0);
    EXPECT_EQ(block->CommentText(1), u"");
    Integer count = 9;
    std::vector<Integer> array = {9};
    EXPECT_EQ(block->GetChannelInteger(1, 1, 1, &count), 0);
    EXPECT_EQ(block->GetDataInteger(1, 1, &count), 0);
    EXPECT_EQ(block->GetChannelIntegerArray(1, 1, 1, array), 0);
    EXPECT_EQ(count, 9);
    EXPECT_EQ(array, std::vector<Integer>{9});
  }
  EXPECT_EQ(held->FileName(), name_);  // the file object does
}

TEST_F(ObjectsTest, BadIndicesGiveNothing) {
  const LMIBlockPtr block = file_->Block(1);
  for (const Integer channel : {Integer{0}, Integer{3}, Integer{-1}, Integer{-32768}}) {
    EXPECT_EQ(block->ChannelTitle(channel), u"");
    EXPECT_EQ(block->ChannelUnitName(channel), u"");
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
  EXPECT_EQ(block->GetDataDoubleArray(1, 3, table), 3);
  EXPECT_EQ(table.ChannelCount(), 2);
  EXPECT_EQ(table.FrameCount(), 3);
  EXPECT_DOUBLE_EQ(table(2, 2), 4);  // count -200 / 200 + 5
  EXPECT_DOUBLE_EQ(table.Values()[3], 4);
  EXPECT_THROW(table(3, 1), std::out_of_range);
  EXPECT_EQ(block->GetDataDoubleArray(4, 1, table), 0);
  EXPECT_EQ(table.FrameCount(), 3);  // left alone

  std::vector<Integer> counts = {1, 2, 3, 4, 5, 6, 7};
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
  EXPECT_EQ(block->GetDataSingle(1, 3, std::span<Single>(values)), 2);
  EXPECT_EQ(values[3], 4);
  EXPECT_EQ(values[4], 9);
  EXPECT_EQ(block->GetDataSingle(1, 3, four.first(1)), 0);  // no room for a frame
}

TEST_F(ObjectsTest, BelongToTheirThread) {
  const LMIBlockPtr block = file_->Block(1);
  Integer count = 9;
  std::thread([&] {
    LMIFilePtr other;
    EXPECT_THROW(import_.OpenFile(name_, other), std::logic_error);
    EXPECT_THROW(import_.CloseFile(file_), std::logic_error);
    EXPECT_THROW((void)file_->FileName(), std::logic_error);
    EXPECT_THROW((void)file_->Block(1), std::logic_error);
    EXPECT_THROW((void)block->SizeChannel(), std::logic_error);
    EXPECT_THROW(block->GetChannelInteger(1, 1, 1, &count), std::logic_error);

    LMImport own;  // a file of this thread beside that one
    EXPECT_TRUE(own.OpenFile(name_, other));
    EXPECT_NE(other, file_);
    EXPECT_EQ(other->Block(2)->SizeChannel(), 2);
  }).join();
  EXPECT_EQ(count, 9);
  EXPECT_EQ(block->SizeChannel(), 3);
}

TEST_F(ObjectsTest, MayOutliveTheirThreadOnlyToBeLetGo) {
  LMIFilePtr file;
  LMIBlockPtr block;
  std::unique_ptr<LMImport> import;
  std::thread([&] {
    import = std::make_unique<LMImport>();
    import->OpenFile(name_, file);
    block = file->Block(1);
  }).join();
  EXPECT_THROW((void)file->FileName(), std::logic_error);
  EXPECT_THROW((void)block->Title(), std::logic_error);
  EXPECT_THROW((void)import->ErrorString(), std::logic_error);
  import.reset();
  block.reset();
  file.reset();
  EXPECT_EQ(file_->BlockCount(), 2);  // this thread's file is still there
}

TEST_F(ObjectsTest, TheEndOfAnyLMImportClosesTheFileOfAll) {
  { const LMImport second; }
  EXPECT_EQ(file_->FileName(), u"");
  const LMIFilePtr orphan = file_;
  ASSERT_TRUE(import_.OpenFile(name_, file_));
  EXPECT_NE(file_, orphan);
  EXPECT_EQ(orphan->FileName(), u"");  // it doesn't show the file of its successor
  EXPECT_EQ(orphan->BlockCount(), 0);
  EXPECT_EQ(orphan->Block(1), nullptr);
  import_.CloseFile(orphan);  // nor close it
  EXPECT_EQ(file_->BlockCount(), 2);
}

// Ended with the program, when the main thread's store is gone already.
TEST(StaticObjects, EndHarmlessly) {
  static LMImport import;
  EXPECT_EQ(import.Major(), 1);
}

}  // namespace
}  // namespace lmimport::test
