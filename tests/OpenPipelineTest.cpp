#include <gtest/gtest.h>

#include <filesystem>

#include "support/Builders.h"

namespace lmimport::test {
namespace {

class OpenPipelineTest : public testing::Test {
 protected:
  bool Open(const std::string& name) { return import_.OpenFile(FromUtf8(name), file_); }
  std::string Error() const { return ToUtf8(import_.ErrorString()); }

  TempFolder folder_;
  Environment english_{"LC_ALL", "C"};
  LMImport import_;
  LMIFilePtr file_;
};

TEST_F(OpenPipelineTest, FollowsARequestFromABareNameToTheSamples) {
  ASSERT_TRUE(Open(folder_.Write("old.lmc", Chart().Build())));
  const LMIFilePtr first = file_;
  const LMIBlockPtr oldBlock = file_->Block(1);
  import_.SetDefaultPath(FromUtf8(folder_.Path() + "/"));
  folder_.Write("run.WDQ", WinDaq().Build());

  ASSERT_TRUE(Open("run.WDQ"));
  EXPECT_EQ(file_, first);
  EXPECT_EQ(oldBlock->BlockIndex(), 0);
  EXPECT_EQ(file_->FileName(), FromUtf8(folder_.PathOf("run.WDQ")));
  EXPECT_EQ(file_->FileTitle(), u"run.WDQ");
  EXPECT_EQ(file_->FileType(), 6);
  EXPECT_GT(file_->FileHandle(), 2);
  EXPECT_EQ(file_->Block(1)->ChannelTitle(1), u"Voltage");
  Single values[1000] = {};
  EXPECT_EQ(file_->Block(1)->GetChannelSingle(1, 1, 1000, values), 4);
  EXPECT_EQ(values[0], 1.5F);  // 4 counts of the word at 0.5 V a four counts, above 1 V
}

TEST_F(OpenPipelineTest, SaysWhatIsWrong) {
  const std::string chart = Chart().Build();
  const struct {
    const char* Name;
    std::string Bytes;
    const char* Error;
  } rows[] = {{"short.wdq", "LMC", "No data in the file"},
              {"empty.lmc", "", "No data in the file"},
              {"four.bin", "abcd", "Unsupported file format"},
              {"is-riff.wdq", "RIFF" + std::string(200, 'x'), "Unsupported file format"},
              {"damaged.wdq", "LMC" + std::string(1, '\0') + std::string(200, '\xff'),
               "Unsupported file format (v-1.-1)"},
              {"ar.wdq", "ARxx" + std::string(200, 'x'), "Unknown file format"},
              {"chart.txt", chart, ""}};
  for (const auto& row : rows) {
    EXPECT_EQ(Open(folder_.Write(row.Name, row.Bytes)), *row.Error == '\0') << row.Name;
    EXPECT_EQ(Error(), row.Error) << row.Name;
    EXPECT_EQ(file_ == nullptr, *row.Error != '\0') << row.Name;
  }
  EXPECT_FALSE(Open(folder_.PathOf("missing.wdq")));
  EXPECT_NE(Error().find("missing.wdq"), std::string::npos);
  EXPECT_FALSE(Open(folder_.Path()));
  EXPECT_NE(Error().find("it is a folder"), std::string::npos);
}

TEST_F(OpenPipelineTest, SpeaksRussianOnARussianSystem) {
  const Environment russian("LC_ALL", "ru_RU.UTF-8");
  Open(folder_.Write("s", "abc"));
  EXPECT_EQ(Error(), "Нет данных в файле");
  Open(folder_.Write("c.wdq", std::string(200, 'x')));
  EXPECT_EQ(Error(), "Неизвестный формат файла");
  Chart old;
  old.Minor = 1;
  Open(folder_.Write("old.lmc", old.Build()));
  EXPECT_EQ(Error(), "Неподдерживаемый формат файла (v3.1)");
  Chart damaged;
  damaged.ChannelCount = 33;
  Open(folder_.Write("damaged.lmc", damaged.Build()));
  EXPECT_EQ(Error(), "Ошибка формата файла");
}

TEST_F(OpenPipelineTest, AFailedOpenLeavesNoFileAndTheNextOneWorks) {
  const std::string good = folder_.Write("good.lmc", Chart().Build());
  ASSERT_TRUE(Open(good));
  const LMIFilePtr held = file_;
  EXPECT_FALSE(Open(folder_.PathOf("missing")));
  EXPECT_EQ(file_, nullptr);
  EXPECT_EQ(held->FileName(), u"");
  EXPECT_EQ(held->BlockCount(), 0);
  EXPECT_EQ(held->FileHandle(), 0);
  import_.CloseFile(held);
  EXPECT_FALSE(import_.ErrorString().empty());  // a close leaves the message alone
  ASSERT_TRUE(Open(good));
  EXPECT_EQ(file_, held);
  EXPECT_EQ(Error(), "");
  import_.CloseFile(file_);
  import_.CloseFile(file_);
  import_.CloseFile({});
  EXPECT_EQ(held->FileName(), u"");
}

// Whichever allocation of an open fails, the fault reaches the host, no file is open behind it, and
// the next open works.
TEST_F(OpenPipelineTest, AFaultAnywhereLeavesNoFile) {
  const String names[] = {FromUtf8(folder_.Write("a.lmc", Chart().Build())),
                          FromUtf8(folder_.Write("a.wdq", WinDaq().Build()))};
  for (const String& name : names) {
    ASSERT_TRUE(import_.OpenFile(name, file_));
    const LMIFilePtr held = file_;
    int faults = 0;
    for (bool opened = false; !opened; ++faults) {
      FailAllocationBehind(faults);
      try {
        opened = import_.OpenFile(name, file_);
      } catch (const std::bad_alloc&) {
        FailAllocationBehind(-1);
        ASSERT_EQ(file_, nullptr);
        ASSERT_EQ(held->FileName(), u"");
        ASSERT_EQ(held->FileType(), 0);
      }
    }
    FailAllocationBehind(-1);
    EXPECT_GT(faults, 10);
    EXPECT_EQ(held->BlockCount(), 1);
  }
}

TEST_F(OpenPipelineTest, DefaultsTakeOnlyWhatIsValid) {
  import_.SetDefaultPath(FromUtf8(folder_.Path() + "/"));
  EXPECT_EQ(import_.DefaultPath(), FromUtf8(folder_.Path()));
  import_.SetDefaultPath(u"/no/such/folder");
  EXPECT_EQ(import_.DefaultPath(), FromUtf8(folder_.Path()));
  import_.SetDefaultPath(u"/");
  EXPECT_EQ(import_.DefaultPath(), u"/");
  import_.SetDefaultChannelCount(32);
  import_.SetDefaultChannelCount(33);
  import_.SetDefaultChannelCount(0);
  EXPECT_EQ(import_.DefaultChannelCount(), 32);
  import_.SetDefaultChannelCount(1);
  import_.SetDefaultSamplingRate(0.1);
  for (const double rate : {0.0, -1.0, 1e10, std::numeric_limits<double>::quiet_NaN()})
    import_.SetDefaultSamplingRate(rate);
  EXPECT_EQ(import_.DefaultSamplingRate(), static_cast<double>(0.1F));
  import_.SetDefaultSamplingRate(100);
  import_.SetFilterIndex(12);
  EXPECT_EQ(LMImport().FilterIndex(), 12);  // all objects of a thread share it
  import_.SetFilterIndex(13);
  EXPECT_EQ(import_.FilterIndex(), 0);
}

TEST_F(OpenPipelineTest, ListsFilters) {
  EXPECT_EQ(import_.FilterCount(), 12);
  EXPECT_EQ(import_.FilterTitle(1), u"Lumetra Chart");
  EXPECT_EQ(import_.FilterFiles(11), u"*.pk;*.sfk");
  EXPECT_EQ(import_.FilterFiles(12), u"*.*");
  for (const Long other : {0, 13, -1}) {
    EXPECT_EQ(import_.FilterTitle(other), u"Supported Files");
    EXPECT_EQ(import_.FilterFiles(other),
              u"*.lmc;*.bin;*.dat;*.data;*.wav;*.alf;*.wdq;*.abf;*.acq;*.edf;*.mat;*.pk;*.sfk");
  }
  EXPECT_EQ(import_.Name(), u"Lumetra Import Library");
  EXPECT_EQ(import_.Version(), u"1.2.4");
}

TEST_F(OpenPipelineTest, NamesAFormatThatItRefuses) {
  const struct {
    const char* Name;
    std::string Bytes;
    const char* Text;
  } rows[] = {{"a.abf", Bytes().Text("ABF2").Int8(5).Int8(0).Int8(6).Int8(2).Zeros(20).Get(),
               "version 2.6.0.5"},
              {"a.gdf", "GDF 2.20 and so on", "version 2.20"},
              {"a.wdq", "PK\x03\x04" + std::string(200, 'x'), "ZIP archive"},
              {"a.BDF", std::string(200, 'x'), "is named like BDF"}};
  for (const auto& row : rows) {
    EXPECT_FALSE(Open(folder_.Write(row.Name, row.Bytes)));
    const std::vector<Finding> findings = Findings();
    ASSERT_EQ(findings.size(), 1U) << row.Name;
    EXPECT_EQ(findings[0].Code, "format-not-read");
    EXPECT_TRUE(findings[0].Warning);
    EXPECT_NE(ToUtf8(findings[0].Text).find(row.Text), std::string::npos)
        << ToUtf8(findings[0].Text);
  }
  ASSERT_TRUE(Open(folder_.Write("good.lmc", Chart().Build())));
  EXPECT_TRUE(Findings().empty());
}

}  // namespace
}  // namespace lmimport::test
