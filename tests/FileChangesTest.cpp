// Recordings of more than 2 GiB, and such as grow or are cut while they are open.
#include <filesystem>
#include <fstream>

#include "support/ImportTest.h"

namespace lmimport::test {
namespace {

class FileChangesTest : public ImportTest {
 protected:
  // Puts bytes into a file, at a position that may lie past its end.
  void Put(const std::string& name, std::int64_t position, const std::string& bytes) {
    std::fstream file(name, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(position);
    file << bytes;
    ASSERT_TRUE(file.flush());
  }
  // Counts of the two channels of a frame.
  std::vector<Integer> Frame(LMIBlock& block, Long frame) {
    std::vector<Integer> counts(2);
    counts.resize(2 * static_cast<std::size_t>(block.GetDataInteger(frame, 1, counts.data())));
    return counts;
  }
};

constexpr std::int64_t GiB = 1 << 30;

// Files that are little else than a hole, with samples at both ends of it.
TEST_F(FileChangesTest, FilesAbove2GiBAreReadAtBothEnds) {
  struct Row {
    const char* Name;
    std::string Head;
    std::int64_t SampleBytes = 3 * GiB;
  };
  const WinDaq winDaq{.Flags = 0, .Samples = {}, .DataBytes = 0, .Annotations = ""};
  const Wave wave{.Samples = {}, .DataBytes = 2 * GiB - 4};
  const Edf edf{.RecordCount = "96", .Signals = {{.Records = {""}, .RecordSamples = "16777216"}}};
  const AcqChannelOf acqChannel{.Samples = {1}, .SampleCount = 3 * GiB / 4};
  const std::string acq = Acq{.Channels = {acqChannel, acqChannel}, .Markers = {}}.Build();
  const std::string abf = Patched(Abf().substr(0, 6144), 10, Bytes().Int32(3 * GiB / 2));
  import_.SetDefaultChannelCount(2);
  for (const auto& [base, head, sampleBytes] :
       {Row{"f.wdq", winDaq.Build()}, Row{"f.raw", ""}, Row{"f.wav", wave.Build(), 2 * GiB - 4},
        Row{"f.edf", edf.Build()}, Row{"f.acq", acq.substr(0, acq.size() - 12)},
        Row{"f.abf", Patched(abf, 44, Bytes().Zeros(8))},
        Row{"f.dat", Cfwb().substr(0, Cfwb().size() - 13)}}) {
    SCOPED_TRACE(base);
    const std::string name = folder_.Write(base, head);
    Put(name, std::ssize(head), Words({1, 2}));
    Put(name, std::ssize(head) + sampleBytes - 4, Words({4, 8}));
    ASSERT_TRUE(Open(name)) << Error();
    LMIBlock& block = *file_->Block(1);
    ASSERT_EQ(block.SizeChannel(), sampleBytes / 2 / block.ChannelCount());
    const auto fourBytes = static_cast<Long>(2 / block.ChannelCount());
    std::vector<Integer> counts(2);
    EXPECT_EQ(block.GetDataInteger(1, fourBytes, counts.data()), fourBytes);
    EXPECT_EQ(counts, (std::vector<Integer>{1, 2}));
    const Long last = block.SizeChannel() - fourBytes + 1;
    EXPECT_EQ(block.GetDataInteger(last, fourBytes, counts.data()), fourBytes);
    EXPECT_EQ(counts, (std::vector<Integer>{4, 8}));
    import_.CloseFile(file_);
    std::filesystem::remove(name);
  }
}

TEST_F(FileChangesTest, AChartGoesOnAbove2GiB) {
  constexpr std::int64_t sampleBytes = GiB * 3 / 2;
  constexpr std::size_t tail = 16;  // of a block, after its samples
  const ChartBlock block{
      .Samples = {}, .SizeChannel = sampleBytes / 4, .ChunkSize = sampleBytes, .Comments = {}};
  const std::size_t one = Chart{.Blocks = {block}}.Build().size();
  const std::string both = Chart{.Blocks = {block, block}}.Build();
  const std::string name = folder_.Write("f.lmc", both.substr(0, one - tail));
  const auto behindFirst = static_cast<std::int64_t>(one - tail) + sampleBytes;
  Put(name, behindFirst, both.substr(one - tail, both.size() - one));
  const std::int64_t second = behindFirst + std::ssize(both) - static_cast<std::int64_t>(one);
  Put(name, second, Words({1, 2}));
  Put(name, second + sampleBytes - 4, Words({4, 8}) + both.substr(both.size() - tail));
  ASSERT_TRUE(Open(name)) << Error();
  ASSERT_EQ(file_->BlockCount(), 2);
  EXPECT_EQ(FindingCodes(), Codes{});
  EXPECT_EQ(Frame(*file_->Block(2), 1), (std::vector<Integer>{1, 2}));
  EXPECT_EQ(Frame(*file_->Block(2), sampleBytes / 4), (std::vector<Integer>{4, 8}));
}

TEST_F(FileChangesTest, ARecorderMayGoOnWriting) {
  const std::string bytes = Wave{.DataBytes = 40}.Build();  // 10 frames claimed, 3 there
  const std::string name = folder_.Write("f.wav", bytes);
  ASSERT_TRUE(Open(name));
  LMIBlock& block = *file_->Block(1);
  ASSERT_EQ(block.SizeChannel(), 10);
  EXPECT_EQ(Frame(block, 5), (std::vector<Integer>{0, 0}));
  Put(name, std::ssize(bytes), Words({7, 8, 9, 10}));
  EXPECT_EQ(Frame(block, 5), (std::vector<Integer>{9, 10}));
  Put(name, std::ssize(bytes) + 8, Words({11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22}));
  EXPECT_EQ(block.SizeChannel(), 10);  // as it was opened
  EXPECT_EQ(Frame(block, 10), (std::vector<Integer>{19, 20}));
  EXPECT_EQ(Frame(block, 11), (std::vector<Integer>{}));
}

TEST_F(FileChangesTest, ARecordingThatIsCutReadsAsZeros) {
  const std::string name = folder_.Write("f.wav", Wave().Build());
  ASSERT_TRUE(Open(name));
  LMIBlock& block = *file_->Block(1);
  EXPECT_EQ(Frame(block, 3), (std::vector<Integer>{0, 64}));
  std::filesystem::resize_file(name, 50);
  EXPECT_EQ(Frame(block, 1), (std::vector<Integer>{6400, -6400}));
  EXPECT_EQ(Frame(block, 2), (std::vector<Integer>{3200, 0}));
  EXPECT_EQ(Frame(block, 3), (std::vector<Integer>{0, 0}));
  std::filesystem::resize_file(name, 49);  // half of the third sample
  EXPECT_EQ(Frame(block, 1), (std::vector<Integer>{6400, -6400}));
  EXPECT_EQ(Frame(block, 2), (std::vector<Integer>{0, 0}));
  std::filesystem::resize_file(name, 0);
  EXPECT_EQ(Frame(block, 1), (std::vector<Integer>{0, 0}));
  EXPECT_EQ(block.ChannelCount(), 2);
  EXPECT_FALSE(Open(name));
  EXPECT_EQ(Error(), "No data in the file");
}

}  // namespace
}  // namespace lmimport::test
