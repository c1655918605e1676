// EDF: the header, the calibration, annotations, and the frames that the records become.
#include <filesystem>

#include "model/Date.h"
#include "support/ImportTest.h"

namespace lmimport::test {
namespace {

class EdfTest : public ImportTest {
 protected:
  bool HasFlatFile() { return std::filesystem::exists(folder_.PathOf("f.edfdat")); }
  std::string FlatFile() { return Contents(folder_.PathOf("f.edfdat")); }
  Date Start() { return file_->Block(1)->StartDateTime(); }
};

const EdfSignal Plain{.Label = "Fp1", .Records = {Words({1, 2, 3, 4}), Words({5, 6, 7, 8})}};

// A list: onset, texts, and the zero byte.
std::string List(const std::string& onset, const std::string& text = "") {
  return onset + '\x14' + text + '\x14' + '\0';
}

TEST_F(EdfTest, BringsAllSignalsToOneRate) {
  Edf edf{.Reserved = "EDF+C"};
  edf.Signals.insert(
      edf.Signals.begin() + 1,
      EdfAnnotations({List("+0") + List("+0.5", "begin"), List("+1") + List("+1.25", "end")}, 10));
  ASSERT_TRUE(Open("f.edf", edf.Build()));
  EXPECT_EQ(Type(), std::pair(9, 0));
  EXPECT_EQ(Summary(), "EDF '' 4 Hz, 8 frames of: Fp1 [mV] 0.1 n + 0, Pulse [mV] 0.1 n + 0");
  EXPECT_EQ(FlatFile(), Words({1, 10, 2, 10, 3, 20, 4, 20, 5, 30, 6, 30, 7, 40, 8, 40}));
  EXPECT_FLOAT_EQ(static_cast<float>(Values()[3]), 1.0F);
  EXPECT_EQ(file_->Block(1)->Notes(), u"patient\r\nrecording");
  EXPECT_EQ(Comments(), "3 begin, 6 end");
  EXPECT_EQ(Start(), DateSerial(2004, 3, 2) + TimeSerial(5, 6, 7));
  EXPECT_EQ(ToUtf8(file_->FileName()), folder_.PathOf("f.edf"));
  EXPECT_EQ(FindingCodes(), Codes{});
  EXPECT_TRUE(IsFound("rates-raised"));
  ASSERT_TRUE(Open("f.edf", Edf{.Signals = {Plain, Plain}}.Build()));
  EXPECT_FALSE(IsFound("rates-raised"));
}

// Five frames of two samples: each is there twice, and the last one again.
TEST_F(EdfTest, TheLastSampleFillsWhatAnUnevenRateLeaves) {
  const EdfSignal fast{.Records = {Words({1, 2, 3, 4, 5}), Words({6, 7, 8, 9, 10})}};
  const EdfSignal slow{.Records = {Words({-1, -2}), Words({-3, -4})}};
  ASSERT_TRUE(Open("f.edf", Edf{.Signals = {fast, slow}}.Build()));
  EXPECT_EQ(FlatFile(), Words({1, -1, 2, -1, 3, -2, 4, -2, 5,  -2,  //
                               6, -3, 7, -3, 8, -4, 9, -4, 10, -4}));
  EXPECT_EQ(FindingCodes(), Codes{"rates-not-multiples"});
}

// Records of more frames than go through at a time, more records than are read at a time, and
// records too long to be read at a time; the channels take every way of being put side by side.
TEST_F(EdfTest, LongRecordingsComeOutAsShortOnes) {
  // Of a thousand frames, so many samples of each channel, and one at least.
  const std::vector<int> perThousand = {1000, 125, 500, 333, 666, 0, 3};
  const auto value = [](int record, int channel, int sample) {
    return (record * 7919 + channel * 104729 + sample) % 30000;
  };
  for (const auto& [frames, records] : {std::pair(1000, 150), std::pair(300000, 2)}) {
    Edf edf{.Signals = {}};
    std::vector<int> counts;
    for (int c = 0; c < 7; ++c) {
      EdfSignal& signal = edf.Signals.emplace_back();
      counts.push_back(std::max(1, frames / 1000 * perThousand[static_cast<std::size_t>(c)]));
      for (int r = 0; r < records; ++r) {
        std::vector<int> samples;
        for (int i = 0; i < counts.back(); ++i) samples.push_back(value(r, c, i));
        signal.Records.push_back(Words(samples));
      }
    }
    folder_.Write("f.edf", edf.Build());
    const HeapUse heap;
    ASSERT_TRUE(Open(folder_.PathOf("f.edf")));
    EXPECT_LT(heap.Peak(), 5U << 18);
    for (int c = 0; c < 7; ++c) {
      const int count = counts[static_cast<std::size_t>(c)];
      std::vector<Integer> read;
      file_->Block(1)->GetChannelIntegerArray(static_cast<Integer>(c + 1), 1, frames * records,
                                              read);
      ASSERT_EQ(std::ssize(read), frames * records);
      for (int i = 0; i < frames * records; ++i) {
        const int sample = std::min(i % frames / (frames / count), count - 1);
        ASSERT_EQ(read[static_cast<std::size_t>(i)], value(i / frames, c, sample)) << c << ' ' << i;
      }
    }
  }
}

TEST_F(EdfTest, ASingleSignalIsReadInPlace) {
  ASSERT_TRUE(Open("f.edf", Edf{.Signals = {Plain}}.Build()));
  EXPECT_FALSE(HasFlatFile());
  EXPECT_FLOAT_EQ(static_cast<float>(Values()[7]), 0.8F);
  const EdfSignal annotations = EdfAnnotations({List("+0"), List("+1")}, 3);
  ASSERT_TRUE(Open("f.edf", Edf{.Signals = {annotations, Plain}}.Build()));
  EXPECT_EQ(FlatFile(), Words({1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST_F(EdfTest, OnlyTheFirst32SignalsAreChannels) {
  Edf edf{.Signals = {}};
  for (int i = 0; i < 40; ++i) edf.Signals.push_back({.Records = {Words({i, 100 + i})}});
  ASSERT_TRUE(Open("f.edf", edf.Build()));
  EXPECT_EQ(file_->Block(1)->ChannelCount(), 32);
  EXPECT_EQ(FlatFile().substr(62, 4), Words({31, 100}));
  EXPECT_EQ(FindingCodes(), Codes{"signals-left-out"});
}

TEST_F(EdfTest, CalibratesEachChannel) {
  struct Row {
    EdfSignal Signal;
    const char* Summary;
  };
  const auto with = [](const char* unit, const char* low, const char* high, const char* lowCount,
                       const char* highCount) {
    return EdfSignal{.Label = "x",
                     .Unit = unit,
                     .Records = {Words({1, 2, 3, 4})},
                     .PhysicalMin = low,
                     .PhysicalMax = high,
                     .DigitalMin = lowCount,
                     .DigitalMax = highCount};
  };
  const std::vector<Row> rows = {
      {with("uV", "-100", "100", "-1000", "1000"), "x [mV] 0.0001 n + 0"},
      {with("mkV", "0", "10", "-1000", "1000"), "x [mV] 5e-06 n + 0.005"},
      {with("UV", "0", "10", "-1000", "1000"), "x [UV] 0.005 n + 5"},
      {with("V", "2", "-2", "-1", "+1"), "x [V] -2 n + 0"},
      {with("V", "7", "7", "-2", "2"), "x [V] 0 n + 7"},
      {with("", "0", "2", "0.5", "2.5"), "x [] 1 n + 0"}};  // 0 and 2: halves go to the even side
  for (const Row& row : rows) {
    ASSERT_TRUE(Open("f.edf", Edf{.Signals = {row.Signal}}.Build()));
    EXPECT_EQ(Summary(), std::string("EDF '' 4 Hz, 4 frames of: ") + row.Summary);
  }
}

TEST_F(EdfTest, TakesTheStartAsStated) {
  struct Row {
    const char* StartDate;
    const char* StartTime;
    Date Expected;
  };
  for (const Row& row :
       {Row{"31-12-29", "23:59:59", DateSerial(2029, 12, 31) + TimeSerial(23, 59, 59)},
        Row{"01.01.30", "00.00.00", DateSerial(1930, 1, 1)},
        Row{"32.13.99", "00.00.00", DateSerial(2000, 2, 1)},
        Row{"01.01.99", "noon", DateSerial(1999, 1, 1)}}) {
    ASSERT_TRUE(Open(
        "f.edf", Edf{.Date = row.StartDate, .Time = row.StartTime, .Signals = {Plain}}.Build()));
    EXPECT_EQ(Start(), row.Expected) << row.StartDate;
  }
  // 2001-09-09, in whatever time zone
  const std::string name =
      folder_.Write("f.edf", Edf{.Date = "1.1.2004", .Signals = {Plain}}.Build());
  SetWriteTime(name, 1'000'000'000);
  ASSERT_TRUE(Open(name));
  EXPECT_NEAR(Start(), DateSerial(2001, 9, 9), 1.6);
}

TEST_F(EdfTest, TheFileCountsItsRecords) {
  struct Row {
    Edf File;
    Long Frames;
    Single Rate;
    Codes Findings;
  };
  for (const auto& [edf, frames, rate, findings] :
       {Row{{.RecordCount = "-1"}, 8, 4, {}}, Row{{.RecordCount = "1"}, 4, 4, {"records-left-out"}},
        Row{{.RecordCount = "99999999"}, 8, 4, {"data-cut-off"}},
        Row{{.RecordCount = "0"}, 8, 4, {}}, Row{{.Duration = "0"}, 8, 4, {}},
        Row{{.Duration = "-1"}, 8, 4, {}}, Row{{.Duration = " 0.01"}, 8, 400, {}},
        Row{{.HeaderBytes = "0"}, 8, 4, {}},
        Row{{.HeaderBytes = "780"}, 4, 4, {"data-cut-off"}},  // 12 bytes on: one record fewer
        Row{{.HeaderBytes = "99999999"}, 0, 4, {"data-cut-off"}}}) {
    ASSERT_TRUE(Open("f.edf", edf.Build()));
    EXPECT_EQ(file_->Block(1)->SizeChannel(), frames);
    EXPECT_EQ(file_->Block(1)->SamplingRate(), rate);
    EXPECT_EQ(std::ssize(FlatFile()), frames * 4);
    EXPECT_EQ(FindingCodes(), findings);
    std::filesystem::remove(folder_.PathOf("f.edfdat"));
  }
}

TEST_F(EdfTest, RefusesWhatItCannotRead) {
  const auto sized = [](const char* samples) {
    Edf edf;
    edf.Signals[1].RecordSamples = samples;
    return edf.Build();
  };
  EdfSignal constant = Plain;
  constant.PhysicalMin = constant.PhysicalMax = constant.DigitalMin = constant.DigitalMax = "5";
  const EdfSignal annotations = EdfAnnotations({List("+0"), List("+1")}, 20);
  ExpectOutcomes("f.edf", {{Edf().Build().substr(0, 519), Unknown},
                           {Edf{.Version = "1"}.Build(), Unknown, {"version-not-read"}},
                           {"\xff"
                            "BIOSEMI" +
                                Edf().Build().substr(8),
                            Unknown,
                            {"not-of-format", "format-not-read"}},
                           {Edf{.SignalCount = "0"}.Build(), Unknown},
                           {Edf{.SignalCount = "2e4"}.Build(), Unknown},
                           {Edf{.Signals = {annotations}}.Build(), Unknown},
                           {sized("0"), Damaged},
                           {sized("-2"), Damaged},
                           {Edf{.Signals = {constant}}.Build(), Damaged},  // 0 counts of 0 units
                           {Edf{.Duration = "1e-45"}.Build(), Damaged},
                           {sized("99999999"), "", {"data-cut-off", "rates-not-multiples"}},
                           {Edf{.Signals = {Plain, {.Records = {"", ""}}}}.Build(), Damaged}});
}

TEST_F(EdfTest, ATextThatIsNoNumberIsAFault) {
  struct Row {
    Edf File;
    const char* Message;
  };
  Edf digital;
  digital.Signals[0].DigitalMax = "- 5";
  for (const auto& [edf, message] :
       {Row{{.HeaderBytes = "x"}, "EDF header bytes \"x       \""},
        Row{{.RecordCount = "1,5"}, "EDF record count"},
        Row{{.SignalCount = "inf"}, "EDF signal count"}, Row{digital, "EDF digital maximum"}}) {
    try {
      Open("f.edf", edf.Build());
      ADD_FAILURE() << message;
    } catch (const std::invalid_argument& fault) {
      EXPECT_NE(std::string(fault.what()).find(message), std::string::npos) << fault.what();
    }
    EXPECT_TRUE(Open("f.edf", Edf().Build()));
  }
  EXPECT_THROW(Open("f.edf", Edf{.RecordCount = "1e99"}.Build()), std::range_error);
  EXPECT_THROW(Open("f.edf", Edf().Build().substr(0, 600)), std::invalid_argument);
  const std::string many = folder_.Write("f.edf", Edf{.SignalCount = "9999"}.Build());
  const HeapUse heap;
  EXPECT_THROW(Open(many), std::invalid_argument);
  EXPECT_LT(heap.Peak(), 1U << 18);  // a list of them would take four times as much
}

TEST_F(EdfTest, ReadsAnnotations) {
  struct Row {
    std::vector<std::string> Records;
    std::size_t Samples;
    std::string Comments;
    Codes Findings = {};
  };
  const std::string longText(300, 'x');
  const std::string duration =
      "+0.5\x15"
      "3\x14"
      "Event\x14" +
      std::string(1, '\0');
  for (const auto& [records, samples, comments, findings] :
       {Row{{List("+0") + duration, List("+1")}, 40, "3 3 Event", {"annotation-texts"}},
        Row{{List("+0") + List("+1", "one\x14two"), ""}, 40, "5 one two", {"annotation-texts"}},
        // 2.5 frames are rounded to 2; an empty text is a comment after the first list alone
        Row{{List("0.625", "  a ") + List("+1"), ""}, 40, "3 a, 5 "},
        Row{{List("0.5"), List("1.5")}, 40, "", {"start-offset"}},
        Row{{List("+0", "start") + List("-1", "early") + List("+2", "late"), List("+1.75", "last")},
            40,
            "8 last",
            {"annotations-left-out"}},
        Row{{List("+0") + List("+1", longText), ""}, 200, "5 " + longText.substr(0, 256)},
        // a list that goes on in the next record, with a control character
        Row{{List("+0") + "+1\x14gos\x07", "on\x14"}, 6, "5 goson"},
        Row{{std::string(12, 'g'), std::string(12, 'h')}, 6, ""},
        Row{{std::string("\0\x14\0+\x14", 5), "z"}, 6, ""}}) {
    const EdfSignal signal = EdfAnnotations(records, samples);
    ASSERT_TRUE(Open("f.edf", Edf{.Reserved = "EDF+C", .Signals = {Plain, signal}}.Build()));
    EXPECT_EQ(Comments(), comments);
    EXPECT_EQ(FindingCodes(), findings);
  }
}

TEST_F(EdfTest, HasRoomForAFourthOfTheBytes) {
  // 14 bytes: room for 3.5 comments, rounded to the even 4
  const std::string lists = List("1", "a").erase(3, 1) + "1\x14" + '\0' + "1\x14" + '\0' + "1\x14";
  const EdfSignal data{.Records = {Words(std::vector<int>(16, 1))}};
  const Edf edf{.Duration = "2", .Signals = {data, EdfAnnotations({lists}, 7)}};
  ASSERT_TRUE(Open("f.edf", edf.Build()));
  EXPECT_EQ(file_->Block(1)->CommentCount(), 4);
}

TEST_F(EdfTest, GarbageAndLongTextsCostNoMemory) {
  const EdfSignal data{.Records = {Words(std::vector<int>(2000, 1))}};
  std::string lists;
  for (int i = 0; i < 100; ++i) lists += List("1", std::string(60000, 'x'));
  for (const std::string& bytes : {lists, std::string(6'000'000, 'g')}) {
    const EdfSignal signal = EdfAnnotations({bytes}, bytes.size() / 2 + 1);
    const std::string name = folder_.Write("f.edf", Edf{.Signals = {data, signal}}.Build());
    // one record, and the buffers of the conversion
    const HeapUse heap;
    ASSERT_TRUE(Open(name));
    EXPECT_LT(heap.Peak(), bytes.size() + (2U << 20));
  }
}

TEST_F(EdfTest, KeepsAtMost20000Comments) {
  std::string lists;
  for (int i = 0; i < 20003; ++i)
    lists += std::string(
        "1\x14"
        "a\0",
        4);
  const EdfSignal data{.Records = {Words({1, 2, 3, 4}), Words({5, 6, 7, 8})}};
  const EdfSignal annotations = EdfAnnotations({lists, ""}, lists.size() / 2);
  ASSERT_TRUE(Open("f.edf", Edf{.Signals = {data, annotations}}.Build()));
  EXPECT_EQ(file_->Block(1)->CommentCount(), 20000);
  EXPECT_EQ(file_->Block(1)->CommentPosition(20000), 5);
  EXPECT_NE(Findings().at(0).Text.find(" 3 beyond"), std::string::npos);
}

TEST_F(EdfTest, TellsWhatItCannotShow) {
  const EdfSignal long3{.Records = {Words({1, 2}), Words({3, 4}), Words({5, 6})}};
  const EdfSignal times = EdfAnnotations({List("+0"), List("+5"), List("+6")}, 4);
  ASSERT_TRUE(Open("f.edf", Edf{.Reserved = "EDF+D", .Signals = {long3, times}}.Build()));
  EXPECT_EQ(FindingCodes(), Codes{"gaps-joined"});
  EXPECT_EQ(Findings()[0].Position, 768 + 12);  // the second record
  EXPECT_NE(Findings()[0].Text.find("has 1 gaps"), std::string::npos);
  // A tenth of a second is less than half a sample; three are more. A record may lack its list.
  const EdfSignal small = EdfAnnotations({List("+0"), List("+1.1"), List("+2.4")}, 5);
  ASSERT_TRUE(Open("f.edf", Edf{.Reserved = "EDF+D", .Signals = {long3, small}}.Build()));
  EXPECT_EQ(Findings().at(0).Position, 768 + 2 * 14);
  const EdfSignal sparse = EdfAnnotations({List("+0"), "", List("+2")}, 4);
  ASSERT_TRUE(Open("f.edf", Edf{.Reserved = "EDF+D", .Signals = {long3, sparse}}.Build()));
  EXPECT_EQ(FindingCodes(), Codes{});
  ASSERT_TRUE(Open("f.edf", Edf{.Reserved = "EDF+C", .Signals = {long3, times, times}}.Build()));
  EXPECT_EQ(FindingCodes(), Codes{"annotations-left-out"});
  EdfSignal noted = EdfAnnotations({List("+1", "\xc3\xab"), ""}, 10);
  noted.Label += " 2";
  ASSERT_TRUE(Open("f.edf", Edf{.Reserved = "EDF+C", .Signals = {Plain, noted}}.Build()));
  EXPECT_EQ(file_->Block(1)->ChannelCount(), 1);
  EXPECT_EQ(FindingCodes(), Codes{"text-utf8"});
  const std::string utf8 = Edf{.Patient = "Zo\xc3\xab"}.Build();
  ASSERT_TRUE(Open("f.edf", utf8));
  EXPECT_EQ(FindingCodes(), Codes{"text-utf8"});
  SetCodePage(65001);
  ASSERT_TRUE(Open("f.edf", utf8));
  EXPECT_EQ(FindingCodes(), Codes{});
  EXPECT_EQ(file_->Block(1)->Notes(), u"Zoë\r\nrecording");
  SetCodePage(1252);
  ASSERT_TRUE(Open("f.edf", Edf{.Patient = "Zo\xeb"}.Build()));
  EXPECT_EQ(FindingCodes(), Codes{});
  const struct {
    Edf File;
    Codes Findings;
  } departures[] = {
      {{.Signals = {Plain, EdfAnnotations({List("+0"), ""}, 4)}}, {"signals-as-annotations"}},
      {{.Signals = {{.Unit = "uV", .Records = Plain.Records}}}, {"unit-changed"}},
      {{.Signals = {{.Unit = "UV", .Records = Plain.Records}}}, {}},
      {{.Date = "02.03.30"}, {"year-of-1900s"}},
      {{.Date = "02.03.84"}, {"year-of-1900s"}},
      {{.Date = "02.03.85"}, {}},
      {{.Date = "02.03.29"}, {}}};
  for (const auto& row : departures) {
    ASSERT_TRUE(Open("f.edf", row.File.Build()));
    EXPECT_EQ(FindingCodes(), row.Findings);
  }
}

}  // namespace
}  // namespace lmimport::test
