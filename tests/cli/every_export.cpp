// Every export of the table, driven through `tarnx call` with a small valid
// input: the status must not be a failure and every output must be printed
// with the shape its header announces. New families are picked up from the
// table; an export whose generic inputs cannot be valid gets a line in the
// override table below.
#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <sstream>

#include "cli/run_tarnx.hpp"
#include "tools/export_table.hpp"

namespace {

using tarnx::ExportInfo;
using tarnx::arg::Elem;
using tarnx::arg::Role;
using tarnx::arg::Shape;

// One token per argument, in order (inline values without blanks: "[1,2;3,4]"). "." keeps the generic value; for an
// output, a token gives the shape it must come back with ("3x3", or "3" for a
// vector); for a scalar result, the value going in. The key is the export
// name with its type letter replaced by '?'.
const std::map<std::string, std::string> overrides = {
    {"?MtrxMulH", ". . 3x3"},
    {"?MtrxVecMulH", ". . 3"},
    {"?VecMtrxMulH", ". . 3"},
    {"?OuterProdH", ". . 3x3"},
    {"?KronProdH", "[1,2] . 3x6"},
    {"?TransposeH", "[1,2,3;4,5,6] 3x2"},
    {"?VectorNormH", ". 2 ."},
    {"?SpecialMtrxH", "0 3 . . 3x3"},
    {"?MtrxPowH", ". 2 . . . . . ."},
    {"?MtrxSqrtH", ". 3x3 . . . . ."},
    {"?LinEqH", ". . 0 3 . ."},
    {"?LinEqSetH", ". . 0 3x3 . ."},
    {"?LSEqH", ". . 0 3 . . . . ."},
    {"?LSEqSetH", ". . 0 3x3 . . . . ."},
    {"?EigenVH", ". 1 3 3x3 . ."},
    {"?SymEigenVH", ". 1 3 3x3 . ."},
    {"?HermEigenVH", ". 1 3 3x3 . . ."},
    {"?SVDH", ". 0 0 3x3 3 3x3 . . ."},
    {"?QRH", ". 3x3 3x3 3x3 3 1 0 . ."},
    {"?SchurH", ". 1 0 3x3 3 . . ."},
    {"?LinearFitH", "[1,3.1,4.9,7.2,30] [0,1,2,3,4] [] . . . 2 0 0 20 ."},
    {"zwblas_?gemm", ". . . 1 0 3 3 3 111 111 0 0 0 0 0 0 3 3 3 101 1"},
    {"zwblas_?gemv", ". . . 1 0 111 1 1 3 3 0 0 0 0 3 101 1"},
    {"zwblas_?symm", ". . . 1 0 3 3 141 121 0 0 0 0 0 0 3 3 3 101 1"},
    {"zwblas_?hemm", ". . . 1 0 3 3 141 121 0 0 0 0 0 0 3 3 3 101 1"},
    {"zwblas_?symv", ". . . 1 0 121 1 1 3 0 0 0 0 3 101 1"},
    {"zwblas_?hemv", ". . . 1 0 121 1 1 3 0 0 0 0 3 101 1"},
    {"zwblas_?trmm", ". . 1 3 3 141 121 111 131 0 0 0 0 3 3 101 1"},
    {"zwblas_?trmv", ". . 121 111 131 1 3 0 0 0 3 101 1"},
};

std::string override_key(std::string_view name) {
  std::string key(name);
  const std::size_t letter = key.rfind("zwblas_", 0) == 0 ? 7 : 0;
  if (key.size() > letter) key[letter] = '?';
  return key;
}

bool complex_elem(Elem e) { return e == Elem::C64 || e == Elem::C128; }

// A Hermitian positive definite 3 x 3 matrix and a 3-vector: square,
// well-conditioned and valid for every matrix type selector.
std::string generic_value(const tarnx::arg::Desc& k) {
  const bool c = complex_elem(k.elem);
  switch (k.role) {
    case Role::Value: return "0";
    case Role::Ref: return "1";
    case Role::Update: return "10";
    default: break;
  }
  if (k.elem == Elem::I32) return k.shape == Shape::Matrix ? "[1 0 0; 0 1 0; 0 0 1]" : "[0 1 2]";
  if (k.shape == Shape::Vector) return c ? "[1+1i 2 3-1i]" : "[1 2 3]";
  return c ? "[4 1+0.5i 0.5; 1-0.5i 3 0.25i; 0.5 -0.25i 2]" : "[4 1 0.5; 1 3 0.25; 0.5 0.25 2]";
}

struct Plan {
  std::vector<std::string> command;
  std::vector<std::string> expected;  // per argument: expected output shape or ""
  std::string problem;                // set when the override does not fit the export
};

Plan plan_for(const ExportInfo& e) {
  Plan p;
  std::vector<std::string> tokens;
  if (auto it = overrides.find(override_key(e.name)); it != overrides.end()) {
    std::istringstream in(it->second);
    for (std::string t; in >> t;) tokens.push_back(t);
    if (tokens.size() != e.args.size()) {
      p.problem = "its override has " + std::to_string(tokens.size()) + " tokens but the export has " +
                  std::to_string(e.args.size()) + " arguments";
      return p;
    }
  }
  p.command = {"call", std::string(e.name)};
  p.expected.assign(e.args.size(), "");
  for (std::size_t i = 0; i < e.args.size(); ++i) {
    const auto& k = e.args[i].kind;
    const std::string token = tokens.empty() ? "." : tokens[i];
    if (k.role == Role::Out) {
      if (token != ".") p.expected[i] = token;
    } else if (k.role == Role::Result) {
      if (token != ".") p.command.push_back(std::string(e.args[i].name) + "=" + token);
    } else if (k.role != Role::Scratch && k.role != Role::PathScratch) {
      p.command.push_back(token == "." ? generic_value(k) : token);
    }
  }
  return p;
}

std::string shell_line(const std::vector<std::string>& command) {
  std::string s = "tarnx";
  for (const std::string& w : command) s += w.find(' ') != std::string::npos ? " '" + w + "'" : " " + w;
  return s;
}

// Checks the printed outputs against the table: one header per output, in
// argument order, with the element type of its kind and as many printed rows
// and values as the header says. Returns what is wrong, or "".
std::string check_outputs(const ExportInfo& e, const Plan& plan, const std::vector<std::string>& lines) {
  static const std::regex matrix(R"((\w+): (\w+) matrix, (\d+) x (\d+))");
  static const std::regex vector(R"((\w+): (\w+) vector, length (\d+))");
  static const std::regex scalar(R"((\w+): (\w+) = (\S+))");
  std::size_t at = 1;
  bool array_outputs = false, any_filled = false;
  for (std::size_t i = 0; i < e.args.size(); ++i) {
    const auto& a = e.args[i];
    if (a.kind.role != Role::Out && a.kind.role != Role::InOut && a.kind.role != Role::Result &&
        a.kind.role != Role::Update)
      continue;
    if (at >= lines.size()) return "output " + std::string(a.name) + " is not printed";
    std::smatch m;
    const std::string& header = lines[at++];
    const std::string elem = tarnx::elem_name(a.kind.elem);
    if (a.kind.shape == Shape::Scalar) {
      if (!std::regex_match(header, m, scalar) || m[1].str() != a.name || m[2] != elem)
        return "expected scalar " + std::string(a.name) + " of " + elem + ", got '" + header + "'";
      continue;
    }
    array_outputs = true;
    const bool is_matrix = a.kind.shape == Shape::Matrix;
    if (!std::regex_match(header, m, is_matrix ? matrix : vector) || m[1].str() != a.name || m[2] != elem)
      return "expected " + std::string(is_matrix ? "matrix " : "vector ") + std::string(a.name) + " of " +
             elem + ", got '" + header + "'";
    const long rows = std::stol(m[3]);
    const long cols = is_matrix ? std::stol(m[4]) : rows;
    const std::string shape = is_matrix ? std::to_string(rows) + "x" + std::to_string(cols)
                                        : std::to_string(rows);
    if (!plan.expected[i].empty() && plan.expected[i] != shape)
      return std::string(a.name) + " is " + shape + ", expected " + plan.expected[i];
    any_filled = any_filled || rows * cols > 0;
    const long printed_rows = rows * cols == 0 ? 0 : is_matrix ? rows : 1;
    for (long r = 0; r < printed_rows; ++r) {
      if (at >= lines.size()) return std::string(a.name) + " has fewer rows printed than " + shape;
      std::istringstream row(lines[at++]);
      long values = 0;
      for (std::string v; row >> v;) ++values;
      if (values != (is_matrix ? cols : rows))
        return std::string(a.name) + " row " + std::to_string(r + 1) + " has " + std::to_string(values) +
               " values for " + shape;
    }
  }
  if (at != lines.size()) return "unexpected line '" + lines[at] + "'";
  if (array_outputs && !any_filled) return "every array output came back empty";
  return "";
}

struct Results {
  std::vector<Plan> plans;
  std::vector<cli_test::Outcome> outcomes;
};

// All calls run once, several at a time, the first time any test asks.
const Results& results() {
  static const Results r = [] {
    Results all;
    std::vector<std::vector<std::string>> commands;
    for (const ExportInfo& e : tarnx::export_table()) {
      all.plans.push_back(plan_for(e));
      commands.push_back(all.plans.back().problem.empty() ? all.plans.back().command
                                                          : std::vector<std::string>{"help"});
    }
    all.outcomes = cli_test::run_all(commands, 6);
    return all;
  }();
  return r;
}

class EveryExport : public ::testing::TestWithParam<std::size_t> {};

TEST_P(EveryExport, SucceedsOnSmallValidInput) {
  const ExportInfo& e = tarnx::export_table()[GetParam()];
  const Plan& plan = results().plans[GetParam()];
  ASSERT_TRUE(plan.problem.empty()) << e.name << ": " << plan.problem << " (fix its override line)";
  const cli_test::Outcome& o = results().outcomes[GetParam()];
  const std::string context = shell_line(plan.command) + "\n" + o.out + o.err;
  ASSERT_EQ(o.signal, 0) << e.name << " crashed tarnx (signal " << o.signal << ")\n" << context;
  ASSERT_EQ(o.exit_code, 0) << e.name << " has no working default input; add or fix its override line.\n"
                            << context;
  const auto lines = cli_test::lines_of(o.out);
  ASSERT_FALSE(lines.empty()) << context;
  const std::regex status(R"(status (\d+): .+)");
  EXPECT_TRUE(std::regex_match(lines[0], status)) << context;
  const std::string wrong = check_outputs(e, plan, lines);
  EXPECT_EQ(wrong, "") << context;
}

std::vector<std::size_t> all_exports() {
  std::vector<std::size_t> v(tarnx::export_table().size());
  for (std::size_t i = 0; i < v.size(); ++i) v[i] = i;
  return v;
}

INSTANTIATE_TEST_SUITE_P(Table, EveryExport, ::testing::ValuesIn(all_exports()),
                         [](const ::testing::TestParamInfo<std::size_t>& info) {
                           return std::string(tarnx::export_table()[info.param].name);
                         });

}  // namespace
