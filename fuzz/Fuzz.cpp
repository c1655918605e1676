// The entry of one fuzz target; which one, the build says.
#include "Targets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  lmimport::fuzz::Run(*lmimport::fuzz::FindTarget(FUZZ_TARGET), {data, size});
  return 0;
}
