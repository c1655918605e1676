#include "Targets.h"

#include <lmimport/lmimport.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "recording/Formats.h"
#include "support/AskEverything.h"
#include "support/Builders.h"

namespace lmimport::fuzz {
namespace {

using std::string_view_literals::operator""sv;

std::vector<Target> MakeTargets() {
  std::vector<Target> targets;
  for (const Format& format : ReadFormats()) {
    if (format.Id == "raw") continue;  // its sidecars have targets of their own
    const std::string id(format.Id);
    if (std::ranges::count(targets, id, &Target::Name) > 0) continue;  // another ending of it
    const std::string ending = format.Extension.empty() ? ".dat" : ToUtf8(format.Extension);
    targets.push_back(
        {id, id + ending, format.FirstBytes, id == "wave" ? "wave_wavheader.txt" : ""});
  }
  constexpr std::array<std::string_view, 3> counts = {"\1\0\2\0"sv};
  targets.push_back({"par", "par.dat", counts, "par.par"});
  targets.push_back({"rvp", "rvp.dat", counts, "rvp.rvp"});
  targets.push_back({"text", "text.bin", counts, "text_binheader.txt"});
  const auto edf = std::ranges::find(targets, "edf", &Target::Name);
  edf->FirstBytes[0] = "0       ";
  return targets;
}

bool Open(LMImport& import, const std::string& name) {
  bool isOpen = false;
  const std::string wrong = test::OpenAndAsk(import, name, isOpen);
  if (wrong.empty()) return isOpen;
  std::fprintf(stderr, "%s\n", wrong.c_str());
  std::abort();
}

// The same by the other face, with what it reads only when asked.
void AskAsRecording(const std::string& name, Reading as) {
  const std::string wrong = test::OpenAndAskRecording(name, as);
  if (wrong.empty()) return;
  std::fprintf(stderr, "%s\n", wrong.c_str());
  std::abort();
}

}  // namespace

const std::vector<Target>& AllTargets() {
  static const std::vector<Target> targets = MakeTargets();
  return targets;
}

const Target* FindTarget(std::string_view name) {
  const auto found = std::ranges::find(AllTargets(), name, &Target::Name);
  return found != AllTargets().end() ? &*found : nullptr;
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
  const bool begins = std::ranges::any_of(target.FirstBytes, [&](std::string_view mark) {
    return !mark.empty() && recording.starts_with(mark);
  });
  const std::string_view mark = target.FirstBytes[0].substr(0, recording.size());
  if (!begins) recording.replace(0, mark.size(), mark);
  const std::string name = folder.Write(target.FileName, recording);
  bool opensEitherWay = false;
  for (const Reading as : {Reading::Written, Reading::Published}) {
    SetReading(as);
    AskAsRecording(name, as);
    const bool isOpen = Open(import, name);
    const bool isOpenAgain = Open(import, name);
    opensEitherWay = opensEitherWay || (isOpen && isOpenAgain);
  }
  SetReading(Reading::Written);
  std::filesystem::remove(name + "dat");
  return opensEitherWay;
}

}  // namespace lmimport::fuzz
