// Text: a line a frame, with seconds from the start of the recording and comments.
#include <algorithm>

#include "export/CsvTable.h"
#include "export/ExportFormats.h"
#include "output/Interrupt.h"

namespace lmi {
namespace {

void ExportText(ExportTask& task, const char* separator) {
  CsvStyle style;
  style.Separator = separator;
  if (!task.Options().As.empty()) style.As = task.Options().As;
  const auto hasRate = [&](const Part& part) { return task.BlockOf(part).SamplingRate > 0; };
  style.Times = std::ranges::all_of(task.Parts(), hasRate) ? "seconds" : "frame";
  style.Comments = true;
  style.BlockNumbers = task.Parts().size() > 1;
  const NewFile& file = task.File();
  const OutputTo output(file);
  WriteCsv(task.Recording(), task.Parts(), style, task.Progress());
  Flush();
  if (IsInterrupted()) throw ExportInterrupted();
}

}  // namespace

void ExportCsv(ExportTask& task) {
  ExportText(task, ",");
}

void ExportTsv(ExportTask& task) {
  ExportText(task, "\t");
}

}  // namespace lmi
