// A sound recording of each format, and of each way through its reader.
#pragma once

#include <lmimport/Types.h>

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace lmimport::test {

struct BuiltRecording {
  std::string Target;          // the fuzz target of its reader
  std::pair<Long, Long> Type;  // FileType and FileSubType
  std::string Name;
  std::string Bytes;
  std::string Sidecar = {};  // the name of a file beside it
  std::string SidecarBytes = {};
  bool IsPublishedAlone = false;  // as written it is refused, or no recording

  Reading As() const { return IsPublishedAlone ? Reading::Published : Reading::Written; }
};

std::vector<BuiltRecording> AllRecordings();

/// The name, where a test says which one it is about.
void PrintTo(const BuiltRecording& recording, std::ostream* out);

}  // namespace lmimport::test
