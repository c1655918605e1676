#include <sndfile.h>

#include <memory>
#include <numeric>
#include <stdexcept>

#include "Peers.h"

namespace lmimport::bench {
namespace {

struct Close {
  void operator()(SNDFILE* file) const { sf_close(file); }
};

class Sound {
 public:
  explicit Sound(const std::string& name) : file_(sf_open(name.c_str(), SFM_READ, &info_)) {
    if (!file_) throw std::runtime_error(sf_strerror(nullptr));
    // As it stands, not from -1 to 1.
    sf_command(file_.get(), SFC_SET_NORM_DOUBLE, nullptr, SF_FALSE);
  }
  SNDFILE* File() const { return file_.get(); }
  std::int64_t Frames() const { return info_.frames; }
  std::size_t Channels() const { return static_cast<std::size_t>(info_.channels); }

 private:
  SF_INFO info_{};
  std::unique_ptr<SNDFILE, Close> file_;
};

}  // namespace

double SndfileReadAll(const std::string& name, std::vector<double>& out) {
  const Sound sound(name);
  out.resize(static_cast<std::size_t>(sound.Frames()) * sound.Channels());
  sf_readf_double(sound.File(), out.data(), sound.Frames());
  return out.front() + out.back();
}

double SndfileReadAll(const std::string& name, std::vector<std::int16_t>& out) {
  const Sound sound(name);
  out.resize(static_cast<std::size_t>(sound.Frames()) * sound.Channels());
  sf_readf_short(sound.File(), out.data(), sound.Frames());
  return out.front() + out.back();
}

// It knows whole frames only, so a host picks the channel out of them.
double SndfileReadChannel(const std::string& name, int channel, std::vector<double>& out) {
  constexpr std::int64_t piece = 16384;
  const Sound sound(name);
  out.resize(static_cast<std::size_t>(sound.Frames()));
  std::vector<double> frames(piece * sound.Channels());
  std::size_t written = 0;
  while (const auto done =
             static_cast<std::size_t>(sf_readf_double(sound.File(), frames.data(), piece)))
    for (std::size_t i = 0; i < done; ++i)
      out[written++] = frames[i * sound.Channels() + static_cast<std::size_t>(channel)];
  return out.front() + out.back();
}

double SndfileReadWindows(const std::string& name, const std::vector<std::int64_t>& starts,
                          std::int64_t frames, std::vector<double>& out) {
  const Sound sound(name);
  out.resize(static_cast<std::size_t>(frames) * sound.Channels());
  double sum = 0;
  for (const std::int64_t start : starts) {
    sf_seek(sound.File(), start, SEEK_SET);
    sf_readf_double(sound.File(), out.data(), frames);
    sum += out.front() + out.back();
  }
  return sum;
}

double SndfileFirstSample(const std::string& name) {
  const Sound sound(name);
  std::vector<double> frame(sound.Channels());
  sf_readf_double(sound.File(), frame.data(), 1);
  return frame.front();
}

}  // namespace lmimport::bench
