// The command-line host's operating-system services on Windows.
#include <windows.h>

#include <cerrno>
#include <filesystem>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "cli/os.hpp"

namespace tarnx::cli::os {

// Every module of the Windows build lies in one directory, beside the program.
const char* const kDefaultLibrary = "TARNX_LINALG.dll";

namespace {

std::wstring widen(const std::string& s) {
  if (s.empty()) return {};
  const int n = MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), nullptr, 0);
  std::wstring w(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, s.data(), static_cast<int>(s.size()), w.data(), n);
  return w;
}

std::string narrow(const std::wstring& w) {
  if (w.empty()) return {};
  const int n = WideCharToMultiByte(CP_UTF8, 0, w.data(), static_cast<int>(w.size()), nullptr, 0,
                                    nullptr, nullptr);
  std::string s(static_cast<std::size_t>(n), '\0');
  WideCharToMultiByte(CP_UTF8, 0, w.data(), static_cast<int>(w.size()), s.data(), n, nullptr, nullptr);
  return s;
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
  return slash == std::wstring::npos ? "." : narrow(p.substr(0, slash));
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

bool read_file(const std::string& path, std::string* content, std::string* error) {
  std::ifstream in(std::filesystem::path(widen(path)), std::ios::binary);
  if (!in) {
    *error = std::strerror(errno);
    return false;
  }
  std::ostringstream buffer;
  buffer << in.rdbuf();
  if (in.bad()) {
    *error = "read error";
    return false;
  }
  *content = std::move(buffer).str();
  return true;
}

bool read_stdin(std::string* content, std::string* error) {
  content->assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  if (std::cin.bad()) {
    *error = "read error on standard input";
    return false;
  }
  return true;
}

}  // namespace tarnx::cli::os
