// What the published layouts give where LMImport's own rules show something else.
#include <gtest/gtest.h>
#include <lmimport/Recording.h>

#include <cmath>
#include <sstream>

#include "model/Date.h"
#include "model/Inflate.h"
#include "support/ImportTest.h"
#include "support/MemorySource.h"

namespace lmimport::test {
namespace {

class PublishedReading : public ImportTest {
 protected:
  static Recording Of(const std::string& bytes, std::string_view name) {
    return Recording::Open(std::make_shared<MemorySource>(bytes), name);
  }

  // "0.5 s 100 Hz: 1 2 | 3 4; ...": of each block start, rate, and the values of each channel
  static std::string Show(const Recording& recording) {
    std::ostringstream text;
    for (std::size_t b = 0; b < recording.Blocks().size(); ++b) {
      const Block& block = recording.Blocks()[b];
      text << (b > 0 ? "; " : "") << block.StartTime << " s " << block.SamplingRate << " Hz:";
      for (std::size_t c = 0; c < block.Channels.size(); ++c) {
        if (c > 0) text << " |";
        std::vector<double> values(static_cast<std::size_t>(block.FrameCount));
        recording.Read(b, c, 0, values);
        for (const double value : values) text << ' ' << value;
      }
    }
    return text.str();
  }
  static std::string Comments(const Recording& recording) {
    std::ostringstream text;
    for (const Comment& comment : recording.Comments()) {
      text << (text.tellp() > 0 ? ", " : "") << comment.Time;
      if (!std::isnan(comment.Duration)) text << "+" << comment.Duration;
      text << ' ' << comment.Text << " in " << comment.BlockIndex;
    }
    return text.str();
  }

  struct Row {
    std::string Bytes;
    std::string Shown;  // or the code of the finding that says why it isn't
    Codes Found = {};
  };
  static void Expect(std::string_view name, const std::vector<Row>& rows) {
    int number = 0;
    for (const Row& row : rows) {
      SCOPED_TRACE(++number);
      try {
        const Recording recording = Of(row.Bytes, name);
        EXPECT_EQ(Show(recording), row.Shown);
        EXPECT_EQ(CodesOf(recording.Findings()), row.Found);
      } catch (const OpenError& error) {
        EXPECT_EQ(error.Findings().back().Code, row.Shown) << error.what();
      }
    }
  }
};

// Two frames a second of one channel: units are 2 a count.
std::string WinDaqOf(int flags, const std::vector<int>& samples) {
  return WinDaq{.Channels = {{8, 1, "V"}}, .Flags = flags, .Samples = samples, .Annotations = ""}
      .Build();
}

TEST_F(PublishedReading, OfWinDaq) {
  const std::string hiRes = WinDaq{.Channels = {{4, 0, "V"}, {4, 0, "V"}},
                                   .EndTime = 86400,
                                   .Samples = {1, 2, 3, 4, 5, 6, 7, 8},
                                   .Markers = {0, 77, 4, 78, CommentAt(20)},
                                   .CommentTexts = "go"}
                                .Build();
  Expect("a.wdq",
         {{WinDaqOf(2, {1, 6, -1}), "0 s 2 Hz: 3 13 -1"},
          {WinDaqOf(0, {1, 6, -1}), "0 s 2 Hz: 1 9 -7"},  // without their two low bits
          {WinDaqOf(0x4002, {1, 6}), "packed"},
          {hiRes, "0 s 2 Hz: 1 3 5 7 | 2 4 6 8"},
          {Patched(hiRes, 28, Bytes().Real64(0)), "0 s 100 Hz: 1 3 5 7 | 2 4 6 8", {"no-rate"}}});
  EXPECT_EQ(Comments(Of(hiRes, "a.wdq")), "0  in 0, 1 go in 0");
  EXPECT_EQ(Of(hiRes, "a.WDH").Format(), "windaq");
  WinDaq wide{.ChannelField = 145, .Channels = std::vector<WinDaqChannel>(145)};
  wide.Samples.resize(145);
  EXPECT_EQ(Of(wide.Build(), "a.wdq").Blocks()[0].Channels.size(), 145U);
  std::array<std::int16_t, 3> counts{};
  EXPECT_EQ(Of(WinDaqOf(0, {7, 6, -1}), "a.wdq").Read(0, 0, 0, counts), 3);
  EXPECT_EQ(counts, (std::array<std::int16_t, 3>{4, 4, -4}));
}

TEST_F(PublishedReading, OfAbf) {
  // A count is 1 V, over gains of 2 and 4; gap-free, 50 us from frame to frame, words 1 to 6.
  std::string abf = Patched(Patched(Abf(), 8, Bytes().Int16(3)), 252, Bytes().Int32(10));
  abf = Patched(Patched(abf, 730 + 8, Bytes().Real32(1)), 922, Bytes().Real32(1));
  const auto with = [](std::string bytes, std::size_t place, const Bytes& patch) {
    return Patched(std::move(bytes), place, patch);
  };
  const std::string conditioned = with(abf, 1410, Bytes().Int16(1));
  const std::string episodic =
      with(with(with(abf, 8, Bytes().Int16(5)), 16, Bytes().Int32(3)), 138, Bytes().Int32(2));
  const std::string table =
      Bytes().Int32(100).Int32(4).Int32(2000).Int32(2).Int32(9).Int32(9).Get();
  std::string swept = with(abf, 92, Bytes().Int32(14).Int32(3));
  swept.resize(14 * 512);
  swept += table;
  std::string singles = with(abf, 100, Bytes().Int16(1)).substr(0, 6144);
  singles += Bytes().Real32(1.5F).Real32(-2).Get();
  const std::string shortened = with(with(singles, 10, Bytes().Int32(2)), 48, Bytes().Int32(0));
  Expect(
      "a.abf",
      {{abf, "0 s 20000 Hz: 0.5 1.5 2.5 | 2 2.5 3"},  // gain 4 and 1.5 of the instrument
       {with(abf, 4512 + 4, Bytes().Int16(1)), "0 s 20000 Hz: 0.5 1.5 2.5 | 2 2.5 3"},
       {with(with(abf, 4512 + 4, Bytes().Int16(2)), 4576 + 8, Bytes().Real32(5)),
        "0 s 20000 Hz: 0.1 0.3 0.5 | 2 2.5 3"},
       // gains of 0, which counts as none of all, and 0.5, and the offset 0.25 taken off
       {conditioned, "0 s 20000 Hz: 1 3 5 | 2.25 3.25 4.25"},
       {with(conditioned, 1050 + 8, Bytes().Real32(1)),
        "0 s 20000 Hz: 0.5 1.5 2.5 | 2.25 3.25 4.25"},
       {with(with(abf, 14, Bytes().Int16(2)), 10, Bytes().Int32(4)),
        "0 s 20000 Hz: 1.5 2.5 | 2.5 3"},
       {episodic, "0 s 20000 Hz: 0.5 | 2; 5e-05 s 20000 Hz: 1.5 | 2.5; 0.0001 s 20000 Hz: 2.5 | 3"},
       {with(episodic, 178, Bytes().Real32(2)),
        "0 s 20000 Hz: 0.5 | 2; 2 s 20000 Hz: 1.5 | 2.5; 4 s 20000 Hz: 2.5 | 3"},
       {swept, "0.001 s 20000 Hz: 0.5 1.5 | 2 2.5; 0.02 s 20000 Hz: 2.5 | 3"},
       {shortened, "0 s 20000 Hz: 1.5 | -2"}});
  EXPECT_EQ(Comments(Of(abf, "a.abf")), "5e-05 first in 0, 0.00013 second in 0");
  const auto start = Of(with(abf, 366, Bytes().Int16(250)), "a.abf").Start();
  EXPECT_NEAR(*start, DateSerial(1999, 2, 3) + 3600.25 / SecondsPerDay, 1e-10);
}

TEST_F(PublishedReading, OfCfwb) {
  const std::string cfwb = Cfwb();
  const std::string head = cfwb.substr(0, cfwb.size() - 13);
  const std::string reals =
      Patched(head, 64, Bytes().Int32(2)) + Bytes().Real32(1.5F).Real32(-2).Get();
  const std::string doubles =
      Patched(head, 64, Bytes().Int32(1)) + Bytes().Real64(1.5).Real64(-2).Get();
  Expect("a.dat", {{cfwb, "0 s 1000 Hz: 4.5 5.5 | -0.5 -1"},  // two frames stated, three there
                   {reals, "0 s 1000 Hz: 1.5 | -2", {"data-cut-off"}},
                   {doubles, "0 s 1000 Hz: 1.5 | -2", {"data-cut-off"}},
                   {Patched(cfwb, 60, Bytes().Int32(1)), "coding-not-read"},
                   {Patched(cfwb, 52, Bytes().Int32(30000)), "damaged"}});
  EXPECT_NEAR(*Of(cfwb, "a.dat").Start(),
              DateSerial(2001, 2, 3) + TimeSerial(4, 5, 0) + (6.9 - 0.5) / SecondsPerDay, 1e-10);
}

std::string WaveOf(int tag, int bits, const std::string& samples, int frameBytes = 0) {
  Wave wave{.Tag = tag, .Channels = 1, .Rate = 8, .FrameBytes = frameBytes, .Bits = bits};
  if (frameBytes == 0) wave.FrameBytes = bits / 8;
  wave.Samples.clear();
  wave.DataBytes = std::ssize(samples);
  return wave.Build() + samples;
}

TEST_F(PublishedReading, OfWaves) {
  const std::string words = Words({16384, -32768});
  const std::string wave = WaveOf(1, 16, words);
  const std::string list = Chunk("LIST", "odd") + std::string(1, '\0');
  const std::string format = wave.substr(12, 24);
  const std::string riff = wave.substr(0, 12);
  const auto big = [](const Bytes& bytes) { return bytes.Get(); };
  const std::string rifx =
      "RIFX" + std::string(4, '\0') + "WAVEfmt " +
      big(Bytes(true).Int32(16).Int16(1).Int16(1).Int32(8).Int32(0).Int16(2).Int16(16)) + "data" +
      big(Bytes(true).Int32(4).Int16(16384).Int16(-32768));
  std::string extensible =
      riff + "fmt " + Bytes().Int32(40).Int16(-2).Int16(1).Int32(8).Int32(0).Get();
  extensible += Bytes().Int16(3).Int16(20).Zeros(8).Int16(1).Zeros(14).Get();
  extensible += Chunk("data", std::string("\0\0\x40\0\0\x80", 6));
  const std::string half = "0 s 8 Hz: 0.5 -1";
  Expect("a.wav",
         {{wave, half},
          {WaveOf(1, 8, "\xc0" + std::string(1, '\0')), half},
          {WaveOf(1, 24, std::string("\0\0\x40\0\0\x80", 6)), half},
          {WaveOf(1, 32, Bytes().Int32(0x40000000).Int32(-0x80000000LL).Get()), half},
          {WaveOf(3, 32, Bytes().Real32(0.5F).Real32(-1).Get()), half},
          {WaveOf(3, 64, Bytes().Real64(0.5).Real64(-1).Get()), half},
          {WaveOf(1, 12, words, 2), half},
          // 32256 and -8; 0 and -32124, of 32768
          {WaveOf(6, 8, "\xaa\x55"), "0 s 8 Hz: 0.984375 -0.000244141"},
          {WaveOf(7, 8, std::string("\xff\0", 2)), "0 s 8 Hz: 0 -0.980347"},
          {riff + list + format + list + Chunk("data", words), half},
          {riff + Chunk("data", words) + format, half},
          {rifx, half},
          {extensible, half},
          {riff + format + "data" + Bytes().Int32(-1).Get() + words, half},
          {riff + format + "data" + Bytes().Int32(0).Get() + words, half},
          {riff + format + "data" + Bytes().Int32(400).Get() + words, half, {"data-cut-off"}},
          {WaveOf(17, 4, "1234", 1), "coding-not-read"},
          {WaveOf(1, 16, "1"), "no-data"},
          {riff + format, "not-of-format"},
          {Patched(wave, 22, Bytes().Int16(32767)), "coding-not-read"}});
  // A size that leads back, and a RIFF file of another form.
  const std::string wide = "RF64" + Bytes().Int32(-1).Text("WAVE").Get();
  const std::string sizes =
      Chunk("ds64", Bytes().Zeros(8).Int32(-1).Int32(0x7fffffff).Zeros(12).Get());
  Expect("a.wav", {{wide + sizes + "data" + Bytes().Int32(-1).Get() + std::string(32, '\1'),
                    "not-of-format"},
                   {Patched(wave, 8, Bytes().Text("AVI ")), "coding-not-read"}});
  auto source = std::make_shared<MemorySource>(WaveOf(1, 24, std::string("\0\0\x40\0\0\x80", 6)));
  source->PutBeside("a_wavheader.txt", "[Ch0]\nMaxRange=10\nMinRange=-10\n");
  EXPECT_EQ(Show(Recording::Open(source, "a.wav")), "0 s 8 Hz: 5 -10");
}

// The zero byte that ends a list.
std::string Lists(const std::string& text) {
  std::string bytes = text;
  std::ranges::replace(bytes, '$', '\0');
  std::ranges::replace(bytes, '|', '\x14');
  std::ranges::replace(bytes, '~', '\x15');
  return bytes;
}

TEST_F(PublishedReading, OfEdf) {
  const EdfSignal fast{.Label = "fast", .Unit = "uV", .Records = {Words({1, 2}), Words({3, 4})}};
  const EdfSignal slow{.Label = "slow", .Records = {Words({10}), Words({20})}, .PhysicalMin = "0"};
  const EdfSignal times = EdfAnnotations(
      {Lists("+0.5||$+0||early|two|$+1~2|long|$"), Lists("+5||$+2.5|between|$+9~1||$")}, 24);
  const EdfSignal more = EdfAnnotations({Lists("+5.5|\xce\xbc|$"), ""}, 8);
  const Edf gaps{.Reserved = "EDF+D", .Signals = {fast, times, slow, more}};
  Edf joined = gaps;
  joined.Reserved = "EDF+C";
  Edf plain = gaps;
  plain.Reserved = "";
  plain.Signals = {fast, EdfAnnotations({std::string("\1\0", 2), std::string("\2\0", 2)}, 1)};
  const std::string cut = Edf{.Signals = {fast, slow}}.Build();
  Expect("a.edf",
         {{joined.Build(), "0 s 2 Hz: 0.1 0.2 0.3 0.4; 0 s 1 Hz: 50.5 51"},
          {gaps.Build(), "0 s 2 Hz: 0.1 0.2; 0 s 1 Hz: 50.5; 4.5 s 2 Hz: 0.3 0.4; 4.5 s 1 Hz: 51"},
          {plain.Build(), "0 s 2 Hz: 0.1 0.2 0.3 0.4; 0 s 1 Hz: 0.1 0.2"},
          {Edf{.Signals = {fast}}.Build(), "0 s 2 Hz: 0.1 0.2 0.3 0.4"},
          {cut.substr(0, cut.size() - 1), "0 s 2 Hz: 0.1 0.2; 0 s 1 Hz: 50.5", {"data-cut-off"}}});
  const Recording recording = Of(gaps.Build(), "a.edf");
  EXPECT_EQ(Comments(recording),
            "-0.5 early in 0, -0.5 two in 0, 0.5+2 long in 0, 2 between in 0, 5 \xce\xbc in 2, "
            "8.5+1  in 2");
  EXPECT_EQ(recording.Blocks()[1].Channels[0].Number, 3);
  EXPECT_EQ(recording.Blocks()[0].Channels[0].Unit, "uV");
  EXPECT_NEAR(*recording.Start(),
              DateSerial(2004, 3, 2) + TimeSerial(5, 6, 7) + 0.5 / SecondsPerDay, 1e-10);
  for (const auto& [year, shown] : {std::pair("84", 2084), {"85", 1985}, {"00", 2000}})
    EXPECT_EQ(std::floor(*Of(Edf{.Date = std::string("02.03.") + year}.Build(), "a.edf").Start()),
              DateSerial(shown, 3, 2));
  // A stamp that is no number, and a first list that keeps no time.
  Edf damaged = gaps;
  damaged.Signals[1].Records[1] = damaged.Signals[1].Records[1].replace(0, 2, "+x");
  const std::string joinedShown = "0 s 2 Hz: 0.1 0.2 0.3 0.4; 0 s 1 Hz: 50.5 51";
  Expect("a.edf", {{damaged.Build(), joinedShown, {"times-not-stated"}}});
  damaged.Reserved = "EDF+C";
  damaged.Signals[1].Records[0] = Lists("+9|go|$") + std::string(48 - 7, '\0');
  EXPECT_EQ(Of(damaged.Build(), "a.edf").Comments().at(0).Time, 2.5);
  EXPECT_EQ(*Of(damaged.Build(), "a.edf").Start(), DateSerial(2004, 3, 2) + TimeSerial(5, 6, 7));

  Edf many{.Signals = std::vector<EdfSignal>(40, slow)};
  EXPECT_EQ(Of(many.Build(), "a.edf").Blocks()[0].Channels.size(), 40U);

  Edf bdf{.Version =
              "\xff"
              "BIOSEMI",
          .Signals = {{.Records = {std::string("\1\0\0\0\0\x80", 6)}, .RecordSamples = "2"}}};
  bdf.Signals[0].DigitalMin = "-8388608";
  bdf.Signals[0].DigitalMax = "8388607";
  bdf.Signals[0].PhysicalMin = "-8388608";
  bdf.Signals[0].PhysicalMax = "8388607";
  std::ostringstream exact;
  Expect("a.bdf", {{bdf.Build(), "0 s 2 Hz: 1 -8.38861e+06"}});
}

// Only the first bytes of a long signal are read for a window at its end.
TEST_F(PublishedReading, AWindowOfALaneCostsItself) {
  EdfSignal wide{.Records = {}};
  EdfSignal narrow{.Records = {}};
  for (int i = 0; i < 100; ++i) {
    wide.Records.push_back(Words(std::vector<int>(20000, i)));
    narrow.Records.push_back(Words({i, i + 1000}));
  }
  const auto source = std::make_shared<MemorySource>(Edf{.Signals = {wide, narrow}}.Build());
  const Recording recording = Recording::Open(source, "a.edf");
  const long before = source->Reads();
  std::array<std::int16_t, 3> counts{};
  EXPECT_EQ(recording.Read(1, 0, 197, counts), 3);
  EXPECT_EQ(counts, (std::array<std::int16_t, 3>{1098, 99, 1099}));
  EXPECT_EQ(source->Reads() - before, 2);
  std::array<std::int16_t, 4> frames{};
  EXPECT_EQ(recording.ReadFrames(0, 19999, std::span(frames)), 4);
  EXPECT_EQ(frames, (std::array<std::int16_t, 4>{0, 1, 1, 1}));
  std::array<Extremes, 2> bins{};
  recording.Overview(1, 0, 0, 200, bins);
  EXPECT_EQ(bins[0].Smallest, 0);
  EXPECT_NEAR(bins[1].Largest, 109.9, 1e-9);
}

TEST_F(PublishedReading, OfAcq) {
  const AcqChannelOf whole{.Samples = {1, 2, 3}};
  const AcqChannelOf real{.Samples = {-1.5, 2}, .IsDouble = true};
  // 2 kHz; n * 0.5 + 10
  const std::string shown = "0 s 2000 Hz: 10.5 11 11.5 12; 0 s 1000 Hz: 9 11";
  for (const auto& [version, isBig] :
       {std::pair(35, true), {38, false}, {84, true}, {124, true}, {132, true}}) {
    SCOPED_TRACE(version);
    PublishedAcq acq{.Version = version, .IsBigEndian = isBig};
    if (version == 35) acq.Channels.pop_back();  // it states no divider
    if (version > 120) acq.Markers.clear();      // their heads are longer
    const Recording recording = Of(acq.Build(), "a.acq");
    EXPECT_EQ(Show(recording), version == 35 ? "0 s 2000 Hz: 10.5 11 11.5 12" : shown);
    if (version <= 120) {
      EXPECT_EQ(Comments(recording), "0 begin in 0, 0.0015 late in 0");
    }
    EXPECT_EQ(recording.Start(), std::nullopt);
  }
  Expect(
      "a.acq",
      {{PublishedAcq{.Channels = {whole, whole}}.Build(),
        "0 s 2000 Hz: 10.5 11 11.5 | 10.5 11 11.5"},
       {PublishedAcq{.Channels = {whole, real}}.Build(),
        "0 s 2000 Hz: 10.5 11 11.5; 0 s 2000 Hz: -1.5 2"},
       {PublishedAcq{.Channels = {real, real}}.Build(), "0 s 2000 Hz: -1.5 2 | -1.5 2"},
       {PublishedAcq{.Version = 46}.Build(), "version-not-read"},
       {PublishedAcq{.Version = 133}.Build(), "version-not-read"},
       {PublishedAcq().Build().substr(0, 2925), "0 s 2000 Hz:; 0 s 1000 Hz:", {"data-cut-off"}}});
  if (!CanInflate()) GTEST_SKIP() << "built without zlib";
  for (const auto& [version, isBig] : {std::pair(41, false), {84, true}}) {
    const PublishedAcq acq{.Version = version, .IsBigEndian = isBig, .IsCompressed = true};
    EXPECT_EQ(Show(Of(acq.Build(), "a.acq")), shown);
    EXPECT_EQ(Comments(Of(acq.Build(), "a.acq")), "0 begin in 0, 0.0015 late in 0");
    const std::string bytes = acq.Build();
    Expect("a.acq", {{bytes.substr(0, bytes.size() - 20),
                      "0 s 2000 Hz: 10.5 11 11.5 12; 0 s 1000 Hz:",
                      {"data-cut-off"}}});
  }
}

TEST_F(PublishedReading, OfMatlab) {
  const auto numbers = [](int type, const std::string& data, int kind = 6) {
    return Mat5({{.Name = "x", .Dimensions = {1, 2}, .Type = type, .Data = data, .Class = kind}});
  };
  const Mat5Variable tall{
      .Name = "t", .Dimensions = {3, 2}, .Type = 3, .Data = Words({1, 2, 3, 4, 5, 6})};
  const Mat5Variable rate{
      .Name = "a_SamplingRate", .Dimensions = {1, 1}, .Data = Bytes().Real64(50).Get()};
  const Mat5Variable a{.Name = "a_Data"}, b{.Name = "b_Data"};
  Mat5Variable complex{.Name = "z", .Flags = 8};
  const std::string imaginary = Mat5Element(3, Words({5, 6, 7, 8}));
  std::string withImaginary = Mat5({complex}) + imaginary;
  withImaginary =
      Patched(withImaginary, 132, Bytes().Int32(static_cast<int>(withImaginary.size() - 136)));
  Expect("a.mat",
         {{numbers(2, "\1\xff"), "0 s 100 Hz: 1 255"},
          {numbers(1, "\1\xff"), "0 s 100 Hz: 1 -1"},
          {numbers(4, Words({1, -1})), "0 s 100 Hz: 1 65535"},
          {numbers(6, Bytes().Int32(1).Int32(-1).Get()), "0 s 100 Hz: 1 4.29497e+09"},
          {numbers(5, Bytes().Int32(1).Int32(-1).Get()), "0 s 100 Hz: 1 -1"},
          {numbers(4, Words({1, 2}), 4), "coding-not-read"},  // text
          {numbers(3, Words({1, 2}), 5), "coding-not-read"},  // sparse
          {Mat5({tall}), "0 s 100 Hz: 1 2 3 | 4 5 6"},
          {Mat5({a, b, rate}), "0 s 50 Hz: 1 -3 0 0.5; 0 s 100 Hz: 1 -3 0 0.5"},
          {Mat5({{"orphan_SamplingRate", {1, 1}, 9, Bytes().Real64(7).Get()}, b, a, rate}),
           "0 s 7 Hz: 1 -3 0 0.5; 0 s 50 Hz: 1 -3 0 0.5",
           {"rates-by-order"}},
          {withImaginary, "0 s 100 Hz: 1 -3 0 0.5; 0 s 100 Hz: 5 6 7 8"},
          {Mat4(1020, 3, 2, false, "v", ""), "coding-not-read"},
          {Mat4(20, 2, 1, false, "v", Bytes().Int32(7).Int32(-7).Get()), "0 s 100 Hz: 7 -7"},
          {Mat4(50, 1, 4, false, "v", "\x01\xff\x02\x03"), "0 s 100 Hz: 1 255 2 3"},
          {Mat4(0, 2, 2, false, "v", Bytes().Real64(1).Real64(2).Real64(3).Real64(4).Get()),
           "0 s 100 Hz: 1 3 | 2 4"},
          {Mat4(1, 2, 1, false, "v", Bytes().Real64(1).Real64(2).Get()), "coding-not-read"}});
  const std::string big = Bytes(true)
                              .Int32(1000)
                              .Int32(3)
                              .Int32(2)
                              .Int32(0)
                              .Int32(2)
                              .Text("v")
                              .Zeros(1)
                              .Real64(1)
                              .Real64(2)
                              .Real64(3)
                              .Real64(4)
                              .Real64(5)
                              .Real64(6)
                              .Get();
  Expect("four.mat", {{big, "0 s 100 Hz: 1 2 3 | 4 5 6"}});
  if (!CanInflate()) GTEST_SKIP() << "built without zlib";
  const auto packed = [](const std::string& element, std::size_t lost = 0) {
    std::string stream = Zlib(element);
    stream.resize(stream.size() - lost);
    return Bytes().Int32(15).Int32(static_cast<int>(stream.size())).Text(stream).Get();
  };
  const std::string head = Mat5({}), one = Mat5({tall}).substr(128), other = Mat5({a}).substr(128);
  // A row of a million that the file doesn't hold, and as many channels as there can be.
  std::string claims = Mat5({{.Name = "x", .Dimensions = {1, 1000000}}}).substr(128);
  claims = Patched(claims, 4, Bytes().Int32(9000000));
  claims = Patched(claims, claims.size() - 36, Bytes().Int32(8000000));
  const std::string wide = Mat5({{.Name = "w",
                                  .Dimensions = {32767, 32768},
                                  .Type = 1,
                                  .Data = std::string(65536, '\1')}})
                               .substr(128, 3000);
  std::string bomb = one;
  bomb = Patched(bomb, 4, Bytes().Int32(0x7fffff00));
  Expect(
      "a.mat",
      {{head + packed(one) + packed(other), "0 s 100 Hz: 1 2 3 | 4 5 6; 0 s 100 Hz: 1 -3 0 0.5"},
       {head + packed(one) + packed(one), "0 s 100 Hz: 1 2 3 | 4 5 6; 0 s 100 Hz: 1 2 3 | 4 5 6"},
       {head + packed(one) + one, "0 s 100 Hz: 1 2 3 | 4 5 6; 0 s 100 Hz: 1 2 3 | 4 5 6"},
       {head + packed(withImaginary.substr(128)), "0 s 100 Hz: 1 -3 0 0.5; 0 s 100 Hz: 5 6 7 8"},
       {head + packed(one, 12), "0 s 100 Hz: 1 2 3 | 4 0 0", {"data-cut-off"}},
       {head + packed(bomb), "coding-not-read"},
       {head + packed("junk that is no element"), "coding-not-read"}});
}

TEST_F(PublishedReading, RefusesWhatIsKnownAndHoldsWhatIsClaimed) {
  SetReading(Reading::Published);
  EXPECT_FALSE(Open("a.dat", "PK\x03\x04" + std::string(200, 'x')));
  EXPECT_EQ(Error(), Unsupported);
  EXPECT_EQ(FindingCodes(), (Codes{"no-recording", "format-not-read"}));
  EXPECT_TRUE(Open("noise.dat", std::string(200, '\1')));
  // A claim is held to what is there.
  folder_.Write("c.rvp", Patched(Rvp(), 608, Bytes().Int32(50)));
  ASSERT_TRUE(Open("c.dat", Words({6, -6, 3, 0})));
  EXPECT_EQ(file_->Block(1)->SizeChannel(), 2);
  EXPECT_EQ(FindingCodes(), Codes{"data-cut-off"});
  // The same host, as its rules have it from now on.
  SetReading(Reading::Written);
  ASSERT_TRUE(Open(folder_.PathOf("c.dat")));
  EXPECT_EQ(file_->Block(1)->SizeChannel(), 50);
}

}  // namespace
}  // namespace lmimport::test
