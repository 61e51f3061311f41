#include "cli/os.hpp"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace tarnx::cli::os {

const char* const kDefaultLibrary = "../lib/TARNX_LINALG.so";
const char* const kCoreFile = "tarnx_core_140000.so";

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

std::string module_path(void* module) {
  link_map* map = nullptr;
  if (module == nullptr || dlinfo(module, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr) return {};
  return map->l_name != nullptr ? map->l_name : "";
}

namespace {

struct NoteSearch {
  ElfW(Addr) base;
  std::string version;
};

// Walks the PT_NOTE segments of the object loaded at `base` for the note
// owned by "TARNX" of type 1, whose text is the version.
int read_version_note(dl_phdr_info* info, std::size_t, void* data) {
  auto* search = static_cast<NoteSearch*>(data);
  if (info->dlpi_addr != search->base) return 0;
  for (ElfW(Half) i = 0; i < info->dlpi_phnum; ++i) {
    const ElfW(Phdr)& ph = info->dlpi_phdr[i];
    if (ph.p_type != PT_NOTE) continue;
    const char* p = reinterpret_cast<const char*>(info->dlpi_addr + ph.p_vaddr);
    const char* end = p + ph.p_memsz;
    auto align4 = [](std::size_t n) { return (n + 3) & ~std::size_t{3}; };
    while (p + sizeof(ElfW(Nhdr)) <= end) {
      const auto* note = reinterpret_cast<const ElfW(Nhdr)*>(p);
      const char* name = p + sizeof(ElfW(Nhdr));
      const char* desc = name + align4(note->n_namesz);
      if (desc + note->n_descsz > end) break;
      if (note->n_type == 1 && note->n_namesz == 6 && std::memcmp(name, "TARNX", 6) == 0 && note->n_descsz > 0)
        search->version.assign(desc, strnlen(desc, note->n_descsz));
      p = desc + align4(note->n_descsz);
    }
  }
  return 1;
}

struct PathSearch {
  std::string file_name;
  std::string path;
};

int find_by_file_name(dl_phdr_info* info, std::size_t, void* data) {
  auto* search = static_cast<PathSearch*>(data);
  const std::string path = info->dlpi_name != nullptr ? info->dlpi_name : "";
  const std::size_t slash = path.rfind('/');
  if (path.substr(slash == std::string::npos ? 0 : slash + 1) != search->file_name) return 0;
  search->path = path;
  return 1;
}

}  // namespace

std::string version_note(void* module) {
  link_map* map = nullptr;
  if (module == nullptr || dlinfo(module, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr) return {};
  NoteSearch search{map->l_addr, {}};
  dl_iterate_phdr(read_version_note, &search);
  return search.version;
}

std::string loaded_object_path(const std::string& file_name) {
  PathSearch search{file_name, {}};
  dl_iterate_phdr(find_by_file_name, &search);
  return search.path;
}

void* symbol_in_loaded(const std::string& path, const char* name, std::string* defined_in) {
  defined_in->clear();
  void* object = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  if (object == nullptr) return nullptr;
  void* address = dlsym(object, name);
  Dl_info info;
  if (address != nullptr && dladdr(address, &info) != 0 && info.dli_fname != nullptr)
    *defined_in = info.dli_fname;
  // The object stays loaded: NOLOAD only took another reference.
  dlclose(object);
  return address;
}

std::string env(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace tarnx::cli::os
