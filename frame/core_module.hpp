#pragma once
// The numerical core and its OpenMP runtime, loaded when the library loads.
#include "frame/platform.hpp"

namespace tarnx {

// The loaded core module, or null when no location held one.
platform::Module core_module();

// Calls the core's MKL_Thread_Free_Buffers for the calling thread, binding it
// at the first use; nothing when no core is loaded or it has no such routine.
void release_thread_buffers();

}  // namespace tarnx
