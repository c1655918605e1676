#include "service/Filters.h"

#include <array>

namespace lmimport {
namespace {

struct Filter {
  const char16_t* Title;
  const char16_t* Patterns;
};

// The index of a filter, from 1, is the FileType of its family.
constexpr std::array<Filter, NumberOfFilters> Filters = {{
    {u"Lumetra Chart", u"*.lmc"},
    {u"Binary Files", u"*.bin"},
    {u"Raw Data", u"*.dat;*.data"},
    {u"Waveform Audio", u"*.wav"},
    {u"ADCLab Files", u"*.alf"},
    {u"WinDaq Files", u"*.wdq"},
    {u"Axon Binary Files", u"*.abf"},
    {u"Biopac 3.x Files", u"*.acq"},
    {u"European Data Format", u"*.edf"},
    {u"MATLAB Data Files", u"*.mat"},
    {u"Peak Files", u"*.pk;*.sfk"},
    {u"All Files", u"*.*"},
}};

const Filter* FindFilter(Long index) {
  const bool known = index >= 1 && index <= NumberOfFilters;
  return known ? &Filters[static_cast<std::size_t>(index - 1)] : nullptr;
}

}  // namespace

String TitleOfFilter(Long index) {
  const Filter* filter = FindFilter(index);
  return filter != nullptr ? filter->Title : u"Supported Files";
}

String PatternsOfFilter(Long index) {
  if (const Filter* filter = FindFilter(index)) return filter->Patterns;
  String all = PatternsOfFilter(1);
  for (Long i = 2; i < NumberOfFilters; ++i) all.append(u";").append(PatternsOfFilter(i));
  return all;
}

String DialogFilter(Long index) {
  const auto single = [](Long i) {
    const String patterns = PatternsOfFilter(i);
    return TitleOfFilter(i).append(u" (").append(patterns).append(u")|").append(patterns);
  };
  if (FindFilter(index) != nullptr) return single(index);
  String all = TitleOfFilter(0).append(u"|").append(PatternsOfFilter(0));
  for (Long i = 1; i <= NumberOfFilters; ++i) all.append(u"|").append(single(i));
  return all;
}

}  // namespace lmimport
