#include <sndfile.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

#include "Output.h"
#include "Peers.h"

namespace lmimport::bench {
namespace {

struct Close {
  void operator()(SNDFILE* file) const { sf_close(file); }
};

class Sound {
 public:
  explicit Sound(const std::string& name, bool normed = false)
      : file_(sf_open(name.c_str(), SFM_READ, &info_)) {
    if (!file_) throw std::runtime_error(sf_strerror(nullptr));
    // As stored, not from -1 to 1.
    sf_command(file_.get(), SFC_SET_NORM_DOUBLE, nullptr, normed ? SF_TRUE : SF_FALSE);
  }
  std::int64_t Frames() const { return info_.frames; }
  std::size_t Channels() const { return static_cast<std::size_t>(info_.channels); }
  void Seek(std::int64_t frame) const { sf_seek(file_.get(), frame, SEEK_SET); }
  void Read(double* to, std::int64_t frames) const {
    Check(sf_readf_double(file_.get(), to, frames), frames);
  }
  void Read(short* to, std::int64_t frames) const {
    Check(sf_readf_short(file_.get(), to, frames), frames);
  }

 private:
  static void Check(std::int64_t done, std::int64_t frames) {
    if (done != frames) throw std::runtime_error("libsndfile reads too little");
  }

  SF_INFO info_{};
  std::unique_ptr<SNDFILE, Close> file_;
};

template <class T>
double ReadAll(const std::string& name, bool normed = false) {
  const Sound sound(name, normed);
  const auto out = Output<T>(static_cast<std::size_t>(sound.Frames()) * sound.Channels());
  sound.Read(out.data(), sound.Frames());
  return Sum(out);
}

}  // namespace

double SndfileReadDoubles(const std::string& name) {
  return ReadAll<double>(name);
}

double SndfileReadNormed(const std::string& name) {
  return ReadAll<double>(name, true);
}

double SndfileReadIntegers(const std::string& name) {
  return ReadAll<short>(name);
}

// It knows whole frames only, so a host picks the channel out of them.
double SndfileReadChannel(const std::string& name, int channel) {
  constexpr std::int64_t piece = 16384;
  const Sound sound(name);
  const auto out = Output<double>(static_cast<std::size_t>(sound.Frames()));
  std::vector<double> frames(piece * sound.Channels());
  for (std::int64_t frame = 0; frame < sound.Frames(); frame += piece) {
    const std::int64_t count = std::min(piece, sound.Frames() - frame);
    sound.Read(frames.data(), count);
    const double* from = frames.data() + channel;
    for (std::int64_t i = 0; i < count; ++i)
      out[static_cast<std::size_t>(frame + i)] =
          from[i * static_cast<std::int64_t>(sound.Channels())];
  }
  return Sum(out);
}

double SndfileReadWindows(const std::string& name, const Starts& starts, std::int64_t frames) {
  const Sound sound(name);
  const auto out = Output<double>(static_cast<std::size_t>(frames) * sound.Channels());
  double sum = 0;
  for (const std::int64_t start : starts) {
    sound.Seek(start);
    sound.Read(out.data(), frames);
    sum += Sum(out);
  }
  return sum;
}

double SndfileFirstSample(const std::string& name) {
  const Sound sound(name);
  std::vector<double> frame(sound.Channels());
  sound.Read(frame.data(), 1);
  return frame.front();
}

}  // namespace lmimport::bench
