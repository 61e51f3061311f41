#pragma once
// Runs a program in a fresh process and collects what it printed.
#include <map>
#include <sstream>
#include <string>

#include "support/test_os.hpp"

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
  r.exit_code = os::run_command(command, &r.output);
  return r;
}

inline std::string quote(const std::string& s) { return os::quote(s); }

}  // namespace test
