// "lmi check": what a user should know before trusting the numbers. "lmi formats": what is read.
#include <algorithm>

#include "Commands.h"
#include "Output.h"
#include "ProgressLine.h"
#include "Text.h"

namespace lmi {
using namespace lmimport;

LMIFilePtr OpenOrExplain(LMImport& import, const std::string& name, std::string& failure) {
  try {
    LMIFilePtr file;
    const ProgressLine progress(OneLine(FromUtf8(name)));
    if (!import.OpenFile(FromUtf8(name), file)) failure = ToUtf8(import.ErrorString());
    return file;
  } catch (const std::exception& fault) {
    failure = fault.what();
    return {};
  }
}

int Check(LMImport& import, const InfoOptions& options) {
  constexpr int warned = 3;
  bool anyWarning = false;
  bool anyFailure = false;
  auto all = nlohmann::ordered_json::array();
  for (const std::string& name : options.Files) {
    std::string failure;
    OpenOrExplain(import, name, failure);
    if (!failure.empty()) PrintFailure(name, failure);
    anyFailure = anyFailure || !failure.empty();
    const std::vector<Finding> findings = Findings();
    anyWarning = anyWarning || std::ranges::any_of(findings, &Finding::Warning);
    if (options.Json) {
      nlohmann::ordered_json file = {{"FileName", name}};
      if (!failure.empty()) file["ErrorString"] = failure;
      file["Findings"] = FindingsToJson();
      all.push_back(std::move(file));
    } else {
      for (const Finding& finding : findings)
        Print("{}: {}\n", OneLine(FromUtf8(name)), FindingText(finding));
    }
  }
  if (options.Json) Print("{}\n", JsonText(all));
  Flush();
  return anyFailure ? 1 : anyWarning ? warned : 0;
}

int Formats(const LMImport& import) {
  Print("{:>4}  {:<22}  {}\n", "Type", "Format", "Files");
  for (Long i = 1; i <= import.FilterCount(); ++i)
    Print("{:>4}  {:<22}  {}\n", i, ToUtf8(import.FilterTitle(i)), ToUtf8(import.FilterFiles(i)));
  Flush();
  return 0;
}

}  // namespace lmi
