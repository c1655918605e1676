// What can be exported to.
#pragma once

#include <span>
#include <string_view>

#include "export/ExportTask.h"

namespace lmi {

/// What a file of a format has a place for, beside samples.
enum ExportContents : unsigned {
  HoldsTitles = 1,
  HoldsUnits = 2,
  HoldsRate = 4,
  HoldsStart = 8,
  HoldsComments = 16,
  HoldsNotes = 32,
  HoldsAll = 63,
};

struct ExportFormat {
  std::string_view Id;
  std::string_view Endings;  // of file names, separated by ";"; the first is given to new files
  std::string_view Name;
  unsigned Contents;
  void (*Write)(ExportTask&);  // null: the library that writes it wasn't there at build time

  std::string_view Ending() const { return Endings.substr(0, Endings.find(';')); }
};

std::span<const ExportFormat> ExportFormats();

/// "titles, units, rate, start, comments, notes", those of them that there are.
std::string ContentsText(unsigned contents);

/// What the task has and the format has no place for, in one sentence; empty where that is nothing.
std::string LossText(ExportTask& task, unsigned contents);

// One source each. They throw std::runtime_error for what the format can't hold at all.
void ExportCsv(ExportTask& task);
void ExportTsv(ExportTask& task);
void ExportNpy(ExportTask& task);
void ExportNpz(ExportTask& task);
void ExportMat(ExportTask& task);
void ExportWav(ExportTask& task);
void ExportEdf(ExportTask& task);
void ExportHdf5(ExportTask& task);

}  // namespace lmi
