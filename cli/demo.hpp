#pragma once
#include "cli/call.hpp"

namespace tarnx::cli {

// A short tour on built-in matrices; exit code 0.
int run_demo(const Library& lib);

}  // namespace tarnx::cli
