#include "readers/Sidecars.h"

#include <algorithm>

namespace lmimport {
namespace {

// Empty where no file of that name is there.
String NameBeside(const String& fileName, const String& ending) {
  String capitals = ending;
  for (char16_t& c : capitals) {
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - u'a' + u'A');
  }
  const String base =
      fileName.substr(0, fileName.size() - std::min<std::size_t>(fileName.size(), 4));
  for (const String& name : {base + ending, base + capitals}) {
    if (PathTools::FileExists(name)) return name;
  }
  return {};
}

}  // namespace

bool ReadBeside(ImportState& state, const String& ending, SidecarReader read, BlockRec& block) {
  const String name = NameBeside(state.FileName, ending);
  if (name.empty()) return false;
  if (read(state, name, block)) return true;
  state.Warn("sidecar-passed-over", 0,
             Sentence(ToUtf8(name),
                      " stands beside the recording and was passed over: it can't be "
                      "read, is locked, or is not of its format."));
  return false;
}

}  // namespace lmimport
