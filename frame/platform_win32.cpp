// The frame's operating-system services on 64-bit Windows, and the DLL's
// entry point.
#include <windows.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

#include "frame/core_module.hpp"
#include "frame/lifecycle.hpp"
#include "frame/platform.hpp"

namespace tarnx::platform {

namespace {

// Paths cross the platform interface as UTF-8; the loader and the registry
// take them wide.
std::wstring widen(const std::string& s) {
  if (s.empty()) return {};
  const int n = MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), nullptr, 0);
  std::wstring w(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), w.data(), n);
  return w;
}

std::string narrow(const wchar_t* w) {
  const int n = WideCharToMultiByte(CP_UTF8, 0, w, -1, nullptr, 0, nullptr, nullptr);
  if (n <= 1) return {};
  std::string s(static_cast<std::size_t>(n), '\0');
  WideCharToMultiByte(CP_UTF8, 0, w, -1, s.data(), n, nullptr, nullptr);
  s.resize(static_cast<std::size_t>(n - 1));
  return s;
}

// Searches over the loaded modules are cached until a DLL is loaded or
// unloaded; the loader tells us through its DLL notification. Where that is
// not offered, every search counts as new.
std::atomic<uint64_t> generation{0};
bool notified = false;
void* notification_cookie = nullptr;

using LdrNotification = void(NTAPI*)(ULONG reason, const void* data, void* context);
using LdrRegister = LONG(NTAPI*)(ULONG flags, LdrNotification callback, void* context, void** cookie);
using LdrUnregister = LONG(NTAPI*)(void* cookie);

void NTAPI on_dll_change(ULONG, const void*, void*) {
  generation.fetch_add(1, std::memory_order_acq_rel);
}

template <class Fn> Fn ntdll_function(const char* name) {
  HMODULE ntdll = GetModuleHandleA("ntdll.dll");
  return ntdll != nullptr ? reinterpret_cast<Fn>(reinterpret_cast<void*>(GetProcAddress(ntdll, name)))
                          : nullptr;
}

void watch_loaded_modules() {
  if (auto reg = ntdll_function<LdrRegister>("LdrRegisterDllNotification"))
    notified = reg(0, on_dll_change, nullptr, &notification_cookie) == 0;
}

// A callback left registered after the DLL is gone would be called into
// unmapped code at the next load or unload.
void stop_watching_loaded_modules() {
  if (!notified) return;
  if (auto unreg = ntdll_function<LdrUnregister>("LdrUnregisterDllNotification"))
    unreg(notification_cookie);
  notified = false;
  notification_cookie = nullptr;
}

}  // namespace

Module main_program() { return GetModuleHandleA(nullptr); }

Module loaded_module(const char* name) { return GetModuleHandleA(name); }

void* own_export(Module module, const char* symbol) {
  if (module == nullptr) return nullptr;
  // GetProcAddress looks only among the module's own exports.
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), symbol));
}

void* reachable_symbol(Module module, const char* symbol) { return own_export(module, symbol); }

uint64_t loaded_objects_generation() {
  if (!notified) return generation.fetch_add(1, std::memory_order_acq_rel) + 1;
  return generation.load(std::memory_order_acquire);
}

std::string module_path(Module module) {
  wchar_t path[MAX_PATH * 4];
  const DWORD n = GetModuleFileNameW(static_cast<HMODULE>(module), path, std::size(path));
  if (n == 0 || n >= std::size(path)) return {};
  return narrow(path);
}

Directory loaded_module_directory(const char* name, std::string* dir) {
  HMODULE module = GetModuleHandleW(widen(name).c_str());
  if (module == nullptr) return Directory::NotLoaded;
  wchar_t path[512] = {};
  const DWORD n = GetModuleFileNameW(module, path, 511);
  if (n == 0 || n >= 511) return Directory::Unusable;
  wchar_t drive[16], directory[400], file[32], extension[8];
  if (_wsplitpath_s(path, drive, 16, directory, 400, file, 32, extension, 8) != 0)
    return Directory::Unusable;
  wchar_t joined[512];
  if (_wmakepath_s(joined, 512, drive, directory, nullptr, nullptr) != 0) return Directory::Unusable;
  std::size_t length = std::wcslen(joined);
  if (length == 0 || length + 1 >= 512) return Directory::Unusable;
  if (joined[length - 1] != L'\\') {
    joined[length] = L'\\';
    joined[length + 1] = 0;
  }
  *dir = narrow(joined);
  return Directory::Found;
}

Module load_library(const std::string& path) {
  // LOAD_WITH_ALTERED_SEARCH_PATH: the module's own dependencies are found
  // beside it.
  return LoadLibraryExW(widen(path).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

void free_library(Module module) {
  if (module != nullptr) FreeLibrary(static_cast<HMODULE>(module));
}

void* thread_value(uint32_t index) { return TlsGetValue(index); }

// Every thread's end reaches DllMain, so nothing needs registering.
void call_at_thread_exit(void (*)()) {}
void forget_thread_exit() {}

bool get_env(const char* name, char* buffer, std::size_t size, std::size_t* length) {
  const DWORD n = GetEnvironmentVariableA(name, buffer, static_cast<DWORD>(size));
  if (n >= size && size > 0) buffer[0] = 0;  // too long: the size needed, and nothing saved
  *length = n;
  return n != 0;
}

void set_env(const char* name, const char* value) { SetEnvironmentVariableA(name, value); }

bool read_config(const char* key, const char* value, std::string* out) {
  constexpr REGSAM kRead = 0x20019;  // KEY_READ
  HKEY opened = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, widen(key).c_str(), 0, kRead, &opened) != ERROR_SUCCESS)
    return false;
  wchar_t path[512] = {};
  DWORD bytes = 500;
  const LONG read = RegQueryValueExW(opened, widen(value).c_str(), nullptr, nullptr,
                                     reinterpret_cast<BYTE*>(path), &bytes);
  RegCloseKey(opened);
  if (read != ERROR_SUCCESS) return false;
  path[bytes / sizeof(wchar_t)] = 0;  // a stored string need not end in NUL
  *out = narrow(path);
  return true;
}

void fatal(const char* caption, const char* text) {
  // Standard error too: a process without a desktop gets no box to read.
  std::fprintf(stderr, "%s: %s\n", caption, text);
  std::fflush(stderr);
  MessageBoxA(nullptr, text, caption, MB_TASKMODAL | MB_ICONHAND | MB_OK);  // 8208
  ExitProcess(1);
}

void warn(const std::string& text) {
  std::fprintf(stderr, "%s\n", text.c_str());
  std::fflush(stderr);
}

}  // namespace tarnx::platform

// The DLL's entry point. A process attach that finds no core returns FALSE,
// so the host's LoadLibrary fails (ERROR_DLL_INIT_FAILED) instead of handing
// it a library whose routines cannot run.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
  using namespace tarnx;
  switch (reason) {
    case DLL_PROCESS_ATTACH: {
      platform::watch_loaded_modules();
      std::vector<std::string> tried;
      if (lifecycle::attach_process(&tried)) return TRUE;
      platform::stop_watching_loaded_modules();
      return FALSE;
    }
    case DLL_THREAD_DETACH:
      lifecycle::detach_thread();
      return TRUE;
    case DLL_PROCESS_DETACH:
      platform::stop_watching_loaded_modules();
      lifecycle::detach_process();
      return TRUE;
    default:
      return TRUE;
  }
}
