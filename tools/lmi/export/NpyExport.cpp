// NumPy array: the samples of a block, frames by channels.
#include <fmt/core.h>

#include "export/ExportFormats.h"
#include "export/FileWriter.h"
#include "export/NumpyArray.h"

namespace lmi {

std::string NumpyHeader(const std::string& type, const NumpyShape& shape) {
  constexpr std::size_t unit = 64;
  constexpr std::size_t fixed = 10;
  std::string sizes;
  for (const std::int64_t size : shape) sizes += fmt::format("{}, ", size);
  if (shape.size() > 1) sizes.resize(sizes.size() - 2);
  if (shape.size() == 1) sizes.pop_back();
  std::string text =
      fmt::format("{{'descr': '{}', 'fortran_order': False, 'shape': ({}), }}", type, sizes);
  text.append(unit - (fixed + text.size() + 1) % unit, ' ');
  text += '\n';
  std::string header("\x93NUMPY\x01\0", 8);
  header += static_cast<char>(text.size() & 0xff);
  header += static_cast<char>(text.size() >> 8);
  return header + text;
}

void ExportNpy(ExportTask& task) {
  for (const Part& part : task.Parts()) {
    FileWriter writer(task.FileOf(part));
    WithKind(KindOf(task, task.BlockOf(part)), [&]<class T>(T zero) {
      const std::string header =
          NumpyHeader(NumpyTypeOf(zero), {part.Frames(), std::ssize(part.Channels)});
      writer.Write(header.data(), header.size());
      ForEachPiece<T>(task, part, [&](std::span<const T> samples, std::size_t) {
        writer.Write(samples.data(), samples.size_bytes());
      });
    });
    writer.Close();
  }
}

}  // namespace lmi
