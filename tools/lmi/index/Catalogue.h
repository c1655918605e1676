// The rows of many files, opened on all processors, or taken from an index where nothing changed.
#pragma once

#include <functional>

#include "index/Index.h"
#include "output/ProgressLine.h"

namespace lmi {

struct CatalogueCounts {
  std::size_t Opened = 0;  // files that were opened, or tried
  std::size_t PassedOver = 0;
};

/// Calls take(row) for each recording, in the order of the files. With an index, only what changed
/// in size or date is opened, the index is brought up to date as it goes, and what isn't in its
/// folder any more leaves it. After an interrupt, what was done until then is kept.
CatalogueCounts MakeCatalogue(const std::vector<NamedFile>& files,
                              const std::vector<std::string>& names, const OpenSettings& settings,
                              Index* index, ProgressLine& progress,
                              const std::function<void(RecordingRow&&)>& take);

}  // namespace lmi
