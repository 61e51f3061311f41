// What happens when the host loads and unloads the library: the OpenMP
// runtime is told to tolerate several copies of itself in one process, and
// the numerical core is loaded from the first location that holds it. The
// operating system's entry points (platform_*.cpp) call in here.
#include <strings.h>

#include <cstring>
#include <string>
#include <vector>

#include "frame/core_module.hpp"
#include "frame/lifecycle.hpp"
#include "frame/parallel.hpp"
#include "frame/platform.hpp"

namespace tarnx {
namespace {

constexpr const char* kOmpVariable = "KMP_DUPLICATE_LIB_OK";
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
  if (!dir.empty() && dir.back() != platform::kPathSeparator) dir += platform::kPathSeparator;
  return dir;
}

// The directory of the first loaded module of the library's family; our own
// module bears the second name, so the search finds at least that one.
bool FindSiblingDirectory(std::string* dir) {
  for (const char* name : platform::kFamilyFiles) {
    switch (platform::loaded_module_directory(name, dir)) {
      case platform::Directory::Found: return true;
      case platform::Directory::Unusable: return false;
      case platform::Directory::NotLoaded: break;
    }
  }
  return false;
}

bool ReadCoreDirectoryKey(const char* key, const char* version, std::string* dir) {
  std::string value;
  dir->clear();
  if (!platform::read_config(key, "RunTimeDIR64", &value) || value.size() >= 500) return false;
  std::string path = with_separator(value) + version + platform::kPathSeparator;
  if (path.size() >= kPathCapacity) return false;
  *dir = path;
  return true;
}

bool LoadCore(const std::string& dir) {
  omp_runtime = platform::load_library(dir + platform::kOmpRuntimeFile);
  if (omp_runtime == nullptr) return false;
  core = platform::load_library(dir + platform::kCoreFile);
  if (core != nullptr) {
    // The frame's large copies follow the core's own thread count when the
    // core can say it; a core without the query leaves the machine's.
    parallel::core_count_query.store(
        reinterpret_cast<parallel::CountQuery>(platform::reachable_symbol(core, "openblas_get_num_threads")),
        std::memory_order_release);
    return true;
  }
  // Released here, so cleared here: freeing a stale handle at unload could
  // drop a reference that belongs to someone else.
  platform::free_library(omp_runtime);
  omp_runtime = nullptr;
  return false;
}

}  // namespace

bool lifecycle::attach_process(std::vector<std::string>* tried) {
  tolerate_duplicate_omp_runtimes();

  std::string dir;
  if (FindSiblingDirectory(&dir)) {
    tried->push_back(dir);
    if (LoadCore(dir)) return true;
  }
  if (ReadCoreDirectoryKey("SOFTWARE\\Velmora\\Zanwell\\Kipset Package\\Tarnex", "14.0.1", &dir)) {
    tried->push_back(dir);
    if (LoadCore(dir)) return true;
  }
  if (ReadCoreDirectoryKey("SOFTWARE\\Velmora\\Zanwell\\14.0\\AddOns\\Tarnex", "14.0.0", &dir)) {
    tried->push_back(dir);
    if (LoadCore(dir)) return true;
  }
  return false;
}

void lifecycle::detach_process() {
  parallel::core_count_query.store(nullptr, std::memory_order_release);
  if (core != nullptr) platform::free_library(core);
  if (omp_runtime != nullptr) platform::free_library(omp_runtime);
  if (restore_omp_value && saved_omp_value[0] != 0) platform::set_env(kOmpVariable, saved_omp_value);
}

void lifecycle::detach_thread() { release_thread_buffers(); }

platform::Module core_module() { return core; }

}  // namespace tarnx
