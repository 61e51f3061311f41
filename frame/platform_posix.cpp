// The frame's operating-system services on Linux and other ELF systems.
#ifndef _GNU_SOURCE
#define _GNU_SOURCE
#endif
#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <pthread.h>
#include <strings.h>
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "frame/lifecycle.hpp"
#include "frame/platform.hpp"

namespace tarnx::platform {

namespace {

const char* base_name(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash != nullptr ? slash + 1 : path;
}

// The SONAME recorded in a loaded object's dynamic section, or null.
const char* soname_of(const dl_phdr_info* info) {
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const ElfW(Phdr)& ph = info->dlpi_phdr[i];
    if (ph.p_type != PT_DYNAMIC) continue;
    auto* dyn = reinterpret_cast<const ElfW(Dyn)*>(info->dlpi_addr + ph.p_vaddr);
    ElfW(Addr) strtab = 0;
    ElfW(Xword) soname = 0;
    bool has_soname = false;
    for (; dyn->d_tag != DT_NULL; ++dyn) {
      if (dyn->d_tag == DT_STRTAB) strtab = dyn->d_un.d_ptr;
      if (dyn->d_tag == DT_SONAME) {
        soname = dyn->d_un.d_val;
        has_soname = true;
      }
    }
    if (!has_soname || strtab == 0) return nullptr;
    // The loader relocates the string table address in place on most
    // targets; where it has not, it is still relative to the load base.
    if (strtab < info->dlpi_addr) strtab += info->dlpi_addr;
    return reinterpret_cast<const char*>(strtab) + soname;
  }
  return nullptr;
}

struct FindByName {
  const char* name;
  std::string path;
};

int find_by_name(dl_phdr_info* info, std::size_t, void* data) {
  auto* find = static_cast<FindByName*>(data);
  if (info->dlpi_name == nullptr || info->dlpi_name[0] == 0) return 0;  // the main program
  const char* soname = soname_of(info);
  if (std::strcmp(base_name(info->dlpi_name), find->name) == 0 ||
      (soname != nullptr && std::strcmp(soname, find->name) == 0)) {
    find->path = info->dlpi_name;
    return 1;
  }
  return 0;
}

int read_generation(dl_phdr_info* info, std::size_t size, void* data) {
  if (size >= offsetof(dl_phdr_info, dlpi_subs) + sizeof info->dlpi_subs)
    *static_cast<uint64_t*>(data) = info->dlpi_adds + info->dlpi_subs;
  return 1;  // the counters are the same on every object
}

pthread_key_t exit_key;
pthread_once_t exit_key_once = PTHREAD_ONCE_INIT;
// Written by every thread's first call and read by every thread as it ends,
// on any thread at once: an atomic, so that these are not data races even
// though every writer but the unload stores the same function.
std::atomic<void (*)()> exit_function{nullptr};

void run_exit_function(void*) {
  if (void (*fn)() = exit_function.load(std::memory_order_acquire)) fn();
}

void make_exit_key() { pthread_key_create(&exit_key, run_exit_function); }

std::string trim(const std::string& s) {
  std::size_t b = 0, e = s.size();
  while (b < e && std::isspace(static_cast<unsigned char>(s[b]))) ++b;
  while (e > b && std::isspace(static_cast<unsigned char>(s[e - 1]))) --e;
  return s.substr(b, e - b);
}

}  // namespace

Module main_program() {
  static Module self = dlopen(nullptr, RTLD_LAZY);
  return self;
}

Module loaded_module(const char* name) {
  FindByName find{name, {}};
  dl_iterate_phdr(find_by_name, &find);
  if (find.path.empty()) return nullptr;
  // Opening an object that is already loaded only takes another reference;
  // give it back at once, the handle stays valid while the object is loaded.
  Module module = dlopen(find.path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (module != nullptr) dlclose(module);
  return module;
}

void* own_export(Module module, const char* symbol) {
  if (module == nullptr) return nullptr;
  void* address = dlsym(module, symbol);
  if (address == nullptr) return nullptr;
  link_map* owner = nullptr;
  link_map* mine = nullptr;
  Dl_info info;
  if (dladdr1(address, &info, reinterpret_cast<void**>(&owner), RTLD_DL_LINKMAP) == 0) return nullptr;
  if (dlinfo(module, RTLD_DI_LINKMAP, &mine) != 0) return nullptr;
  return owner == mine ? address : nullptr;
}

void* reachable_symbol(Module module, const char* symbol) {
  return module != nullptr ? dlsym(module, symbol) : nullptr;
}

uint64_t loaded_objects_generation() {
  uint64_t generation = 0;
  dl_iterate_phdr(read_generation, &generation);
  return generation;
}

std::string module_path(Module module) {
  link_map* map = nullptr;
  if (module == nullptr || dlinfo(module, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr) return {};
  return map->l_name != nullptr ? map->l_name : "";
}

Directory loaded_module_directory(const char* name, std::string* dir) {
  Module m = loaded_module(name);
  if (m == nullptr) return Directory::NotLoaded;
  const std::string path = module_path(m);
  const std::size_t slash = path.rfind('/');
  if (path.empty() || path.size() >= 512 || slash == std::string::npos) return Directory::Unusable;
  *dir = path.substr(0, slash + 1);
  return Directory::Found;
}

Module load_library(const std::string& path) {
  return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void free_library(Module module) {
  if (module != nullptr) dlclose(module);
}

void* thread_value(uint32_t index) {
  return pthread_getspecific(static_cast<pthread_key_t>(index));
}

void call_at_thread_exit(void (*fn)()) {
  thread_local bool registered = false;
  if (registered) return;
  registered = true;
  exit_function.store(fn, std::memory_order_release);
  pthread_once(&exit_key_once, make_exit_key);
  pthread_setspecific(exit_key, reinterpret_cast<void*>(1));
}

void forget_thread_exit() {
  // Called at unload: no thread may run a destructor that is no longer mapped.
  exit_function.store(nullptr, std::memory_order_release);
  pthread_once(&exit_key_once, make_exit_key);
  pthread_key_delete(exit_key);
}

bool get_env(const char* name, char* buffer, std::size_t size, std::size_t* length) {
  const char* value = std::getenv(name);
  if (value == nullptr) {
    if (size > 0) buffer[0] = 0;
    *length = 0;
    return false;
  }
  const std::size_t n = std::strlen(value);
  if (n + 1 > size) {
    // Too long for the buffer: like a bounded read, say how much is needed
    // and leave the buffer empty.
    if (size > 0) buffer[0] = 0;
    *length = n + 1;
    return true;
  }
  std::memcpy(buffer, value, n + 1);
  *length = n;
  return true;
}

void set_env(const char* name, const char* value) { setenv(name, value, 1); }

// The machine-wide configuration: an INI-style file, by default
// /etc/tarnx/registry, or the file that TARNX_REGISTRY_FILE names.
//   [HKEY_LOCAL_MACHINE\SOFTWARE\...\Tarnex]
//   RunTimeDIR64=/opt/zanwell/tarnex
// Key paths and value names are compared without regard to case.
bool read_config(const char* key, const char* value, std::string* out) {
  const char* file = std::getenv("TARNX_REGISTRY_FILE");
  std::ifstream in(file != nullptr && file[0] != 0 ? file : "/etc/tarnx/registry");
  if (!in) return false;
  const std::string wanted = std::string("HKEY_LOCAL_MACHINE\\") + key;
  std::string line;
  bool in_key = false;
  while (std::getline(in, line)) {
    line = trim(line);
    if (line.empty() || line[0] == ';' || line[0] == '#') continue;
    if (line.front() == '[' && line.back() == ']') {
      in_key = strcasecmp(line.substr(1, line.size() - 2).c_str(), wanted.c_str()) == 0;
      continue;
    }
    if (!in_key) continue;
    const std::size_t eq = line.find('=');
    if (eq == std::string::npos) continue;
    if (strcasecmp(trim(line.substr(0, eq)).c_str(), value) == 0) {
      *out = trim(line.substr(eq + 1));
      return true;
    }
  }
  return false;
}

void fatal(const char* caption, const char* text) {
  std::fprintf(stderr, "%s: %s\n", caption, text);
  std::fflush(stderr);
  _exit(1);
}

void warn(const std::string& text) {
  std::fprintf(stderr, "%s\n", text.c_str());
  std::fflush(stderr);
}

// Process attach and detach are the library's load-time constructor and
// unload-time destructor; a thread's end is seen through the key that
// call_at_thread_exit registers.
namespace {

__attribute__((constructor)) void on_process_attach() {
  std::vector<std::string> tried;
  if (lifecycle::attach_process(&tried)) return;
  // A load cannot be refused from here; every export answers InternalError
  // instead of reaching an unbound core routine.
  std::string text = "TARNX_LINALG: the numerical core " + std::string(kCoreFile) + " and " +
                     kOmpRuntimeFile + " were not found; tried:";
  if (tried.empty()) text += " (no location)";
  for (const std::string& d : tried) text += " " + d;
  warn(text);
}

__attribute__((destructor)) void on_process_detach() {
  forget_thread_exit();
  lifecycle::detach_process();
}

}  // namespace

}  // namespace tarnx::platform
