// The recording that the README and the demonstration show.
#pragma once

#include <string>

namespace lmimport::test {

/// The bytes of samples/demo.lmc: two blocks of pressure, flow and a trigger.
std::string DemoRecording();

}  // namespace lmimport::test
