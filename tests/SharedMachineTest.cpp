// The flat data file where several people use one machine: nothing of a recording gets to somebody
// who has no right to it, and nobody else's samples are shown. Run by root, who can be anybody.
#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "support/ImportTest.h"

namespace lmimport::test {
namespace {

constexpr uid_t Root = 0, User = 12001, Stranger = 12002;
constexpr gid_t Group = 12003;
constexpr std::int64_t Then = 1'000'000'000;

class SharedMachineTest : public ImportTest {
 protected:
  void SetUp() override {
    if (::geteuid() != Root) GTEST_SKIP() << "only root can be another user";
    ::umask(022);
    std::filesystem::permissions(folder_.Path(), std::filesystem::perms::all);
    Lay(Source, Edf().Build(), User, User, 0600);
    SetWriteTime(Source, Then);
  }

  static void SetRights(const std::string& name, uid_t user, gid_t group, mode_t mode) {
    ASSERT_EQ(::lchown(name.c_str(), user, group), 0);
    ASSERT_EQ(::chmod(name.c_str(), mode), 0);
  }
  void Lay(const std::string& name, const std::string& bytes, uid_t user, gid_t group,
           mode_t mode) {
    folder_.Write(std::filesystem::path(name).filename().string(), bytes);
    SetRights(name, user, group, mode);
  }

  // Does the work as a user of no other group than his own; gives what it gives, 0 to 99.
  template <class Work>
  static int As(uid_t user, const Work& work) {
    const pid_t child = ::fork();
    if (child == 0) {
      const bool changed =
          ::setgroups(0, nullptr) == 0 && ::setgid(user) == 0 && ::setuid(user) == 0;
      ::_exit(changed ? work() : 99);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100 + WTERMSIG(status);
  }

  // Opens the recording as that user, and shows its own samples.
  static bool ShowsItself(const std::string& name, const std::function<void()>& meanwhile = {}) {
    LMImport import;
    bool first = true;
    SetProgressHandler([&](double) {
      if (meanwhile && std::exchange(first, false)) meanwhile();
      return true;
    });
    const LMIFilePtr file = import.OpenFileObject(FromUtf8(name));
    std::vector<Integer> counts;
    return file && file->Block(1)->GetChannelIntegerArray(2, 1, 8, counts) == 8 &&
           counts == std::vector<Integer>{10, 10, 20, 20, 30, 30, 40, 40};
  }
  static int ExitOf(bool right) { return right ? 0 : 1; }
  void ExpectRightAs(uid_t user, const std::string& name) {
    EXPECT_EQ(As(user, [&] { return ExitOf(ShowsItself(name)); }), 0);
  }

  // "12001:12001 600", or nothing where there is no such file.
  static std::string RightsOf(const std::string& name) {
    struct stat status {};
    if (::lstat(name.c_str(), &status) != 0) return {};
    std::ostringstream text;
    text << status.st_uid << ':' << status.st_gid << ' ' << std::oct << (status.st_mode & 0777);
    return text.str();
  }

  // An access control list of a file, or the one that a folder gives: the owner may all, the group
  // nothing, the stranger may read.
  static bool GiveList(const std::string& name, const char* attribute) {
    Bytes list;
    list.Int32(2);
    const auto entry = [&list](int tag, int rights, std::int32_t id) {
      list.Int16(static_cast<std::int16_t>(tag)).Int16(static_cast<std::int16_t>(rights)).Int32(id);
    };
    entry(0x01, 6, -1);
    entry(0x02, 4, Stranger);
    entry(0x04, 0, -1);
    entry(0x10, 4, -1);
    entry(0x20, 0, -1);
    const std::string& bytes = list.Get();
    return ::setxattr(name.c_str(), attribute, bytes.data(), bytes.size(), 0) == 0;
  }

  const std::string Source = folder_.PathOf("f.edf");
  const std::string Flat = folder_.PathOf("f.edfdat");
  const std::string Good = Words({1, 10, 2, 10, 3, 20, 4, 20, 5, 30, 6, 30, 7, 40, 8, 40});
  const std::string Other = std::string(Good.size(), 'o');
};

TEST_F(SharedMachineTest, AStrangersFileIsNeitherTakenNorWritten) {
  for (const std::int64_t date : {Then - 1, Then + 1}) {
    Lay(Flat, Other, Stranger, Stranger, 0666);
    SetWriteTime(Flat, date);
    ExpectRightAs(User, Source);
    EXPECT_EQ(Contents(Flat), Other);
  }
  // The recording's owner and root are no strangers.
  for (const uid_t owner : {User, Root}) {
    Lay(Flat, Other, owner, User, 0600);
    SetWriteTime(Flat, Then + 1);
    EXPECT_EQ(As(Root, [&] { return ExitOf(ShowsItself(Source)); }), 1) << owner;
  }
}

TEST_F(SharedMachineTest, ALinkToARecordingInAClosedFolderOpensNothing) {
  const std::string closed = folder_.PathOf("closed");
  std::filesystem::create_directory(closed);
  std::filesystem::rename(Source, closed + "/f.edf");
  SetRights(closed + "/f.edf", User, User, 0644);
  SetRights(closed, User, User, 0700);
  const std::string link = folder_.PathOf("link.edf");
  std::filesystem::create_symlink(closed + "/f.edf", link);
  ASSERT_EQ(::lchown(link.c_str(), Stranger, Stranger), 0);
  ExpectRightAs(User, link);
  EXPECT_EQ(RightsOf(link + "dat"), "12001:12001 600");
}

// Between the open of the recording and that of the flat file lie its annotations.
TEST_F(SharedMachineTest, AFolderThatIsSwappedMeanwhileIsNotFollowed) {
  Edf edf{.Reserved = "EDF+C"};
  edf.Signals.push_back(EdfAnnotations({"", ""}, 8));
  Lay(Source, edf.Build(), User, User, 0600);
  SetWriteTime(Source, Then);
  const std::string shared = folder_.PathOf("shared"), moved = folder_.PathOf("moved"),
                    victim = folder_.PathOf("victim");
  for (const std::string& folder : {shared, victim}) {
    std::filesystem::create_directory(folder);
    SetRights(folder, User, User, 0777);
  }
  std::filesystem::rename(Source, shared + "/f.edf");
  const auto swap = [&] {
    std::filesystem::rename(shared, moved);
    std::filesystem::create_directory_symlink(victim, shared);
  };
  EXPECT_EQ(As(User, [&] { return ExitOf(ShowsItself(shared + "/f.edf", swap)); }), 0);
  EXPECT_TRUE(std::filesystem::is_empty(victim));
  EXPECT_EQ(RightsOf(moved + "/f.edfdat"), "12001:12001 600");
}

// A lease that is never let go of, and a pipe that nobody writes to.
TEST_F(SharedMachineTest, NoFileIsWaitedFor) {
  Lay(Flat, Other, User, User, 0600);
  SetWriteTime(Flat, Then - 1);
  std::array<int, 2> ready{};
  ASSERT_EQ(::pipe(ready.data()), 0);
  const pid_t holder = ::fork();
  if (holder == 0) {
    std::signal(SIGIO, SIG_IGN);
    const int handle = ::open(Flat.c_str(), O_RDWR);
    const char held = ::fcntl(handle, F_SETLEASE, F_WRLCK) == 0 ? 'y' : 'n';
    if (::write(ready[1], &held, 1) == 1) ::pause();
    ::_exit(0);
  }
  char held = 0;
  ASSERT_EQ(::read(ready[0], &held, 1), 1);
  if (held == 'y') {
    ExpectRightAs(User, Source);
    EXPECT_EQ(RightsOf(Flat), "12001:12001 600");
  }
  ::kill(holder, SIGKILL);
  ::waitpid(holder, nullptr, 0);
  ::close(ready[0]);
  ::close(ready[1]);
  EXPECT_EQ(Contents(Flat), Other);  // nobody has written to it
  std::filesystem::remove(Flat);
  ASSERT_EQ(::mkfifo(Flat.c_str(), 0666), 0);
  ExpectRightAs(User, Source);
  if (held != 'y') GTEST_SKIP() << "the file system knows no leases";
}

// A folder hands its own group down to new files.
TEST_F(SharedMachineTest, AnotherGroupIsAnybody) {
  ASSERT_EQ(::chown(folder_.Path().c_str(), Root, Group), 0);
  ASSERT_EQ(::chmod(folder_.Path().c_str(), 02777), 0);
  SetRights(Source, Stranger, Stranger, 0644);
  const struct {
    mode_t Recording;
    const char* Flat;  // made by a user who isn't in the recording's group
  } rows[] = {{0644, "12001:12003 644"}, {0604, "12001:12003 600"}, {0664, "12001:12003 644"}};
  for (const auto& row : rows) {
    SetRights(Source, Stranger, Stranger, row.Recording);
    ExpectRightAs(User, Source);
    EXPECT_EQ(RightsOf(Flat), row.Flat);
    std::filesystem::remove(Flat);
  }
  // Root gives it to those who share the recording.
  SetRights(Source, User, Stranger, 0640);
  ExpectRightAs(Root, Source);
  EXPECT_EQ(RightsOf(Flat), "12001:12002 640");
}

TEST_F(SharedMachineTest, AWiderOneIsMadeAnewAndItsReadersAreLeftBehind) {
  for (const std::int64_t date :
       {Then - 1, Then + 1}) {  // out of date, and of a time of more rights
    Lay(Flat, Other, User, User, 0644);
    SetWriteTime(Flat, date);
    const int reader = ::open(Flat.c_str(), O_RDONLY);
    ExpectRightAs(User, Source);
    EXPECT_EQ(RightsOf(Flat), "12001:12001 600");
    EXPECT_EQ(Contents(Flat), Good);
    std::string seen(Good.size(), '\0');
    EXPECT_EQ(::pread(reader, seen.data(), seen.size(), 0), std::ssize(Good));
    EXPECT_EQ(seen, Other);
    ::close(reader);
  }
}

// Who opened it while he might would read what is written into it.
TEST_F(SharedMachineTest, OneThatSomebodyHasOpenIsMadeAnew) {
  Lay(Flat, Other, User, User, 0600);
  SetWriteTime(Flat, Then - 1);
  const int reader = ::open(Flat.c_str(), O_RDONLY);
  ExpectRightAs(User, Source);
  EXPECT_EQ(Contents(Flat), Good);
  std::string seen(Good.size(), '\0');
  EXPECT_EQ(::pread(reader, seen.data(), seen.size(), 0), std::ssize(Good));
  EXPECT_EQ(seen, Other);
  ::close(reader);
}

TEST_F(SharedMachineTest, AccessListsGiveNoRight) {
  const char* const ofFile = "system.posix_acl_access";
  if (!GiveList(folder_.Path(), "system.posix_acl_default")) GTEST_SKIP() << "no access lists here";
  // The folder's, which new files have.
  SetRights(Source, User, User, 0644);
  ExpectRightAs(User, Source);
  EXPECT_EQ(RightsOf(Flat), "12001:12001 640");
  EXPECT_LE(::getxattr(Flat.c_str(), ofFile, nullptr, 0), 0);
  // One that has it is made anew.
  ASSERT_TRUE(GiveList(Flat, ofFile));
  ExpectRightAs(User, Source);
  EXPECT_LE(::getxattr(Flat.c_str(), ofFile, nullptr, 0), 0);
  // The recording's: its group bits are the most that the list gives, and not the group's.
  std::filesystem::remove(Flat);
  ASSERT_TRUE(GiveList(Source, ofFile));
  ExpectRightAs(User, Source);
  EXPECT_EQ(RightsOf(Flat), "12001:12001 600");
}

// A disk of 64 KiB: what isn't made doesn't take what is left.
TEST_F(SharedMachineTest, AFullDiskIsAsItWas) {
  const std::string disk = folder_.PathOf("disk");
  std::filesystem::create_directory(disk);
  const int status = As(Root, [&] {
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=65536,mode=777") != 0)
      return 3;
    const std::string name = disk + "/f.edf";
    std::filesystem::copy_file(Source, name);
    std::filesystem::resize_file(name, 3 << 20);  // nearly all of it a hole
    const int handle = ::open(name.c_str(), O_RDWR);
    const bool claimed = ::pwrite(handle, "-1      ", 8, 236) == 8;
    ::close(handle);
    const auto free = [&] {
      struct statvfs state {};
      ::statvfs(disk.c_str(), &state);
      return state.f_bfree;
    };
    const auto before = free();
    LMImport import;
    const bool opened = import.OpenFileObject(FromUtf8(name)) != nullptr;
    const bool same = free() == before && !std::filesystem::exists(name + "dat");
    const Environment noOther("TMPDIR", disk.c_str());
    try {
      import.OpenFileObject(FromUtf8(name));
    } catch (const std::system_error& fault) {
      return ExitOf(claimed && opened && same && free() == before &&
                    fault.code() == std::errc::no_space_on_device);
    }
    return 2;
  });
  if (status == 3) GTEST_SKIP() << "no disk can be mounted here";
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace lmimport::test
