#include "export/ExportFormats.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>

#include "output/Text.h"

namespace lmi {
namespace {

using namespace lmimport;

// What this build has the library for; else null.
using Writer = decltype(&ExportCsv);
#ifdef LMI_HAS_ZLIB
constexpr Writer WriteNpz = ExportNpz;
#else
constexpr Writer WriteNpz = nullptr;
#endif
#ifdef LMI_HAS_MATIO
constexpr Writer WriteMat = ExportMat;
#else
constexpr Writer WriteMat = nullptr;
#endif
#ifdef LMI_HAS_SNDFILE
constexpr Writer WriteWav = ExportWav;
#else
constexpr Writer WriteWav = nullptr;
#endif
#ifdef LMI_HAS_EDFLIB
constexpr Writer WriteEdf = ExportEdf;
#else
constexpr Writer WriteEdf = nullptr;
#endif
#ifdef LMI_HAS_HDF5
constexpr Writer WriteHdf5 = ExportHdf5;
#else
constexpr Writer WriteHdf5 = nullptr;
#endif

constexpr unsigned TextContents = HoldsTitles | HoldsUnits | HoldsRate | HoldsComments;
constexpr unsigned WaveContents = HoldsTitles | HoldsUnits | HoldsRate | HoldsStart;
constexpr unsigned EdfContents = TextContents | HoldsStart;

constexpr std::array Formats = {
    ExportFormat{"csv", ".csv", "text, fields between commas", TextContents, ExportCsv},
    ExportFormat{"tsv", ".tsv", "text, fields between tabs", TextContents, ExportTsv},
    ExportFormat{"npy", ".npy", "NumPy array", 0, ExportNpy},
    ExportFormat{"npz", ".npz", "NumPy arrays in an archive", HoldsAll, WriteNpz},
    ExportFormat{"mat", ".mat", "MATLAB level 5", HoldsAll, WriteMat},
    ExportFormat{"wav", ".wav", "RIFF wave, RF64 above 4 GiB", WaveContents, WriteWav},
    ExportFormat{"edf", ".edf", "EDF+", EdfContents, WriteEdf},
    ExportFormat{"hdf5", ".h5;.hdf5", "HDF5 with dimension scales", HoldsAll, WriteHdf5},
};

struct NamedContent {
  unsigned Content;
  std::string_view Name;
};
constexpr std::array NamedContents = {
    NamedContent{HoldsTitles, "titles"},     NamedContent{HoldsUnits, "units"},
    NamedContent{HoldsRate, "rate"},         NamedContent{HoldsStart, "start"},
    NamedContent{HoldsComments, "comments"}, NamedContent{HoldsNotes, "notes"},
};

unsigned ContentsOf(ExportTask& task) {
  unsigned contents = HoldsRate;
  if (task.Recording().Start()) contents |= HoldsStart;
  if (!task.Recording().Notes().empty()) contents |= HoldsNotes;
  for (const Part& part : task.Parts()) {
    const Block& block = task.BlockOf(part);
    if (!block.Notes.empty()) contents |= HoldsNotes;
    if (!task.CommentsOf(part).empty()) contents |= HoldsComments;
    for (const std::size_t c : part.Channels) {
      if (!block.Channels[c].Title.empty()) contents |= HoldsTitles;
      if (!block.Channels[c].Unit.empty()) contents |= HoldsUnits;
    }
  }
  return contents;
}

}  // namespace

std::span<const ExportFormat> ExportFormats() {
  return Formats;
}

std::string ContentsText(unsigned contents) {
  std::string text;
  for (const NamedContent& named : NamedContents) {
    if ((contents & named.Content) != 0)
      text += fmt::format("{}{}", text.empty() ? "" : ", ", named.Name);
  }
  return text;
}

std::string LossText(ExportTask& task, unsigned contents) {
  const std::string lost = ContentsText(ContentsOf(task) & ~contents);
  return lost.empty() ? "" : "not kept: " + lost;
}

}  // namespace lmi
