#include <windows.h>

#include <array>
#include <cstdio>
#include <string>

#include "support/test_os.hpp"

namespace test::os {

const char* const kLibraryFile = "TARNX_LINALG.dll";
const char* const kModuleSuffix = ".dll";
const char* const kForeignModule = "kernel32.dll";

void* open_library(const std::string& path) {
  // The loader wants backslashes in a path it searches beside.
  std::wstring wide(path.begin(), path.end());
  for (wchar_t& c : wide)
    if (c == L'/') c = L'\\';
  return LoadLibraryExW(wide.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}
std::string load_error() { return std::to_string(GetLastError()); }
// A reference of its own, as dlopen's, so that close_library is the same everywhere.
void* loaded_library(const char* name) {
  HMODULE module = nullptr;
  return GetModuleHandleExA(0, name, &module) ? module : nullptr;
}
void* symbol(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}
void close_library(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }

// The C run-time's getenv keeps the copy it took at start-up; a module's
// SetEnvironmentVariable shows only here.
const char* env(const char* name) {
  thread_local std::string value;
  const DWORD n = GetEnvironmentVariableA(name, nullptr, 0);
  if (n == 0) return nullptr;
  value.assign(n, '\0');
  value.resize(GetEnvironmentVariableA(name, value.data(), n));
  return value.c_str();
}

int run_command(const std::string& command, std::string* output) {
  // cmd.exe drops the outer quotes of a line that starts with one.
  FILE* p = _popen(("\"" + command + " 2>&1\"").c_str(), "rb");
  if (p == nullptr) return -1;
  std::array<char, 4096> buf;
  std::size_t n;
  while ((n = std::fread(buf.data(), 1, buf.size(), p)) > 0)
    for (std::size_t i = 0; i < n; ++i)
      if (buf[i] != '\r') output->push_back(buf[i]);  // text-mode line ends, as on other systems
  return _pclose(p);
}

std::string quote(const std::string& word) { return "\"" + word + "\""; }

uint32_t new_thread_key() { return TlsAlloc(); }
void set_thread_value(uint32_t key, void* value) { TlsSetValue(key, value); }
void delete_thread_key(uint32_t key) { TlsFree(key); }

std::size_t page_size() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwPageSize;
}
char* allocate_pages(std::size_t count) {
  return static_cast<char*>(VirtualAlloc(nullptr, count * page_size(), MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
}
bool fence_page(char* page) {
  DWORD old;
  return VirtualProtect(page, page_size(), PAGE_NOACCESS, &old) != 0;
}
void free_pages(char* base, std::size_t) { VirtualFree(base, 0, MEM_RELEASE); }

}  // namespace test::os
