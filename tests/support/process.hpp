#pragma once
// Runs a program in a fresh process and collects what it printed.
#include <array>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <sys/wait.h>

namespace test {

struct ProcessResult {
  int exit_code = -1;
  std::string output;  // standard output and standard error together
  // "key=value" lines of the output.
  std::map<std::string, std::string> values() const {
    std::map<std::string, std::string> v;
    std::istringstream in(output);
    std::string line;
    while (std::getline(in, line)) {
      const auto eq = line.find('=');
      if (eq != std::string::npos) v[line.substr(0, eq)] = line.substr(eq + 1);
    }
    return v;
  }
};

inline ProcessResult run_process(const std::string& command) {
  ProcessResult r;
  FILE* p = popen((command + " 2>&1").c_str(), "r");
  if (p == nullptr) return r;
  std::array<char, 4096> buf;
  std::size_t n;
  while ((n = std::fread(buf.data(), 1, buf.size(), p)) > 0) r.output.append(buf.data(), n);
  const int status = pclose(p);
  r.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return r;
}

inline std::string quote(const std::string& s) { return "'" + s + "'"; }

}  // namespace test
