// What tests of readers share: a folder, an LMImport that speaks English, and the last file opened.
#pragma once

#include <gtest/gtest.h>

#include "support/Builders.h"

namespace lmimport::test {

class ImportTest : public testing::Test {
 protected:
  bool Open(const std::string& name) { return import_.OpenFile(FromUtf8(name), file_); }

  /// Writes the bytes under a name of no folder, and opens them.
  bool Open(std::string_view name, std::string_view bytes) {
    return Open(folder_.Write(name, bytes));
  }

  std::string Error() const { return ToUtf8(import_.ErrorString()); }

  static std::vector<std::string> FindingCodes() {
    std::vector<std::string> codes;
    for (const Finding& finding : Findings()) codes.emplace_back(finding.Code);
    return codes;
  }

  TempFolder folder_;
  Environment english_{"LC_ALL", "C"};
  LMImport import_;
  LMIFilePtr file_;
};

using Codes = std::vector<std::string>;

}  // namespace lmimport::test
