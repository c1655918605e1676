// Sample by sample against other readers of the same files, which the test writes itself.
#include <edflib.h>
#include <gtest/gtest.h>
#include <lmimport/Recording.h>
#include <sndfile.h>

#include <cmath>
#include <random>

#include "support/Builders.h"

namespace lmimport::test {
namespace {

std::vector<double> Values(const Recording& recording, std::size_t block, std::size_t channel) {
  std::vector<double> values(static_cast<std::size_t>(recording.Blocks()[block].FrameCount));
  recording.Read(block, channel, 0, values);
  return values;
}

TEST(Peers, EdflibReadsTheSameEdf) {
  const TempFolder folder;
  std::mt19937 random(3);
  Edf edf{.Signals = {}};
  constexpr int records = 7;
  for (const int samples : {50, 3, 50, 12}) {
    EdfSignal signal{.Label = "s" + std::to_string(edf.Signals.size()),
                     .Records = {},
                     .PhysicalMin = "-12.5",
                     .PhysicalMax = "100.25",
                     .DigitalMin = "-2048",
                     .DigitalMax = "2047"};
    for (int record = 0; record < records; ++record) {
      std::vector<int> counts;
      for (int i = 0; i < samples; ++i) counts.push_back(static_cast<int>(random() % 4096) - 2048);
      signal.Records.push_back(Words(counts));
    }
    edf.Signals.push_back(signal);
  }
  const std::string name = folder.Write("a.edf", edf.Build());
  edf_hdr_struct header{};
  ASSERT_EQ(edfopen_file_readonly(name.c_str(), &header, EDFLIB_READ_ALL_ANNOTATIONS), 0)
      << header.filetype;
  const Recording recording = Recording::Open(name);
  ASSERT_EQ(recording.Blocks().size(), 3U);
  int compared = 0;
  for (std::size_t b = 0; b < recording.Blocks().size(); ++b) {
    for (std::size_t c = 0; c < recording.Blocks()[b].Channels.size(); ++c) {
      const int signal = recording.Blocks()[b].Channels[c].Number - 1;
      const std::vector<double> ours = Values(recording, b, c);
      std::vector<double> theirs(ours.size() + 1);
      ASSERT_EQ(edfread_physical_samples(header.handle, signal, static_cast<int>(theirs.size()),
                                         theirs.data()),
                static_cast<int>(ours.size()));
      for (std::size_t i = 0; i < ours.size(); ++i) ASSERT_NEAR(ours[i], theirs[i], 1e-10);
      ++compared;
    }
  }
  EXPECT_EQ(compared, 4);
  edfclose_file(header.handle);
}

TEST(Peers, LibsndfileReadsTheSameWaves) {
  const TempFolder folder;
  std::mt19937 random(5);
  const struct {
    int Tag;
    int Bits;
  } rows[] = {{1, 8}, {1, 16}, {1, 24}, {1, 32}, {3, 32}, {3, 64}, {6, 8}, {7, 8}};
  for (const bool isBig : {false, true}) {
    for (const auto& [tag, bits] : rows) {
      SCOPED_TRACE(testing::Message() << isBig << ' ' << tag << ' ' << bits);
      constexpr int channels = 3, frames = 2000;
      const int width = bits / 8;
      Bytes samples(isBig);
      for (int i = 0; i < channels * frames; ++i) {
        const double value = static_cast<double>(random() % 65536) / 32768 - 1;
        if (tag == 3 && bits == 32)
          samples.Real32(static_cast<float>(value));
        else if (tag == 3)
          samples.Real64(value);
        else
          for (int byte = 0; byte < width; ++byte) samples.Int8(static_cast<int>(random() % 256));
      }
      Bytes format(isBig);
      format.Int16(tag).Int16(channels).Int32(8000).Int32(8000 * channels * width);
      format.Int16(channels * width).Int16(bits);
      const auto size = static_cast<std::int64_t>(samples.Size());
      const std::string name =
          folder.Write("a.wav", (isBig ? "RIFX" : "RIFF") + Bytes(isBig).Int32(36 + size).Get() +
                                    "WAVEfmt " + Bytes(isBig).Int32(16).Get() + format.Get() +
                                    "data" + Bytes(isBig).Int32(size).Get() + samples.Get());
      SF_INFO info{};
      SNDFILE* const sound = sf_open(name.c_str(), SFM_READ, &info);
      ASSERT_NE(sound, nullptr) << sf_strerror(nullptr);
      std::vector<double> theirs(channels * frames), ours(theirs.size());
      EXPECT_EQ(sf_readf_double(sound, theirs.data(), frames), frames);
      sf_close(sound);
      EXPECT_EQ(Recording::Open(name).ReadFrames(0, 0, ours), frames);
      EXPECT_EQ(ours, theirs);
    }
  }
}

}  // namespace
}  // namespace lmimport::test
