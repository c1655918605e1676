// The commands of lmi. Each gives the exit status: 0, or 1 when a file failed, where nothing else
// is said.
#pragma once

#include <lmimport/lmimport.h>

#include <string>
#include <vector>

namespace lmi {

/// The file, or a null pointer and why there is none.
lmimport::LMIFilePtr OpenOrExplain(lmimport::LMImport& import, const std::string& name,
                                   std::string& failure);

struct InfoOptions {
  std::vector<std::string> Files;
  bool Json = false;
};

int Info(lmimport::LMImport& import, const InfoOptions& options);

/// The findings of each file, one line each. 3 when there is a warning and no file failed.
int Check(lmimport::LMImport& import, const InfoOptions& options);

/// The table of filters.
int Formats(const lmimport::LMImport& import);

struct ReadOptions {
  std::string File;
  lmimport::Integer Block = 1;
  std::vector<std::string> Channels;  // numbers from 1 or titles; none: all
  lmimport::Long Start = 1;
  lmimport::Long Count = INT32_MAX;  // the rest of the block
  std::string As = "double";         // or "integer", "single"
  std::string Format = "csv";        // or "raw"
  bool Times = false;
};

int Read(lmimport::LMImport& import, const ReadOptions& options);

}  // namespace lmi
