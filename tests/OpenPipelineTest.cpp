#include <filesystem>
#include <limits>

#include "support/ImportTest.h"

namespace lmimport::test {
namespace {

using OpenPipelineTest = ImportTest;

TEST_F(OpenPipelineTest, FollowsARequestFromABareNameToTheSamples) {
  ASSERT_TRUE(Open("old.lmc", Chart().Build()));
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
  const struct {
    const char* Name;
    std::string Bytes;
    const char* Error;
    const char* Russian;
  } rows[] = {{"short.wdq", "LMC", "No data in the file", "Нет данных в файле"},
              {"empty.lmc", "", "No data in the file", "Нет данных в файле"},
              {"one frame.bin", "abcde", "", ""},
              {"magic comes first.wdq", "LMC" + std::string(1, '\0') + std::string(9, 'x'),
               "Unknown file format", "Неизвестный формат файла"},
              {"old.lmc", Chart{.Minor = 1}.Build(), "Unsupported file format (v3.1)",
               "Неподдерживаемый формат файла (v3.1)"},
              {"extension comes before AR.wdq", "ARxx" + std::string(200, 'x'),
               "Unknown file format", "Неизвестный формат файла"},
              {"damaged.lmc", Chart{.ChannelCount = 33}.Build(), "Error in the file format",
               "Ошибка формата файла"},
              {"chart.wdq", Chart().Build(), "", ""}};
  for (const auto& row : rows) {
    const bool good = *row.Error == '\0';
    EXPECT_EQ(Open(row.Name, row.Bytes), good) << row.Name;
    EXPECT_EQ(Error(), row.Error);
    EXPECT_EQ(file_ != nullptr, good);
    const Environment russian("LC_ALL", "ru_RU.UTF-8");
    Open(row.Name, row.Bytes);
    EXPECT_EQ(Error(), row.Russian);
  }
}

TEST_F(OpenPipelineTest, AFailedOpenLeavesNoFileAndTheNextOneWorks) {
  const std::string good = folder_.Write("good.lmc", Chart().Build());
  ASSERT_TRUE(Open(good));
  const LMIFilePtr held = file_;
  EXPECT_FALSE(Open(folder_.PathOf("missing.wdq")));
  EXPECT_NE(Error().find("missing.wdq"), std::string::npos);
  EXPECT_EQ(file_, nullptr);
  EXPECT_EQ(held->FileName(), u"");
  EXPECT_EQ(held->FileHandle(), 0);
  import_.CloseFile(held);
  EXPECT_NE(Error(), "");  // a close leaves the message alone
  ASSERT_TRUE(Open(good));
  EXPECT_EQ(file_, held);
  EXPECT_EQ(Error(), "");
  import_.CloseFile(file_);
  import_.CloseFile(file_);
  import_.CloseFile({});
  EXPECT_EQ(held->FileName(), u"");
}

// Whichever allocation of an open fails, the fault reaches the host, no file is open after it, and
// the next open works.
TEST_F(OpenPipelineTest, AFaultAnywhereLeavesNoFile) {
  const String names[] = {FromUtf8(folder_.Write("a.lmc", Chart().Build())),
                          FromUtf8(folder_.Write("a.wdq", WinDaq().Build()))};
  for (const String& name : names) {
    ASSERT_TRUE(import_.OpenFile(name, file_));
    const LMIFilePtr held = file_;
    int faults = 0;
    for (bool opened = false; !opened; ++faults) {
      FailAllocationAfter(faults);
      try {
        opened = import_.OpenFile(name, file_);
      } catch (const std::bad_alloc&) {
        FailAllocationAfter(-1);
        ASSERT_EQ(file_, nullptr);
        ASSERT_EQ(held->FileName(), u"");
        ASSERT_EQ(held->FileType(), 0);
      }
    }
    FailAllocationAfter(-1);
    EXPECT_GT(faults, 10);
    EXPECT_EQ(held->BlockCount(), 1);
  }
}

TEST_F(OpenPipelineTest, DefaultsTakeOnlyWhatIsValid) {
  for (const std::string& path : {folder_.Path() + "/", std::string("/no/such/folder")})
    import_.SetDefaultPath(FromUtf8(path));
  EXPECT_EQ(import_.DefaultPath(), FromUtf8(folder_.Path()));
  import_.SetDefaultPath(u"/");
  EXPECT_EQ(import_.DefaultPath(), u"/");
  for (const Integer count : {Integer{32}, Integer{33}, Integer{0}})
    import_.SetDefaultChannelCount(count);
  EXPECT_EQ(import_.DefaultChannelCount(), 32);
  for (const double rate : {0.1, 0.0, -1.0, 1e10, std::numeric_limits<double>::quiet_NaN()})
    import_.SetDefaultSamplingRate(rate);
  EXPECT_EQ(import_.DefaultSamplingRate(), static_cast<double>(0.1F));
  import_.SetDefaultSamplingRate(1e-60);  // 0 as a Single
  EXPECT_EQ(import_.DefaultSamplingRate(), 100);
  import_.SetFilterIndex(12);
  EXPECT_EQ(LMImport().FilterIndex(), 12);  // all objects of a thread share it
  import_.SetFilterIndex(13);
  EXPECT_EQ(import_.FilterIndex(), 0);
}

TEST_F(OpenPipelineTest, SaysWhatItIsAndKnows) {
  EXPECT_EQ(import_.Name(), u"Lumetra Import Library");
  std::string version = std::to_string(import_.Major());
  for (const Integer part : {import_.Minor(), import_.Revision()})
    version += "." + std::to_string(part);
  EXPECT_EQ(ToUtf8(import_.Version()), version);
  EXPECT_EQ(import_.FilterCount(), 12);
  EXPECT_EQ(import_.FilterTitle(6), u"WinDaq Files");
  EXPECT_EQ(import_.FilterFiles(12), u"*.*");
  for (const Long other : {0, 13, -1}) {
    EXPECT_EQ(import_.FilterTitle(other), u"Supported Files");
    EXPECT_EQ(import_.FilterFiles(other),
              u"*.lmc;*.bin;*.dat;*.data;*.wav;*.alf;*.wdq;*.abf;*.acq;*.edf;*.mat;*.pk;*.sfk");
  }
}

TEST_F(OpenPipelineTest, NamesAFormatThatIsNotRead) {
  const std::string zip = "PK\x03\x04" + std::string(200, 'x');
  const struct {
    const char* Name;
    std::string Bytes;
    bool Opens;
    const char* Text;
  } rows[] = {
      {"a.abf", Bytes().Text("ABF2").Int32(0x02ff0005).Zeros(9).Get(), true, "version 2.255.0.5,"},
      {"a.gdf", "GDF 2.20 and so on", true, "version 2.20, and is shown as raw"},
      {"a.wdq", zip, false, "ZIP archive, a format that isn't read"},
      {"a.dat", zip, true, "ZIP archive, and is shown as raw"},
      {"a.png", "\x89PNG\r\n\x1a\n", true, "begins like PNG"},
      {"a.WDH", std::string(200, '\1'), true, "is named like WinDaq of 16 bits"},
      {"a.BDF", std::string(200, '\1'), true, "is named like BDF"},
      {"a.csv", "time,value\n0.0,1.5\n", true, "begins like text"}};
  for (const auto& row : rows) {
    EXPECT_EQ(Open(row.Name, row.Bytes), row.Opens) << row.Name;
    ASSERT_EQ(FindingCodes().back(), "format-not-read") << row.Name;
    EXPECT_EQ(FindingCodes().front(), row.Opens ? "undescribed" : "not-of-format") << row.Name;
    EXPECT_EQ(FindingCodes().size(), 2U) << row.Name;
    const std::string text = Findings().back().Text;
    EXPECT_NE(text.find(row.Text), std::string::npos) << text;
  }
  ASSERT_TRUE(Open("noise.dat", std::string(200, '\1')));
  EXPECT_EQ(FindingCodes(), Codes{"undescribed"});
}

TEST_F(OpenPipelineTest, TellsAFlatDataFileFromARecording) {
  ASSERT_TRUE(Open("night.EDF", Edf().Build()));
  import_.CloseFile(file_);
  ASSERT_TRUE(Open(folder_.PathOf("night.EDFdat")));
  EXPECT_EQ(FindingCodes(), (Codes{"flat-data-file", "undescribed"}));
  EXPECT_NE(Findings().at(1).Text.find("samples of night.EDF,"), std::string::npos);
  ASSERT_TRUE(Open("alone.edfdat", Words({1, 2, 3})));
  EXPECT_EQ(FindingCodes(), Codes{"undescribed"});
}

TEST_F(OpenPipelineTest, TellsAStartThatIsTheDateOfTheFile) {
  ASSERT_TRUE(Open("a.wav", Wave().Build()));
  EXPECT_TRUE(IsFound("start-of-file"));
  ASSERT_TRUE(Open("a.edf", Edf{.Date = "2.3.2004"}.Build()));
  EXPECT_TRUE(IsFound("start-of-file"));
  ASSERT_TRUE(Open("a.edf", Edf().Build()));
  EXPECT_FALSE(IsFound("start-of-file"));
}

}  // namespace
}  // namespace lmimport::test
