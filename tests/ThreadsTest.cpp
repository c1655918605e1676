// Threads at work side by side: each with files of its own and one recording that all convert, and
// all with the same recordings.
#include <array>
#include <thread>

#include "support/AskEverything.h"
#include "support/ImportTest.h"
#include "support/MemorySource.h"
#include "support/Recordings.h"

#ifdef __SANITIZE_THREAD__
// The lock that the C library holds around its time zone can't be seen from outside.
extern "C" const char* __tsan_default_suppressions() {
  return "race:FileDateTime";
}
#endif

namespace lmimport::test {
namespace {

constexpr int Threads = 8;
constexpr int Rounds = 10;

// Opens, asks and closes; gives what went wrong.
std::string Work(const std::string& sharedName, int thread) {
  const TempFolder own;
  const std::vector<BuiltRecording> recordings = AllRecordings();
  for (const BuiltRecording& recording : recordings)
    if (!recording.Sidecar.empty()) own.Write(recording.Sidecar, recording.SidecarBytes);
  LMImport import;
  for (int round = 0; round < Rounds; ++round) {
    for (const BuiltRecording& recording : recordings) {
      const std::string name = own.Write(recording.Name, recording.Bytes);
      SetReading(recording.As());
      const LMIFilePtr file = import.OpenFileObject(FromUtf8(name));
      if (!file) return recording.Name + ": " + ToUtf8(import.ErrorString());
      const std::string wrong = AskEverything(*file);
      if (!wrong.empty()) return recording.Name + ": " + wrong;
    }
    SetReading(Reading::Written);
    const LMIFilePtr shared = import.OpenFileObject(FromUtf8(sharedName));
    std::vector<Integer> counts;
    if (!shared || shared->Block(1)->GetChannelIntegerArray(1, 1, 8, counts) != 8 ||
        counts != std::vector<Integer>{1, 2, 3, 4, 5, 6, 7, 8})
      return "the shared recording";
    import.CloseFile(shared);
    SetWriteTime(sharedName, 1'000'000'000 + round * Threads + thread);
    if (import.OpenFileObject(u"/nothing") || import.ErrorString().empty()) return "no error";
  }
  return {};
}

TEST(Threads, DoNotDisturbEachOther) {
  const TempFolder folder;
  const std::string shared = folder.Write("shared.edf", Edf().Build());
  std::array<std::string, Threads> wrong;
  std::vector<std::thread> threads;
  for (int i = 0; i < Threads; ++i)
    threads.emplace_back([&, i] { wrong[static_cast<std::size_t>(i)] = Work(shared, i); });
  for (std::thread& thread : threads) thread.join();
  for (const std::string& what : wrong) EXPECT_EQ(what, "");
}

// What many threads ask of one recording at a time, some of which is read when it is first asked for.
TEST(Threads, ShareARecording) {
  const TempFolder folder;
  for (const BuiltRecording& built : AllRecordings()) {
    if (!built.Sidecar.empty()) folder.Write(built.Sidecar, built.SidecarBytes);
    const Recording recording = Recording::Open(folder.Write(built.Name, built.Bytes));
    std::array<std::string, Threads> wrong;
    std::vector<std::thread> threads;
    for (std::string& own : wrong)
      threads.emplace_back([&own, recording] { own = AskRecording(recording); });
    for (std::thread& thread : threads) thread.join();
    for (const std::string& what : wrong) EXPECT_EQ(what, "") << built.Name;
  }
}

// Opened on all threads, and read on others than those that opened them.
TEST(Threads, OpenAThousandRecordings) {
  constexpr std::size_t count = 1000;
  const auto source = std::make_shared<MemorySource>(Edf().Build());
  std::vector<std::optional<Recording>> recordings(count);
  const auto onAll = [](const auto& work) {
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < Threads; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
  };
  onAll([&](std::size_t thread) {
    for (std::size_t i = thread; i < count; i += Threads)
      recordings[i] = Recording::Open(source, "a.edf");
  });
  std::array<int, Threads> wrong{};
  onAll([&](std::size_t thread) {
    for (std::size_t i = 0; i < 40; ++i) {
      std::array<std::int16_t, 8> counts{};
      const Recording& recording = *recordings[(i * 25 + thread) % count];
      if (recording.Read(0, 0, 0, counts) != 8 || counts[7] != 8) ++wrong[thread];
    }
  });
  EXPECT_EQ(wrong, (std::array<int, Threads>{}));
}

}  // namespace
}  // namespace lmimport::test
