// Reading the files and standard input that values come from; the same on
// every system (paths are UTF-8).
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include "cli/os.hpp"

namespace tarnx::cli::os {

bool read_file(const std::string& path, std::string* content, std::string* error) {
  std::ifstream in(std::filesystem::path(std::u8string(path.begin(), path.end())), std::ios::binary);
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
