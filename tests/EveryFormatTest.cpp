// What holds for every format: one row of the table each.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <set>

#include "support/AskEverything.h"
#include "support/FaultyDisk.h"
#include "support/ImportTest.h"
#include "support/MemorySource.h"
#include "support/Recordings.h"

namespace lmimport::test {
namespace {

class EveryFormat : public ImportTest, public testing::WithParamInterface<BuiltRecording> {
 protected:
  // Opens damaged bytes and asks everything of what comes out of it. Whatever they are, the open
  // ends in an orderly way, and the memory stays small.
  void Attack(const std::string& bytes, const std::string& sidecar);
  void ExpectTheSameByRecording(Reading as);

  // Opens the recording as it is, with its sidecar and, unless it is to stay, no flat data file.
  void OpenWhole(bool flatFileStays = false) {
    const BuiltRecording& recording = GetParam();
    if (!flatFileStays) std::filesystem::remove(folder_.PathOf(recording.Name) + "dat");
    if (!recording.Sidecar.empty()) folder_.Write(recording.Sidecar, recording.SidecarBytes);
    if (recording.IsPublishedAlone) SetReading(Reading::Published);
    ASSERT_TRUE(Open(recording.Name, recording.Bytes)) << Error();
    ASSERT_TRUE(Type() == recording.Type || FindingCodes() == Codes{"sidecar-passed-over"});
  }
};

void EveryFormat::Attack(const std::string& bytes, const std::string& sidecar) {
  if (!GetParam().Sidecar.empty()) folder_.Write(GetParam().Sidecar, sidecar);
  const std::string name = folder_.Write(GetParam().Name, bytes);
  bool isOpen = false;
  const HeapUse heap;
  for (const Reading as : {Reading::Written, Reading::Published}) {
    SetReading(as);
    ASSERT_EQ(OpenAndAsk(import_, name, isOpen), "");
    ASSERT_EQ(OpenAndAskRecording(name, as), "");
  }
  SetReading(Reading::Written);
  ASSERT_LT(heap.Peak(), 1U << 20);
}

// The recording with what lies beside it.
std::shared_ptr<MemorySource> InMemory(const BuiltRecording& recording) {
  auto source = std::make_shared<MemorySource>(recording.Bytes);
  if (!recording.Sidecar.empty()) source->PutBeside(recording.Sidecar, recording.SidecarBytes);
  return source;
}

// Places of a file that are worth an attack: all that hold something, and some of the zeros.
bool IsWorthIt(const std::string& bytes, std::size_t place) {
  return bytes[place] != 0 || place % 61 == 0 || bytes.size() < 1000;
}

std::string Changed(std::string bytes, std::size_t place, int change) {
  bytes[place] = static_cast<char>(change < 0 ? 0 : bytes[place] ^ change);
  return bytes;
}

// A block by each face, with all its samples.
void CompareBlock(LMIBlock& block, const Recording& recording, std::size_t number) {
  const Block& other = recording.Blocks()[number];
  EXPECT_EQ(other.Device + other.Title + other.Notes,
            ToUtf8(block.ADCName() + block.Title() + block.Notes()));
  EXPECT_EQ(other.SamplingRate, block.SamplingRate());
  ASSERT_EQ(other.FrameCount, block.SizeChannel());
  ASSERT_EQ(std::ssize(other.Channels), block.ChannelCount());
  for (Integer i = 1; i <= block.ChannelCount(); ++i) {
    const auto c = static_cast<std::size_t>(i - 1);
    EXPECT_EQ(other.Channels[c].Title, ToUtf8(block.ChannelTitle(i)));
    EXPECT_EQ(other.Channels[c].Unit, ToUtf8(block.ChannelUnitName(i)));
    EXPECT_EQ(other.Channels[c].Number, block.ChannelGlobalIndex(i));
    EXPECT_EQ(other.Channels[c].Factor, other.RealSamples ? 1 : block.ChannelDoubleA(i));
    EXPECT_EQ(other.Channels[c].Offset, other.RealSamples ? 0 : block.ChannelDoubleB(i));
    std::vector<Integer> counts;
    std::vector<Double> values;
    block.GetChannelIntegerArray(i, 1, block.SizeChannel(), counts);
    block.GetChannelDoubleArray(i, 1, block.SizeChannel(), values);
    std::vector<Integer> otherCounts(counts.size());
    std::vector<Double> otherValues(values.size() + 1);
    EXPECT_EQ(recording.Read(number, c, 0, otherCounts), block.SizeChannel());
    EXPECT_EQ(recording.Read(number, c, 0, otherValues), block.SizeChannel());
    otherValues.pop_back();
    EXPECT_EQ(otherCounts, counts);
    EXPECT_EQ(otherValues, values);
  }
  std::vector<std::string> comments;
  for (const Comment& comment : recording.Comments())
    if (comment.BlockIndex == number) comments.push_back(comment.Text);
  ASSERT_EQ(std::ssize(comments), block.CommentCount());
  for (Long i = 1; i <= block.CommentCount(); ++i)
    EXPECT_EQ(std::ranges::count(comments, ToUtf8(block.CommentText(i))),
              std::ranges::count(comments, comments[static_cast<std::size_t>(i - 1)]));
}

TEST_P(EveryFormat, SurvivesEveryDamage) {
  const std::string& data = GetParam().Bytes;
  const std::string& sidecar = GetParam().SidecarBytes;
  const auto attackAll = [](const std::string& bytes, const auto& attack) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      if (!IsWorthIt(bytes, i)) continue;
      attack(bytes.substr(0, i));
      for (const int change : {0x01, 0x40, 0x80, 0xff, -1}) attack(Changed(bytes, i, change));
      if (HasFatalFailure()) FAIL() << "place " << i;
    }
  };
  attackAll(data, [&](const std::string& damaged) { Attack(damaged, sidecar); });
  attackAll(sidecar, [&](const std::string& damaged) { Attack(data, damaged); });
  OpenWhole();
}

TEST_P(EveryFormat, PiecesJoinToTheWhole) {
  OpenWhole();
  for (Integer i = 1; i <= file_->BlockCount(); ++i) {
    LMIBlock& block = *file_->Block(i);
    SampleTable<Double> whole;
    SampleTable<Integer> counts;
    ASSERT_EQ(block.GetDataDoubleArray(1, block.SizeChannel(), whole), block.SizeChannel());
    ASSERT_EQ(block.GetDataIntegerArray(1, block.SizeChannel(), counts), block.SizeChannel());
    for (Integer c = 1; c <= block.ChannelCount(); ++c) {
      for (Long frame = 1; frame <= block.SizeChannel(); ++frame) {
        Double value = 0;
        ASSERT_EQ(block.GetChannelDouble(c, frame, 1, &value), 1);
        EXPECT_EQ(value, whole(c, frame));
        const Integer count = counts(c, frame);
        if (count == INT16_MIN || count == INT16_MAX) continue;  // held
        EXPECT_NEAR(count * block.ChannelDoubleA(c) + block.ChannelDoubleB(c), value,
                    1e-6 * (1 + std::abs(value)));
      }
    }
  }
}

// Every read of an open and of its samples fails, once or from then on: an error with the system's
// code and a finding, or a recording that is right once the source is well again.
TEST_P(EveryFormat, AFaultOfTheSourceIsToldAndForgotten) {
  OpenWhole();
  const std::vector<Double> expected = Values();
  for (const bool once : {true, false}) {
    long faults = 0;
    for (bool hasFailed = true; hasFailed; ++faults) {
      const auto source = InMemory(GetParam());
      source->FailAfter(faults, once);
      std::optional<Recording> recording;
      std::vector<Double> values(expected.size());
      try {
        recording = Recording::Open(source, GetParam().Name, {.As = GetParam().As()});
        recording->ReadFrames(0, 0, values);
        EXPECT_FALSE(source->HasFailed());
      } catch (const std::system_error& error) {
        EXPECT_TRUE(source->HasFailed());
        EXPECT_EQ(error.code(), std::errc::io_error);
        const auto* refused = dynamic_cast<const OpenError*>(&error);
        EXPECT_TRUE(recording || refused->Findings().back().Code == "not-readable");
      }
      hasFailed = source->HasFailed();
      source->FailAfter(-1, true);
      if (!recording) continue;
      recording->ReadFrames(0, 0, values);
      EXPECT_EQ(values, expected);
      EXPECT_EQ(AskRecording(*recording), "");
    }
    EXPECT_GT(faults, 2);
  }
}

// The open file of the thread, a recording of the same file, and one in memory are the same.
TEST_P(EveryFormat, IsTheSameByEachFace) {
  for (const Reading as : {Reading::Written, Reading::Published}) {
    if (as != Reading::Published && GetParam().IsPublishedAlone) continue;
    SetReading(as);
    OpenWhole();
    ExpectTheSameByRecording(as);
  }
}

void EveryFormat::ExpectTheSameByRecording(Reading as) {
  const auto byPath = Recording::Open(folder_.PathOf(GetParam().Name), {.As = as});
  const auto inMemory = Recording::Open(InMemory(GetParam()), GetParam().Name, {.As = as});
  for (const Recording& recording : {byPath, inMemory}) {
    ASSERT_EQ(std::ssize(recording.Blocks()), file_->BlockCount());
    ASSERT_EQ(AskRecording(recording), "");
    EXPECT_EQ(recording.Sidecar(), GetParam().Sidecar);
    for (std::size_t i = 0; i < recording.Blocks().size(); ++i)
      CompareBlock(*file_->Block(static_cast<Integer>(i + 1)), recording, i);
    Codes codes = CodesOf(recording.Findings());
    std::ranges::sort(codes);
    Codes ofFile = FindingCodes();
    std::ranges::sort(ofFile);
    EXPECT_EQ(codes, ofFile);
  }
}

// Where no published layout says otherwise, both readings are the same.
TEST_P(EveryFormat, HasOneReadingUnlessALayoutSaysOtherwise) {
  const std::set<std::string> published = {"windaq", "wave", "abf",     "cfwb",   "edf",
                                           "bdf",    "acq",  "matlab4", "matlab5"};
  if (published.contains(GetParam().Target)) return;
  OpenWhole();
  const auto open = [&](Reading as) {
    return Recording::Open(folder_.PathOf(GetParam().Name), {.As = as});
  };
  const Recording one = open(Reading::Written), other = open(Reading::Published);
  EXPECT_EQ(CodesOf(one.Findings()), CodesOf(other.Findings()));
  EXPECT_EQ(one.Start(), other.Start());
  ASSERT_EQ(one.Blocks().size(), other.Blocks().size());
  for (std::size_t b = 0; b < one.Blocks().size(); ++b) {
    CompareBlock(*file_->Block(static_cast<Integer>(b + 1)), other, b);
    EXPECT_EQ(one.Blocks()[b].StartTime, other.Blocks()[b].StartTime);
  }
}

// What is written can be found half done.
class ConvertedFormat : public EveryFormat {};

// The same file, from a disk that gives or takes little at a time.
TEST_P(ConvertedFormat, ShortTransfersChangeNothing) {
  const std::vector<Double> expected = (OpenWhole(), Values());
  for (std::size_t bytes = 1; bytes < 20; ++bytes) {
    FaultyDisk disk;
    disk.Shorten(bytes);
    OpenWhole();
    ASSERT_EQ(Values(), expected) << bytes;
  }
}

// Each call of an open and of a range in turn is broken off by a signal, and made again.
TEST_P(ConvertedFormat, SignalsChangeNothing) {
  const std::vector<Double> expected = (OpenWhole(), Values());
  const Codes findings = FindingCodes();
  const std::string flatFile = folder_.PathOf(GetParam().Name) + "dat";
  const std::string flatBytes = Contents(flatFile);
  for (const FaultyDisk::Call call : {FaultyDisk::Read, FaultyDisk::Change}) {
    bool hasFailed = true;
    for (long before = 0; hasFailed; ++before) {
      FaultyDisk disk;
      disk.FailAfter(call, before, EINTR, true);
      OpenWhole();
      ASSERT_EQ(Values(), expected) << before;
      ASSERT_EQ(FindingCodes(), findings) << before;
      ASSERT_EQ(Contents(flatFile), flatBytes) << before;
      hasFailed = disk.HasFailed();
    }
  }
}

// Every change of the flat data file fails, once or from then on: a fault that names the error and
// leaves no file, and the next open is as good as any.
TEST_P(ConvertedFormat, AFaultOfTheDiskIsToldAndForgotten) {
  const std::vector<Double> expected = (OpenWhole(), Values());
  for (const bool once : {true, false}) {
    for (const int error : {ENOSPC, EIO}) {
      long faults = 0;
      for (bool hasFailed = true; hasFailed; ++faults) {
        {
          FaultyDisk disk;
          disk.Shorten(16);  // so that a write can end half done
          disk.FailAfter(FaultyDisk::Change, faults, error, once);
          try {
            OpenWhole();
            EXPECT_EQ(Values(), expected);
          } catch (const std::system_error& fault) {
            EXPECT_TRUE(disk.HasFailed());
            EXPECT_EQ(fault.code().value(), error);
            EXPECT_EQ(file_, nullptr);
          }
          hasFailed = disk.HasFailed();
        }
        OpenWhole(true);
        EXPECT_EQ(Values(), expected);
      }
      EXPECT_GT(faults, 2);
    }
  }
}

std::vector<BuiltRecording> Converted() {
  std::vector<BuiltRecording> recordings = AllRecordings();
  std::erase_if(recordings, [](const auto& r) { return !r.Name.starts_with("mixed"); });
  return recordings;
}

std::string NameOf(const testing::TestParamInfo<BuiltRecording>& test) {
  std::string name = test.param.Name;
  std::ranges::replace(name, '.', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(All, EveryFormat, testing::ValuesIn(AllRecordings()), NameOf);
INSTANTIATE_TEST_SUITE_P(All, ConvertedFormat, testing::ValuesIn(Converted()), NameOf);

}  // namespace
}  // namespace lmimport::test
