// What is fuzzed: one target for each reader, and for each kind of sidecar.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace lmimport::fuzz {

struct Target {
  std::string_view Name;
  std::string_view FileName;
  std::string_view FirstBytes;  // put over those of the input, so the reader is the one meant
  std::string_view Sidecar;     // name of the file beside it, if there is one
};

const Target* FindTarget(std::string_view name);
std::span<const Target> AllTargets();

/// Opens the input as a recording of the target, asks everything of it, closes it, and opens it
/// once more. With a sidecar, the first two bytes of the input are the length of the recording, and
/// what is behind it is the sidecar. Whatever the input, this ends in an orderly way; it aborts when
/// it doesn't. Gives whether the input is a recording.
bool Run(const Target& target, std::span<const std::uint8_t> input);

/// The input that Run takes for a recording and its sidecar.
std::string Input(const Target& target, std::string_view recording, std::string_view sidecar);

}  // namespace lmimport::fuzz
