#include <matio.h>

#include <stdexcept>

#include "Output.h"
#include "Peers.h"

namespace lmimport::bench {

double MatioReadDoubles(const std::string& name) {
  mat_t* file = Mat_Open(name.c_str(), MAT_ACC_RDONLY);
  matvar_t* variable = file != nullptr ? Mat_VarReadInfo(file, "x") : nullptr;
  if (variable == nullptr) throw std::runtime_error("matio can't open " + name);
  const std::size_t count = variable->dims[0] * variable->dims[1];
  const auto out = Output<double>(count);
  if (Mat_VarReadDataLinear(file, variable, out.data(), 0, 1, static_cast<int>(count)) != 0)
    throw std::runtime_error("matio can't read " + name);
  Mat_VarFree(variable);
  Mat_Close(file);
  return Sum(out);
}

}  // namespace lmimport::bench
