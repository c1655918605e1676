// The commands of lmi. Each gives the exit status: 0, or 1 when a file failed.
#pragma once

#include <lmimport/lmimport.h>

#include <string>
#include <vector>

namespace lmi {

struct InfoOptions {
  std::vector<std::string> Files;
  bool Json = false;
};

int Info(lmimport::LMImport& import, const InfoOptions& options);

enum class Output { Integer, Single, Double };
enum class Format { Csv, Raw };

struct ReadOptions {
  std::string File;
  lmimport::Integer Block = 1;
  std::vector<std::string> Channels;  // numbers from 1 or titles; none: all
  lmimport::Long Start = 1;
  lmimport::Long Count = INT32_MAX;  // the rest of the block
  Output As = Output::Double;
  Format Form = Format::Csv;
  bool Times = false;
};

int Read(lmimport::LMImport& import, const ReadOptions& options);

}  // namespace lmi
