#include "support/Builders.h"

namespace lmimport::test {
namespace {

// 1, 2, 3, ... as words.
std::string Counts(int count) {
  Bytes samples;
  for (int i = 1; i <= count; ++i) samples.Int16(i);
  return samples.Get();
}

}  // namespace

std::string Abf() {
  const Fields fields = {{0, Bytes().Text("ABF ").Real32(1.83F)},
                         {10, Bytes().Int32(6)},
                         {20, Bytes().Int32(990203).Int32(3600)},
                         {40, Bytes().Int32(12).Int32(13).Int32(2)},
                         {120, Bytes().Int16(2).Real32(25)},
                         {130, Bytes().Real32(10)},
                         {244, Bytes().Real32(10)},
                         {252, Bytes().Int32(32768)},
                         {294, Bytes().Text("Creator ")},
                         {310, Bytes().Text("short")},
                         {410, Bytes().Int16(2).Int16(0)},
                         {442, Bytes().Text("IN 0      ")},
                         {462, Bytes().Text("IN 2      ")},
                         {602, Bytes().Text("pA")},
                         {618, Bytes().Text("mV")},
                         {730, Bytes().Real32(4)},
                         {922, Bytes().Real32(0).Real32(0).Real32(2)},
                         {986, Bytes().Real32(1.5F)},
                         {1050, Bytes().Real32(0.5F)},
                         {1114, Bytes().Real32(0.25F)},
                         {5154, Bytes().Text("long comment")}};
  const auto tag = [](int time, const char* text) {
    return Filled(64, {{0, Bytes().Int32(time).Text(text)}});
  };
  return Filled(6144, fields) + Filled(512, {{0, Bytes().Text(Counts(6))}}) + tag(5, "first") +
         tag(13, "second");
}

std::string Abin() {
  Bytes file;
  file.Text("ABIN").Int16(3).Int16(3).Int16(2001).Int16(2).Int16(0).Int16(3).Int16(4).Int16(5);
  file.Int16(6).Int16(0).Real32(100).Int16(0).Int16(0).Int32(2).Zeros(28).Text("E14").PadTo(128);
  const auto channel = [&](int number, const char* name, const char* unit, float perCount) {
    const std::size_t start = file.Size();
    file.Text("ADCh").Int16(number).Int16(0).Text(name).PadTo(start + 40).Text(unit);
    file.PadTo(start + 72).Real32(perCount).Real32(10);
  };
  channel(7, "Flow", "l/s", 0.5F);
  channel(1, "Gas", "%", 0.25F);
  return file.Text("data").CountedText(Counts(6)).Get();
}

std::string Cfwb() {
  Bytes file;
  file.Text("CFWB").Int32(1).Real64(0.001).Int32(2001).Int32(2).Int32(3).Int32(4).Int32(5);
  file.Real64(6.9).Real64(0.5).Int32(2).Int32(2).Int32(0).Int32(3);
  const auto channel = [&](const char* name, const char* unit, double scale, double offset) {
    const std::size_t start = file.Size();
    file.Text(name).PadTo(start + 32).Text(unit).PadTo(start + 64).Real64(scale).Real64(offset);
    file.Zeros(16);
  };
  channel("Flow", "l/s", 0.5, 8);
  channel("Gas", "%", -0.25, 0);
  return file.Text(Counts(6)).Int8(0).Get();
}

std::string AlfSection(std::string_view name, std::string_view payload) {
  const auto size = static_cast<std::int64_t>(payload.size());
  return Filled(32, {{0, Bytes().Text(name)}, {24, Bytes().Int32(size)}}) + std::string(payload);
}

std::string PlainAlf() {
  const auto channel = [](int number) { return Bytes().Int32(number).Real64(-2).Real64(8).Get(); };
  return AlfSection("ADCLABFF 1", "") +
         AlfSection("SAMPLES_FORMAT", Filled(20, {{4, Bytes().Int32(2).Real64(500).Int8(5)}})) +
         AlfSection("CHANNELS_INFO", channel(5) + channel(33)) +
         AlfSection("SAMPLES_RECORD", Counts(8));
}

std::string DeviceAlf() {
  const Fields info = {{34, Bytes().Real32(0).Real32(16)},
                       {54, Bytes().Real32(1).Real32(2)},
                       {74, Bytes().Real32(0).Real32(0).Real32(8)},
                       {94, Bytes().Real32(1).Real32(1).Real32(4)},
                       {126, Bytes().Real32(8)},
                       {230, Bytes().Text("Device")}};
  // In pairs; the word of channel 3: even at gain code 2, odd at gain code 1.
  const std::string format = Filled(72, {{4, Bytes().Int8(2).Int8(1).Int16(3 + 0x100 + 0x1000)}});
  return AlfSection("ADCLABFF", "head") +
         AlfSection("SAMPLES_FORMAT",
                    Filled(20, {{8, Bytes().Real64(500).Int8(5).Int8(12).Int8(2)}})) +
         AlfSection("SD_INFO", Filled(300, info)) + AlfSection(" SD_FORMAT ", format) +
         AlfSection("SAMPLES_RECORD", Counts(8));
}

std::string Ar() {
  return Filled(
             512,
             {{0, Bytes().Text("AR").Int8(0x80).Int8(0x01).Int32(500)},
              {10, Bytes().Int8(14).Int8(4).Int8(5).Int8(0).Int8(6).Int8(0).Int8(3).Int8(2).Int16(
                       2001)},
              {32, Bytes().Int16(5)},
              {64, Bytes().Real32(5)},
              {128, Bytes().Real32(2.5F)},
              {192, Bytes().Int16(1).Zeros(28).Int16(9)},
              {224, Bytes().Text("some notes")}}) +
         Counts(6);
}

std::string Peak(int layout, int sounds, int rate) {
  const Fields fields =
      layout == 0
          ? Fields{{0, Bytes().Int32(1777).Int32(rate)}, {60, Bytes().Int16(sounds)}}
          : Fields{{0, Bytes().Text("SFPK")}, {20, Bytes().Int16(sounds).Int16(0).Int32(rate)}};
  return Filled(64, fields) + Counts(32);
}

}  // namespace lmimport::test
