// The flat data file: when it is written, when it is found, and that nothing half written is ever
// taken for whole.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <thread>

#include "model/BinaryFile.h"
#include "support/FaultyDisk.h"
#include "support/ImportTest.h"
#include "support/LockedFile.h"

namespace lmimport::test {
namespace {

constexpr std::int64_t Then = 1'000'000'000;  // when the recording was written

class FlatDataFileTest : public ImportTest {
 protected:
  FlatDataFileTest() { Renew(); }

  // The recording as it was, and its date.
  void Renew() {
    folder_.Write("f.edf", Edf().Build());
    SetWriteTime(Source, Then);
  }
  void PutFlat(const std::string& bytes, std::int64_t seconds, long nanoseconds = 0) {
    folder_.Write("f.edfdat", bytes);
    SetWriteTime(Flat, seconds, nanoseconds);
  }
  std::int64_t FlatTime() {
    struct stat status {};
    ::stat(Flat.c_str(), &status);
    return status.st_mtim.tv_sec;
  }
  std::string FlatFile() { return std::filesystem::exists(Flat) ? Contents(Flat) : None; }
  // One that is out of date, or none.
  void PutOld(const std::string& bytes) {
    std::filesystem::remove(Flat);
    if (bytes != None) PutFlat(bytes, Then - 1);
  }
  void ExpectRight() {
    ASSERT_TRUE(Open(Source)) << Error();
    const std::vector<Double> values = Values();
    ASSERT_EQ(values.size(), 16U);
    EXPECT_FLOAT_EQ(static_cast<float>(values[0]), 0.1F);
    EXPECT_FLOAT_EQ(static_cast<float>(values[15]), 4.0F);
  }

  const std::string None = "no file";
  const std::string Source = folder_.PathOf("f.edf");
  const std::string Flat = folder_.PathOf("f.edfdat");
  const std::string Good = Words({1, 10, 2, 10, 3, 20, 4, 20, 5, 30, 6, 30, 7, 40, 8, 40});
  const std::string Other = std::string(Good.size(), 'o');
};

TEST_F(FlatDataFileTest, IsTakenAgainOrWrittenAnew) {
  struct Row {
    const char* What;
    std::string Before;
    std::int64_t Seconds;
    long Nanoseconds;
    std::string After;
  };
  const Row rows[] = {{"younger and of full length", Other, Then, 1, Other},
                      {"as old", Other, Then, 0, Good},
                      {"older", Other, Then - 1, 999'999'999, Good},
                      {"too short", Other.substr(1), Then + 9, 0, Good},
                      {"empty", "", Then + 9, 0, Good},
                      {"too long", Other + "tail", Then + 9, 0, Good + "tail"},
                      {"older and too long", Other + "t", Then - 9, 0, Good + "t"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.What);
    PutFlat(row.Before, row.Seconds, row.Nanoseconds);
    ASSERT_TRUE(Open(Source));
    EXPECT_EQ(FlatFile(), row.After);
    std::vector<Integer> counts;
    file_->Block(1)->GetChannelIntegerArray(1, 1, 1, counts);
    EXPECT_EQ(counts.at(0), row.After == Other ? 'o' * 257 : 1);
    EXPECT_EQ(ToUtf8(file_->FileName()), Source);
  }
}

TEST_F(FlatDataFileTest, OutlivesTheOpenAndIsFoundByTheNext) {
  ExpectRight();
  import_.CloseFile(file_);
  EXPECT_EQ(FlatFile(), Good);
  // Writing would change its date.
  SetWriteTime(Flat, Then + 1);
  ExpectRight();
  EXPECT_EQ(FlatTime(), Then + 1);
  SetWriteTime(Source, Then + 2);
  ExpectRight();
  EXPECT_GT(FlatTime(), Then + 2);
}

TEST_F(FlatDataFileTest, WhatIsNoPlainFileIsLeftAlone) {
  const std::string victim = folder_.Write("victim", Other);
  SetWriteTime(victim, Then - 1);
  const std::function<void()> obstacles[] = {
      [&] { std::filesystem::create_directory(Flat); },
      [&] { std::filesystem::create_symlink(victim, Flat); },
      [&] { std::filesystem::create_symlink(folder_.PathOf("nothing"), Flat); },
      [&] { ::mkfifo(Flat.c_str(), 0600); },
      [&] { std::filesystem::create_hard_link(victim, Flat); },
  };
  for (const auto& obstacle : obstacles) {
    obstacle();
    ExpectRight();
    import_.CloseFile(file_);
    EXPECT_EQ(Contents(victim), Other);
    EXPECT_FALSE(std::filesystem::exists(folder_.PathOf("nothing")));
    std::filesystem::remove(Flat);
  }
  // Neither is a link to a file that would do.
  folder_.Write("victim", Other);
  std::filesystem::create_symlink(victim, Flat);
  ExpectRight();
}

TEST_F(FlatDataFileTest, OneThatAnotherProgramHasLockedIsLeftAlone) {
  for (const auto kind : {LockedFile::Whole, LockedFile::Record}) {
    PutFlat(Other, Then - 1);
    const LockedFile other(Flat, kind);
    ExpectRight();
    import_.CloseFile(file_);
    EXPECT_EQ(FlatFile(), Other) << kind;
  }
}

// Room is taken before a byte is written. Without it the file is made elsewhere, and what lies there
// stays as it is.
TEST_F(FlatDataFileTest, WithoutRoomATemporaryOneTakesItsPlace) {
  for (const std::string& old : {None, Other, Other.substr(4), Other + "tail"}) {
    PutOld(old);
    FaultyDisk disk;
    // One of the right size, which taking room would make younger, is made unfit first.
    const std::string left = old == Other ? Other.substr(1) : old;
    disk.FailAfter(FaultyDisk::Change, old == Other ? 2 : 0, ENOSPC, true);
    ExpectRight();
    EXPECT_TRUE(disk.HasFailed());
    EXPECT_EQ(disk.Changes().find("write"), disk.Changes().rfind("reserve") + 12);
    EXPECT_EQ(FlatFile(), left);
    disk.FailAfter(FaultyDisk::Change, 0, ENOSPC, false);
    try {
      Open(Source);
      ADD_FAILURE();
    } catch (const std::system_error& fault) {
      EXPECT_EQ(fault.code(), std::errc::no_space_on_device);
      EXPECT_EQ(std::string(fault.what()).find("Can't make room for \"/"), 0U) << fault.what();
    }
    EXPECT_EQ(FindingCodes(), Codes{"no-room"});
    EXPECT_EQ(FlatFile(), left);
  }
}

// A file system may take back what it promised.
TEST_F(FlatDataFileTest, ADiskThatFillsMeanwhileIsLeft) {
  for (const std::string& old : {None, Other}) {
    PutOld(old);
    FaultyDisk disk;
    disk.Shorten(7);
    disk.FailAfter(FaultyDisk::Change, 5, ENOSPC, true);
    ExpectRight();
    EXPECT_TRUE(disk.HasFailed());
    EXPECT_EQ(FlatFile(), old == None ? None : "");
  }
}

// So that no loss of power leaves a file of the right size with other bytes in it.
TEST_F(FlatDataFileTest, IsFlushedBeforeItsBytesAndBeforeTheLastOfThem) {
  const std::pair<std::string, const char*> rows[] = {
      {None, "reserve 32, write 31, write 1, flush"},
      {Other, "size 31, flush, reserve 35, write 31, flush, write 1"},
      {Other + "tail", "reserve 39, size 37, flush, write 31, flush, write 1, size 36"}};
  for (const auto& [before, changes] : rows) {
    PutOld(before);
    FaultyDisk disk;
    ExpectRight();
    EXPECT_EQ(disk.Changes(), changes);
  }
}

TEST_F(FlatDataFileTest, WithoutAnyPlaceTheOpenFails) {
  std::filesystem::create_directory(Flat);
  const Environment nowhere("TMPDIR", "/proc");
  EXPECT_FALSE(Open(Source));
  EXPECT_EQ(Error().find("Can't open \"/proc/lmi"), 0U) << Error();
}

TEST_F(FlatDataFileTest, ReadersShareAFinishedOne) {
  ExpectRight();
  SetWriteTime(Flat, Then + 1);
  std::thread([&] {
    LMImport other;
    const LMIFilePtr file = other.OpenFileObject(FromUtf8(Source));
    ASSERT_TRUE(file);
    // It is this very file, and stays as it is below them.
    FileSource program;
    const String name = FromUtf8(Flat);
    EXPECT_TRUE(program.Open(name, platform::Access::Write, platform::Lock::Exclusive));
    EXPECT_FALSE(program.Open(name, platform::Access::Read, platform::Lock::Shared));
  }).join();
  // A recording that changes is converted elsewhere while somebody reads.
  SetWriteTime(Source, Then + 2);
  std::thread([&] {
    LMImport other;
    EXPECT_TRUE(other.OpenFileObject(FromUtf8(Source)));
  }).join();
  EXPECT_EQ(Values()[15], Values()[13]);
  import_.CloseFile(file_);
  EXPECT_EQ(FlatTime(), Then + 1);
}

TEST_F(FlatDataFileTest, AHalfWrittenOneIsNobodyElses) {
  PutFlat(Other, Then - 1);
  bool first = true;
  SetProgressHandler([&](double) {
    if (std::exchange(first, false)) {
      std::thread([&] {
        LMImport other;
        const LMIFilePtr file = other.OpenFileObject(FromUtf8(Source));
        ASSERT_TRUE(file);
        std::vector<Integer> counts;
        EXPECT_EQ(file->Block(1)->GetChannelIntegerArray(2, 1, 8, counts), 8);
        EXPECT_EQ(counts, (std::vector<Integer>{10, 10, 20, 20, 30, 30, 40, 40}));
      }).join();
      EXPECT_EQ(FlatFile().size(), Good.size() - 1);
    }
    return true;
  });
  ExpectRight();
  EXPECT_FALSE(first);
  EXPECT_EQ(FlatFile(), Good);
}

TEST_F(FlatDataFileTest, ANewOneHasNoNameBeforeItIsWhole) {
  int calls = 0;
  SetProgressHandler([&](double) {
    ++calls;
    EXPECT_FALSE(std::filesystem::exists(Flat));
    return true;
  });
  ExpectRight();
  EXPECT_GT(calls, 0);
  EXPECT_EQ(FlatFile(), Good);
}

TEST_F(FlatDataFileTest, ARecordingThatChangesMeanwhileIsConvertedAgain) {
  SetProgressHandler([&](double) {
    SetWriteTime(Source, Then + 1);
    return true;
  });
  ExpectRight();
  EXPECT_FALSE(std::filesystem::exists(Flat));
  PutFlat(Other, Then - 1);
  Renew();
  SetProgressHandler([&](double) {
    SetWriteTime(Source, Then + 1);
    return true;
  });
  ExpectRight();
  SetProgressHandler({});
  EXPECT_EQ(FlatFile().size(), Good.size() + 3);
  SetWriteTime(Flat, Then + 9);
  ExpectRight();
  EXPECT_EQ(FlatFile(), Good);
}

// The flat file of an earlier, longer recording has just the length that the recording grows to
// while it is converted: also then nothing old is taken.
TEST_F(FlatDataFileTest, ALongerOneIsNoneForARecordingThatGrows) {
  Edf grown{.RecordCount = "-1"};
  for (EdfSignal& signal : grown.Signals)
    for (int i = 0; i < 2; ++i) signal.Records.push_back(signal.Records[0]);
  for (const bool givesUp : {false, true}) {
    folder_.Write("f.edf", Edf().Build());
    PutFlat(Other + Other, Then - 1);
    SetProgressHandler([&](double) {
      folder_.Write("f.edf", grown.Build());
      return !givesUp;
    });
    try {
      EXPECT_EQ(Open(Source), !givesUp);
    } catch (const std::system_error&) {
      EXPECT_TRUE(givesUp);
    }
    SetProgressHandler({});
    SetWriteTime(Source, Then);
    ASSERT_TRUE(Open(Source));
    EXPECT_EQ(FlatFile().substr(0, 2 * Good.size()),
              Good + Good.substr(0, Good.size() / 2) + Good.substr(0, Good.size() / 2));
    EXPECT_FLOAT_EQ(static_cast<float>(Values()[16]), 0.1F);
  }
}

TEST_F(FlatDataFileTest, ARecordingThatIsReplacedIsConvertedAgain) {
  const std::string next = folder_.Write("next", Edf().Build());
  SetWriteTime(next, Then);
  SetProgressHandler([&](double) {
    if (std::filesystem::exists(next)) std::filesystem::rename(next, Source);
    return true;
  });
  ExpectRight();
  EXPECT_FALSE(std::filesystem::exists(Flat));
}

// By its date it is older than the flat file of the one before.
TEST_F(FlatDataFileTest, OneThatIsOlderThanARecordingPutInItsPlaceIsTold) {
  ExpectRight();
  EXPECT_EQ(FindingCodes(), Codes{});
  ExpectRight();
  EXPECT_EQ(FindingCodes(), Codes{});
  struct stat flat {};
  struct stat source {};
  do {  // until the clock of the file system goes on
    const std::string next = folder_.Write("next", Edf().Build());
    SetWriteTime(next, Then);
    std::filesystem::rename(next, Source);
    ::stat(Flat.c_str(), &flat);
    ::stat(Source.c_str(), &source);
  } while (source.st_ctim.tv_sec == flat.st_ctim.tv_sec &&
           source.st_ctim.tv_nsec == flat.st_ctim.tv_nsec);
  ExpectRight();
  EXPECT_EQ(FindingCodes(), Codes{"flat-file-older"});
}

TEST_F(FlatDataFileTest, AnOpenCanBeGivenUp) {
  for (const double at : {0.0, 1.0}) {
    for (const std::string& old : {None, Other}) {
      PutOld(old);
      std::vector<double> fractions;
      SetProgressHandler([&](double fraction) {
        fractions.push_back(fraction);
        EXPECT_THROW(import_.ErrorString(), std::logic_error);
        EXPECT_THROW(LMImport(), std::logic_error);
        return fraction < at;
      });
      try {
        Open(Source);
        ADD_FAILURE();
      } catch (const std::system_error& fault) {
        EXPECT_EQ(fault.code(), std::errc::operation_canceled);
      }
      EXPECT_EQ(fractions.front(), 0);
      EXPECT_EQ(fractions.back(), at);
      EXPECT_EQ(file_, nullptr);
      EXPECT_EQ(FlatFile(), old == None ? None : "");
      SetProgressHandler([](double) -> bool { throw std::runtime_error("from the host"); });
      EXPECT_THROW(Open(Source), std::runtime_error);
      SetProgressHandler({});
      ExpectRight();
    }
  }
}

TEST_F(FlatDataFileTest, AnLMImportThatEndsMeanwhileClosesNothing) {
  auto other = std::make_unique<LMImport>();
  SetProgressHandler([&](double) {
    other.reset();
    return true;
  });
  ExpectRight();
  EXPECT_EQ(other, nullptr);
  EXPECT_EQ(FlatFile(), Good);
}

// Has a child process do the work; gives how it ended.
template <class Work>
int InChild(const Work& work) {
  const pid_t child = ::fork();
  if (child == 0) {
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    ::_exit(work());
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return status;
}

// The writer is killed after each byte, and before each change of the file.
TEST_F(FlatDataFileTest, SurvivesTheEndOfItsWriterAtEveryStep) {
  const auto openKilled = [&](long bytes, long changes, bool nameless) {
    return InChild([&] {
      FaultyDisk disk;
      if (!nameless) disk.TakeNamelessFiles();
      disk.KillAfter(bytes);
      disk.KillBefore(changes);
      LMImport import;
      import.OpenFileObject(FromUtf8(Source));
      return 0;
    });
  };
  for (const bool nameless : {true, false}) {
    for (const std::string& old : {None, Other.substr(5), Other, Other + "tail"}) {
      for (long step = 0; step < 40; ++step) {
        SCOPED_TRACE(testing::Message() << nameless << ' ' << step << ' ' << old.size());
        PutOld(old);
        const bool byByte = step < 32;
        if (!WIFSIGNALED(openKilled(byByte ? step : -1, byByte ? -1 : step - 32, nameless))) {
          EXPECT_FALSE(byByte);  // there are fewer changes than that
          break;
        }
        if (nameless && old == None) {
          EXPECT_EQ(FlatFile(), None);
          continue;
        }
        // No clock shall save the next open.
        if (FlatFile() != old) SetWriteTime(Flat, Then + 1);
        ExpectRight();
        import_.CloseFile(file_);
      }
    }
  }
}

// A file system may not have files without a name.
TEST_F(FlatDataFileTest, WithoutNamelessFilesItHasItsNameAtOnce) {
  FaultyDisk disk;
  disk.TakeNamelessFiles();
  ExpectRight();
  EXPECT_EQ(disk.Changes(), "reserve 35, size 31, write 31, flush, write 1");
  EXPECT_EQ(FlatFile(), Good);
  std::filesystem::remove(Flat);
  SetProgressHandler([&](double) {
    EXPECT_EQ(FlatFile().size(), Good.size() - 1);
    return false;
  });
  EXPECT_THROW(Open(Source), std::system_error);
  SetProgressHandler({});
  EXPECT_EQ(FlatFile(), None);
}

// A limit of the process would end the host by a signal.
TEST_F(FlatDataFileTest, WhereNoFileMayBeThatLongTheOpenFails) {
  const auto openWithLimit = [&](rlim_t limit) {
    return InChild([&] {
      const rlimit size{limit, limit};
      ::setrlimit(RLIMIT_FSIZE, &size);
      try {
        LMImport import;
        return import.OpenFileObject(FromUtf8(Source)) ? 0 : 1;
      } catch (const std::system_error& fault) {
        const bool told = std::string(fault.what()).find("make room for") != std::string::npos;
        return told && fault.code() == std::errc::file_too_large ? 2 : 3;
      }
    });
  };
  for (const std::string& old : {None, Other + "tail"}) {
    PutOld(old);
    for (rlim_t limit = 0; limit < Good.size(); ++limit) {
      const int status = openWithLimit(limit);
      ASSERT_TRUE(WIFEXITED(status)) << limit;
      EXPECT_EQ(WEXITSTATUS(status), 2) << limit;
    }
    EXPECT_EQ(FlatFile(), old);
    EXPECT_EQ(openWithLimit(Good.size()), 0);
    EXPECT_EQ(FlatFile(), old == None ? Good : old);
  }
}

}  // namespace
}  // namespace lmimport::test
