#include "readers/Sidecars.h"

#include <algorithm>

namespace lmimport {
namespace {

std::string InCapitals(std::string_view text) {
  std::string capitals(text);
  for (char& c : capitals) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return capitals;
}

}  // namespace

bool ReadBeside(Opening& opening, std::string_view ending, SidecarReader read, BlockRec& block) {
  const String& name = opening.Store.FileName;
  const String base = name.substr(0, name.size() - std::min<std::size_t>(name.size(), 4));
  const std::string title = ToUtf8(PathTools::TitleOf(base));
  const std::size_t told = opening.Store.Fields.size();
  for (const std::string& sidecarEnding : {std::string(ending), InCapitals(ending)}) {
    const auto path = [&] { return ToUtf8(base) + sidecarEnding; };
    try {
      BinaryFile sidecar(opening.Texts, opening.DataFile.Source()->Beside(title + sidecarEnding));
      if (!sidecar.IsOpen()) continue;
      if (read(opening, sidecar, block)) {
        opening.Store.Sidecar = title + sidecarEnding;
        return true;
      }
    } catch (const std::system_error&) {
      // It can't be read.
    } catch (RefusedOpen& refused) {
      refused.Text = path() + ": " + refused.Text;
      refused.Position = -1;  // which is not of the recording
      throw;
    }
    opening.ForgetFields(told);
    opening.Warn("sidecar-passed-over", -1, path(),
                 " lies beside the recording and was passed over: it can't be read, is locked, or "
                 "is not of its format.");
    return false;
  }
  return false;
}

}  // namespace lmimport
