// Runs the built tarnx on POSIX systems: posix_spawn with the standard
// streams opened on files.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "cli/child_process.hpp"

extern char** environ;

namespace cli_test {

const char* const kModuleSuffix = ".so";

// The programs go to bin/, the modules to lib/ beside it.
std::string built_module(const std::string& name) {
  return (std::filesystem::path(TARNX_CLI).parent_path() / "../lib" / (name + kModuleSuffix)).lexically_normal().string();
}

namespace os {

std::filesystem::path make_temp_dir() {
  std::string pattern = (std::filesystem::temp_directory_path() / "tarnx_cli_XXXXXX").string();
  return mkdtemp(pattern.data());
}

void start(const std::vector<std::string>& args, const std::filesystem::path& in, Child& child) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, child.out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, child.err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  std::vector<char*> argv{const_cast<char*>(TARNX_CLI)};
  for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  pid_t pid = 0;
  if (posix_spawn(&pid, TARNX_CLI, &actions, nullptr, argv.data(), environ) == 0) child.process = pid;
  posix_spawn_file_actions_destroy(&actions);
}

std::size_t wait_any(const std::vector<Child>& children, Outcome& how) {
  // One child is waited for by its id, so that no other child of the program
  // is reaped in its place.
  const pid_t which = children.size() == 1 ? static_cast<pid_t>(children[0].process) : -1;
  for (;;) {
    int status = 0;
    const pid_t done = waitpid(which, &status, 0);
    if (done < 0 && errno == EINTR) continue;
    for (std::size_t i = 0; i < children.size(); ++i) {
      if (done < 0 || children[i].process == done) {
        if (done > 0 && WIFEXITED(status)) how.exit_code = WEXITSTATUS(status);
        if (done > 0 && WIFSIGNALED(status)) how.signal = WTERMSIG(status);
        return i;
      }
    }
  }
}

std::string read_text(const std::filesystem::path& p) { return slurp(p); }

}  // namespace os
}  // namespace cli_test
