// The one place of module state: one object for each thread.
#pragma once

namespace lmimport::platform {

/// The object that `make` made at this thread's first call; `destroy` ends it with the thread. Null
/// from then on, for what runs even later, such as the end of a static object. Here the object
/// hangs on a thread_local; in a Windows DLL that unloads, fiber-local storage takes its place.
void* ThreadState(void* (*make)(), void (*destroy)(void*));

}  // namespace lmimport::platform
