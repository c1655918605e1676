// What the library noticed in a file and the model can't show.
#pragma once

#include <lmimport/Types.h>

#include <string_view>
#include <vector>

namespace lmimport {

struct Finding {
  bool Warning;           // true: a user would get values wrong; false: a note on what is left out
  std::string_view Code;  // short and stable, such as "data-cut-off"; lives as long as the program
  std::int64_t Position;  // bytes from the start of the file; 0 where no place of the file is meant
  String Text;            // one English sentence, with the numbers
};

/// The findings of this thread's last open, also when it failed; the next open empties them, a
/// close doesn't. They change nothing that the interface gives.
LMIMPORT_API std::vector<Finding> Findings();

}  // namespace lmimport
