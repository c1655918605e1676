#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>

#include "model/BinaryFile.h"
#include "support/Builders.h"

namespace lmimport::test {
namespace {

class BinaryFileTest : public testing::Test {
 protected:
  bool OpenToRead(BinaryFile& file, const std::string& name, Long share = ShareReadingAndWriting) {
    return file.Open(FromUtf8(name), share);
  }
  static std::error_code OpenToWrite(FileSource& file, const std::string& name) {
    return file.Open(FromUtf8(name), platform::Access::Write, platform::Lock::Exclusive);
  }

  TempFolder folder_;
  TextTools texts_;
  BinaryFile file_{texts_};
};

TEST_F(BinaryFileTest, ReadsTypedValuesAndZerosBehindTheEnd) {
  const Bytes bytes = Bytes().Int16(-2).Int32(70000).Real32(1.5F).Real64(-0.25).Int8(7).Zeros(2);
  ASSERT_TRUE(OpenToRead(file_, folder_.Write("f", bytes.Get())));
  EXPECT_EQ(file_.Size(), 21);
  EXPECT_EQ(file_.File()->PathName(), FromUtf8(folder_.PathOf("f")));
  EXPECT_EQ(file_.ReadValue<Integer>(), -2);
  EXPECT_EQ(file_.ReadValue<Long>(), 70000);
  EXPECT_EQ(file_.ReadValue<Single>(), 1.5F);
  EXPECT_EQ(file_.ReadValue<Double>(), -0.25);
  EXPECT_EQ(file_.Position(), 18);

  Long partial[2] = {-1, -1};  // three bytes are left
  EXPECT_EQ(file_.ReadInt32Array(partial, 2), 0);
  EXPECT_EQ(partial[0], 0);
  EXPECT_EQ(partial[1], 0);

  Byte rest[14] = {};
  file_.Seek(11);
  EXPECT_EQ(file_.ReadBytes(rest, 14), 10);
  for (const std::int64_t outside : {std::int64_t{21}, std::int64_t{1} << 40, std::int64_t{-5}}) {
    Integer value = 9;
    file_.SeekTo(outside);
    EXPECT_EQ(file_.ReadInt16Array(&value, 1), 0) << outside;
    EXPECT_EQ(value, 0);
  }
  file_.Seek(2);
  file_.Skip(4);
  EXPECT_EQ(file_.ReadValue<Single>(), 1.5F);
}

TEST_F(BinaryFileTest, ReadsTexts) {
  const Bytes bytes = Bytes().CountedText("abc").Int32(-1).Text("z");
  const std::string cut = Bytes().Text("ab").Int8(0).Text("c").Int32(2000000000).Text("end").Get();
  String text = u"old";
  ASSERT_TRUE(OpenToRead(file_, folder_.Write("f", bytes.Get())));
  EXPECT_EQ(file_.ReadCountedString(text), 3);
  EXPECT_EQ(text, u"abc");
  EXPECT_EQ(file_.ReadCountedString(text), 0);  // a count below 0
  EXPECT_EQ(text, u"");
  EXPECT_EQ(file_.Position(), 11);

  ASSERT_TRUE(OpenToRead(file_, folder_.Write("g", cut)));
  EXPECT_EQ(file_.ReadFixedString(text, 4), 4);
  EXPECT_EQ(text, String(u"ab\0c", 4));
  const HeapUse heap;
  EXPECT_EQ(file_.ReadCountedString(text), 3);  // the file ends first
  EXPECT_EQ(text, u"end");
  EXPECT_LT(heap.Peak(), 1U << 20);
  file_.Seek(0);
  EXPECT_EQ(file_.ReadTerminatedString(text, 100), 2);
  EXPECT_EQ(file_.Position(), 3);
  EXPECT_EQ(file_.ReadTerminatedString(text, 1), 1);
  EXPECT_EQ(text, u"c");
  EXPECT_EQ(file_.Position(), 4);
}

TEST_F(BinaryFileTest, SeesWhatARecorderAppends) {
  const std::string name = folder_.Write("f", "ab");
  ASSERT_TRUE(OpenToRead(file_, name));
  Byte bytes[4] = {};
  EXPECT_EQ(file_.ReadByteArray(bytes, 4), 2);
  std::ofstream(name, std::ios::app) << "cd";
  EXPECT_EQ(file_.ReadByteArray(bytes, 2), 2);
  EXPECT_EQ(bytes[0], 'c');
  file_.Seek(0);
  EXPECT_EQ(file_.ReadByteArray(bytes, 4), 4);
}

TEST_F(BinaryFileTest, RefusesWhatIsNoPlainFile) {
  ASSERT_EQ(::mkfifo(folder_.PathOf("fifo").c_str(), 0600), 0);
  folder_.Write("plain", "data");
  std::filesystem::create_symlink(folder_.PathOf("plain"), folder_.PathOf("link"));
  const struct {
    std::string Name;
    bool Write;
    const char* Reason;
  } rows[] = {{folder_.PathOf("missing"), false, "No such file"},
              {folder_.PathOf("missing"), true, "No such file"},
              {folder_.Path(), false, "it is a folder"},
              {folder_.PathOf("fifo"), false, "it is no plain file"},
              {folder_.PathOf("fifo"), true, "it is no plain file"},
              {"/dev/null", false, "it is no plain file"},
              {folder_.PathOf("link"), true, "it is a symbolic link"},
              {folder_.PathOf("plain") + std::string("\0x", 2), false, "Invalid argument"}};
  for (const auto& row : rows) {
    std::string error;
    if (row.Write) {
      FileSource file;
      error = WhyNotOpened(FromUtf8(row.Name), OpenToWrite(file, row.Name));
    } else {
      EXPECT_FALSE(OpenToRead(file_, row.Name));
      EXPECT_FALSE(file_.IsOpen());
      error = ToUtf8(file_.LastError());
    }
    EXPECT_NE(error.find(row.Reason), std::string::npos) << error;
    EXPECT_NE(error.find(row.Name), std::string::npos) << error;
  }
  EXPECT_TRUE(OpenToRead(file_, folder_.PathOf("link")));
  EXPECT_EQ(file_.Size(), 4);
}

TEST_F(BinaryFileTest, LocksLastAsLongAsTheInstance) {
  const std::string name = folder_.Write("f", "data");
  auto writer = std::make_unique<FileSource>();
  FileSource second;
  BinaryFile other(texts_);
  ASSERT_FALSE(OpenToWrite(*writer, name));
  EXPECT_EQ(OpenToWrite(second, name), std::errc::text_file_busy);
  EXPECT_FALSE(OpenToRead(other, name, ShareReading));
  EXPECT_NE(ToUtf8(other.LastError()).find("in use"), std::string::npos);
  EXPECT_TRUE(OpenToRead(other, name));  // a recording takes no lock
  other.Close();
  EXPECT_TRUE(OpenToWrite(second, name));  // and its close takes away none
  writer.reset();
  EXPECT_TRUE(OpenToRead(other, name, ShareReading));
  EXPECT_TRUE(OpenToRead(file_, name, ShareReading));
  other.Close();
  EXPECT_TRUE(OpenToWrite(second, name));
}

TEST_F(BinaryFileTest, TemporaryFileHasNoNameToOutliveIt) {
  const Environment tmp("TMPDIR", folder_.Path().c_str());
  const String name = PathTools::TempFileName(u"flat");
  EXPECT_TRUE(name.starts_with(FromUtf8(folder_.Path())));
  EXPECT_NE(name, PathTools::TempFileName(u"flat"));
  const Integer count = 5;
  const auto file = std::make_shared<FileSource>();
  ASSERT_FALSE(file->Open(name, platform::Access::CreateTemporary, platform::Lock::None));
  file->WriteAt(0, &count, 2);
  EXPECT_EQ(BinaryFile(texts_, file).ReadValue<Integer>(), 5);
  EXPECT_TRUE(std::filesystem::is_empty(folder_.Path()));
}

// A file server holds a lease on what it has lent, and lets go of it when it is asked to.
TEST_F(BinaryFileTest, AFileOnLeaseIsWaitedFor) {
  const std::string name = folder_.Write("f", "lent");
  int ready[2] = {};
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t server = ::fork();
  if (server == 0) {
    sigset_t asked;
    sigemptyset(&asked);
    sigaddset(&asked, SIGIO);
    sigprocmask(SIG_BLOCK, &asked, nullptr);
    const int handle = ::open(name.c_str(), O_RDWR);
    const char held = ::fcntl(handle, F_SETLEASE, F_WRLCK) == 0 ? 'y' : 'n';
    if (::write(ready[1], &held, 1) != 1 || held == 'n') ::_exit(1);
    int signal = 0;
    sigwait(&asked, &signal);
    ::fcntl(handle, F_SETLEASE, F_UNLCK);
    ::_exit(0);
  }
  char held = 0;
  ASSERT_EQ(::read(ready[0], &held, 1), 1);
  const bool isOpen = OpenToRead(file_, name);
  int status = 0;
  if (held == 'y') {
    EXPECT_TRUE(isOpen) << ToUtf8(file_.LastError());
  }
  ::waitpid(server, &status, 0);
  ::close(ready[0]);
  ::close(ready[1]);
  if (held == 'n') GTEST_SKIP() << "the file system knows no leases";
  EXPECT_EQ(status, 0);
}

TEST_F(BinaryFileTest, FileDateTimeIsTheLastWriteAsLocalTime) {
  const Environment zone("TZ", "XST-3");  // three hours ahead of UTC
  const std::string name = folder_.Write("f", "x");
  const timespec stamps[2] = {{1, 0}, {1000000000, 999999999}};  // 2001-09-09 01:46:40 UTC
  ASSERT_EQ(::utimensat(AT_FDCWD, name.c_str(), stamps, 0), 0);
  ASSERT_TRUE(OpenToRead(file_, name));
  EXPECT_EQ(file_.FileDateTime(), 37143 + (4 * 3600 + 46 * 60 + 40) / 86400.0);
}

}  // namespace
}  // namespace lmimport::test
