// Raw data and the files beside it.
#include "model/Date.h"
#include "support/ImportTest.h"
#include "support/LockedFile.h"

namespace lmimport::test {
namespace {

using Types = std::pair<Long, Long>;

class SidecarsTest : public ImportTest {
 protected:
  // Opens 12 words of data, with a sidecar beside them.
  bool OpenWith(const char* name, const char* sidecar, const std::string& bytes) {
    folder_.Write(sidecar, bytes);
    return Open(name, std::string(24, '\1'));
  }
  bool OpenWithText(const std::string& text) { return OpenWith("f.bin", "f_binheader.txt", text); }
  LMIBlock& Block() { return *file_->Block(1); }
};

TEST_F(SidecarsTest, DefaultsDescribeWhatNothingElseDoes) {
  import_.SetDefaultChannelCount(2);
  import_.SetDefaultSamplingRate(250);
  for (const char* name : {"f.dat", "f.bin", "f.xyz", "f", "f.data"}) {
    folder_.Write("f.par", name == std::string("f.data") ? FullPar({}) : "no parameters");
    ASSERT_TRUE(Open(name, Bytes().Int16(6400).Int16(64).Int16(-6400).Int16(0).Int8(1).Get()));
    EXPECT_EQ(Type(), Types(3, 0)) << name;
    EXPECT_EQ(Summary(), "DAT '' 250 Hz, 2 frames of:  [] 0.00015625 n + 0,  [] 0.00015625 n + 0");
    std::vector<Double> values;
    Block().GetChannelDoubleArray(1, 1, 2, values);
    EXPECT_EQ(values, (std::vector<Double>{1, -1}));
  }
  import_.SetDefaultSamplingRate(1e-60);  // 0 as a Single
  ASSERT_TRUE(Open("g.dat", "12345678"));
  EXPECT_EQ(Block().SamplingRate(), 100);
  EXPECT_FALSE(Open("g.dat", "1234567"));  // one frame
  EXPECT_EQ(Error(), "No data in the file");
  import_.SetDefaultChannelCount(1);
  EXPECT_TRUE(Open("g.dat", "1234"));
}

TEST_F(SidecarsTest, ParGivesScalesAndOffsets) {
  ASSERT_TRUE(OpenWith("f.DAT", "f.par", FullPar({})));
  EXPECT_EQ(Type(), Types(3, 1));
  // The second offset is 100 / 3200 + 3, with the scale before it is divided by 2 and 4.
  EXPECT_EQ(Summary(), "E14 '' 2000 Hz, 6 frames of:  [] 0.00125 n + 0,  [] 0.0025 n + 3.03125");
  EXPECT_EQ(Block().ChannelGlobalIndex(2), 6);
  // A factor 1 of 1 divides nothing, and its shift isn't applied either.
  ASSERT_TRUE(OpenWith("f.DAT", "f.par", Patched(FullPar({}), 235 + 40, Bytes().Real64(1))));
  EXPECT_EQ(Summary(), "E14 '' 2000 Hz, 6 frames of:  [] 0.00125 n + 0,  [] 0.00125 n + 3");
  folder_.Write("f.rvp", Rvp());  // .par comes first
  ASSERT_TRUE(Open(folder_.PathOf("f.DAT")));
  EXPECT_EQ(file_->FileSubType(), 1);
}

TEST_F(SidecarsTest, ParHasThreeLayouts) {
  for (const std::string& par : {ShortPar(), LongPar()}) {
    ASSERT_TRUE(OpenWith("f.dat", "f.par", par));
    EXPECT_EQ(Summary(), "L-783 '' 500 Hz, 12 frames of:  [] 0.00125 n + 0");
    EXPECT_EQ(Block().ChannelGlobalIndex(1), 3);
  }
  ASSERT_TRUE(OpenWith("f.dat", "f.par", ShortPar().substr(0, 222)));
  EXPECT_EQ(file_->FileSubType(), 0);
}

// 6 frames. Past the end of the file, the current note is reused.
TEST_F(SidecarsTest, ParNotesAreTheTitleAndTheComments) {
  const struct {
    std::vector<ParNote> Notes;
    std::optional<int> Count;
    const char* Title;
    const char* Comments;
  } rows[] = {
      {{{2, "title"}}, {}, "title", ""},
      {{{2, "title"}, {3, ""}, {0, "last"}, {1, "no more"}}, {}, "title", "3 , 6 last"},
      {{{2, ""}, {4, "a"}, {1, "behind"}}, {}, "", "3 a"},
      {{{1, "t"}, {2, "a"}}, 2000000000, "t", "2 a, 4 a, 6 a"},
      {{{1, "t"}, {2, "a"}}, 3, "t", "2 a, 4 a"},
      {{{4, "t"}}, 2000000000, "t", "5 t"},
      {{{2, "t"}}, 0, "", ""},
      {{}, 2000000000, "", ""},
  };
  for (const auto& row : rows) {
    const HeapUse heap;
    ASSERT_TRUE(OpenWith("f.dat", "f.par", FullPar(row.Notes, row.Count)));
    EXPECT_LT(heap.Peak(), 1U << 20);
    EXPECT_EQ(ToUtf8(Block().Title()), row.Title);
    EXPECT_EQ(Comments(), row.Comments);
  }
  ASSERT_TRUE(OpenWith("f.dat", "f.par", Patched(FullPar({{1, "t"}}), 0, Bytes().Text("2"))));
  EXPECT_EQ(Block().Title(), u"");
}

TEST_F(SidecarsTest, RvpGivesCalibratedChannels) {
  ASSERT_TRUE(OpenWith("f.dat", "f.rvp", Rvp()));
  EXPECT_EQ(Type(), Types(3, 2));
  EXPECT_EQ(Summary(), "L-783 '' 2000 Hz, 3 frames of: Flow [l/s] 0.5 n + 10, Gas [%] 0.25 n + 10");
  EXPECT_EQ(Block().ChannelGlobalIndex(2), 2);
  // 2001-02-03 04:05:06, three frames of half a millisecond earlier
  EXPECT_NEAR(Block().StartDateTime(), 36925 + 14706 / SecondsPerDay - 0.0015 / SecondsPerDay,
              1e-9);
  ASSERT_TRUE(OpenWith("f.dat", "f.rvp", Patched(Rvp(), 608, Bytes().Int32(-1))));
  EXPECT_EQ(Block().SizeChannel(), 2147483647);
  EXPECT_EQ(FindingCodes(), Codes{"length-open"});
  ASSERT_TRUE(OpenWith("f.dat", "f.rvp", Rvp().substr(0, 3034)));  // the one record counts twice
  EXPECT_EQ(Block().ChannelTitle(2), u"Flow");
  ASSERT_TRUE(OpenWith("f.dat", "f.rvp", Rvp().substr(0, 3033)));
  EXPECT_EQ(file_->FileSubType(), 0);
}

TEST_F(SidecarsTest, WhatCannotBeReadIsPassedOver) {
  folder_.Write("f.rvp", Rvp());
  std::filesystem::create_directory(folder_.PathOf("f.par"));  // no file at all
  for (const auto kind : {LockedFile::Whole, LockedFile::Record}) {
    const LockedFile other(folder_.PathOf("f.rvp"), kind);
    ASSERT_TRUE(Open("f.dat", std::string(24, '\1')));
    EXPECT_EQ(file_->FileSubType(), 0) << kind;
    EXPECT_EQ(FindingCodes(), (Codes{"sidecar-passed-over", "undescribed"}));
  }
  ASSERT_TRUE(Open(folder_.PathOf("f.dat")));
  EXPECT_EQ(FindingCodes(), Codes{});
  EXPECT_EQ(file_->FileSubType(), 2);
}

TEST_F(SidecarsTest, EndingsInCapitalsServeWhereThereIsNoOther) {
  folder_.Write("f.RVP", Rvp());
  folder_.Write("f_WAVHEADER.TXT", "NumAChannels=2\n[Ch0]\nName=left\n");
  ASSERT_TRUE(Open("f.DAT", std::string(24, '\1')));
  EXPECT_EQ(Type(), Types(3, 2));
  ASSERT_TRUE(Open("f.wav", Wave().Build()));
  EXPECT_EQ(Block().ChannelTitle(1), u"left");
  std::filesystem::create_directory(folder_.PathOf("f.par"));
  folder_.Write("f.PAR", ShortPar());
  ASSERT_TRUE(Open(folder_.PathOf("f.DAT")));
  EXPECT_EQ(Block().ADCName(), u"L-783");
  EXPECT_EQ(Type(), Types(3, 1));
  std::filesystem::remove(folder_.PathOf("f.par"));
  folder_.Write("f.par", FullPar({}));
  ASSERT_TRUE(Open(folder_.PathOf("f.DAT")));
  EXPECT_EQ(Block().ADCName(), u"E14");
}

// Going on with the defaults would show noise.
TEST_F(SidecarsTest, TheLargestLengthIsFound) {
  ASSERT_TRUE(OpenWith("b.dat", "b.rvp", Patched(Rvp(), 608, Bytes().Int32(2147483647))));
  EXPECT_EQ(FindingCodes(), (Codes{"data-cut-off", "length-held"}));
}

TEST_F(SidecarsTest, AWrongDescriptionIsAFault) {
  const std::string par = FullPar({});
  EXPECT_THROW(OpenWith("a.dat", "a.par", Patched(par, 95, Bytes().Zeros(32))), std::domain_error);
  EXPECT_THROW(OpenWith("a.dat", "a.par", Patched(par, 91, Bytes().Int32(-1))), std::domain_error);
  for (const int count : {0, 33, -1})
    EXPECT_THROW(OpenWith("b.dat", "b.rvp", Patched(Rvp(), 566, Bytes().Int16(count))),
                 std::length_error);
  for (const int number : {32, -1})
    EXPECT_THROW(OpenWith("b.dat", "b.rvp", Patched(Rvp(), 2664, Bytes().Int16(number))),
                 std::range_error);
  EXPECT_THROW(OpenWith("b.dat", "b.rvp", Patched(Rvp(), 592, Bytes().Zeros(8))),
               std::domain_error);
  EXPECT_THROW(OpenWith("a.dat", "a.par", Patched(par, 91, Bytes().Real32(1e37F))),
               std::range_error);
  EXPECT_THROW(OpenWith("a.dat", "a.par", Patched(par, 275, Bytes().Real64(1e-300))),
               std::range_error);
  for (const auto& [place, number] : {std::pair{592, 1e300}, {2762, 1e-300}, {2770, 1e300}})
    EXPECT_THROW(OpenWith("b.dat", "b.rvp",
                          Patched(Rvp(), static_cast<std::size_t>(place), Bytes().Real64(number))),
                 std::range_error)
        << place;
  for (const char* line : {"NumAChannels=0\n", "NumAChannels=33\n", "NumAChannels=\n"})
    EXPECT_THROW(OpenWithText(line), std::length_error) << line;
  for (const char* line : {"Resolution=256\n", "Resolution=-1\n", "MaxADCValue=3000000000\n",
                           "MaxADCValue=-2147483649\n", "[Ch99999999999]\n"})
    EXPECT_THROW(OpenWithText(line), std::range_error) << line;
  for (const char* line : {"MaxRange=abc\n", "MinRange=\n", "Samplerate=abc\n"})
    EXPECT_THROW(OpenWithText("NumAChannels=1\n[Ch0]\n" + std::string(line)), std::invalid_argument)
        << line;
  try {
    OpenWithText("NumAChannels=1\nSamplerate=1e99\n");
    FAIL();
  } catch (const std::range_error& fault) {
    EXPECT_NE(std::string(fault.what()).find("f_binheader.txt: Samplerate is too large"),
              std::string::npos);
  }
  EXPECT_TRUE(OpenWithText("NumAChannels=1\n[Ch0]\nMaxRange=4\nMaxADCValue=-2147483648\n"));
  EXPECT_EQ(file_->Block(1)->ChannelDoubleA(1), -0x1p-30);
}

TEST_F(SidecarsTest, TextHeadersAreReadCharacterByCharacter) {
  const struct {
    const char* Text;  // after the number of channels and the head of the first
    const char* First;
    double Rate;
  } rows[] = {
      {"MaxRange=10\nMinRange=-10\nResolution=16\n", " [] 0.000305176 n + 0", 100},
      {"MaxRange=10\nMinRange=-10\nMaxADCValue=2048\n", " [] 0.00488281 n + 0", 100},
      {"MaxRange=3\r\n MinRange = 1,0 V\nResolution=12.5 bits\n", " [] 0.000488281 n + 2", 100},
      {"MaxRange=1\nMaxRange=4\nSamplerate=50\n", " [] 6.10352e-05 n + 2", 50},
      {"MaxRange=4\nSamplerate=50", " [] 6.10352e-05 n + 2", 100},  // no line feed
      {"MaxRange=4\nSamplerate=-5\nmaxrange=7\n", " [] 6.10352e-05 n + 2", 100},
      {"\nMaxRange=4\n", " [] 0 n + 0", 100},    // an empty line ends the section
      {"=x\nMaxRange=4\n", " [] 0 n + 0", 100},  // so does one without a key
      {"MaxRange=4\nNumAChannels=2\n", " [] 0 n + 0", 100},
      {"[Ch2]\nMaxRange=4\n", " [] 0 n + 0", 100},                        // no such channel
      {"[Ch0.4]\nName=a=b\nMaxRange=4\n", " [] 6.10352e-05 n + 2", 100},  // key "Name=a"
      {"[Ch]\nName= x y \nMaxRange=4\n", "x y [] 6.10352e-05 n + 2", 100},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.Text);
    ASSERT_TRUE(OpenWithText(std::string("NumAChannels=2\n[Ch0]\n") + row.Text));
    EXPECT_EQ(Type(), Types(2, 2));
    const std::string start = "BIN_SBunch6 '' " + std::to_string(static_cast<int>(row.Rate));
    EXPECT_EQ(Summary(), start + " Hz, 6 frames of: " + row.First + ",  [] 0 n + 0");
    EXPECT_EQ(FindingCodes(), Codes{"no-range"});  // of the second channel at least
  }
}

TEST_F(SidecarsTest, ATextHeaderWithoutChannelsIsNone) {
  for (const std::string& text : {std::string("[Ch0]\nMaxRange=1\n"), std::string(10000000, '='),
                                  "NumAChannels=2" + std::string(10000000, ' ')}) {
    ASSERT_TRUE(OpenWithText(text));
    EXPECT_EQ(Type(), Types(3, 0));
  }
}

}  // namespace
}  // namespace lmimport::test
