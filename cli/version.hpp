#pragma once
#include "cli/call.hpp"

namespace tarnx::cli {

// tarnx --version: tarnx's own version, the loaded library's version and
// path, and the numerical core it loaded, with what the core says of itself.
std::string version_report(const Library& lib);

}  // namespace tarnx::cli
