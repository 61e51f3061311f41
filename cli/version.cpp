#include "cli/version.hpp"

#include <filesystem>

#include "cli/os.hpp"
#include "include/tarnx_linalg.h"

namespace tarnx::cli {
namespace {

// What OpenBLAS can say about itself, looked up only when the loaded core
// carries it, so that any other core dropped in is reported by path alone.
using TextQuery = char* (*)();
using IntQuery = int (*)();

}  // namespace

std::string version_report(const Library& lib) {
  std::string out = "tarnx " TARNX_LINALG_VERSION_STRING "\n";
  const std::string version = os::version_note(lib.module);
  const std::string lib_path = os::module_path(lib.module);
  out += "library " + (version.empty() ? std::string("(no version recorded)") : version) + "  " +
         (lib_path.empty() ? lib.path : lib_path) + "\n";

  const std::string core = os::loaded_object_path(os::kCoreFile);
  if (core.empty()) {
    out += std::string("core    not loaded: the library found no ") + os::kCoreFile +
           " (every export that needs it answers -20999)\n";
    return out;
  }
  out += "core    " + core + "\n";
  std::string blas;
  auto config = reinterpret_cast<TextQuery>(os::symbol_in_loaded(core, "openblas_get_config", &blas));
  if (config == nullptr) return out;
  std::string unused;
  auto corename = reinterpret_cast<TextQuery>(os::symbol_in_loaded(core, "openblas_get_corename", &unused));
  auto threads = reinterpret_cast<IntQuery>(os::symbol_in_loaded(core, "openblas_get_num_threads", &unused));
  // The loader's name is the alternatives link; the file it leads to says
  // which of the system's OpenBLAS builds is in use.
  std::error_code ec;
  const std::filesystem::path real = std::filesystem::canonical(blas, ec);
  out += "  BLAS    " + blas + (ec || real == blas ? "" : " -> " + real.string()) + "\n";
  out += std::string("  config  ") + config() + "\n";
  if (corename != nullptr) {
    const std::string env = os::env("OPENBLAS_CORETYPE");
    out += std::string("  kernel  ") + corename() +
           (env.empty() ? "  (OPENBLAS_CORETYPE chooses another)" : "  (OPENBLAS_CORETYPE=" + env + ")") + "\n";
  }
  if (threads != nullptr) out += "  threads " + std::to_string(threads()) + "\n";
  return out;
}

}  // namespace tarnx::cli
