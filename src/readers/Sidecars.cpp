#include "readers/Sidecars.h"

#include <algorithm>

namespace lmimport {

String SidecarName(const String& fileName, const String& ending) {
  String capitals = ending;
  for (char16_t& c : capitals) {
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - u'a' + u'A');
  }
  const String base =
      fileName.substr(0, fileName.size() - std::min<std::size_t>(fileName.size(), 4));
  const bool old = !PathTools::FileExists(base + ending) && PathTools::FileExists(base + capitals);
  return base + (old ? capitals : ending);
}

void NotePassedOver(ImportState& state, const String& path) {
  if (!PathTools::FileExists(path) && !PathTools::FolderExists(path)) return;
  state.Warn("sidecar-passed-over", 0,
             Sentence(ToUtf8(path),
                      " stands beside the recording and was passed over: it can't be "
                      "read, is locked, or is not of its format."));
}

}  // namespace lmimport
