#include "service/Filters.h"

#include <lmimport/Text.h>

#include <algorithm>

#include "recording/Formats.h"

namespace lmimport {
namespace {

// The index of a filter, from 1, is the FileType of its family; null for the last, and for any other
// number.
const Format* FindFamily(Long index) {
  const auto formats = ReadFormats();
  const auto found = std::ranges::find_if(formats, [index](const Format& format) {
    return format.FileType == index && !format.FilterTitle.empty();
  });
  return found != formats.end() ? &*found : nullptr;
}

}  // namespace

String TitleOfFilter(Long index) {
  if (index == NumberOfFilters) return u"All Files";
  const Format* family = FindFamily(index);
  return family != nullptr ? FromUtf8(family->FilterTitle) : u"Supported Files";
}

String PatternsOfFilter(Long index) {
  if (index == NumberOfFilters) return u"*.*";
  if (const Format* family = FindFamily(index)) return FromUtf8(family->Patterns);
  String all = PatternsOfFilter(1);
  for (Long i = 2; i < NumberOfFilters; ++i) all.append(u";").append(PatternsOfFilter(i));
  return all;
}

String DialogFilter(Long index) {
  const auto single = [](Long i) {
    const String patterns = PatternsOfFilter(i);
    return TitleOfFilter(i).append(u" (").append(patterns).append(u")|").append(patterns);
  };
  if (index >= 1 && index <= NumberOfFilters) return single(index);
  String all = TitleOfFilter(0).append(u"|").append(PatternsOfFilter(0));
  for (Long i = 1; i <= NumberOfFilters; ++i) all.append(u"|").append(single(i));
  return all;
}

}  // namespace lmimport
