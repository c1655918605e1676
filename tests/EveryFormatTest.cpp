// What holds for every format: one row of the table each.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <filesystem>

#include "support/AskEverything.h"
#include "support/FaultyDisk.h"
#include "support/ImportTest.h"
#include "support/Recordings.h"

namespace lmimport::test {
namespace {

class EveryFormat : public ImportTest, public testing::WithParamInterface<BuiltRecording> {
 protected:
  // Opens damaged bytes and asks everything of what comes out of it. Whatever they are, the open
  // ends in an orderly way, and the memory stays small.
  void Attack(const std::string& bytes, const std::string& sidecar);

  // Opens the recording as it is, with its sidecar and, unless it is to stay, no flat data file.
  void OpenWhole(bool flatFileStays = false) {
    const BuiltRecording& recording = GetParam();
    if (!flatFileStays) std::filesystem::remove(folder_.PathOf(recording.Name) + "dat");
    if (!recording.Sidecar.empty()) folder_.Write(recording.Sidecar, recording.SidecarBytes);
    ASSERT_TRUE(Open(recording.Name, recording.Bytes)) << Error();
    ASSERT_TRUE(Type() == recording.Type || FindingCodes() == Codes{"sidecar-passed-over"});
  }
};

void EveryFormat::Attack(const std::string& bytes, const std::string& sidecar) {
  if (!GetParam().Sidecar.empty()) folder_.Write(GetParam().Sidecar, sidecar);
  const std::string name = folder_.Write(GetParam().Name, bytes);
  bool isOpen = false;
  const HeapUse heap;
  ASSERT_EQ(OpenAndAsk(import_, name, isOpen), "");
  ASSERT_LT(heap.Peak(), 1U << 20);
}

// Places of a file that are worth an attack: all that hold something, and some of the zeros.
bool IsWorthIt(const std::string& bytes, std::size_t place) {
  return bytes[place] != 0 || place % 61 == 0 || bytes.size() < 1000;
}

std::string Changed(std::string bytes, std::size_t place, int change) {
  bytes[place] = static_cast<char>(change < 0 ? 0 : bytes[place] ^ change);
  return bytes;
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
        EXPECT_NEAR(counts(c, frame) * block.ChannelDoubleA(c) + block.ChannelDoubleB(c), value,
                    1e-6 * (1 + std::abs(value)));
      }
    }
  }
}

// The same file, from a disk that gives or takes little at a time.
TEST_P(EveryFormat, ShortTransfersChangeNothing) {
  const std::vector<Double> expected = (OpenWhole(), Values());
  for (std::size_t bytes = 1; bytes < 20; ++bytes) {
    FaultyDisk disk;
    disk.Shorten(bytes);
    OpenWhole();
    ASSERT_EQ(Values(), expected) << bytes;
  }
}

// Each call of an open and of a range in turn is broken off by a signal, and made again.
TEST_P(EveryFormat, SignalsChangeNothing) {
  const std::vector<Double> expected = (OpenWhole(), Values());
  const Codes findings = FindingCodes();
  const std::string flatFile = folder_.PathOf(GetParam().Name) + "dat";
  const std::string flatBytes = Contents(flatFile);
  for (const FaultyDisk::Call call : {FaultyDisk::Read, FaultyDisk::Change}) {
    bool hasFailed = true;
    for (long before = 0; hasFailed; ++before) {
      FaultyDisk disk;
      disk.FailBehind(call, before, EINTR, true);
      OpenWhole();
      ASSERT_EQ(Values(), expected) << before;
      ASSERT_EQ(FindingCodes(), findings) << before;
      ASSERT_EQ(Contents(flatFile), flatBytes) << before;
      hasFailed = disk.HasFailed();
    }
  }
}

// Every read of an open and of a range fails, and every change of the flat data file, once or from
// then on: a fault that names the error and leaves no file, and the next open is as good as any.
TEST_P(EveryFormat, AFaultOfTheDiskIsToldAndForgotten) {
  const std::vector<Double> expected = (OpenWhole(), Values());
  const bool converts = GetParam().Name.starts_with("mixed");
  const auto failEach = [&](FaultyDisk::Call call, int error, bool once) {
    long faults = 0;
    for (bool hasFailed = true; hasFailed; ++faults) {
      {
        FaultyDisk disk;
        disk.Shorten(16);  // so that a write can end half done
        disk.FailBehind(call, faults, error, once);
        bool isOpen = false;
        try {
          OpenWhole();
          isOpen = true;
          // A sidecar is passed over, and a temporary file takes the place of one that can't be made.
          EXPECT_TRUE(Values() == expected || FindingCodes() == Codes{"sidecar-passed-over"});
          EXPECT_TRUE(!disk.HasFailed() || converts || !GetParam().Sidecar.empty());
        } catch (const std::system_error& fault) {
          EXPECT_TRUE(disk.HasFailed());
          EXPECT_EQ(fault.code().value(), error);
          EXPECT_EQ(file_ != nullptr, isOpen);
        }
        hasFailed = disk.HasFailed();
      }
      OpenWhole(true);
      EXPECT_EQ(Values(), expected);
    }
    return faults;
  };
  EXPECT_GT(failEach(FaultyDisk::Read, EIO, true), 2);
  for (const bool once : {true, false})
    for (const int error : {ENOSPC, EIO})
      EXPECT_EQ(failEach(FaultyDisk::Change, error, once) > 2, converts);
}

INSTANTIATE_TEST_SUITE_P(All, EveryFormat, testing::ValuesIn(AllRecordings()),
                         [](const auto& test) {
                           std::string name = test.param.Name;
                           std::ranges::replace(name, '.', '_');
                           return name;
                         });

}  // namespace
}  // namespace lmimport::test
