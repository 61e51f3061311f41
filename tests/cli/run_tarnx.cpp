#include "cli/run_tarnx.hpp"

#include <spawn.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

extern char** environ;

namespace cli_test {
namespace {

namespace fs = std::filesystem;

struct TempDir {
  fs::path path;
  TempDir() {
    std::string pattern = (fs::temp_directory_path() / "tarnx_cli_XXXXXX").string();
    path = mkdtemp(pattern.data());
  }
  ~TempDir() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
};


struct Running {
  pid_t pid;
  fs::path out, err;
};

Running start(const std::vector<std::string>& args, const std::string& input, int id) {
  const fs::path base = temp_dir() / ("run" + std::to_string(id));
  Running r{0, base.string() + ".out", base.string() + ".err"};
  const std::string in = base.string() + ".in";
  std::ofstream(in, std::ios::binary) << input;

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, r.out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, r.err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  std::vector<char*> argv{const_cast<char*>(TARNX_CLI)};
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  if (posix_spawn(&r.pid, TARNX_CLI, &actions, nullptr, argv.data(), environ) != 0) r.pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return r;
}

Outcome finish(const Running& r, int status) {
  Outcome o;
  if (r.pid > 0 && WIFEXITED(status)) o.exit_code = WEXITSTATUS(status);
  if (r.pid > 0 && WIFSIGNALED(status)) o.signal = WTERMSIG(status);
  o.out = slurp(r.out);
  o.err = slurp(r.err);
  return o;
}

}  // namespace

const fs::path& temp_dir() {
  static TempDir dir;
  return dir.path;
}

const char* const kModuleSuffix = ".so";

// The programs go to bin/, the modules to lib/ beside it.
std::string built_module(const std::string& name) {
  return (std::filesystem::path(TARNX_CLI).parent_path() / "../lib" / (name + kModuleSuffix)).lexically_normal().string();
}

Outcome run_tarnx(const std::vector<std::string>& args, const std::string& input) {
  static int id = 100000;
  const Running r = start(args, input, ++id);
  int status = 0;
  if (r.pid > 0) waitpid(r.pid, &status, 0);
  return finish(r, status);
}

std::vector<Outcome> run_all(const std::vector<std::vector<std::string>>& commands, int parallel) {
  std::vector<Outcome> outcomes(commands.size());
  std::map<pid_t, std::pair<std::size_t, Running>> running;
  std::size_t next = 0;
  while (next < commands.size() || !running.empty()) {
    while (next < commands.size() && static_cast<int>(running.size()) < parallel) {
      const Running r = start(commands[next], "", static_cast<int>(next));
      if (r.pid > 0) running.emplace(r.pid, std::make_pair(next, r));
      else outcomes[next] = finish(r, 0);
      ++next;
    }
    if (running.empty()) continue;
    int status = 0;
    const pid_t done = waitpid(-1, &status, 0);
    auto it = running.find(done);
    if (it == running.end()) continue;
    outcomes[it->second.first] = finish(it->second.second, status);
    running.erase(it);
  }
  return outcomes;
}

}  // namespace cli_test
