// Where all that are measured put their samples, and how it is told that they are the same.
#pragma once

#include <span>
#include <vector>

namespace lmimport::bench {

template <class T>
std::vector<T>& WholeOutput() {
  static std::vector<T> output;
  return output;
}

/// Room for so many samples, the same for all: what fresh memory costs is not measured.
template <class T>
std::span<T> Output(std::size_t count) {
  std::vector<T>& output = WholeOutput<T>();
  if (output.size() < count) output.resize(count);
  return std::span<T>(output).first(count);
}

/// While time is taken, only the ends of what was read are looked at.
inline bool SumsAreComplete = false;

/// Over all samples, in whatever order; one below 0 counts other than its opposite.
template <class T>
double Sum(std::span<const T> samples) {
  double sum = 0;
  const auto add = [&sum](T sample) {
    const auto value = static_cast<double>(sample);
    sum += value < 0 ? -value : 2 * value;
  };
  if (SumsAreComplete || samples.empty()) {
    for (const T sample : samples) add(sample);
  } else {
    add(samples.front());
    add(samples.back());
  }
  return sum;
}

template <class T>
double Sum(std::span<T> samples) {
  return Sum(std::span<const T>(samples));
}

}  // namespace lmimport::bench
