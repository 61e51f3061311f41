#pragma once
// The numerical core and its OpenMP runtime, loaded when the library loads.
#include "frame/platform.hpp"

namespace tarnx {

// The loaded core module, or null when no location held one.
platform::Module core_module();

}  // namespace tarnx
