// What holds for every format: one row of the table each.
#include <cmath>

#include "support/ImportTest.h"

namespace lmimport::test {
namespace {

struct Recording {
  const char* Name;
  std::string Bytes;
};

void PrintTo(const Recording& recording, std::ostream* out) {
  *out << recording.Name;
}

std::vector<Recording> AllRecordings() {
  const Chart chart{
      .Blocks = {ChartBlock{}, ChartBlock{.ChannelIndex = {1}, .Scale = {-3}, .Offset = {1}}}};
  const WinDaq winDaq{.Markers = {2, 77, CommentAt(20), -3}, .CommentTexts = "go"};
  return {{"chart.lmc", chart.Build()}, {"windaq.wdq", winDaq.Build()}};
}

class EveryFormat : public ImportTest, public testing::WithParamInterface<Recording> {
 protected:
  // Opens damaged bytes and asks everything of what comes out of it. Whatever they are, the open
  // ends in an orderly way, and the memory stays small.
  void Attack(const std::string& bytes);
};

void AskEverything(LMIFile& file) {
  for (Integer i = 1; i <= file.BlockCount(); ++i) {
    LMIBlock& block = *file.Block(i);
    constexpr Long frames = 5;
    std::vector<Double> values(frames * 32);
    std::vector<Integer> counts(frames * 32);
    const Long end = std::max(1, block.SizeChannel() - 2);
    for (const Long start : {Long{-1}, end}) {
      for (Integer c = 0; c <= block.ChannelCount() + 1; ++c)
        block.GetChannelDouble(c, start, frames, std::span<Double>(values));
      block.GetDataDouble(start, frames, std::span<Double>(values));
      block.GetDataInteger(start, frames, std::span<Integer>(counts));
    }
    for (Integer c = 1; c <= block.ChannelCount(); ++c) {
      block.ChannelTitle(c);
      block.ChannelUnitName(c);
    }
    for (Long c = 1; c <= block.CommentCount(); ++c) block.CommentText(c);
  }
}

void EveryFormat::Attack(const std::string& bytes) {
  const HeapUse heap;
  try {
    if (Open(GetParam().Name, bytes)) {
      ASSERT_GE(file_->BlockCount(), 1);
      AskEverything(*file_);
      ASSERT_LE(Findings().size(), 16U);
    } else {
      ASSERT_FALSE(import_.ErrorString().empty());
      ASSERT_EQ(file_, nullptr);
    }
  } catch (const std::system_error&) {
  } catch (const std::domain_error&) {
  } catch (const std::range_error&) {
  } catch (const std::invalid_argument&) {
  } catch (const std::length_error&) {
  }
  ASSERT_LT(heap.Peak(), 1U << 20);
}

TEST_P(EveryFormat, SurvivesEveryTruncation) {
  const std::string& bytes = GetParam().Bytes;
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    Attack(bytes.substr(0, size));
    if (HasFatalFailure()) FAIL() << "at " << size;
  }
  EXPECT_TRUE(Open(GetParam().Name, bytes));
}

TEST_P(EveryFormat, SurvivesEveryChangedByte) {
  const std::string& bytes = GetParam().Bytes;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    for (const int change : {0x01, 0x40, 0x80, 0xff, -1}) {
      std::string damaged = bytes;
      damaged[i] = static_cast<char>(change < 0 ? 0 : damaged[i] ^ change);
      Attack(damaged);
      if (HasFatalFailure()) FAIL() << "byte " << i << " changed by " << change;
    }
  }
  EXPECT_TRUE(Open(GetParam().Name, bytes));
}

TEST_P(EveryFormat, PiecesJoinToTheWhole) {
  ASSERT_TRUE(Open(GetParam().Name, GetParam().Bytes));
  for (Integer i = 1; i <= file_->BlockCount(); ++i) {
    LMIBlock& block = *file_->Block(i);
    SampleTable<Double> whole;
    SampleTable<Integer> counts;
    ASSERT_EQ(block.GetDataDoubleArray(1, block.SizeChannel(), whole), block.SizeChannel());
    ASSERT_EQ(block.GetDataIntegerArray(1, block.SizeChannel(), counts), block.SizeChannel());
    for (Integer c = 1; c <= block.ChannelCount(); ++c) {
      for (Long frame = 1; frame <= block.SizeChannel(); frame += 2) {
        Double pair[2] = {};
        const Long n = block.GetChannelDouble(c, frame, 2, pair);
        ASSERT_EQ(n, std::min(2, block.SizeChannel() - frame + 1));
        for (Long k = 0; k < n; ++k) EXPECT_EQ(pair[k], whole(c, frame + k));
        EXPECT_NEAR(counts(c, frame) * block.ChannelDoubleA(c) + block.ChannelDoubleB(c),
                    whole(c, frame), 1e-6 * (1 + std::abs(whole(c, frame))));
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, EveryFormat, testing::ValuesIn(AllRecordings()),
                         [](const auto& test) {
                           std::string name = test.param.Name;
                           return name.substr(0, name.find('.'));
                         });

}  // namespace
}  // namespace lmimport::test
