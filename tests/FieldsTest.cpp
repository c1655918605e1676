// What a recording tells of the fields that its values, rates and times come from.
#include <gtest/gtest.h>

#include <filesystem>

#include "support/Builders.h"
#include "support/MemorySource.h"
#include "support/Recordings.h"

namespace lmimport::test {
namespace {

constexpr Reading Readings[] = {Reading::Published, Reading::Written};

Recording Open(const BuiltRecording& built, Reading as, bool keepFields = true) {
  const auto source = std::make_shared<MemorySource>(built.Bytes);
  if (!built.Sidecar.empty()) source->PutBeside(built.Sidecar, built.SidecarBytes);
  return Recording::Open(source, built.Name, {.As = as, .KeepFields = keepFields});
}

bool IsOf(const HeaderField& field, int block, int channel) {
  return (field.Block == -1 || field.Block == block) &&
         (field.Channel == -1 || field.Channel == channel);
}

// Each field is of something that there is, and each channel has one formula; blocks that share their
// fields with the first of their kind have as many channels as it.
void CheckFields(const Recording& recording) {
  const std::vector<Block>& blocks = recording.Blocks();
  for (const HeaderField& field : recording.Fields()) {
    SCOPED_TRACE(field.Name);
    EXPECT_GE(field.Position, -1);
    EXPECT_LT(field.Position, recording.Stamp().Size);
    EXPECT_FALSE(field.Meaning.empty());
    ASSERT_LT(field.Block, std::ssize(blocks));
    if (field.Channel >= 0) {
      ASSERT_GE(field.Block, 0);
      EXPECT_LT(field.Channel, std::ssize(blocks[static_cast<std::size_t>(field.Block)].Channels));
    }
  }
  for (int c = 0; c < std::ssize(blocks[0].Channels); ++c)
    EXPECT_EQ(std::ranges::count_if(recording.Fields(),
                                    [c](const HeaderField& field) {
                                      return field.Name == "formula" && IsOf(field, 0, c);
                                    }),
              1)
        << "channel " << c;
}

TEST(Fields, OfEveryFormat) {
  for (const BuiltRecording& built : AllRecordings()) {
    for (const Reading as : Readings) {
      if (as == Reading::Written && built.IsPublishedAlone) continue;
      SCOPED_TRACE(built.Name);
      const Recording recording = Open(built, as);
      EXPECT_GE(recording.Fields().size(), 2U);
      CheckFields(recording);
      EXPECT_TRUE(Open(built, as, false).Fields().empty());
    }
  }
}

TEST(Fields, LieInTheFileHoweverShortItIs) {
  constexpr std::size_t step = 61;
  int opened = 0;
  for (BuiltRecording built : AllRecordings()) {
    SCOPED_TRACE(built.Name);
    while (built.Bytes.size() > step) {
      built.Bytes.resize(built.Bytes.size() - step);
      try {
        CheckFields(Open(built, built.As()));
        ++opened;
      } catch (const OpenError&) {
        continue;
      }
    }
  }
  EXPECT_GT(opened, 50);
}

TEST(Fields, OfTheSamples) {
  int opened = 0;
  for (const auto& entry : std::filesystem::directory_iterator(SAMPLES_FOLDER)) {
    SCOPED_TRACE(entry.path());
    try {
      CheckFields(Recording::Open(entry.path(), {.KeepFields = true}));
      ++opened;
    } catch (const OpenError&) {
      continue;  // of no format that is read
    }
  }
  EXPECT_GE(opened, 10);
}

TEST(Fields, StateWhereTheyAre) {
  constexpr Reading published = Reading::Published;
  constexpr Reading written = Reading::Written;
  const std::string microvolts =
      Edf{.Signals = {{.Unit = "uV", .Records = {Words({1, 2, 3, 4})}}}}.Build();
  const std::string amplified =
      Patched(Patched(Abf(), 4512, Bytes().Int16(1)), 4576, Bytes().Real32(20));
  const std::string gains = Patched(amplified, 922, Bytes().Real32(0.5F));
  const std::string text = "NumAChannels=2\n[Ch1]\nMaxRange=4\nMinRange=-1.5\n";
  const struct {
    BuiltRecording Built;
    Reading As;
    HeaderField Field;
  } rows[] = {
      // A header of 256 bytes, and of each of two signals 104 before the physical minimum.
      {{"", {}, "a.edf", Edf{}.Build()}, published, {"physical minimum", 472, "-100", "", 1, 0}},
      {{"", {}, "a.edf", Edf{}.Build()}, written, {"physical minimum", 472, "-100", "", 0, 1}},
      {{"", {}, "a.edf", Edf{}.Build()}, published, {"digital maximum", 512, "1000", "", 0, 0}},
      {{"", {}, "a.edf", Edf{}.Build()},
       published,
       {"startdate of recording", 168, "02.03.04", ""}},
      {{"", {}, "a.edf", Edf{.Duration = "0.50"}.Build()},
       written,
       {"duration of a data record", 244, "0.50", ""}},
      {{"", {}, "a.edf", microvolts}, written, {"physical dimension", 352, "uV", "", 0, 0}},
      {{"", {}, "a.wdq", WinDaq{}.Build()}, published, {"interval", 28, "0.5", ""}},
      {{"", {}, "a.wdq", WinDaq{}.Build()}, published, {"slope", 154, "2", "", 0, 1}},
      {{"", {}, "a.wdq", WinDaq{}.Build()}, written, {"intercept", 126, "1", "", 0, 0}},
      {{"", {}, "a.wdq", WinDaq{}.Build()},
       written,
       {"formula", -1, "count / single(4 / slope) + single(intercept)", ""}},
      {{"", {}, "a.abf", gains}, published, {"fADCSampleInterval", 122, "25", ""}},
      {{"", {}, "a.abf", gains}, published, {"fInstrumentScaleFactor", 922, "0.5", "", 0, 1}},
      {{"", {}, "a.abf", gains}, published, {"fTelegraphAdditGain", 4576, "20", "", 0, 1}},
      {{"", {}, "a.abf", gains},
       published,
       {"formula", -1,
        "count / (lADCResolution / fADCRange * fInstrumentScaleFactor * fADCProgrammableGain * "
        "fTelegraphAdditGain) + fInstrumentOffset",
        "", 0, 1}},
      {{"", {}, "a.abf", gains}, written, {"fSignalGain", 1050, "0.5", "", 0, 1}},
      {{"", {}, "a.abf", gains},
       written,
       {"formula", -1,
        "count / single(single(lADCResolution / fADCRange) * fInstrumentScaleFactor) + "
        "single(fSignalOffset + fInstrumentOffset)",
        "", 0, 0}},
      // 68 bytes of header, and 96 of the first channel.
      {{"", {}, "a.dat", Cfwb()}, published, {"scale", 228, "-0.25", "", 0, 1}},
      {{"", {}, "a.dat", Cfwb()}, written, {"offset", 140, "8", "", 0, 0}},
      {{"", {}, "a.dat", Cfwb()}, published, {"second", 36, "6.9", ""}},
      // The texts of this chart end at 78, its channels at 413, and those of the block at 486.
      {{"", {}, "a.lmc", Chart{}.Build()}, published, {"rate", 421, "1000", "", 0}},
      {{"", {}, "a.lmc", Chart{}.Build()}, published, {"scale", 510, "200", "", 0, 1}},
      {{"", {}, "a.lmc", Chart{}.Build()}, written, {"offset", 518, "5", "", 0, 1}},
      {{"", {}, "a.wav", Wave{}.Build()}, published, {"dwSamplesPerSec", 24, "44100", ""}},
      {{"", {}, "a.wav", Wave{}.Build()}, published, {"formula", -1, "count / 32768", ""}},
      {{"", {}, "a.wav", Wave{}.Build()}, written, {"formula", -1, "count / 6400", ""}},
      {{"", {}, "a.wav", Wave{}.Build(), "a_wavheader.txt", text},
       published,
       {"MinRange", -1, "-1.5", "", 0, 1}},
      // A step of half a millisecond; the first channel header begins at 160, and is of 254 bytes.
      {{"", {}, "a.acq", Acq{}.Build()}, written, {"dAmplScale", 252, "0.5", "", 0, 0}},
      {{"", {}, "a.acq", Acq{}.Build()}, published, {"nVarSampleDivider", 664, "0", "", 1, 0}},
      // 128 bytes of header, the tags of the variable and of its flags.
      {{"", {}, "a.mat", Mat5({{.Name = "x"}})}, published, {"class", 144, "6", "", 0}},
      {{"", {}, "a.mat", Mat4(0, 1, 4, false, "x", std::string(32, '\0'))},
       written,
       {"type", 0, "0", "", 0}},
      {{"", {}, "a.dat", Abin()}, published, {"units of one count", 280, "0.25", "", 0, 1}},
      {{"", {}, "a.dat", Ar()}, published, {"sensitivity", 128, "2.5", "", 0, 0}},
      {{"", {}, "a.alf", DeviceAlf()}, published, {"gain", 222, "4", "", 0, 0}},
      {{"", {}, "a.pk", Peak(1, 2)}, published, {"frames per second", 24, "50", ""}},
      {{"", {}, "a.dat", std::string(16, '\0'), "a.rvp", Rvp()},
       published,
       {"units of one count", -1, "0.5", "", 0, 0}},
  };
  for (const auto& [built, as, wanted] : rows) {
    SCOPED_TRACE(built.Name + " " + wanted.Name);
    const Recording recording = Open(built, as);
    const auto found =
        std::ranges::find_if(recording.Fields(), [&wanted](const HeaderField& field) {
          return field.Name == wanted.Name && field.Block == wanted.Block &&
                 field.Channel == wanted.Channel;
        });
    ASSERT_NE(found, recording.Fields().end());
    EXPECT_EQ(found->Position, wanted.Position);
    EXPECT_EQ(found->Value, wanted.Value);
  }
}

// A text for other channels than the file has.
TEST(Fields, OfASidecarThatIsPassedOverAreForgotten) {
  const BuiltRecording built{
      "", {}, "a.wav", Wave{}.Build(), "a_wavheader.txt", "NumAChannels=3\n"};
  const Recording recording = Open(built, Reading::Published);
  for (const HeaderField& field : recording.Fields()) EXPECT_NE(field.Name, "MaxRange");
}

// Headers of blocks that hold next to nothing.
TEST(Fields, AreNoMoreThanTheFileBacks) {
  ChartBlock block{.ChannelIndex = std::vector<int>(32, 1),
                   .Scale = std::vector<float>(32, 2),
                   .Offset = std::vector<float>(32, 3),
                   .Samples = std::vector<int>(64, 1)};
  const BuiltRecording built{
      "", {}, "a.lmc", Chart{.Blocks = std::vector<ChartBlock>(64, block)}.Build()};
  const Recording recording = Open(built, Reading::Published);
  EXPECT_EQ(recording.Blocks().size(), 64U);
  EXPECT_LE(recording.Fields().size(), 256 + built.Bytes.size() / 16);
}

}  // namespace
}  // namespace lmimport::test
