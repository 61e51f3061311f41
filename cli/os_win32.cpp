// The command-line host's operating-system services on Windows.
#include <windows.h>

#include <filesystem>
#include <string>

#include "cli/os.hpp"

namespace tarnx::cli::os {

// Every module of the Windows build lies in one directory, beside the program.
const char* const kDefaultLibrary = "TARNX_LINALG.dll";
const char* const kCoreFile = "tarnx_core_140000.dll";

namespace {

// Paths are UTF-8 on this side of the interface, UTF-16 on the loader's.
std::wstring widen(const std::string& s) {
  return std::filesystem::path(std::u8string(s.begin(), s.end())).wstring();
}

std::string narrow(const std::wstring& s) {
  const std::u8string u = std::filesystem::path(s).u8string();
  return std::string(u.begin(), u.end());
}

std::string module_file(HMODULE module) {
  wchar_t path[32768];
  const DWORD n = GetModuleFileNameW(module, path, std::size(path));
  return n == 0 || n >= std::size(path) ? std::string() : narrow(std::wstring(path, n));
}

std::string system_message(DWORD code) {
  char* text = nullptr;
  const DWORD n = FormatMessageA(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                     FORMAT_MESSAGE_IGNORE_INSERTS,
                                 nullptr, code, 0, reinterpret_cast<char*>(&text), 0, nullptr);
  std::string message = n > 0 ? std::string(text, n) : std::string();
  if (text != nullptr) LocalFree(text);
  while (!message.empty() && (message.back() == '\n' || message.back() == '\r' || message.back() == ' '))
    message.pop_back();
  return "error " + std::to_string(code) + (message.empty() ? "" : ": " + message);
}

}  // namespace

std::string executable_dir() {
  wchar_t path[32768];
  const DWORD n = GetModuleFileNameW(nullptr, path, std::size(path));
  if (n == 0 || n >= std::size(path)) return ".";
  std::wstring p(path, n);
  const std::size_t slash = p.find_last_of(L"\\/");
  if (slash == std::wstring::npos) return ".";
  const std::u8string dir = std::filesystem::path(p.substr(0, slash)).u8string();
  return std::string(dir.begin(), dir.end());
}

void* open_library(const std::string& path, std::string* error) {
  // As a host loads a call-library module: by full path, its own directory
  // searched for its dependencies.
  HMODULE library = LoadLibraryExW(widen(path).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
  if (library == nullptr && error != nullptr) *error = system_message(GetLastError());
  return library;
}

void* find_symbol(void* library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

std::string module_path(void* module) { return module_file(static_cast<HMODULE>(module)); }

// A DLL carries no version note; the report falls back to the header's.
std::string version_note(void*) { return ""; }

std::string loaded_object_path(const std::string& file_name) {
  HMODULE module = GetModuleHandleW(widen(file_name).c_str());
  return module == nullptr ? std::string() : module_file(module);
}

// Only the module's own exports: a DLL's imports are not reachable by name.
void* symbol_in_loaded(const std::string& path, const char* name, std::string* defined_in) {
  HMODULE module = GetModuleHandleW(widen(path).c_str());
  void* symbol = module == nullptr ? nullptr : reinterpret_cast<void*>(GetProcAddress(module, name));
  if (defined_in != nullptr) *defined_in = symbol == nullptr ? std::string() : path;
  return symbol;
}

// The process environment as the library sees and changes it; the C
// run-time's copy does not follow SetEnvironmentVariable.
std::string env(const char* name) {
  char small[512];
  DWORD n = GetEnvironmentVariableA(name, small, sizeof small);
  if (n == 0) return "";
  if (n < sizeof small) return std::string(small, n);
  std::string value(n, '\0');
  n = GetEnvironmentVariableA(name, value.data(), n);
  value.resize(n);
  return value;
}

}  // namespace tarnx::cli::os
