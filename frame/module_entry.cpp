// What happens when the host loads and unloads the library: the OpenMP
// runtime is told to tolerate several copies of itself in one process, and
// the numerical core is loaded from the first location that holds it.
#include <strings.h>

#include <cstring>
#include <string>
#include <vector>

#include "frame/core_module.hpp"
#include "frame/platform.hpp"

namespace tarnx {
namespace {

constexpr const char* kOmpVariable = "KMP_DUPLICATE_LIB_OK";
constexpr const char* kOmpRuntime = "libiomp5.so";
constexpr const char* kCoreModule = "tarnx_core_140000.so";
constexpr std::size_t kPathCapacity = 512;

platform::Module omp_runtime = nullptr;
platform::Module core = nullptr;
char saved_omp_value[8] = {};
bool restore_omp_value = false;

void tolerate_duplicate_omp_runtimes() {
  std::size_t length = 0;
  platform::get_env(kOmpVariable, saved_omp_value, sizeof saved_omp_value, &length);
  if (length == 0) {
    platform::set_env(kOmpVariable, "TRUE");
  } else if (strcasecmp(saved_omp_value, "TRUE") != 0) {
    restore_omp_value = true;
    platform::set_env(kOmpVariable, "TRUE");
  }
}

std::string with_separator(std::string dir) {
  if (!dir.empty() && dir.back() != '/') dir += '/';
  return dir;
}

// The directory of the first loaded module of the library's family; our own
// module bears the second name, so the search finds at least that one.
bool FindSiblingDirectory(std::string* dir) {
  for (const char* name : {"TARNX_FFT.so", "TARNX_LINALG.so", "TARNX_SPARSE.so", "TARNX_THREAD.so"}) {
    platform::Module m = platform::loaded_module(name);
    if (m == nullptr) continue;
    const std::string path = platform::module_path(m);
    const std::size_t slash = path.rfind('/');
    if (path.empty() || path.size() >= kPathCapacity || slash == std::string::npos) return false;
    *dir = with_separator(path.substr(0, slash + 1));
    return true;
  }
  return false;
}

bool ReadCoreDirectoryKey(const char* key, const char* version, std::string* dir) {
  std::string value;
  dir->clear();
  if (!platform::read_config(key, "RunTimeDIR64", &value) || value.size() >= 500) return false;
  std::string path = with_separator(value) + version;
  if (path.size() >= kPathCapacity) return false;
  *dir = path;
  return true;
}

bool LoadCore(const std::string& dir) {
  omp_runtime = platform::load_library(dir + kOmpRuntime);
  if (omp_runtime == nullptr) return false;
  core = platform::load_library(dir + kCoreModule);
  if (core != nullptr) return true;
  // Released here, so cleared here: dlclose of a stale handle at unload
  // could drop a reference that belongs to someone else.
  platform::free_library(omp_runtime);
  omp_runtime = nullptr;
  return false;
}

__attribute__((constructor)) void on_process_attach() {
  tolerate_duplicate_omp_runtimes();

  std::vector<std::string> tried;
  std::string dir;
  if (FindSiblingDirectory(&dir)) {
    tried.push_back(dir);
    if (LoadCore(dir)) return;
  }
  if (ReadCoreDirectoryKey("SOFTWARE\\Velmora\\Zanwell\\Kipset Package\\Tarnex", "14.0.1/", &dir)) {
    tried.push_back(dir);
    if (LoadCore(dir)) return;
  }
  if (ReadCoreDirectoryKey("SOFTWARE\\Velmora\\Zanwell\\14.0\\AddOns\\Tarnex", "14.0.0/", &dir)) {
    tried.push_back(dir);
    if (LoadCore(dir)) return;
  }
  // A load cannot be refused from here; every export answers InternalError
  // instead of reaching an unbound core routine.
  std::string text = "TARNX_LINALG: the numerical core " + std::string(kCoreModule) +
                     " and " + kOmpRuntime + " were not found; tried:";
  if (tried.empty()) text += " (no location)";
  for (const std::string& d : tried) text += " " + d;
  platform::warn(text);
}

__attribute__((destructor)) void on_process_detach() {
  platform::forget_thread_exit();
  if (core != nullptr) platform::free_library(core);
  if (omp_runtime != nullptr) platform::free_library(omp_runtime);
  if (restore_omp_value && saved_omp_value[0] != 0) platform::set_env(kOmpVariable, saved_omp_value);
}

}  // namespace

platform::Module core_module() { return core; }

}  // namespace tarnx
