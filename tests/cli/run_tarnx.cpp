#include "cli/run_tarnx.hpp"

#include <fstream>

#include "cli/child_process.hpp"

namespace cli_test {
namespace {

namespace fs = std::filesystem;

struct TempDir {
  fs::path path = os::make_temp_dir();
  ~TempDir() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
};

// Run number `id` keeps its input, output and errors in files named after it.
os::Child start(const std::vector<std::string>& args, const std::string& input, int id) {
  const fs::path base = temp_dir() / ("run" + std::to_string(id));
  os::Child child{0, base.string() + ".out", base.string() + ".err"};
  const fs::path in = base.string() + ".in";
  std::ofstream(in, std::ios::binary) << input;
  os::start(args, in, child);
  return child;
}

Outcome finish(const os::Child& child, Outcome how) {
  how.out = os::read_text(child.out);
  how.err = os::read_text(child.err);
  return how;
}

}  // namespace

const fs::path& temp_dir() {
  static TempDir dir;
  return dir.path;
}

Outcome run_tarnx(const std::vector<std::string>& args, const std::string& input) {
  static int id = 100000;
  const os::Child child = start(args, input, ++id);
  Outcome how;
  if (child.process != 0) os::wait_any({child}, how);
  return finish(child, how);
}

std::vector<Outcome> run_all(const std::vector<std::vector<std::string>>& commands, int parallel) {
  std::vector<Outcome> outcomes(commands.size());
  std::vector<os::Child> running;
  std::vector<std::size_t> command_of;  // beside `running`: which command each child runs
  std::size_t next = 0;
  while (next < commands.size() || !running.empty()) {
    while (next < commands.size() && static_cast<int>(running.size()) < parallel) {
      const os::Child child = start(commands[next], "", static_cast<int>(next));
      if (child.process != 0) {
        running.push_back(child);
        command_of.push_back(next);
      } else {
        outcomes[next] = finish(child, {});
      }
      ++next;
    }
    if (running.empty()) continue;
    Outcome how;
    const std::size_t done = os::wait_any(running, how);
    outcomes[command_of[done]] = finish(running[done], how);
    running.erase(running.begin() + static_cast<std::ptrdiff_t>(done));
    command_of.erase(command_of.begin() + static_cast<std::ptrdiff_t>(done));
  }
  return outcomes;
}

}  // namespace cli_test
