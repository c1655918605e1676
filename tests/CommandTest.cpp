// The command lmi, run as a user would.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "support/Builders.h"

namespace lmimport::test {
namespace {

struct Outcome {
  int Status;
  std::string Text;
};

class CommandTest : public testing::Test {
 protected:
  void SetUp() override {
    if (std::string(LMI_COMMAND).empty()) GTEST_SKIP() << "built without tools";
  }

  // Runs the shell line, with "lmi" as the command. Standard error stays out of the text unless the
  // line brings it in.
  static Outcome Run(const std::string& arguments, const std::string& rest = " 2>/dev/null; }") {
    const std::string line = "{ '" LMI_COMMAND "' " + arguments + rest;
    std::FILE* pipe = ::popen(line.c_str(), "r");
    Outcome outcome{-1, {}};
    char piece[4096];
    for (std::size_t n = 0; (n = std::fread(piece, 1, sizeof(piece), pipe)) > 0;)
      outcome.Text.append(piece, n);
    outcome.Status = WEXITSTATUS(::pclose(pipe));
    return outcome;
  }

  TempFolder folder_;
  Environment english_{"LC_ALL", "C"};
  std::string chart_ = folder_.Write("run 1.lmc", Chart().Build());
  std::string name_ = "'" + chart_ + "'";
};

TEST_F(CommandTest, InfoShowsARecording) {
  const Outcome outcome = Run("info " + name_);
  EXPECT_EQ(outcome.Status, 0);
  for (const char* text :
       {"run 1.lmc\n", "Lumetra Chart", "Model X", "2009-07-06 06:00:00.000", "1000 Hz",
        "3 frames, 0.003 s", "Pressure", "mmHg", "-327.68 .. 327.67", "0.001 s  begin"})
    EXPECT_NE(outcome.Text.find(text), std::string::npos) << text << "\n" << outcome.Text;
}

TEST_F(CommandTest, InfoSpeaksJson) {
  const Outcome outcome = Run("info --json " + name_ + " missing.wdq");
  EXPECT_EQ(outcome.Status, 1);
  const auto all = nlohmann::json::parse(outcome.Text);
  ASSERT_EQ(all.size(), 2U);
  const auto& block = all[0]["Blocks"][0];
  EXPECT_EQ(block["StartDateTime"], 40000.25);
  EXPECT_EQ(block["Channels"][1]["ChannelTitle"], "Flow");
  EXPECT_EQ(block["Channels"][1]["First"], nlohmann::json({6.0, 4.0, 5.3}));
  EXPECT_EQ(block["Comments"][0]["CommentText"], "begin");
  EXPECT_TRUE(all[0]["Findings"].empty());
  EXPECT_NE(all[1]["ErrorString"].get<std::string>().find("No such file"), std::string::npos);
}

TEST_F(CommandTest, InfoNamesTheSidecar) {
  const std::string data = folder_.Write("raw.dat", std::string(24, '\1'));
  EXPECT_NE(Run("info " + data).Text.find("by nothing: raw 16-bit data, channels: 1, at 100 Hz"),
            std::string::npos);
  folder_.Write("raw.rvp", Rvp());
  EXPECT_NE(Run("info " + data).Text.find("by raw.rvp\n"), std::string::npos);
}

TEST_F(CommandTest, InfoShowsAsManyBlocksAsThereCanBe) {
  std::string many;
  for (int i = 0; i < 32767; ++i) many += Mat4(30, 1, 2, false, "", "1234");
  EXPECT_EQ(Run("info " + folder_.Write("many.mat", many), " >/dev/null; }").Status, 0);
}

// What lies beside recordings is passed over: their descriptions and flat data files, and notes.
TEST_F(CommandTest, AFolderIsItsRecordings) {
  const std::string inner = folder_.PathOf("inner");
  std::filesystem::create_directory(inner);
  std::filesystem::create_directory_symlink(folder_.Path(), inner + "/back");
  folder_.Write("inner/f.edf", Edf().Build());
  folder_.Write("inner/f.edfdat", Words({1, 2}));
  folder_.Write("inner/notes.txt", "Seen on Monday: nothing.\n");
  folder_.Write("inner/z.wdq", "no recording");
  const Outcome outcome = Run("check --json " + folder_.Path());
  EXPECT_EQ(outcome.Status, 1);
  std::vector<std::string> names;
  for (const auto& file : nlohmann::json::parse(outcome.Text)) names.push_back(file["FileName"]);
  EXPECT_EQ(names, (std::vector<std::string>{inner + "/f.edf", inner + "/z.wdq", chart_}));
}

// The interrupt comes before the first step of the work.
TEST_F(CommandTest, AnInterruptGivesTheWorkUp) {
  const std::string mixed = folder_.Write("f.acq", Acq().Build());
  std::array<int, 2> ends{};
  ASSERT_EQ(::pipe(ends.data()), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    sigset_t interrupts;
    sigemptyset(&interrupts);
    sigaddset(&interrupts, SIGINT);
    ::sigprocmask(SIG_BLOCK, &interrupts, nullptr);
    ::raise(SIGINT);
    ::dup2(ends[1], STDERR_FILENO);
    ::dup2(ends[1], STDOUT_FILENO);
    ::execl(LMI_COMMAND, "lmi", "read", mixed.c_str(), nullptr);
    ::_exit(99);
  }
  ::close(ends[1]);
  std::string said;
  for (char c = 0; ::read(ends[0], &c, 1) == 1;) said += c;
  ::close(ends[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 130);
  EXPECT_NE(said.find("given up"), std::string::npos) << said;
  EXPECT_FALSE(std::filesystem::exists(mixed + "dat"));
}

TEST_F(CommandTest, CheckListsFindings) {
  const std::string cut = folder_.Write("cut.wav", Wave{.DataBytes = 400}.Build());
  folder_.Write("cut_wavheader.txt",
                "[Ch0]\nMaxRange=1\nMinRange=-1\n[Ch1]\nMaxRange=1\nMinRange=-1\n");
  EXPECT_EQ(Run("check " + name_).Status, 0);
  const Outcome warned = Run("check " + name_ + " " + cut);
  EXPECT_EQ(warned.Status, 3);
  EXPECT_TRUE(warned.Text.starts_with(cut + ": warning data-cut-off, block 1, at byte 56: "))
      << warned.Text;
  EXPECT_EQ(std::ranges::count(warned.Text, '\n'), 1);
  const Outcome failed = Run("check missing.wdq " + cut);
  EXPECT_EQ(failed.Status, 1);
  EXPECT_TRUE(failed.Text.starts_with("missing.wdq: failed: No such file or directory\n"))
      << failed.Text;
  EXPECT_EQ(nlohmann::json::parse(Run("check --json missing.wdq").Text)[0]["Findings"][0]["Code"],
            "not-opened");
  EXPECT_EQ(nlohmann::json::parse(Run("check --json " + cut).Text)[0]["Findings"][0]["Code"],
            "data-cut-off");
  EXPECT_NE(Run("formats").Text.find("windaq   WinDaq "), std::string::npos);
}

TEST_F(CommandTest, ReadWritesCsv) {
  const struct {
    const char* Options;
    const char* Text;
  } rows[] = {{"", "Pressure [mmHg],Flow [l/s]\n1,6\n-1,4\n0.5,5.3\n"},
              {"--channel Flow --as integer --start 2", "Flow\n-200\n60\n"},
              {"--channel 2 --channel 1 --count 1", "Flow [l/s],Pressure [mmHg]\n6,1\n"},
              {"--times seconds --channel pressure --start 3 --as single",
               "Time [s],Pressure [mmHg]\n0.002,0.5\n"},
              {"--start 4", "Pressure [mmHg],Flow [l/s]\n"}};
  for (const auto& row : rows) {
    const Outcome outcome = Run("read " + name_ + " " + row.Options);
    EXPECT_EQ(outcome.Status, 0) << row.Options;
    EXPECT_EQ(outcome.Text, row.Text);
  }
}

TEST_F(CommandTest, ReadWritesRawNumbers) {
  const Outcome outcome = Run("read --as integer --format raw " + name_);
  const std::int16_t counts[] = {100, 200, -100, -200, 50, 60};
  ASSERT_EQ(outcome.Text.size(), sizeof(counts));
  EXPECT_EQ(std::memcmp(outcome.Text.data(), counts, sizeof(counts)), 0);
}

TEST_F(CommandTest, FailsInOneLineAndWithAStatus) {
  const std::string folder = "'" + folder_.Path() + "'";
  const struct {
    std::string Arguments;
    int Status;
    const char* Text;
  } rows[] = {{"read '" + folder_.PathOf("x.wdq") + "'", 1, "No such file or directory\n"},
              {"read " + folder, 1, "it is a folder\n"},
              {"read --block 2 " + name_, 1, "there is no block 2 among the 1\n"},
              {"read --channel 3 " + name_, 1,
               "there is no channel \"3\"; there are 1 \"Pressure\", 2 \"Flow\"\n"},
              {"read", 2, "FILE is required"},
              {"", 2, "subcommand is required"},
              {"read --as text " + name_, 2, "--as"},
              {"read --start 0 " + name_, 2, "--start: \"0\" is not a whole number from 1 on"},
              {"read " + folder_.Write("bad.wav", "RIFF"), 1, "and a wave file needs 12"},
              {"read -o x --decimal , --separator , " + name_, 2, "--separator"},
              {"info", 2, "FILE is required"},
              {"info --channels 33 " + name_, 2, "--channels"},
              {"info --rate 0 " + name_, 2, "--rate"},
              {"info --code-page 437 " + name_, 2, "--code-page"}};
  for (const auto& row : rows) {
    const Outcome outcome = Run(row.Arguments, " 2>&1 >/dev/null; }");
    EXPECT_EQ(outcome.Status, row.Status) << row.Arguments;
    EXPECT_NE(outcome.Text.find(row.Text), std::string::npos) << outcome.Text;
    if (row.Status == 1) {
      EXPECT_EQ(std::ranges::count(outcome.Text, '\n'), 1) << outcome.Text;
    }
  }
}

TEST_F(CommandTest, LooksInTheDefaultPath) {
  EXPECT_EQ(Run("info --default-path '" + folder_.Path() + "' 'run 1.lmc'").Status, 0);
}

// A pipe that closes early and a disk that is full: the first is no failure, the second is.
TEST_F(CommandTest, EndsWithItsOutput) {
  Chart chart;
  chart.Blocks[0].Samples.assign(400000, 12345);
  const std::string name = folder_.Write("long.lmc", chart.Build());
  const std::string status = folder_.PathOf("status");
  Run("read '" + name + "'", "; echo $? >'" + status + "'; } | head -1");
  std::string line;
  std::getline(std::ifstream(status), line);
  EXPECT_EQ(line, "0");
  const Outcome full = Run("read '" + name + "'", " 2>&1 >/dev/full; }");
  EXPECT_EQ(full.Status, 1);
  EXPECT_NE(full.Text.find("No space left"), std::string::npos) << full.Text;
}

}  // namespace
}  // namespace lmimport::test
