// What is fuzzed: one target for each format that is read, and for each kind of sidecar.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lmimport::fuzz {

struct Target {
  std::string Name;
  std::string FileName;
  // An input that begins with none of these gets the first, so the reader is the one meant.
  std::array<std::string_view, 3> FirstBytes;
  std::string Sidecar;  // name of the file beside it; empty: none
};

/// Null where none has that name.
const Target* FindTarget(std::string_view name);
const std::vector<Target>& AllTargets();

/// Opens the input as a recording of the target, asks everything of it, closes it, and opens it
/// once more. With a sidecar, the first two bytes of the input are the length of the recording, and
/// what follows is the sidecar. Whatever the input, this ends in an orderly way; it aborts when it
/// doesn't. Gives whether the input is a recording.
bool Run(const Target& target, std::span<const std::uint8_t> input);

/// The input that Run takes for a recording and its sidecar.
std::string Input(const Target& target, std::string_view recording, std::string_view sidecar);

}  // namespace lmimport::fuzz
