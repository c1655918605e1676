#include "Targets.h"

#include <lmimport/lmimport.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "support/AskEverything.h"
#include "support/Builders.h"

namespace lmimport::fuzz {
namespace {

using std::string_view_literals::operator""sv;

constexpr std::array Targets = {
    Target{"abf", "abf.abf", "ABF ", ""},
    Target{"abin", "abin.bin", "ABIN", ""},
    Target{"acq", "acq.acq", "", ""},
    Target{"adclab", "adclab.dat", "ADCL", ""},
    Target{"ar", "ar.dat", "AR", ""},
    Target{"cfwb", "cfwb.dat", "CFWB", ""},
    Target{"chart", "chart.lmc", "LMC\0"sv, ""},
    Target{"edf", "edf.edf", "0       ", ""},
    Target{"matlab4", "matlab4.mat", "", ""},
    Target{"matlab5", "matlab5.mat", "MATL", ""},
    Target{"par", "par.dat", "\1\0\2\0"sv, "par.par"},
    Target{"peak0", "peak0.dat", "\xf1\x06\0\0"sv, ""},
    Target{"peak1", "peak1.dat", "SFPK", ""},
    Target{"rvp", "rvp.dat", "\1\0\2\0"sv, "rvp.rvp"},
    Target{"text", "text.bin", "\1\0\2\0"sv, "text_binheader.txt"},
    Target{"wave", "wave.wav", "RIFF", "wave_wavheader.txt"},
    Target{"windaq", "windaq.wdq", "", ""},
};

bool Open(LMImport& import, const std::string& name) {
  bool isOpen = false;
  const std::string wrong = test::OpenAndAsk(import, name, isOpen);
  if (wrong.empty()) return isOpen;
  std::fprintf(stderr, "%s\n", wrong.c_str());
  std::abort();
}

}  // namespace

std::span<const Target> AllTargets() {
  return Targets;
}

const Target* FindTarget(std::string_view name) {
  const auto found = std::ranges::find(Targets, name, &Target::Name);
  return found != Targets.end() ? &*found : nullptr;
}

std::string Input(const Target& target, std::string_view recording, std::string_view sidecar) {
  if (target.Sidecar.empty()) return std::string(recording);
  return test::Bytes()
      .Int16(static_cast<int>(recording.size()))
      .Text(recording)
      .Text(sidecar)
      .Get();
}

bool Run(const Target& target, std::span<const std::uint8_t> input) {
  static const test::TempFolder folder;
  static LMImport import;
  std::string recording(input.begin(), input.end());
  if (!target.Sidecar.empty()) {
    if (input.size() < 2) return false;
    const std::size_t length = std::min<std::size_t>(input[0] + input[1] * 256U, input.size() - 2);
    folder.Write(target.Sidecar, recording.substr(2 + length));
    recording = recording.substr(2, length);
  }
  recording.replace(0, std::min(recording.size(), target.FirstBytes.size()),
                    target.FirstBytes.substr(0, recording.size()));
  const std::string name = folder.Write(target.FileName, recording);
  const bool isOpen = Open(import, name);
  const bool isOpenAgain = Open(import, name);
  std::filesystem::remove(name + "dat");
  return isOpen && isOpenAgain;
}

}  // namespace lmimport::fuzz
