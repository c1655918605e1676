#include <edflib.h>

#include <stdexcept>

#include "Output.h"
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

  int Signals() const { return header_.edfsignals; }
  std::size_t Samples(int signal) const {
    return static_cast<std::size_t>(header_.signalparam[signal].smp_in_file);
  }
  void Seek(int signal, std::int64_t sample) const {
    if (edfseek(header_.handle, signal, sample, EDFSEEK_SET) != sample)
      throw std::runtime_error("EDFlib can't seek");
  }
  void Read(int signal, std::span<double> to) const {
    const auto count = static_cast<int>(to.size());
    Check(edfread_physical_samples(header_.handle, signal, count, to.data()), count);
  }
  void Read(int signal, std::span<int> to) const {
    const auto count = static_cast<int>(to.size());
    Check(edfread_digital_samples(header_.handle, signal, count, to.data()), count);
  }

 private:
  static void Check(int done, int count) {
    if (done != count) throw std::runtime_error("EDFlib reads too little");
  }

  edf_hdr_struct header_{};
};

template <class T>
double ReadAll(const std::string& name) {
  const Recording recording(name);
  std::size_t total = 0;
  for (int s = 0; s < recording.Signals(); ++s) total += recording.Samples(s);
  const auto out = Output<T>(total);
  std::size_t place = 0;
  for (int s = 0; s < recording.Signals(); ++s) {
    recording.Read(s, out.subspan(place, recording.Samples(s)));
    place += recording.Samples(s);
  }
  return Sum(out);
}

}  // namespace

double EdflibReadDoubles(const std::string& name) {
  return ReadAll<double>(name);
}

double EdflibReadIntegers(const std::string& name) {
  return ReadAll<int>(name);
}

double EdflibReadChannel(const std::string& name, int channel) {
  const Recording recording(name);
  const auto out = Output<double>(recording.Samples(channel));
  recording.Read(channel, out);
  return Sum(out);
}

double EdflibReadWindows(const std::string& name, const Starts& starts, std::int64_t frames) {
  const Recording recording(name);
  const auto count = static_cast<std::size_t>(frames);
  const auto out = Output<double>(static_cast<std::size_t>(recording.Signals()) * count);
  double sum = 0;
  for (const std::int64_t start : starts) {
    for (int s = 0; s < recording.Signals(); ++s) {
      recording.Seek(s, start);
      recording.Read(s, out.subspan(static_cast<std::size_t>(s) * count, count));
    }
    sum += Sum(out);
  }
  return sum;
}

double EdflibFirstSample(const std::string& name) {
  const Recording recording(name);
  double value = 0;
  recording.Read(0, {&value, 1});
  return value;
}

}  // namespace lmimport::bench
