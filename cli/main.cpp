// tarnx: a command-line host for TARNX_LINALG. It loads the library as the
// graphical host does and runs any export on data from files or the command
// line, so that a person can try an export or reproduce a problem.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "cli/call.hpp"
#include "cli/demo.hpp"
#include "cli/help.hpp"
#include "cli/os.hpp"
#include "cli/version.hpp"

namespace tarnx::cli {
namespace {

constexpr int kBadInput = 2;
constexpr int kFailedCall = 1;

const char* const usage =
    "usage: tarnx [--lib PATH] [COMMAND]\n"
    "\n"
    "commands:\n"
    "  demo                      a short tour on built-in matrices (the default)\n"
    "  list [PATTERN]            every export with its arguments; PATTERN filters by name\n"
    "  call [OPTIONS] EXPORT INPUT...\n"
    "                            run one export; outputs, scratch handles and scalar\n"
    "                            results are made for you\n"
    "  help [EXPORT]             this text, or one export's arguments and statuses\n"
    "  --version                 versions of tarnx and the library, and the core in use\n"
    "\n"
    "inputs, one per input argument in order (or NAME=INPUT, by argument name):\n"
    "  '[1 2; 3 4]'              inline; rows end at ';', complex as 1+2i or -0.5i\n"
    "  FILE                      Matrix Market (.mtx) or rows of whitespace-separated values\n"
    "  -                         standard input (for one argument)\n"
    "  3, -1.5, 2-1i             scalars; trailing selectors may be left out (see list)\n"
    "  NAME=VALUE                for a scalar result: the value it holds going in\n"
    "  NAME=null                 passes no handle for the scratch argument NAME\n"
    "\n"
    "call options:\n"
    "  -o FILE                   write the next array output to FILE (.mtx: Matrix Market)\n"
    "  -o NAME=FILE              write output NAME to FILE\n"
    "  --digits N                print N significant digits (default: exact round-trip)\n"
    "\n"
    "The library is --lib PATH, else $TARNX_LIB, else the one built or installed with tarnx.\n"
    "Exit code: 0 for a status >= 0, 1 for a negative status, 2 for bad input.\n";

void print(const std::string& s) { std::fwrite(s.data(), 1, s.size(), stdout); }

bool matches(std::string_view name, std::string_view pattern) {
  return lower_case(name).find(lower_case(pattern)) != std::string::npos;
}

int list(const std::vector<std::string>& words, const std::string& lib_option) {
  if (words.size() > 1) throw Bad("list takes at most one pattern");
  const std::string pattern = words.empty() ? "" : words[0];
  // The list comes from the table; the library tells which exports it does
  // not have yet, so one that cannot be loaded is an error here as anywhere.
  void* module = load_library(library_path(lib_option)).module;
  std::string out;
  int shown = 0;
  for (const ExportInfo& e : export_table()) {
    if (!matches(e.name, pattern)) continue;
    out += signature(e);
    if (os::find_symbol(module, std::string(e.name).c_str()) == nullptr)
      out += "  [not in the loaded library]";
    out += '\n';
    ++shown;
  }
  if (shown == 0) throw Bad("no export matches '" + pattern + "'");
  print(out);
  return 0;
}

int call(const std::vector<std::string>& words, std::string lib_option) {
  OutputFiles files;
  Format format;
  std::size_t i = 0;
  // Options end at the export name; nothing before it looks like a number.
  auto is_option = [](const std::string& w) {
    return w.size() > 1 && w[0] == '-' && !std::isdigit(static_cast<unsigned char>(w[1])) && w[1] != '.';
  };
  for (; i < words.size() && is_option(words[i]); ++i) {
    const std::string& w = words[i];
    auto value = [&]() -> const std::string& {
      if (i + 1 >= words.size()) throw Bad(w + " needs a value");
      return words[++i];
    };
    if (w == "-o" || w == "--output") {
      const std::string& v = value();
      const std::size_t eq = v.find('=');
      if (eq != std::string::npos && eq > 0 && v.find('/') > eq)
        files.emplace_back(v.substr(0, eq), v.substr(eq + 1));
      else
        files.emplace_back("", v);
    } else if (w == "--digits") {
      const std::string& v = value();
      char* end = nullptr;
      const long d = std::strtol(v.c_str(), &end, 10);
      if (*end != '\0' || end == v.c_str() || d < 1 || d > 17) throw Bad("--digits takes 1 to 17");
      format.digits = static_cast<int>(d);
    } else if (w == "--lib") {
      lib_option = value();
    } else {
      throw Bad("unknown call option '" + w + "'");
    }
  }
  if (i == words.size()) throw Bad("call needs an export name; 'tarnx list' shows them all");
  const ExportInfo& info = lookup_export(words[i]);
  const std::vector<std::string> inputs(words.begin() + static_cast<std::ptrdiff_t>(i) + 1, words.end());

  const Library lib = load_library(library_path(lib_option));
  void* function = os::find_symbol(lib.module, words[i].c_str());
  if (function == nullptr)
    throw Bad("the library " + lib.path + " has no export " + words[i] + " (it predates that family)");
  Call c(info, function);
  TextStore store;
  bool stdin_used = false;
  c.bind(inputs, store, &stdin_used);
  c.route_outputs(files);
  const int32_t status = c.run();
  print(status_line(status, c.null_scratch()));
  print(c.show_outputs(format));
  return status < 0 ? kFailedCall : 0;
}

int run(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  std::string lib_option;
  std::size_t i = 0;
  while (i < words.size() && words[i] == "--lib") {
    if (i + 1 >= words.size()) throw Bad("--lib needs a path");
    lib_option = words[i + 1];
    i += 2;
  }
  const std::string command = i < words.size() ? words[i] : "demo";
  const std::vector<std::string> rest(words.begin() + static_cast<std::ptrdiff_t>(std::min(i + 1, words.size())),
                                      words.end());
  // A library named on the command line must load whatever the command.
  if (!lib_option.empty()) load_library(lib_option);
  if (command == "--version" || command == "version") {
    if (!rest.empty()) throw Bad("--version takes no arguments");
    print(version_report(load_library(library_path(lib_option))));
    return 0;
  }
  if (command == "help" || command == "--help" || command == "-h") {
    if (rest.size() > 1) throw Bad("help takes at most one export name");
    print(rest.empty() ? std::string(usage) : export_help(lookup_export(rest[0])));
    return 0;
  }
  if (command == "demo") {
    if (!rest.empty()) throw Bad("demo takes no arguments");
    return run_demo(load_library(library_path(lib_option)));
  }
  if (command == "list") return list(rest, lib_option);
  if (command == "call") return call(rest, lib_option);
  throw Bad("unknown command '" + command + "' (demo, list, call or help)");
}

}  // namespace
}  // namespace tarnx::cli

int main(int argc, char** argv) {
  try {
    return tarnx::cli::run(argc, argv);
  } catch (const tarnx::cli::Bad& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "tarnx: %s\n", e.what());
  } catch (const std::exception& e) {
    std::fflush(stdout);
    std::fprintf(stderr, "tarnx: %s\n", e.what());
  }
  return tarnx::cli::kBadInput;
}
