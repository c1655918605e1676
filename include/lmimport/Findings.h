// What the library noticed in a file and the model can't show.
#pragma once

#include <lmimport/Types.h>

#include <string>
#include <string_view>
#include <vector>

namespace lmimport {

struct Finding {
  bool Warning;           // true: a user would get values wrong; false: a note on what is left out
  std::string_view Code;  // short and stable, such as "data-cut-off"; lives as long as the program
  std::int64_t Position;  // bytes from the start of the file; -1: no place of the file is meant
  int Block;              // from 0; -1: the whole file
  int Channel;            // of the block, from 0; -1: all of it
  std::string Text;       // one English sentence, with the numbers, in UTF-8
};

/// The findings of the last open by an LMImport of this thread, also when it failed: then one of
/// them says what was seen. The next open empties them, a close doesn't. They change nothing that
/// the interface gives.
LMIMPORT_API std::vector<Finding> Findings();

}  // namespace lmimport
