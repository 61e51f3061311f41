#pragma once
#include <cstdint>

namespace tarnx::cli {

// A short meaning for a status code, for people reading a terminal; the
// library itself never produces text for a status.
const char* status_meaning(int32_t status);

}  // namespace tarnx::cli
