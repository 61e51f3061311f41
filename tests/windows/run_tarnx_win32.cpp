// Runs the built tarnx.exe on Windows: each run its own process with
// standard input, output and error in files.
#include <windows.h>

#include "cli/child_process.hpp"

namespace cli_test {

const char* const kModuleSuffix = ".dll";

// Every module of the Windows build lies beside the programs.
std::string built_module(const std::string& name) {
  return (std::filesystem::path(TARNX_CLI).parent_path() / (name + kModuleSuffix)).string();
}

namespace os {
namespace {

namespace fs = std::filesystem;

HANDLE inheritable(const fs::path& p, bool write) {
  SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
  return CreateFileW(p.c_str(), write ? GENERIC_WRITE : GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                     &inherit, write ? CREATE_ALWAYS : OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// One argument as the C run-time's parser reads it back.
std::wstring quoted(const std::string& arg) {
  std::wstring w(arg.begin(), arg.end());
  std::wstring q = L"\"";
  std::size_t backslashes = 0;
  for (wchar_t c : w) {
    if (c == L'\\') {
      ++backslashes;
      continue;
    }
    q.append(c == L'"' ? 2 * backslashes + 1 : backslashes, L'\\');
    backslashes = 0;
    q.push_back(c);
  }
  q.append(2 * backslashes, L'\\');
  return q + L"\"";
}

HANDLE handle_of(const Child& child) { return reinterpret_cast<HANDLE>(child.process); }

}  // namespace

fs::path make_temp_dir() {
  // Short: the messages the tests read shorten long file names.
  fs::path path = fs::temp_directory_path() / ("tx" + std::to_string(GetCurrentProcessId()));
  fs::create_directories(path);
  return path;
}

void start(const std::vector<std::string>& args, const fs::path& in, Child& child) {
  std::wstring line = quoted(TARNX_CLI);
  for (const std::string& a : args) line += L" " + quoted(a);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = inheritable(in, false);
  startup.hStdOutput = inheritable(child.out, true);
  startup.hStdError = inheritable(child.err, true);
  PROCESS_INFORMATION process{};
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process)) {
    CloseHandle(process.hThread);
    child.process = reinterpret_cast<std::intptr_t>(process.hProcess);
  }
  CloseHandle(startup.hStdInput);
  CloseHandle(startup.hStdOutput);
  CloseHandle(startup.hStdError);
}

std::size_t wait_any(const std::vector<Child>& children, Outcome& how) {
  // The runs in parallel are a handful, far below the 64 handles one wait takes.
  std::vector<HANDLE> handles;
  for (const Child& c : children) handles.push_back(handle_of(c));
  const DWORD woken =
      WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.data(), FALSE, INFINITE);
  // Should the wait itself fail, the first child is waited for alone.
  const std::size_t i = woken < WAIT_OBJECT_0 + handles.size() ? woken - WAIT_OBJECT_0 : 0;
  if (i == 0) WaitForSingleObject(handles[0], INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(handles[i], &code);
  CloseHandle(handles[i]);
  // An exception that ended the process shows as its NTSTATUS.
  if (code >= 0xC0000000u) how.signal = static_cast<int>(code);
  else how.exit_code = static_cast<int>(code);
  return i;
}

// Text-mode line ends read as the other systems write them.
std::string read_text(const fs::path& p) {
  const std::string text = slurp(p);
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i)
    if (!(text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')) out.push_back(text[i]);
  return out;
}

}  // namespace os
}  // namespace cli_test
