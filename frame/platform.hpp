#pragma once
// The operating-system services the frame needs, and nothing else. This is
// the only interface through which the library reaches the loader, thread
// storage, the environment and the machine-wide configuration.
#include <cstdint>
#include <string>

namespace tarnx::platform {

using Module = void*;

// The file names this system gives the library's family, its numerical core,
// the core's OpenMP runtime and the host's run-time modules, and the
// separator that ends a directory.
#if defined(_WIN32)
#define TARNX_MODULE_FILE(name) name ".dll"
inline constexpr char kPathSeparator = '\\';
inline constexpr const char* kOmpRuntimeFile = "libiomp5md.dll";
#else
#define TARNX_MODULE_FILE(name) name ".so"
inline constexpr char kPathSeparator = '/';
inline constexpr const char* kOmpRuntimeFile = "libiomp5.so";
#endif
// FFT, LINALG, SPARSE, THREAD, in search order.
inline constexpr const char* kFamilyFiles[4] = {TARNX_MODULE_FILE("TARNX_FFT"), TARNX_MODULE_FILE("TARNX_LINALG"),
                                                TARNX_MODULE_FILE("TARNX_SPARSE"), TARNX_MODULE_FILE("TARNX_THREAD")};
inline constexpr const char* kCoreFile = TARNX_MODULE_FILE("tarnx_core_140000");
inline constexpr const char* kHostRuntimeFile = TARNX_MODULE_FILE("zwrt");
inline constexpr const char* kSecondHostRuntimeFile = TARNX_MODULE_FILE("zwffrt");
#undef TARNX_MODULE_FILE

// The main program (never null).
Module main_program();
// An object already loaded in the process whose file name or SONAME is
// `name`; null when there is none. Never loads anything.
Module loaded_module(const char* name);
// The address of `symbol` among `module`'s own exports (not its
// dependencies, not the process-wide scope); null when it has none.
void* own_export(Module module, const char* symbol);
// Any symbol reachable from `module` (itself and what it depends on).
void* reachable_symbol(Module module, const char* symbol);
// A number that changes whenever an object is loaded into or unloaded from
// the process, so that searches over loaded objects can be cached.
uint64_t loaded_objects_generation();
// The full path of a loaded module, empty when unknown.
std::string module_path(Module module);

// The directory, ending in the separator, of the already loaded module named
// `name`: NotLoaded when there is none, Unusable when its path does not fit
// the loader's buffers.
enum class Directory { Found, NotLoaded, Unusable };
Directory loaded_module_directory(const char* name, std::string* dir);

// Loads a library with its own directory searched for its dependencies.
Module load_library(const std::string& path);
void free_library(Module module);

// The per-thread value of a thread-storage key given as a 32-bit index.
void* thread_value(uint32_t index);

// Runs `fn` once when the calling thread ends; registering again on the same
// thread is harmless and cheap.
void call_at_thread_exit(void (*fn)());

// Unregisters the thread-end routine (at unload).
void forget_thread_exit();

// Environment.
bool get_env(const char* name, char* buffer, std::size_t size, std::size_t* length);
void set_env(const char* name, const char* value);

// The machine-wide configuration value `value` under `key`, as the registry
// would hold it; false when the key or value is absent.
bool read_config(const char* key, const char* value, std::string* out);

// Tells the user why the process cannot go on, then ends it with code 1.
[[noreturn]] void fatal(const char* caption, const char* text);

// A line on standard error (used only when the core cannot be loaded).
void warn(const std::string& text);

}  // namespace tarnx::platform
