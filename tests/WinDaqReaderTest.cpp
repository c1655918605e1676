#include <cmath>
#include <limits>

#include "support/ImportTest.h"

namespace lmimport::test {
namespace {

class WinDaqReaderTest : public ImportTest {
 protected:
  bool OpenWinDaq(const std::string& bytes) { return Open("f.wdq", bytes); }
};

TEST_F(WinDaqReaderTest, GivesEveryField) {
  ASSERT_TRUE(OpenWinDaq(WinDaq().Build()));
  EXPECT_EQ(Type(), (std::pair<Long, Long>(6, 0)));
  // 2 channels / 0.5 s, and 0.5 V per four counts
  EXPECT_EQ(Summary(),
            "WDQ '' 4 Hz, 4 frames of: Voltage [V] 0.125 n + 1, Temperature [degC] "
            "0.5 n + -1");
  const LMIBlockPtr block = file_->Block(1);
  EXPECT_EQ(block->StartDateTime(), 25569 + 1);  // a day after 1970-01-01
  EXPECT_EQ(block->DataPtr(), 192);
  EXPECT_EQ(Comments(), "");
  std::vector<Double> values;
  EXPECT_EQ(block->GetChannelDoubleArray(2, 1, 4, values), 4);
  EXPECT_EQ(values, (std::vector<Double>{3, -5, 399, -16385}));
}

TEST_F(WinDaqReaderTest, TakesOrRefusesHeaders) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  constexpr double infinity = std::numeric_limits<double>::infinity();
  const std::string good = WinDaq().Build();
  const WinDaq one{.ChannelField = 0x0121, .Channels = {{}}, .Samples = {1, 2}, .Annotations = ""};
  const auto patched = [&](std::size_t offset, const Bytes& patch) {
    return Patched(good, offset, patch);
  };
  const struct {
    std::string Bytes;
    const char* Error;
    double Rate;
    Long Size;
  } rows[] = {
      {good.substr(0, 153), "No data in the file", 0, 0},
      {good.substr(0, 154), "Error in the file format", 0, 0},
      {one.Build(), "", 2, 2},  // only the low five bits of the count
      {patched(0, Bytes().Int16(32)), "Unknown file format", 0, 0},
      {patched(4, Bytes().Int8(111)), "Unknown file format", 0, 0},
      {patched(5, Bytes().Int8(35)), "Unknown file format", 0, 0},
      {patched(6, Bytes().Int16(190)), "Error in the file format", 0, 0},
      {patched(6, Bytes().Int16(-5)), "Error in the file format", 0, 0},
      {patched(8, Bytes().Int32(2000000000)), "", 4, 500000000},
      {patched(8, Bytes().Int32(1)), "", 4, 9},  // 16 bytes of samples and 20 of titles
      {patched(28, Bytes().Real64(-0.5)), "", 1, 4},
      {patched(28, Bytes().Real64(infinity)), "", 1, 4},
      {patched(28, Bytes().Real64(0)), "Error in the file format", 0, 0},
      {patched(28, Bytes().Real64(nan)), "", 1, 4},
      {patched(118, Bytes().Real64(nan)), "Error in the file format", 0, 0},
  };
  int number = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(++number);
    EXPECT_EQ(OpenWinDaq(row.Bytes), *row.Error == '\0');
    EXPECT_EQ(Error(), row.Error);
    if (!file_) continue;
    EXPECT_EQ(file_->Block(1)->SamplingRate(), row.Rate);
    EXPECT_EQ(file_->Block(1)->SizeChannel(), row.Size);
  }
  ASSERT_TRUE(OpenWinDaq(patched(118, Bytes().Real64(0))));  // no units per count
  double value = 0;
  EXPECT_EQ(file_->Block(1)->GetChannelDouble(1, 4, 1, &value), 1);
  EXPECT_EQ(value, 1);  // the intercept
}

TEST_F(WinDaqReaderTest, SplitsTheTitles) {
  const struct {
    std::string Annotations;
    int Bytes;
    const char16_t* First;
    const char16_t* Second;
  } rows[] = {{std::string("a\0b\0c\0", 6), 6, u"a", u"b"},
              {std::string("\0b\0", 3), 3, u"", u"b"},
              {"ab", 2, u"a", u""},
              {"ab", 0, u"", u""},
              {"ab", -3, u"", u""},
              {"ab", 32767, u"ab", u""}};
  for (const auto& row : rows) {
    const WinDaq recording{.Annotations = row.Annotations, .AnnotationBytes = row.Bytes};
    ASSERT_TRUE(OpenWinDaq(recording.Build()));
    EXPECT_EQ(file_->Block(1)->ChannelTitle(1), row.First) << row.Bytes;
    EXPECT_EQ(file_->Block(1)->ChannelTitle(2), row.Second) << row.Bytes;
  }
}

// Four frames of two channels: a value at or below -4 after a marker is a pointer.
TEST_F(WinDaqReaderTest, WalksTheMarkers) {
  const std::string texts("one\0two\0open", 12);
  const struct {
    std::vector<std::int64_t> Markers;
    const char* Comments;
  } rows[] = {
      {{500, 77}, "501 "},
      {{-500}, "501 "},
      {{-2, CommentAt(24), 3, 0, CommentAt(28)}, "3 two, 4 open"},
      {{0, 77, CommentAt(20), 1, 78, CommentAt(24)}, "2 two"},  // frame 0 goes with its text
      {{-1, -3, -2}, "2 , 4 , 3 "},                             // no pointers above -4
      {{-1, -4}, "2 "},  // -4 is one, to a place far past the end
      {{7}, "8 "},       // no stamp left
      {{-2147483648LL}, "2147483647 "},
      {{1, 0, CommentAt(20), 2, 0, CommentAt(20)}, "2 one, 3 one"},
  };
  for (const auto& row : rows) {
    ASSERT_TRUE(OpenWinDaq(WinDaq{.Markers = row.Markers, .CommentTexts = texts}.Build()));
    EXPECT_EQ(Comments(), row.Comments);
  }
}

TEST_F(WinDaqReaderTest, MarkersShareTextsWhole) {
  WinDaq endless{.Markers = {1, 0}, .TrailerBytes = 0x7fffffff, .Annotations = ""};
  WinDaq oneText{.Annotations = std::string("a\0b\0", 4), .CommentTexts = std::string(100000, 'x')};
  for (int i = 1; i <= 1000; ++i)  // every tenth to the same place, the others into the middle
    oneText.Markers.insert(oneText.Markers.end(), {-i, CommentAt(4 + i % 10)});
  WinDaq before = endless;  // a table in front of the file
  before.DataBytes = INT32_MIN;
  const std::string files[] = {endless.Build(), before.Build(), oneText.Build()};
  const HeapUse heap;
  ASSERT_TRUE(OpenWinDaq(files[0]));
  EXPECT_EQ(file_->Block(1)->CommentCount(), 1);
  ASSERT_TRUE(OpenWinDaq(files[1]));
  EXPECT_EQ(file_->Block(1)->CommentCount(), 0);
  ASSERT_TRUE(OpenWinDaq(files[2]));
  EXPECT_LT(heap.Peak(), 2U << 20);
  EXPECT_EQ(file_->Block(1)->CommentCount(), 1000);
  for (const Long comment : {1, 10, 999, 1000})
    EXPECT_EQ(file_->Block(1)->CommentText(comment).size(), 100000U - comment % 10);
}

TEST_F(WinDaqReaderTest, SaysWhereTheHeaderAndTheValuesPart) {
  const struct {
    WinDaq Recording;
    Codes Findings;
  } rows[] = {
      {{.EndTime = 86402}, {"rate-over-channels"}},  // 4 frames of 0.5 s: one channel's interval
      {{.EndTime = 86400}, {"rate-over-channels"}},  // no end stated
      {{.EndTime = 86600, .Flags = 0}, {"rate-over-channels", "low-bits"}},
      {{.Flags = 0x4002}, {"rate-over-channels", "packed"}},
      {{.EndTime = 86425, .Samples = std::vector<int>(200)}, {}},  // 100 frames in 25 s
      {{.Channels = {{}}}, {}},
      {{.Channels = {{}}, .Markers = {0, 0, 1, 0, 2, 0}}, {"comments-left-out"}},
      {{.EndTime = 86425, .Samples = std::vector<int>(200), .Markers = {1, 0}},
       {"markers-misread"}},
      {{.ChannelField = 0x22, .EndTime = 86425, .Samples = std::vector<int>(200)}, {}},
      {{.ChannelField = 145, .Channels = std::vector<WinDaqChannel>(145)},
       {"rate-over-channels", "channel-count-held"}},
  };
  for (const auto& row : rows) {
    ASSERT_TRUE(OpenWinDaq(row.Recording.Build()));
    EXPECT_EQ(FindingCodes(), row.Findings);
  }
}

}  // namespace
}  // namespace lmimport::test
