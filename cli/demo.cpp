#include "cli/demo.hpp"

#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "cli/os.hpp"

namespace tarnx::cli {
namespace {

struct Step {
  const char* title;
  const char* export_name;
  std::vector<std::string> args;
  const char* note;
};

// The tour. Each export is looked up by name when the demo runs, so a library
// that does not have a family yet just skips its step.
const std::vector<Step>& steps() {
  static const std::vector<Step> tour = {
      {"Matrix product C = A B", "dMtrxMulH", {"[1 2; 3 4]", "[5 6; 7 8]"},
       "C = [19 22; 43 50]"},
      {"Linear system A x = b (general matrix, matrixType 0)", "dLinEqH",
       {"[4 -2 1; -2 4 -2; 1 -2 4]", "[11 -16 17]", "0"}, "exact solution x = [1 -2 3]"},
      {"Inverse, in place (general matrix)", "dInvMtrxH", {"[4 7; 2 6]", "0"},
       "exact inverse [0.6 -0.7; -0.2 0.4]"},
      {"Inverse of a singular matrix", "dInvMtrxH", {"[1 2; 2 4]", "0"},
       "a failed call empties its outputs and says why"},
      {"Eigenvalues and eigenvectors (option 1)", "dEigenVH", {"[0 1; -2 -3]", "1"},
       "eigenvalues -1 and -2; column j of the vectors belongs to eigenvalue j"},
      {"Matrix exponential, in place", "dMtrxExpH", {"[0 1; -1 0]"},
       "a rotation: [cos 1  sin 1; -sin 1  cos 1] = [0.540302 0.841471; -0.841471 0.540302]"},
      {"Robust line fit (bisquare, method 2) through points with one outlier", "dLinearFitH",
       {"[1 3 5 7 30 11 13 15]", "[0 1 2 3 4 5 6 7]", "[]", "2", "0", "0", "50"},
       "the points lie on y = 2x + 1 except x = 4; the fit keeps slope 2 and intercept 1"},
  };
  return tour;
}

void print(const std::string& s) { std::fwrite(s.data(), 1, s.size(), stdout); }

}  // namespace

int run_demo(const Library& lib) {
  const auto start = std::chrono::steady_clock::now();
  print("TARNX_LINALG tour, library " + lib.path + "\n");
  const Format format{6, "    "};
  int number = 0;
  for (const Step& step : steps()) {
    ++number;
    std::string heading = "\n";
    heading += std::to_string(number) + ". " + step.title + "  [" + step.export_name + "]\n";
    print(heading);
    const ExportInfo* info = find_export(step.export_name);
    void* function = os::find_symbol(lib.module, step.export_name);
    if (info == nullptr || function == nullptr) {
      print(std::string("    skipped: ") + step.export_name + " is not in " +
            (info == nullptr ? "this build's export table" : "the loaded library") + " yet\n");
      continue;
    }
    try {
      Call call(*info, function);
      TextStore store;
      bool stdin_used = true;  // the demo never reads standard input
      std::vector<std::string> args = step.args;
      // An array input the tour does not mention (a variant that keeps an
      // ignored workspace as an input, to share its family's signature)
      // gets an empty array.
      std::vector<std::string> unmentioned;
      std::size_t input = 0;
      for (const ExportArg& a : info->args) {
        if (!is_input(a.kind.role)) continue;
        if (input++ >= step.args.size() && a.kind.shape != arg::Shape::Scalar) {
          args.push_back("[]");
          unmentioned.emplace_back(a.name);
        }
      }
      call.bind(args, store, &stdin_used);
      print(call.show_inputs(format, unmentioned));
      const int32_t status = call.run();
      print(format.indent + status_line(status));
      print(call.show_outputs(format));
      print(format.indent + "(" + step.note + ")\n");
    } catch (const Bad& e) {
      // A family that landed with other arguments than the tour expects.
      print(std::string("    skipped: ") + e.what() + "\n");
    }
  }
  const auto ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start);
  char tail[64];
  std::snprintf(tail, sizeof tail, "\nDone in %.1f ms.\n", ms.count());
  print(tail);
  return 0;
}

}  // namespace tarnx::cli
