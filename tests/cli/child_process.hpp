#pragma once
// What each system provides for running tarnx: a temporary directory, a
// started child process with its standard streams in files, and the wait for
// the first of several children to end. run_tarnx.cpp builds the runs on it.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "cli/run_tarnx.hpp"

namespace cli_test::os {

struct Child {
  std::intptr_t process = 0;  // 0: it could not be started
  std::filesystem::path out, err;
};

// A fresh directory, made now.
std::filesystem::path make_temp_dir();
// Starts tarnx with `args`, standard input read from `in`, standard output
// and error written to child.out and child.err; child.process stays 0 when
// it cannot be started.
void start(const std::vector<std::string>& args, const std::filesystem::path& in, Child& child);
// Waits until one of the started `children` ends, sets how it ended (exit
// code or signal) and returns its position.
std::size_t wait_any(const std::vector<Child>& children, Outcome& how);
// A file's whole content, with line ends as the other systems write them.
std::string read_text(const std::filesystem::path& p);

}  // namespace cli_test::os
