// The fuzzer of all targets; which one, the environment says.
#include <cstdio>
#include <cstdlib>

#include "Targets.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const char* const name = std::getenv("FUZZ_TARGET");
  static const lmimport::fuzz::Target* const target =
      lmimport::fuzz::FindTarget(name != nullptr ? name : "");
  if (target == nullptr) {
    std::fprintf(stderr, "FUZZ_TARGET names no target\n");
    std::exit(1);
  }
  lmimport::fuzz::Run(*target, {data, size});
  return 0;
}
