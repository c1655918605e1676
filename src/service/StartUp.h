// What the library does when a thread first uses it.
#pragma once

#include "platform/Registry.h"

namespace lmimport {

/// On 64-bit Windows, lets hosts of the other bitness use the library through the system's standard
/// surrogate process: the class gets an AppID with an empty "DllSurrogate". Written again at every
/// start with the same content; a write that doesn't take effect is passed over. Where the registry
/// has no 32-bit classes, nothing is done.
void Main(platform::RegistryTools& registry);

}  // namespace lmimport
