// Runs the built tarnx.exe as a person would, on Windows: each run its own
// process with standard input, output and error in files.
#include <windows.h>

#include <filesystem>
#include <fstream>

#include "cli/run_tarnx.hpp"

namespace cli_test {
namespace {

namespace fs = std::filesystem;

struct TempDir {
  fs::path path;
  TempDir() {
    // Short: the messages the tests read shorten long file names.
    path = fs::temp_directory_path() / ("tx" + std::to_string(GetCurrentProcessId()));
    fs::create_directories(path);
  }
  ~TempDir() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
};

// Text-mode line ends read as the other systems write them.
std::string slurp_text(const fs::path& p) {
  const std::string text = slurp(p);
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i)
    if (!(text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')) out.push_back(text[i]);
  return out;
}

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

struct Running {
  HANDLE process = nullptr;
  fs::path out, err;
};

Running start(const std::vector<std::string>& args, const std::string& input, int id) {
  const fs::path base = temp_dir() / ("run" + std::to_string(id));
  Running r{nullptr, base.string() + ".out", base.string() + ".err"};
  const fs::path in = base.string() + ".in";
  std::ofstream(in, std::ios::binary) << input;

  std::wstring line = quoted(TARNX_CLI);
  for (const std::string& a : args) line += L" " + quoted(a);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = inheritable(in, false);
  startup.hStdOutput = inheritable(r.out, true);
  startup.hStdError = inheritable(r.err, true);
  PROCESS_INFORMATION process{};
  if (CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &process)) {
    CloseHandle(process.hThread);
    r.process = process.hProcess;
  }
  CloseHandle(startup.hStdInput);
  CloseHandle(startup.hStdOutput);
  CloseHandle(startup.hStdError);
  return r;
}

Outcome finish(const Running& r) {
  Outcome o;
  if (r.process != nullptr) {
    WaitForSingleObject(r.process, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(r.process, &code);
    CloseHandle(r.process);
    // An exception that ended the process shows as its NTSTATUS.
    if (code >= 0xC0000000u) o.signal = static_cast<int>(code);
    else o.exit_code = static_cast<int>(code);
  }
  o.out = slurp_text(r.out);
  o.err = slurp_text(r.err);
  return o;
}

}  // namespace

const fs::path& temp_dir() {
  static TempDir dir;
  return dir.path;
}

const char* const kModuleSuffix = ".dll";

// Every module of the Windows build lies beside the programs.
std::string built_module(const std::string& name) {
  return (std::filesystem::path(TARNX_CLI).parent_path() / (name + kModuleSuffix)).string();
}

Outcome run_tarnx(const std::vector<std::string>& args, const std::string& input) {
  static int id = 100000;
  return finish(start(args, input, ++id));
}

std::vector<Outcome> run_all(const std::vector<std::vector<std::string>>& commands, int parallel) {
  std::vector<Outcome> outcomes(commands.size());
  std::vector<std::pair<std::size_t, Running>> running;
  std::size_t next = 0;
  while (next < commands.size() || !running.empty()) {
    while (next < commands.size() && static_cast<int>(running.size()) < parallel) {
      running.emplace_back(next, start(commands[next], "", static_cast<int>(next)));
      ++next;
    }
    // The oldest first: the order of finishing does not matter, only that
    // no more than `parallel` run at once.
    outcomes[running.front().first] = finish(running.front().second);
    running.erase(running.begin());
  }
  return outcomes;
}

}  // namespace cli_test
