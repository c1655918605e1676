#include "service/DesktopSelector.h"

#include <lmimport/Text.h>

#include <algorithm>

#include "platform/FileDialog.h"
#include "platform/System.h"

namespace lmimport {
namespace {

// Patterns for a system on which case counts and a name needs no dot: "*.wdq *.WDQ", or "*".
std::string GlobsOf(std::string patterns) {
  if (patterns == "*.*") return "*";
  std::ranges::replace(patterns, ';', ' ');
  std::string capitals = patterns;
  std::ranges::transform(capitals, capitals.begin(), [](char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  });
  return patterns + " " + capitals;
}

std::vector<platform::FileFilter> SplitFilter(const String& filter) {
  std::vector<std::string> parts;
  for (std::size_t start = 0; start <= filter.size();) {
    const std::size_t end = std::min(filter.find(u'|', start), filter.size());
    parts.push_back(ToUtf8(filter.substr(start, end - start)));
    start = end + 1;
  }
  std::vector<platform::FileFilter> filters;
  for (std::size_t i = 0; i + 1 < parts.size(); i += 2) {
    filters.push_back({parts[i], GlobsOf(parts[i + 1])});
  }
  return filters;
}

class DesktopSelector final : public FileSelector {
 public:
  void SetOwnerWindow(Long Window) override { ownerWindow_ = Window; }
  String LastPath() const override { return lastPath_; }
  void SetLastPath(const String& Path) override { lastPath_ = Path; }
  void SetFilter(const String& Filter) override { filter_ = Filter; }
  String SelectedFile() const override { return selectedFile_; }

  bool Show() override {
    const std::string chosen =
        platform::ChooseFile(ToUtf8(lastPath_), SplitFilter(filter_), ownerWindow_);
    if (chosen.empty()) return false;
    selectedFile_ = FromUtf8(chosen);
    const std::size_t separator = selectedFile_.rfind(platform::PathSeparator);
    if (separator != String::npos)
      lastPath_ = selectedFile_.substr(0, std::max<std::size_t>(separator, 1));
    return true;
  }

 private:
  Long ownerWindow_ = 0;
  String lastPath_;
  String filter_;
  String selectedFile_;
};

}  // namespace

std::shared_ptr<FileSelector> MakeDesktopSelector() {
  return std::make_shared<DesktopSelector>();
}

}  // namespace lmimport
