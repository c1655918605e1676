#include <edflib.h>

#include <stdexcept>

#include "Peers.h"

namespace lmimport::bench {
namespace {

class Recording {
 public:
  explicit Recording(const std::string& name) {
    if (edfopen_file_readonly(name.c_str(), &header_, EDFLIB_READ_ALL_ANNOTATIONS) != 0)
      throw std::runtime_error("EDFlib can't open " + name);
  }
  ~Recording() { edfclose_file(header_.handle); }
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  int Handle() const { return header_.handle; }
  int Signals() const { return header_.edfsignals; }
  int Samples(int signal) const {
    return static_cast<int>(header_.signalparam[signal].smp_in_file);
  }

 private:
  edf_hdr_struct header_{};
};

// Signal behind signal.
template <class T, class Read>
double ReadAll(const std::string& name, std::vector<T>& out, Read read) {
  const Recording recording(name);
  std::size_t total = 0;
  for (int s = 0; s < recording.Signals(); ++s)
    total += static_cast<std::size_t>(recording.Samples(s));
  out.resize(total);
  std::size_t place = 0;
  for (int s = 0; s < recording.Signals(); ++s) {
    read(recording.Handle(), s, recording.Samples(s), out.data() + place);
    place += static_cast<std::size_t>(recording.Samples(s));
  }
  return static_cast<double>(out.front()) + static_cast<double>(out.back());
}

}  // namespace

double EdflibReadAll(const std::string& name, std::vector<double>& out) {
  return ReadAll(name, out, edfread_physical_samples);
}

double EdflibReadAll(const std::string& name, std::vector<int>& out) {
  return ReadAll(name, out, edfread_digital_samples);
}

double EdflibReadChannel(const std::string& name, int channel, std::vector<double>& out) {
  const Recording recording(name);
  out.resize(static_cast<std::size_t>(recording.Samples(channel)));
  edfread_physical_samples(recording.Handle(), channel, recording.Samples(channel), out.data());
  return out.front() + out.back();
}

double EdflibReadWindows(const std::string& name, const std::vector<std::int64_t>& starts,
                         std::int64_t frames, std::vector<double>& out) {
  const Recording recording(name);
  const auto count = static_cast<int>(frames);
  out.resize(static_cast<std::size_t>(recording.Signals() * count));
  double sum = 0;
  for (const std::int64_t start : starts) {
    for (int s = 0; s < recording.Signals(); ++s) {
      edfseek(recording.Handle(), s, start, EDFSEEK_SET);
      edfread_physical_samples(recording.Handle(), s, count,
                               out.data() + static_cast<std::ptrdiff_t>(s) * count);
    }
    sum += out.front() + out.back();
  }
  return sum;
}

double EdflibFirstSample(const std::string& name) {
  const Recording recording(name);
  double value = 0;
  edfread_physical_samples(recording.Handle(), 0, 1, &value);
  return value;
}

}  // namespace lmimport::bench
