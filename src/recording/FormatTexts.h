// What a user wants to know of a format before opening a file of it.
#pragma once

#include <string_view>

namespace lmimport {

struct FormatTexts {
  std::string_view Id;
  std::string_view Versions;
  std::string_view Limits;
  std::string_view Sidecars;  // empty: no file beside it is looked at
  std::string_view Published;
  std::string_view Written;
};

/// Of a format in the table of formats.
const FormatTexts& TextsOfFormat(std::string_view id);

}  // namespace lmimport
