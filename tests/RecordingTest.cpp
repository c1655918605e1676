// Recordings for any host: what an open gives and refuses, and what is read when it is asked for.
#include <sys/resource.h>

#include <cmath>
#include <filesystem>

#include "recording/Formats.h"
#include "support/AskEverything.h"
#include "support/ImportTest.h"
#include "support/MemorySource.h"

namespace lmimport::test {
namespace {

std::shared_ptr<MemorySource> Memory(std::string bytes) {
  return std::make_shared<MemorySource>(std::move(bytes));
}

class RecordingTest : public testing::Test {
 protected:
  std::size_t FilesInFolder() const {
    return static_cast<std::size_t>(
        std::ranges::distance(std::filesystem::directory_iterator(folder_.Path())));
  }

  TempFolder folder_;
  Environment english_{"LC_ALL", "C"};
};

TEST_F(RecordingTest, TellsWhatItIs) {
  const std::string name = folder_.Write("run.lmc", Chart().Build());
  SetWriteTime(name, 1'000'000'000, 7);
  const Recording recording = Recording::Open(name);
  EXPECT_EQ(recording.Path(), name);
  EXPECT_EQ(recording.Format(), "chart");
  EXPECT_EQ(recording.FormatName(), "Lumetra Chart");
  EXPECT_EQ(recording.Sidecar(), "");
  EXPECT_EQ(recording.Start(), 40000.25);
  EXPECT_EQ(recording.Notes(), "file notes");
  EXPECT_EQ(recording.Stamp().Size, std::ssize(Chart().Build()));
  EXPECT_EQ(recording.Stamp().Seconds, 1'000'000'000);
  EXPECT_EQ(recording.Stamp().Nanoseconds, 7);
  const Block& block = recording.Blocks().at(0);
  EXPECT_EQ(block.SamplingRate, 1000);
  EXPECT_EQ(block.FrameCount, 3);
  EXPECT_EQ(block.SampleBits, 16);
  EXPECT_FALSE(block.RealSamples);
  EXPECT_EQ(block.Channels[1].Title + block.Channels[1].Unit, "Flowl/s");
  EXPECT_EQ(block.Channels[1].Factor, 1.0 / 200);
  EXPECT_EQ(block.Channels[1].Offset, 5);
  ASSERT_EQ(recording.Comments().size(), 1U);
  EXPECT_EQ(recording.Comments()[0].Text, "begin");
  EXPECT_EQ(recording.Comments()[0].Time, 0.001);  // position 2 at 1000 Hz
  EXPECT_TRUE(std::isnan(recording.Comments()[0].Duration));
  // The date of the file is no start.
  EXPECT_EQ(Recording::Open(folder_.Write("a.wav", Wave().Build())).Start(), std::nullopt);
}

TEST_F(RecordingTest, ReadsRangesAsEachKind) {
  const Recording recording = Recording::Open(Memory(Chart().Build()), "run.lmc");
  std::vector<std::int16_t> counts(4, 9);
  std::vector<std::int32_t> longCounts(2);
  std::vector<float> singles(5);
  std::vector<double> values(3);
  EXPECT_EQ(recording.Read(0, 1, 1, counts), 2);
  EXPECT_EQ(counts, (std::vector<std::int16_t>{-200, 60, 9, 9}));
  EXPECT_EQ(recording.Read(0, 0, 0, longCounts), 2);
  EXPECT_EQ(longCounts, (std::vector<std::int32_t>{100, -100}));
  EXPECT_EQ(recording.ReadFrames(0, 0, singles), 2);  // no room for a third
  EXPECT_EQ(singles, (std::vector<float>{1, 6, -1, 4, 0}));
  EXPECT_EQ(recording.Read(0, 1, 3, values), 0);
  EXPECT_EQ(recording.Read(0, 1, INT64_MAX, values), 0);
  EXPECT_THROW(recording.Read(1, 0, 0, values), std::out_of_range);
  EXPECT_THROW(recording.Read(0, 2, 0, values), std::out_of_range);
  EXPECT_THROW(recording.Read(0, 0, -1, values), std::out_of_range);
  EXPECT_THROW(recording.ReadFrames(1, 0, values), std::out_of_range);
  std::array<Extremes, 1> bin{};
  EXPECT_THROW(recording.Overview(0, 0, 0, -1, bin), std::out_of_range);
  const Recording copy = recording;
  EXPECT_EQ(&copy.Blocks(), &recording.Blocks());
}

// Counts beyond 16 bits are held as one kind and exact as the other.
TEST_F(RecordingTest, Keeps32BitCountsWhole) {
  const std::string bytes = Patched(Patched(Abin(), 28, Bytes().Int16(1)), 288 + 8,
                                    Bytes().Int32(70000).Int32(-2000000000));
  const Recording recording = Recording::Open(Memory(bytes), "a.bin");
  ASSERT_EQ(recording.Blocks()[0].SampleBits, 32);
  std::array<std::int16_t, 2> held{};
  std::array<std::int32_t, 2> exact{};
  EXPECT_EQ(recording.ReadFrames(0, 0, held), 1);
  EXPECT_EQ(recording.ReadFrames(0, 0, exact), 1);
  EXPECT_EQ(held, (std::array<std::int16_t, 2>{32767, -32768}));
  EXPECT_EQ(exact, (std::array<std::int32_t, 2>{70000, -2000000000}));
}

TEST_F(RecordingTest, SaysWhyItCannotBeOpened) {
  std::string cut = WinDaq().Build().substr(0, 160);
  const struct {
    const char* Name;
    std::string Bytes;
    OpenFault Fault;
    const char* Code;
    const char* Text;
  } rows[] = {
      {"a.wdq", "PK\x03\x04" + std::string(200, 'x'), OpenFault::UnknownFormat, "not-of-format",
       "named as WinDaq files are, but bytes 4 and 5 are 120 and 120"},
      {"a.wdq", cut, OpenFault::FormatError, "damaged", "it ends at byte 160 of a header of 192"},
      {"a.lmc", Chart{.Minor = 1}.Build(), OpenFault::UnsupportedFormat, "version-not-read",
       "of v3.1"},
      {"a.wav", "RIFF", OpenFault::NoData, "no-data", "ends at byte 4, and a wave file needs 12"},
      {"a.edf", Edf{.RecordCount = "many"}.Build(), OpenFault::FormatError, "not-a-number",
       "EDF record count \"many"},
      {"a.xyz", "12345678", OpenFault::UnknownFormat, "undescribed", "nothing describes"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.Name);
    try {
      Recording::Open(Memory(row.Bytes), row.Name);
      FAIL();
    } catch (const OpenError& error) {
      EXPECT_EQ(error.code(), row.Fault);
      EXPECT_STREQ(error.code().category().name(), "lmimport");
      EXPECT_EQ(error.Findings().at(0).Code, row.Code);
      const std::string what = error.what();
      EXPECT_NE(what.find(row.Name), std::string::npos) << what;
      EXPECT_NE(what.find(row.Text), std::string::npos) << what;
    }
  }
  try {
    Recording::Open(folder_.PathOf("missing.edf"));
    FAIL();
  } catch (const OpenError& error) {
    EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
    EXPECT_NE(std::string(error.what()).find("missing.edf"), std::string::npos);
    EXPECT_EQ(error.Findings().at(0).Code, "not-opened");
  }
}

TEST_F(RecordingTest, DependsOnItsOptionsAlone) {
  const Environment russian("LC_ALL", "ru_RU.CP1251");
  LMImport import;
  import.SetDefaultChannelCount(4);
  const auto raw = Memory("12345678");
  const OpenOptions twoChannels{.Raw = RawData{2, 50}};
  const Recording recording = Recording::Open(raw, "a.raw", twoChannels);
  EXPECT_EQ(recording.Blocks()[0].Channels.size(), 2U);
  EXPECT_EQ(recording.Blocks()[0].SamplingRate, 50);
  import.SetDefaultChannelCount(1);
  const auto chart = Memory(Chart{.Channels = {{"\xc4\x80", ""}, {"", ""}}}.Build());
  const std::pair<int, const char*> pages[] = {
      {1252, "\u00c4\u20ac"}, {1251, "\u0414\u0402"}, {0, "\u0414\u0402"}, {65001, "\u0100"}};
  for (const auto& [page, title] : pages)
    EXPECT_EQ(Recording::Open(chart, "a.lmc", {.CodePage = page}).Blocks()[0].Channels[0].Title,
              title);
  const OpenOptions senseless[] = {{.CodePage = 437},          {.Raw = RawData{0, 1}},
                                   {.Raw = RawData{33, 1}},    {.Raw = RawData{1, 0}},
                                   {.Raw = RawData{1, 1e-60}}, {.Raw = RawData{1, 1e10}}};
  for (const OpenOptions& options : senseless)
    EXPECT_THROW(Recording::Open(raw, "a.raw", options), std::invalid_argument);
  EXPECT_THROW(Recording::Open(std::shared_ptr<const ByteSource>(), "a"), std::invalid_argument);
}

// Comments, ranges and what is rewritten cost nothing until they are asked for, and leave nothing.
TEST_F(RecordingTest, ReadsLaterWhatAnOpenLeaves) {
  Edf edf{.Reserved = "EDF+C"};
  edf.Signals.push_back(
      EdfAnnotations({std::string("+0\x14\x14\0+1.5\x14late\x14\0+0.5\x14go\x14\0", 25), ""}, 14));
  const auto source = Memory(edf.Build());
  const OpenOptions written{.As = Reading::Written};
  const Recording recording = Recording::Open(source, "a.edf", written);
  long before = source->Reads();
  EXPECT_EQ(recording.Comments().at(0).Text, "go");
  EXPECT_EQ(recording.Comments().at(1).Time, 1.5);
  EXPECT_GT(source->Reads(), before);
  before = source->Reads();
  std::vector<double> values(3);
  EXPECT_EQ(recording.Read(0, 1, 2, values), 3);
  EXPECT_EQ(values, (std::vector<double>{2, 2, 3}));  // counts / 10, each twice
  EXPECT_GT(source->Reads(), before);
  before = source->Reads();
  recording.Read(0, 0, 0, values);  // out of the temporary file
  EXPECT_EQ(recording.Comments().size(), 2U);
  EXPECT_EQ(source->Reads(), before);

  const std::string name = folder_.Write("b.edf", edf.Build());
  EXPECT_EQ(Recording::Open(name, written).Read(0, 1, 2, values), 3);
  EXPECT_EQ(FilesInFolder(), 1U);

  // 2 and -3 by the scale of a range from -3 to 1: 10000 counts a unit, -1 at count 0
  const auto matlab = Memory(Mat5({{.Name = "x"}}));
  const Recording reals = Recording::Open(matlab, "x.mat");
  EXPECT_TRUE(reals.Blocks()[0].RealSamples);
  EXPECT_EQ(reals.Blocks()[0].Channels[0].Factor, 1);
  std::array<std::int16_t, 2> counts{};
  std::array<std::int32_t, 2> longCounts{};
  EXPECT_EQ(reals.Read(0, 0, 0, counts), 2);
  EXPECT_EQ(reals.Read(0, 0, 0, longCounts), 2);
  EXPECT_EQ(counts, (std::array<std::int16_t, 2>{20000, -20000}));
  EXPECT_EQ(longCounts, (std::array<std::int32_t, 2>{20000, -20000}));
}

TEST_F(RecordingTest, LongWorkCanBeGivenUp) {
  bool goesOn = false;
  int calls = 0;
  const OpenOptions options{.As = Reading::Written,
                            .Progress = [&](double) { return ++calls, goesOn; }};
  const Recording recording = Recording::Open(Memory(Edf().Build()), "a.edf", options);
  std::array<double, 1> value{};
  try {
    recording.Read(0, 0, 0, value);
    FAIL();
  } catch (const OpenError& error) {
    EXPECT_EQ(error.code(), OpenFault::GivenUp);
    EXPECT_EQ(error.Findings().at(0).Code, "given-up");
  }
  EXPECT_EQ(calls, 1);
  goesOn = true;
  EXPECT_EQ(recording.Read(0, 0, 0, value), 1);
  EXPECT_EQ(value[0], 0.1);
}

// Threads whose handlers ask for what the other one makes would wait for each other.
TEST_F(RecordingTest, ProgressHandlersCannotReadWhatIsNotReadYet) {
  Edf edf{.Reserved = "EDF+C"};
  edf.Signals.push_back(EdfAnnotations({std::string("+0\x14go\x14\0", 7), ""}, 14));
  std::optional<Recording> recording;
  const OpenOptions options{.As = Reading::Written,
                            .Progress = [&](double) { return recording->Comments().empty(); }};
  recording = Recording::Open(Memory(edf.Build()), "a.edf", options);
  std::array<double, 1> value{};
  EXPECT_THROW(recording->Read(0, 0, 0, value), std::logic_error);
}

// A host's own source can say anything; the sanitizers see what is done with it.
TEST_F(RecordingTest, BelievesNoSourceThatGivesTooMuch) {
  class Boaster final : public ByteSource {
   public:
    explicit Boaster(std::string bytes) : bytes_(std::move(bytes)) {}
    std::int64_t Size() const override { return INT64_MAX; }
    std::size_t ReadAt(std::int64_t position, std::span<std::byte> target) const override {
      return bytes_.ReadAt(position, target), target.size() + 5000;
    }

   private:
    MemorySource bytes_;
  };
  for (const char* name : {"a.edf", "a.wdq"}) {
    const bool isEdf = name[2] == 'e';
    const auto source = std::make_shared<Boaster>(isEdf ? Edf().Build() : WinDaq().Build());
    const Recording recording = Recording::Open(source, name);
    std::vector<double> values(1);
    EXPECT_EQ(recording.Read(0, 0, 0, values), 1);
    EXPECT_EQ(recording.Format(), isEdf ? "edf" : "windaq");
  }
}

TEST_F(RecordingTest, SharedTextsOfCommentsStayInProportion) {
  WinDaq file{.Annotations = std::string("a\0b\0", 4), .CommentTexts = std::string(100000, 'x')};
  for (int i = 1; i <= 1000; ++i) file.Markers.insert(file.Markers.end(), {-i, CommentAt(4)});
  const auto source = Memory(file.Build());
  const Recording recording = Recording::Open(source, "a.wdq");
  std::size_t size = 0;
  for (const Comment& comment : recording.Comments()) size += comment.Text.size();
  EXPECT_EQ(recording.Comments().size(), 1000U);
  EXPECT_EQ(recording.Comments()[0].Text.size(), 100000U);
  EXPECT_LT(size, 20 * static_cast<std::size_t>(source->Size()));
  EXPECT_EQ(recording.Findings().back().Code, "comment-texts-left-out");
}

TEST_F(RecordingTest, TellsOfCommentsPastTheEnd) {
  const Recording recording =
      Recording::Open(Memory(Chart{.Blocks = {{.Comments = {{50, "late"}}}}}.Build()), "a.lmc");
  ASSERT_EQ(recording.Findings().size(), 1U);
  EXPECT_EQ(recording.Findings()[0].Code, "comments-behind-end");
}

TEST_F(RecordingTest, OverviewsAreTheExtremesOfEachPart) {
  std::vector<int> samples;
  for (int i = 0; i < 3000; ++i) samples.insert(samples.end(), {(i * 7919) % 6007 - 3000, i});
  const std::string bytes =
      Chart{.Blocks = {{.Scale = {-2, 4}, .Offset = {1, 0}, .Samples = samples}}}.Build();
  const Recording recording = Recording::Open(Memory(bytes), "a.lmc");
  std::vector<double> values(3000);
  for (const std::size_t channel : {0U, 1U}) {
    recording.Read(0, channel, 0, values);
    for (const std::size_t count : {1U, 7U, 1000U, 2999U, 5000U}) {
      std::vector<Extremes> bins(count, {9, 9});
      recording.Overview(0, channel, 1, 2999, bins);
      for (std::size_t i = 0; i < count; ++i) {
        const auto first = values.begin() + 1 + static_cast<std::ptrdiff_t>(2999 * i / count);
        const auto end = values.begin() + 1 + static_cast<std::ptrdiff_t>(2999 * (i + 1) / count);
        const bool isEmpty = first == end;
        ASSERT_EQ(std::isnan(bins[i].Smallest) && std::isnan(bins[i].Largest), isEmpty);
        if (isEmpty) continue;
        const auto [smallest, largest] = std::minmax_element(first, end);
        ASSERT_EQ(bins[i].Smallest, *smallest) << i << " of " << count;
        ASSERT_EQ(bins[i].Largest, *largest);
      }
    }
  }
  std::array<Extremes, 2> past{};
  recording.Overview(0, 1, 2990, INT64_MAX, past);  // the second half is past the end
  EXPECT_EQ(past[0].Largest, 2999 / 4.0);
  EXPECT_TRUE(std::isnan(past[1].Largest));
  recording.Overview(0, 1, INT64_MAX, 10, past);
  EXPECT_TRUE(std::isnan(past[0].Largest));
}

// NaN is no value, and neither is a sample that there isn't.
TEST_F(RecordingTest, OverviewsPassOverNaN) {
  Bytes reals;
  for (int i = 0; i < 600; ++i) reals.Real64(i % 3 == 0 ? std::nan("") : i - 300);
  const auto source = Memory(Mat5({{.Name = "x", .Dimensions = {1, 600}, .Data = reals.Get()}}));
  const Recording recording = Recording::Open(source, "x.mat");
  std::array<Extremes, 3> bins{};
  recording.Overview(0, 0, 0, 600, bins);
  EXPECT_EQ(bins[0].Smallest, -299);
  EXPECT_EQ(bins[2].Largest, 299);
  recording.Overview(0, 0, 0, 3, bins);
  EXPECT_TRUE(std::isnan(bins[0].Smallest));
  EXPECT_EQ(bins[1].Smallest, -299);
  EXPECT_EQ(bins[1].Largest, -299);
}

TEST_F(RecordingTest, AThousandAreOpenAtOnce) {
  const std::string names[] = {folder_.Write("a.lmc", Chart().Build()),
                               folder_.Write("a.edf", Edf().Build()),
                               folder_.Write("a.wdq", WinDaq().Build())};
  constexpr std::size_t count = 1000;
  struct rlimit limit {};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 2 * count);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
  std::vector<Recording> recordings;
  recordings.reserve(count);
  const HeapUse heap;
  for (std::size_t i = 0; i < count; ++i) recordings.push_back(Recording::Open(names[i % 3]));
  EXPECT_LT(heap.Peak(), count * 16 * 1024);
  for (const Recording& recording : recordings) {
    std::array<std::int16_t, 2> counts{};
    ASSERT_GE(recording.ReadFrames(0, 0, counts), 1);
    ASSERT_NE(counts[0], 0);
  }
}

// Where a reader shows what is there alone, both numbers are the same.
TEST_F(RecordingTest, TellsHowManyFramesTheFileHolds) {
  const std::string wave = Wave{}.Build();      // 3 frames of 4 bytes, to the end
  const std::string winDaq = WinDaq{}.Build();  // 4 frames of 4 bytes before 20 bytes of titles
  const std::string edf = Edf{}.Build();        // 2 records of 12 bytes, to the end
  const std::string one = Edf{.Signals = {Edf().Signals[0]}}.Build();  // of 8 bytes
  const std::string acq = Acq{.Markers = {}}.Build();  // 4 steps of 10, 2, 10 and 2 bytes; 8 follow
  const auto cut = [](const std::string& bytes, std::size_t lost) {
    return bytes.substr(0, bytes.size() - lost);
  };
  const struct {
    const char* Name;
    std::string Bytes;
    Reading As;
    std::int64_t Frames;
    std::int64_t Held;
  } rows[] = {{"whole.wav", wave, Reading::Written, 3, 3},
              {"cut.wav", cut(wave, 5), Reading::Written, 3, 1},
              {"cut.wav", cut(wave, 5), Reading::Published, 1, 1},
              {"cut.wdq", cut(winDaq, 20 + 2), Reading::Written, 4, 3},
              {"cut.wdq", cut(winDaq, 20 + 2), Reading::Published, 3, 3},
              {"rewritten.edf", cut(edf, 1), Reading::Written, 4, 4},
              {"cut.edf", cut(edf, 1), Reading::Published, 4, 4},
              {"single.edf", cut(one, 1), Reading::Written, 4, 4},
              {"whole.acq", acq, Reading::Written, 4, 4},
              {"cut.acq", cut(acq, 8 + 3), Reading::Written, 4, 2},
              {"cut.acq", cut(acq, 8 + 3), Reading::Published, 2, 2}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.Name);
    const Recording recording = Recording::Open(Memory(row.Bytes), row.Name, {.As = row.As});
    EXPECT_EQ(recording.Blocks()[0].FrameCount, row.Frames);
    EXPECT_EQ(recording.Blocks()[0].HeldFrames, row.Held);
  }
}

TEST_F(RecordingTest, KnowsItsFormats) {
  const std::vector<FormatDescription> formats = KnownFormats();
  const auto of = [&](std::string_view id) {
    return *std::ranges::find(formats, id, &FormatDescription::Id);
  };
  EXPECT_EQ(of("edf").Patterns, "*.edf");
  EXPECT_EQ(of("edf").Number, 9);
  const struct {
    const char* Id;
    const char* Extensions;
    std::vector<std::string_view> FirstBytes;
  } rows[] = {{"windaq", "*.wdq;*.wdh;*.whc", {}},
              {"wave", "*.wav", {"RIFF", "RIFX", "RF64", "BW64"}},
              {"peak", "*.pk;*.sfk", {"SFPK", std::string_view("\xf1\x06\0\0", 4)}},
              {"bdf", "*.bdf", {"\xff\x42IO"}},
              {"raw", "*.dat;*.data", {}},
              {"ar", "", {"AR", "RG", "UB"}}};
  for (const auto& row : rows) {
    EXPECT_EQ(of(row.Id).Extensions, row.Extensions) << row.Id;
    EXPECT_EQ(of(row.Id).FirstBytes, row.FirstBytes) << row.Id;
  }
  for (const FormatDescription& format : formats) {
    SCOPED_TRACE(format.Id);
    EXPECT_FALSE(format.FirstBytes.empty() && format.Extensions.empty());
    for (const std::string_view text :
         {format.Versions, format.Limits, format.Published, format.Written})
      EXPECT_FALSE(text.empty());
    EXPECT_EQ(format.Sidecars.empty(), format.Id != "wave" && format.Id != "raw");
    for (const std::string_view mark : format.FirstBytes) {
      const std::string head = std::string(mark) + "    ";
      EXPECT_EQ(RecogniseFormat(head, u"a.xyz", Reading::Published).Id, format.Id);
    }
  }
}

}  // namespace
}  // namespace lmimport::test
