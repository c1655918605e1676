// What a header says that samples are read by.
#pragma once

#include <cstdint>
#include <string>

namespace lmimport {

/// A field of a file's header, or of a sidecar, that values, rates or times come from; texts are UTF-8.
///
/// The one named "formula" says how a count becomes a value: in the names of other fields, where
/// single(x) is x rounded to a Single. A field of a channel is told of the block that it is in; of
/// blocks with the same channels, such as sweeps, or pieces between gaps, of the first.
struct HeaderField {
  std::string Name;            // as the format's published layout calls it: "physical maximum"
  std::int64_t Position = -1;  // byte of the file; -1: it is in the sidecar, or a default
  std::string Value;           // as stored; a number with as few digits as give it back
  std::string Meaning;         // what it gives: "samples per second"
  int Block = -1;              // from 0, these two; -1: the whole file
  int Channel = -1;
};

}  // namespace lmimport
