#pragma once
// Runs the built tarnx binary as a person would, and captures what it says.
#include <filesystem>
#include <string>
#include <vector>

namespace cli_test {

struct Outcome {
  int exit_code = -1;  // -1: did not exit normally
  int signal = 0;      // the signal that ended it (a crash), else 0
  std::string out;
  std::string err;
};

Outcome run_tarnx(const std::vector<std::string>& args, const std::string& input = "");

// Runs several command lines at once (the binary spends most of its time
// waiting on the loader), results in the order given.
std::vector<Outcome> run_all(const std::vector<std::vector<std::string>>& commands, int parallel);

// A file in a fresh temporary directory, removed with the directory at exit.
std::string temp_file(const std::string& name, const std::string& content);

// A module the build made (the host stand-in "zwrt", say), by its name
// without the system's ending, where this system's build puts it.
std::string built_module(const std::string& name);
// The ending of a module's file name on this system.
extern const char* const kModuleSuffix;

// Lines of a text, without the newlines.
std::vector<std::string> lines_of(const std::string& text);

// The fresh temporary directory of this test program (made at first use,
// removed at exit), and the whole content of a file.
const std::filesystem::path& temp_dir();
std::string slurp(const std::filesystem::path& p);

}  // namespace cli_test
