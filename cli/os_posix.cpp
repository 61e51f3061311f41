#include "cli/os.hpp"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>

namespace tarnx::cli::os {

const char* const kDefaultLibrary = "../lib/TARNX_LINALG.so";

std::string executable_dir() {
  char path[4096];
  const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  if (n <= 0) return ".";
  std::string p(path, static_cast<std::size_t>(n));
  const std::size_t slash = p.rfind('/');
  return slash == std::string::npos ? "." : p.substr(0, slash);
}

void* open_library(const std::string& path, std::string* error) {
  // RTLD_LOCAL as a host loads a call-library module: its symbols must not
  // leak into the process scope, and it finds the host runtime by itself.
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr && error != nullptr) {
    const char* why = dlerror();
    *error = why != nullptr ? why : "unknown loader error";
  }
  return library;
}

void* find_symbol(void* library, const char* name) { return dlsym(library, name); }

std::string env(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace tarnx::cli::os
