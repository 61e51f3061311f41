#include <dlfcn.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

#include "support/test_os.hpp"

namespace test::os {

const char* const kLibraryFile = "TARNX_LINALG.so";
const char* const kModuleSuffix = ".so";
const char* const kForeignModule = "libm.so.6";

void* open_library(const std::string& path) { return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL); }
std::string load_error() {
  const char* why = dlerror();
  return why != nullptr ? why : "";
}
void* loaded_library(const char* name) { return dlopen(name, RTLD_NOW | RTLD_NOLOAD); }
void* symbol(void* library, const char* name) { return dlsym(library, name); }
void close_library(void* library) { dlclose(library); }

const char* env(const char* name) { return std::getenv(name); }

int run_command(const std::string& command, std::string* output) {
  FILE* p = popen((command + " 2>&1").c_str(), "r");
  if (p == nullptr) return -1;
  std::array<char, 4096> buf;
  std::size_t n;
  while ((n = std::fread(buf.data(), 1, buf.size(), p)) > 0) output->append(buf.data(), n);
  const int status = pclose(p);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string quote(const std::string& word) { return "'" + word + "'"; }

uint32_t new_thread_key() {
  pthread_key_t key;
  return pthread_key_create(&key, nullptr) == 0 ? static_cast<uint32_t>(key) : 0xFFFFFFFFu;
}
void set_thread_value(uint32_t key, void* value) { pthread_setspecific(static_cast<pthread_key_t>(key), value); }
void delete_thread_key(uint32_t key) { pthread_key_delete(static_cast<pthread_key_t>(key)); }

std::size_t page_size() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }
char* allocate_pages(std::size_t count) {
  void* p = mmap(nullptr, count * page_size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return p == MAP_FAILED ? nullptr : static_cast<char*>(p);
}
bool fence_page(char* page) { return mprotect(page, page_size(), PROT_NONE) == 0; }
void free_pages(char* base, std::size_t count) { munmap(base, count * page_size()); }

}  // namespace test::os
