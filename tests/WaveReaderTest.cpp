#include "support/ImportTest.h"

namespace lmimport::test {
namespace {

using WaveReaderTest = ImportTest;

TEST_F(WaveReaderTest, GivesEveryField) {
  ASSERT_TRUE(Open("f.wav", Wave().Build()));
  EXPECT_EQ(Type(), (std::pair<Long, Long>(4, 0)));
  EXPECT_EQ(Summary(),
            "Sound '44.1 kHz, 16-bit' 44100 Hz, 3 frames of:  [] 0.00015625 n + 0,  [] "
            "0.00015625 n + 0");
  const LMIBlockPtr block = file_->Block(1);
  EXPECT_EQ(block->DataPtr(), 44);
  double values[6] = {};
  EXPECT_EQ(block->GetDataDouble(1, 3, values), 3);
  const double expected[] = {1, -1, 0.5, 0, 0, 0.01};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(values[i], expected[i]);
  EXPECT_EQ(FindingCodes(), Codes{"wave-scale"});
}

TEST_F(WaveReaderTest, TakesOrRefuses) {
  const std::string fact = Chunk("fact", "four");
  const struct {
    Wave File;
    const char* Error;
    const char* Title;
    Codes Findings;
  } rows[] = {
      {{.Rate = 22050}, "", "22.05 kHz, 16-bit", {}},
      {{.BeforeFormat = fact + fact, .BeforeData = fact}, "", "44.1 kHz, 16-bit", {}},
      {{.FormatBytes = 18}, "", "44.1 kHz, 16-bit", {}},
      {{.FormatBytes = 4}, "", "44.1 kHz, 16-bit", {}},
      {{.Rate = 8000, .Bits = 12}, "", "8 kHz, 12-bit", {}},  // its words count as 16 bits
      {{.Channels = 1, .FrameBytes = 2, .Bits = 12},
       "Unsupported file format",
       "",
       {"coding-not-read"}},
      {{.Bits = 8}, "Unsupported file format (8-bit)", "", {"coding-not-read"}},
      {{.Bits = 24}, "Unsupported file format (24-bit)", "", {"coding-not-read"}},
      {{.Tag = 2}, "Unsupported file format (compressed)", "", {"coding-not-read"}},
      {{.Tag = -2}, "Unsupported file format (compressed)", "", {"coding-not-read"}},
      {{.Channels = 0}, "Unsupported file format", "", {"coding-not-read"}},
      {{.Channels = 33}, "Unsupported file format", "", {"coding-not-read"}},
      {{.BeforeFormat = Chunk("LIST", "")}, "Unknown file format", "", {"chunk-in-the-way"}},
      {{.BeforeData = Chunk("LIST", "")}, "Unknown file format", "", {"chunk-in-the-way"}},
      {{.BeforeFormat = Bytes().Text("fact").Int32(-8).Get()},
       "Unknown file format",
       "",
       {"chunk-in-the-way"}},
      {{.BeforeData = Bytes().Text("fact").Int32(900).Get()},
       "Unknown file format",
       "",
       {"chunk-in-the-way"}},
      {{.DataBytes = 8}, "", "44.1 kHz, 16-bit", {}},  // two frames
      {{.DataBytes = 7}, "No data in the file", "", {"no-data"}},
      {{.DataBytes = 0}, "No data in the file", "", {"streamed"}},
      {{.DataBytes = 0xffffffff}, "No data in the file", "", {"streamed"}},
      {{.DataBytes = 400}, "", "44.1 kHz, 16-bit", {"data-cut-off"}},
  };
  int number = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(++number);
    EXPECT_EQ(Open("f.wav", row.File.Build()), *row.Error == '\0');
    EXPECT_EQ(Error(), row.Error);
    EXPECT_EQ(file_ ? ToUtf8(file_->Block(1)->Title()) : "", row.Title);
    Codes findings = row.Findings;
    if (file_) findings.insert(findings.begin(), "wave-scale");
    EXPECT_EQ(FindingCodes(), findings);
  }
  EXPECT_FALSE(Open("f.wav", Wave{.Form = "AVI "}.Build().substr(0, 47)));
  EXPECT_EQ(Error(), "No data in the file");
  ASSERT_TRUE(Open("f.wav", Wave{.Form = "AVI "}.Build()));
  EXPECT_EQ(file_->FileType(), 3);
}

TEST_F(WaveReaderTest, IsCalibratedByATextBesideIt) {
  folder_.Write("f_wavheader.txt",
                "[Ch0]\r\nName=Pressure\r\nYUnit = kPa \r\nMaxRange=10\r\nMinRange=-10\r\n"
                "[Ch1]\nMaxRange=1\nMinRange=0\nSamplerate=500\n");
  ASSERT_TRUE(Open("f.wav", Wave().Build()));
  EXPECT_EQ(Type(), (std::pair<Long, Long>(4, 1)));
  EXPECT_EQ(Summary(),
            "Sound '44.1 kHz, 16-bit' 500 Hz, 3 frames of: Pressure [kPa] 0.000305176 n + "
            "0,  [] 1.52588e-05 n + 0.5");
  EXPECT_EQ(FindingCodes(), Codes{});
}

}  // namespace
}  // namespace lmimport::test
