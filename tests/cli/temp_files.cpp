#include <fstream>
#include <sstream>

#include "cli/run_tarnx.hpp"

namespace cli_test {

std::string slurp(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

std::string temp_file(const std::string& name, const std::string& content) {
  const std::filesystem::path p = temp_dir() / name;
  std::ofstream(p, std::ios::binary) << content;
  return p.string();
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string l; std::getline(in, l);) lines.push_back(l);
  return lines;
}

}  // namespace cli_test
