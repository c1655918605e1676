#include <matio.h>

#include <stdexcept>

#include "Peers.h"

namespace lmimport::bench {

double MatioReadAll(const std::string& name, std::vector<double>& out) {
  mat_t* file = Mat_Open(name.c_str(), MAT_ACC_RDONLY);
  if (file == nullptr) throw std::runtime_error("matio can't open " + name);
  matvar_t* variable = Mat_VarReadInfo(file, "x");
  const std::size_t count = variable->dims[0] * variable->dims[1];
  out.resize(count);
  Mat_VarReadDataLinear(file, variable, out.data(), 0, 1, static_cast<int>(count));
  Mat_VarFree(variable);
  Mat_Close(file);
  return out.front() + out.back();
}

}  // namespace lmimport::bench
