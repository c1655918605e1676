#include "readers/Sidecars.h"

#include <algorithm>

namespace lmimport {
namespace {

String InCapitals(String text) {
  for (char16_t& c : text) {
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - u'a' + u'A');
  }
  return text;
}

}  // namespace

bool ReadBeside(Opening& opening, const String& ending, SidecarReader read, BlockRec& block) {
  const String& name = opening.Store.FileName;
  const String base = name.substr(0, name.size() - std::min<std::size_t>(name.size(), 4));
  for (const String& path : {base + ending, base + InCapitals(ending)}) {
    const std::string title = ToUtf8(PathTools::TitleOf(path));
    try {
      BinaryFile sidecar(opening.Texts, opening.DataFile.Source()->Beside(title));
      if (!sidecar.IsOpen()) continue;
      if (read(opening, sidecar, block)) {
        opening.Store.Sidecar = title;
        return true;
      }
    } catch (const std::system_error&) {
      // It can't be read.
    } catch (RefusedOpen& refused) {
      refused.Text = ToUtf8(path) + ": " + refused.Text;
      refused.Position = -1;  // which is not of the recording
      throw;
    }
    opening.Warn("sidecar-passed-over", -1, ToUtf8(path),
                 " lies beside the recording and was passed over: it can't be read, is "
                 "locked, or is not of its format.");
    return false;
  }
  return false;
}

}  // namespace lmimport
