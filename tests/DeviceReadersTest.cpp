// ABF, ABIN, CFWB, ADCLab, the AR recorder and peak caches: every field that reaches a host, and
// what each refuses.
#include <cmath>

#include "model/Date.h"
#include "support/ImportTest.h"

namespace lmimport::test {
namespace {

using Types = std::pair<Long, Long>;

class DeviceTest : public ImportTest {
 protected:
  void ExpectFirstValues(const std::vector<Double>& expected) {
    SampleTable<Double> frames;
    ASSERT_GT(file_->Block(1)->GetDataDoubleArray(1, 2, frames), 0);
    const std::span<Double> values = frames.Values();
    for (std::size_t i = 0; i < expected.size(); ++i)
      EXPECT_NEAR(values[i], expected[i], 1e-6 * std::abs(expected[i])) << i;
  }

  // Gives the file with a field replaced.
  static auto Patching(const std::string& bytes) {
    return
        [&bytes](std::size_t offset, const Bytes& patch) { return Patched(bytes, offset, patch); };
  }
};

// An ABF file without gain and offset of a signal conditioner.
std::string WithoutConditioner(const std::string& abf) {
  return Patched(Patched(abf, 1050, Bytes().Zeros(4)), 1114, Bytes().Zeros(4));
}

TEST_F(DeviceTest, AbfGivesEveryField) {
  ASSERT_TRUE(Open("f.abf", Abf()));
  EXPECT_EQ(Type(), Types(7, 0));
  // 32768 / 10, times 2 of the instrument, and times 4 and 0.5 of the gains
  EXPECT_EQ(Summary(),
            "ABF '' 20000 Hz, 3 frames of: IN 2 [mV] 0.000152588 n + 0, IN 0 [pA] "
            "0.000152588 n + 1.75");
  EXPECT_EQ(file_->Block(1)->ChannelGlobalIndex(1), 3);
  EXPECT_EQ(file_->Block(1)->StartDateTime(), DateSerial(1999, 2, 3) + 3600 / SecondsPerDay);
  EXPECT_EQ(file_->Notes(), u"Creator");
  EXPECT_EQ(file_->Block(1)->Notes(), u"long comment");
  EXPECT_EQ(Comments(), "2 first, 4 second");  // 10 us * 5 / 50 us + 1, and 3.6
  EXPECT_EQ(FindingCodes(), (Codes{"signal-conditioner", "comments-behind-end"}));
  ExpectFirstValues({1 / 6553.6, 2 / 6553.6 + 1.75});
}

TEST_F(DeviceTest, AbfTakesOrRefuses) {
  const std::string abf = WithoutConditioner(Abf());
  const auto with = Patching(abf);
  const Codes behind = {"comments-behind-end"};
  ExpectOutcomes(
      "f", {
               {abf.substr(0, 2051), Unknown},
               {with(100, Bytes().Int16(1)), Unsupported, {"coding-not-read"}},
               {with(120, Bytes().Int16(0)), Unknown},
               {with(120, Bytes().Int16(33)), Unknown},
               {with(120, Bytes().Int16(17)), Damaged},
               {with(410, Bytes().Int16(16)), Damaged},
               {with(410, Bytes().Int16(-1)), Damaged},
               {with(122, Bytes().Real32(0)), Damaged},
               {with(10, Bytes().Int32(-6)), Damaged},
               {with(48, Bytes().Int32(65538)), Damaged},  // 65536 more than there are
               {with(48, Bytes().Int32(65537)), "", {"tags-cut-off", behind[0]}},
               {with(8, Bytes().Int16(5)).replace(16, 1, "\2"), "", {"sweeps-in-a-row", behind[0]}},
               {with(366, Bytes().Int16(308)), "", {"start-milliseconds", behind[0]}},
               {Patched(with(4512, Bytes().Int16(1)), 4576, Bytes().Real32(5)),
                "",
                {"telegraph-gain", behind[0]}},
           });
  ASSERT_TRUE(Open("f", with(48, Bytes().Int32(65537))));
  EXPECT_EQ(file_->Block(1)->CommentCount(), 65537);  // the last one again and again
  EXPECT_EQ(file_->Block(1)->CommentText(65537), u"second");
  EXPECT_EQ(file_->Block(1)->CommentPosition(65537), 4);
  // Before 1.6 the short comment counts; a sample as the unit of tags: 13 / 2 + 1 is even.
  ASSERT_TRUE(Open("f", Patched(with(4, Bytes().Real32(1.5F)), 130, Bytes().Real32(0))));
  EXPECT_EQ(file_->Block(1)->Notes(), u"short");
  EXPECT_EQ(Comments(), "4 first, 8 second");
  const std::pair<int, Date> dates[] = {{20020305, DateSerial(2002, 3, 5)},
                                        {790101, DateSerial(2079, 1, 1)},
                                        {800101, DateSerial(1980, 1, 1)},
                                        {991301, DateSerial(2000, 1, 1)},
                                        {10100, DateSerial(2001, 1, 0)}};
  for (const auto& [number, date] : dates) {
    ASSERT_TRUE(Open("f", with(20, Bytes().Int32(number).Int32(0))));
    EXPECT_EQ(file_->Block(1)->StartDateTime(), date) << number;
  }
  for (const int none : {-1, 0, 9999}) {
    ASSERT_TRUE(Open("f", with(20, Bytes().Int32(none))));
    EXPECT_EQ(file_->Block(1)->StartDateTime(), 0) << none;
  }
}

TEST_F(DeviceTest, AbfTellsWhatTheLayoutCalibratesOtherwise) {
  const std::string plain = WithoutConditioner(Abf());
  const std::string gapFree = Patched(Patched(plain, 48, Bytes().Zeros(4)), 8, Bytes().Int16(3));
  const Bytes used = Bytes().Int16(1);
  const struct {
    std::string File;
    Codes Findings;
  } rows[] = {
      {gapFree, {}},
      {Patched(gapFree, 1050, Bytes().Real32(1)), {}},
      {Patched(gapFree, 1050, Bytes().Real32(3)), {"signal-conditioner"}},
      {Patched(Patched(gapFree, 1050, Bytes().Real32(3)), 1410, used), {}},
      {Patched(Patched(gapFree, 1114, Bytes().Real32(1)), 1410, used), {"signal-conditioner"}},
      {Patched(gapFree, 14, Bytes().Int16(2)), {"points-ignored"}},
      {Patched(Patched(gapFree, 14, Bytes().Int16(2)), 8, Bytes().Int16(5)), {}}};
  for (const auto& row : rows) {
    ASSERT_TRUE(Open("f.abf", row.File)) << Error();
    EXPECT_EQ(FindingCodes(), row.Findings);
  }
}

TEST_F(DeviceTest, AbinGivesEveryField) {
  ASSERT_TRUE(Open("f.bin", Abin()));
  EXPECT_EQ(Type(), Types(2, 0));
  EXPECT_EQ(Summary(), "E14 '' 100 Hz, 3 frames of: Flow [l/s] 0.5 n + 10, Gas [%] 0.25 n + 10");
  EXPECT_EQ(file_->Block(1)->ChannelGlobalIndex(1), 8);
  EXPECT_EQ(file_->Block(1)->StartDateTime(), DateSerial(2001, 2, 3) + TimeSerial(4, 5, 6));
  EXPECT_EQ(FindingCodes(), Codes{});
  ExpectFirstValues({10.5, 10.5, 11.5, 11});

  const std::string old = "ABIN" + Bytes().Int16(2).Get() + Abin().substr(6, 30);
  const std::string channel = Abin().substr(128, 40) + Bytes().Real32(2).Get();
  ASSERT_TRUE(Open("f", old + channel + channel + "data" + Bytes().Int32(0).Zeros(9).Get()));
  EXPECT_EQ(Summary(), "BIN '' 100 Hz, 2 frames of: Flow [] 2 n + 0, Flow [] 2 n + 0");
}

TEST_F(DeviceTest, AbinTakesOrRefuses) {
  const std::string abin = Abin();
  const auto with = Patching(abin);
  ExpectOutcomes("f", {{abin.substr(0, 91), Unknown},
                       {with(32, Bytes().Int32(33)), Unknown},
                       {with(4, Bytes().Int16(4)), Unsupported, {"version-not-read"}},
                       {with(4, Bytes().Int16(1)), Unsupported, {"version-not-read"}},
                       {with(128, Bytes().Text("ADCx")), Damaged},
                       {with(132, Bytes().Int16(32)), Damaged},
                       {with(288, Bytes().Text("date")), Damaged},
                       {with(292, Bytes().Int32(999)), "", {"data-cut-off"}},
                       {with(24, Bytes().Real32(0)), "", {"no-rate"}},
                       {with(200, Bytes().Real32(HUGE_VALF)), "", {"no-scale"}},
                       {abin.substr(0, 150), Damaged}});
  const std::pair<int, Long> sizes[] = {{3, 0}, {2, 1}, {1, 1}, {0, 3}, {4, 3}, {5, 6}};
  for (const auto& [sampleType, size] : sizes) {
    ASSERT_TRUE(Open("f", with(28, Bytes().Int16(sampleType))));
    EXPECT_EQ(file_->Block(1)->SizeChannel(), size) << sampleType;
  }
  ASSERT_TRUE(Open("f", with(292, Bytes().Int32(999)) + "1234"));
  EXPECT_EQ(file_->Block(1)->SizeChannel(), 4);  // to the end of the file
  ASSERT_TRUE(Open("f", with(292, Bytes().Int32(5))));
  EXPECT_EQ(file_->Block(1)->SizeChannel(), 1);
}

TEST_F(DeviceTest, CfwbGivesEveryField) {
  ASSERT_TRUE(Open("f.bin", Cfwb()));
  EXPECT_EQ(Type(), Types(2, 1));
  EXPECT_EQ(Summary(), "BIN '' 1000 Hz, 3 frames of: Flow [l/s] 0.5 n + 4, Gas [%] -0.25 n + -0");
  EXPECT_NEAR(file_->Block(1)->StartDateTime(),
              DateSerial(2001, 2, 3) + TimeSerial(4, 5, 6) - 0.5 / SecondsPerDay, 1e-9);
  ExpectFirstValues({4.5, -0.5, 5.5, -1});
  EXPECT_EQ(FindingCodes(), (Codes{"samples-past-count", "start-fraction"}));
  const std::string cfwb = Patched(Patched(Cfwb(), 56, Bytes().Int32(3)), 36, Bytes().Real64(6));
  const auto with = Patching(cfwb);
  ExpectOutcomes("f", {{cfwb.substr(0, 165), "No data in the file"},
                       {with(52, Bytes().Int32(0)), Unknown},
                       {with(64, Bytes().Int32(1)), Unsupported, {"coding-not-read"}},
                       {with(60, Bytes().Int32(1)), Unsupported, {"coding-not-read"}},
                       {with(8, Bytes().Real64(0)), Damaged},
                       {with(56, Bytes().Int32(0)), ""},
                       {with(56, Bytes().Int32(2)), "", {"samples-past-count"}},
                       {with(64 + 68, Bytes().Real64(std::nan(""))), Damaged}});
  ASSERT_TRUE(Open("f", with(44, Bytes().Real64(std::nan("")))));  // counts as no trigger
  EXPECT_EQ(file_->Block(1)->StartDateTime(), DateSerial(2001, 2, 3) + TimeSerial(4, 5, 6));
}

TEST_F(DeviceTest, NumbersTooLargeForASingleAreFaults) {
  const struct {
    const char* Name;
    std::string Bytes;
    const char* Field;
  } rows[] = {
      {"f.wdq", Patched(WinDaq().Build(), 28, Bytes().Real64(1e-300)), "WinDaq rate"},
      {"f.wdq", Patched(WinDaq().Build(), 118, Bytes().Real64(1e-300)), "WinDaq counts per unit"},
      {"f.wdq", Patched(WinDaq().Build(), 126, Bytes().Real64(-1e300)), "WinDaq intercept"},
      {"f", Patched(Cfwb(), 8, Bytes().Real64(1e-300)), "CFWB rate"},
      {"f", Patched(Cfwb(), 132, Bytes().Real64(1e-300)), "CFWB counts per unit"},
      {"f", Patched(Cfwb(), 140, Bytes().Real64(1e300)), "CFWB offset"},
      {"f", Patched(Ar(), 10, Bytes().Int8(200)), "AR full scale"},
      {"f", Patched(Ar(), 64, Bytes().Real32(1e-40F)), "AR counts per unit"},
      {"f", Patched(Abf(), 244, Bytes().Real32(1e-40F)), "ABF counts per volt"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.Field);
    try {
      Open(row.Name, row.Bytes);
      ADD_FAILURE();
    } catch (const std::range_error& fault) {
      EXPECT_TRUE(std::string(fault.what()).starts_with(row.Field)) << fault.what();
    }
    EXPECT_EQ(FindingCodes(), Codes{"number-too-large"});
  }
}

// Scales, offsets and lengths that make no value, or not all; real numbers have no scale.
TEST_F(DeviceTest, NumbersThatMakeNoValueAreFound) {
  const std::string abin = Abin();
  const auto with = Patching(abin);
  const std::string single = with(28, Bytes().Int16(2));
  ExpectOutcomes("f", {{with(200, Bytes().Real32(0)), "", {"no-range"}},
                       {with(204, Bytes().Real32(HUGE_VALF)), "", {"no-offset"}},
                       {Patched(single, 200, Bytes().Real32(HUGE_VALF)), ""}});
  ASSERT_TRUE(Open("f", with(280, Bytes().Real32(0))));
  const Finding finding = Findings().at(0);
  EXPECT_EQ(std::pair(finding.Block, finding.Channel), std::pair(0, 1));
  EXPECT_EQ(finding.Position, -1);
}

TEST_F(DeviceTest, AdcLabGivesEveryField) {
  ASSERT_TRUE(Open("f.alf", PlainAlf()));
  EXPECT_EQ(Type(), Types(5, 0));
  EXPECT_EQ(Summary(), "ALF '' 500 Hz, 4 frames of:  [] 0.000152588 n + 0,  [] 0.000152588 n + 0");
  EXPECT_EQ(file_->Block(1)->ChannelGlobalIndex(1), 5);
  EXPECT_EQ(file_->Block(1)->ChannelGlobalIndex(2), 1);  // 33 in its low five bits
  ASSERT_TRUE(Open("f.alf", DeviceAlf()));
  // 8192 / 8, times 4 for the even channel and 2 for the odd one; offsets -8 / 4096 and -16 / 2048
  EXPECT_EQ(Summary(),
            "Device '' 500 Hz, 4 frames of:  [] 0.000244141 n + -0.00195312,  [] "
            "0.000488281 n + -0.0078125");
  EXPECT_EQ(file_->Block(1)->ChannelGlobalIndex(1), 20);
  EXPECT_EQ(file_->Block(1)->ChannelGlobalIndex(2), 4);
}

TEST_F(DeviceTest, AdcLabTakesOrRefuses) {
  const std::string plain = PlainAlf();
  const std::string head = AlfSection("ADCLABFF", "");
  const auto format = [&](int channels, int code) {
    return AlfSection("SAMPLES_FORMAT",
                      Filled(20, {{4, Bytes().Int32(channels).Real64(500).Int8(code)}}));
  };
  const std::string data = AlfSection("SAMPLES_RECORD", std::string(48, '\1'));
  const auto negative = [](const std::string& section) {
    return Patched(section, 24, Bytes().Int32(-1));
  };
  const Codes scale = {"scale-of-16-bits"};
  ExpectOutcomes("f",
                 {{plain.substr(0, 95), Unknown},
                  {AlfSection("ADCLABXX", "") + plain, Unknown},
                  {head + AlfSection("samples_format", "") + data, Unknown},
                  {head + AlfSection("CHANNELS_INFO", "") + data, Unknown},
                  {head + AlfSection("SD_INFO", "") + data, Unsupported},
                  {head + format(33, 5) + data, Damaged},
                  {head + format(65536, 5) + data, Damaged},
                  {Patched(plain, 116, Bytes().Int32(32)), Damaged},  // no number in its low bits
                  {Patched(DeviceAlf(), 457, Bytes().Int8(17)), Damaged},
                  {negative(head) + format(1, 5) + data, Unknown},
                  {head + format(1, 3) + data, "", scale},
                  {head + format(1, 8) + data, "", scale}});
  const Long sizes[] = {24, 12, 6, 48, 48, 24, 24, 12, 12, 24};  // 48 bytes, by sample code
  for (int code = 0; code < 10; ++code) {
    ASSERT_TRUE(Open("f", head + format(1, code) + data));
    EXPECT_EQ(Summary(), "ALF '' 500 Hz, " + std::to_string(sizes[code]) +
                             " frames of:  [] "
                             "0.000305176 n + 0");
  }
  Integer count = 0;
  ASSERT_TRUE(Open("f", head + format(1, 4) + data));
  file_->Block(1)->GetChannelInteger(1, 1, 1, &count);
  EXPECT_EQ(count, 1 - 128);
  // Without a record of samples, what follows the last section is data.
  ASSERT_TRUE(Open("f", head + format(1, 5) + std::string(20, '\1')));
  EXPECT_EQ(file_->Block(1)->SizeChannel(), 10);
  // A section of negative size has no payload, and a record of negative size ends with the file.
  ASSERT_TRUE(
      Open("f", head + negative(AlfSection("SD_INFO", "")) + format(1, 5) + negative(data)));
  EXPECT_EQ(file_->Block(1)->SizeChannel(), 24);
}

TEST_F(DeviceTest, ArGivesEveryField) {
  for (const auto& [signature, device] :
       {std::pair("AR", "ARS"), std::pair("RG", "RGR-2"), std::pair("UB", "USB-3000")}) {
    ASSERT_TRUE(Open("f", signature + Ar().substr(2)));
    EXPECT_EQ(Type(), Types(3, 0));
    // 8192 / 5 * 2500 / 1000000 counts; and 1000, where no range and no sensitivity is stated
    EXPECT_EQ(Summary(), device + std::string(" '' 500 Hz, 3 frames of: ДЗДЕ-2 точка 5 [kPa] "
                                              "0.244141 n + 0, ИТ [°C] 0.001 n + 0"));
    EXPECT_EQ(FindingCodes(), (Codes{"no-range", "no-sensitivity"}));
  }
  EXPECT_EQ(file_->Block(1)->ChannelGlobalIndex(2), 16);
  EXPECT_EQ(file_->Block(1)->Notes(), u"some notes");
  EXPECT_EQ(file_->Block(1)->StartDateTime(), DateSerial(2001, 2, 3) + TimeSerial(4, 5, 6));
  ExpectFirstValues({1 / 4.096, 0.002});
  const std::string ar = Ar();
  const auto with = Patching(ar);
  ExpectOutcomes("f",
                 {{ar.substr(0, 515), Unknown},
                  {ar.substr(0, 516), "", {"no-range", "no-sensitivity"}},
                  {with(2, Bytes().Int16(0)), Damaged},
                  {with(4, Bytes().Int32(-5)), "", {"no-range", "no-sensitivity", "no-rate"}}});
  ASSERT_TRUE(Open("f", with(18, Bytes().Int16(40000))));
  EXPECT_EQ(file_->Block(1)->StartDateTime(), DateSerial(40000, 2, 3) + TimeSerial(4, 5, 6));
  for (const std::string& notes : {std::string(288, 'x'), std::string(288, '\0')}) {
    ASSERT_TRUE(Open("f", with(224, Bytes().Text(notes))));
    EXPECT_EQ(file_->Block(1)->Notes(), u"");
  }
}

TEST_F(DeviceTest, PeakGivesEveryField) {
  ASSERT_TRUE(Open("f.pk", Peak(0, 1)));
  EXPECT_EQ(Type(), Types(11, 0));
  const std::string scale = " [] 0.00015625 n + 0";
  EXPECT_EQ(Summary(), "Sound 'Cache: 50' 50 Hz, 8 frames of: Cache Low" + scale + ", Cache Hight" +
                           scale + ", Ch1 - Min" + scale + ", Ch1 - Max" + scale);
  ExpectFirstValues({1 / 6400.0, 2 / 6400.0});
  ASSERT_TRUE(Open("f.pk", Peak(1, 2)));
  EXPECT_EQ(Type(), Types(11, 1));
  EXPECT_EQ(Summary(), "Sound 'Cache: 50' 50 Hz, 8 frames of: Ch1 - Min" + scale + ", Ch1 - Max" +
                           scale + ", Ch2 - Min" + scale + ", Ch2 - Max" + scale);
  const Codes peaks = {"peaks"};
  ExpectOutcomes("f", {{Peak(0, 1).substr(0, 79), "No data in the file"},
                       {Peak(0, 1).substr(0, 80), "", peaks},
                       {Peak(0, 0), Unknown},
                       {Peak(1, 33), Unknown},
                       {Peak(0, 16), Unknown},                 // 34 channels
                       {Peak(1, 16).substr(0, 128), Unknown},  // one frame
                       {Peak(0, 1, 1), Unknown},
                       {Peak(0, 1, 2), "", peaks}});
}

}  // namespace
}  // namespace lmimport::test
