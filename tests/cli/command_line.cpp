// What a person sees: bad input refused with one line and exit code 2,
// failed calls with their status meaning and exit code 1, and the input and
// output formats read and written as documented.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/run_tarnx.hpp"
#include "tools/export_table.hpp"
#include "include/tarnx_linalg.h"

namespace {

using cli_test::lines_of;
using cli_test::run_tarnx;
using cli_test::temp_file;

struct BadCase {
  const char* what;
  std::vector<std::string> args;
  std::string says;  // part of the one line on standard error
  std::string input = "";
};

void PrintTo(const BadCase& c, std::ostream* os) { *os << c.what; }

class BadInput : public ::testing::TestWithParam<BadCase> {};

TEST_P(BadInput, OneLineOnStderrAndExitCode2) {
  const BadCase& c = GetParam();
  const auto o = run_tarnx(c.args, c.input);
  EXPECT_EQ(o.exit_code, 2) << o.out << o.err;
  EXPECT_EQ(o.out, "");
  const auto lines = lines_of(o.err);
  ASSERT_EQ(lines.size(), 1u) << o.err;
  EXPECT_EQ(lines[0].rfind("tarnx: ", 0), 0u) << lines[0];
  EXPECT_NE(lines[0].find(c.says), std::string::npos) << lines[0];
}

std::vector<BadCase> bad_cases() {
  const std::string ragged = temp_file("ragged.txt", "1 2\n3 4\n\n5\n");
  const std::string header = temp_file("header.mtx", "%%MatrixMarket matrix array real\n2 2\n1\n2\n3\n4\n");
  const std::string short_mtx = temp_file("short.mtx", "%%MatrixMarket matrix array real general\n2 2\n1\n2\n3\n");
  const std::string outside =
      temp_file("outside.mtx", "%%MatrixMarket matrix coordinate real general\n2 2 1\n3 1 5\n");
  const std::string bad_number = temp_file("number.txt", "1 2\n# comment\n3 4..5\n");
  // A shared object that loads but is not the library: the host stand-in.
  const std::string not_library = cli_test::built_module("zwrt");
  return {
      {"unknown export", {"call", "dNoSuchH", "[1]"}, "unknown export 'dNoSuchH'"},
      {"export in the wrong case", {"call", "dmtrxmulh"}, "did you mean 'dMtrxMulH'"},
      {"too few arguments", {"call", "dMtrxMulH", "[1 2; 3 4]"}, "takes 2 inputs (A B), got 1"},
      {"too many arguments", {"call", "dMtrxMulH", "[1]", "[2]", "[3]"}, "takes 2 inputs (A B), got 3"},
      {"ragged text file", {"call", "dMtrxMulH", ragged, "[1]"}, "line 4: 1 value where line 1 has 2"},
      {"ragged inline value", {"call", "dMtrxMulH", "[1 2; 3]", "[1]"}, "row 2: 1 value where row 1 has 2"},
      {"Matrix Market header", {"call", "dMtrxMulH", header, "[1]"}, "header.mtx' line 1"},
      {"Matrix Market too short", {"call", "dMtrxMulH", short_mtx, "[1]"}, "expected 4 numbers, found 3"},
      {"Matrix Market index", {"call", "dMtrxMulH", outside, "[1]"}, "line 3: entry (3, 1) is outside"},
      {"number in a file", {"call", "dMtrxMulH", bad_number, "[1]"}, "number.txt' line 3: '4..5' is not a number"},
      {"number inline", {"call", "sMtrxMulH", "[1 2]", "[3; x]"}, "argument B: inline value row 2: 'x'"},
      {"number on standard input", {"call", "dMtrxVecMulH", "[1 2]", "-"}, "standard input line 2: '2.5e' is not a number",
       "1\n2.5e\n"},
      {"scalar", {"call", "dDotProdH", "[1]", "[2]", "result=one"}, "'one' is not a number"},
      {"out of range", {"call", "sMtrxMulH", "[1e39]", "[1]"}, "'1e39' is out of range for float32"},
      {"complex for a real export", {"call", "dMtrxMulH", "[1 2i]", "[1; 2]"}, "'2i' is complex"},
      {"matrix for a vector", {"call", "dDotProdH", "[1 2; 3 4]", "[1 2]"}, "argument x: expects a vector"},
      {"missing file", {"call", "dMtrxMulH", "/nonexistent/a.txt", "[1]"}, "cannot read file"},
      {"unclosed bracket", {"call", "dMtrxMulH", "[1 2", "[1]"}, "no closing ']'"},
      {"standard input twice", {"call", "dMtrxMulH", "-", "-"}, "can feed only one argument", "1\n"},
      {"value for an output", {"call", "dMtrxMulH", "[1]", "[1]", "C=[1]"}, "C is an output"},
      {"unknown command", {"frobnicate"}, "unknown command 'frobnicate'"},
      {"library missing", {"--lib", "/nonexistent/TARNX_LINALG.so", "call", "dMtrxMulH", "[1]", "[1]"},
       "cannot load the library"},
      {"library missing for list", {"--lib", "/nonexistent/TARNX_LINALG.so", "list"}, "cannot load the library"},
      {"library missing for help", {"--lib", "/nonexistent/TARNX_LINALG.so", "help"}, "cannot load the library"},
      {"library missing for version", {"--lib", "/nonexistent/TARNX_LINALG.so", "--version"},
       "cannot load the library"},
      {"not the library", {"--lib", not_library, "call", "dMtrxMulH", "[1]", "[1]"},
       "is not TARNX_LINALG: it has none of its exports"},
      {"not the library for list", {"--lib", not_library, "list"}, "is not TARNX_LINALG"},
      {"help on an unknown export", {"help", "dNoSuchH"}, "unknown export 'dNoSuchH'"},
      {"a selector without a default", {"call", "dSpecialMtrxH"}, "takes 4 inputs"},
  };
}

INSTANTIATE_TEST_SUITE_P(Cases, BadInput, ::testing::ValuesIn(bad_cases()),
                         [](const ::testing::TestParamInfo<BadCase>& info) {
                           std::string name = info.param.what;
                           for (char& ch : name)
                             if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
                           return name;
                         });

TEST(CommandLine, FailedCallPrintsItsMeaningAndExitsWith1) {
  const auto o = run_tarnx({"call", "dMtrxMulH", "[1 2 3]", "[1 2]"});
  EXPECT_EQ(o.exit_code, 1);
  EXPECT_EQ(o.out, "status -20039: inner dimensions disagree\nC: float64 matrix, 0 x 0\n");
  // A failed scalar result holds the failure NaN, shown as such.
  const auto d = run_tarnx({"call", "sDotProdH", "[1 2]", "[1]"});
  EXPECT_EQ(d.exit_code, 1);
  EXPECT_EQ(d.out, "status -20002: sizes do not match\nresult: float32 = nan\n");
}

TEST(CommandLine, ComplexProductMatchesHandComputedValues) {
  // (1+2i)(3-1i) + (-0.5i)(2) = 5+5i - 1i = 5+4i; the second column by hand too.
  const auto o = run_tarnx({"call", "zMtrxMulH", "[1+2i -0.5i]", "[3-1i 0; 2 1e-3+i]"});
  ASSERT_EQ(o.exit_code, 0) << o.err;
  EXPECT_EQ(o.out, "status 0: success\nC: complex128 matrix, 1 x 2\n  5+4i  0.5-0.0005i\n");
}

TEST(CommandLine, PrintsValuesThatReadBackExactly) {
  // 0.1 and 1/3 are printed with just the digits that give back the same bits.
  const auto o = run_tarnx({"call", "dMtrxMulH", "[0.1 0x1.5555555555555p-2]", "[1 0; 0 1]"});
  ASSERT_EQ(o.exit_code, 0) << o.err;
  EXPECT_EQ(lines_of(o.out).at(2), "  0.1  0.3333333333333333");
  const auto s = run_tarnx({"call", "--digits", "3", "sMtrxMulH", "[0.1 0.333333]", "[1 0; 0 1]"});
  EXPECT_EQ(lines_of(s.out).at(2), "  0.1  0.333");
}

TEST(CommandLine, ReadsMatrixMarketSymmetricAndHermitian) {
  const std::string sym = temp_file("sym.mtx",
                                    "%%MatrixMarket matrix coordinate real symmetric\n% lower triangle\n"
                                    "3 3 3\n1 1 2\n3 1 -1\n2 2 4\n");
  const auto o = run_tarnx({"call", "dMtrxMulH", sym, "[1 0 0; 0 1 0; 0 0 1]"});
  ASSERT_EQ(o.exit_code, 0) << o.err;
  EXPECT_EQ(o.out, "status 0: success\nC: float64 matrix, 3 x 3\n   2  0  -1\n   0  4   0\n  -1  0   0\n");
  const std::string herm = temp_file("herm.mtx",
                                     "%%MatrixMarket matrix array complex hermitian\n2 2\n1 0\n2 3\n5 0\n");
  const auto h = run_tarnx({"call", "cMtrxMulH", herm, "[1 0; 0 1]"});
  ASSERT_EQ(h.exit_code, 0) << h.err;
  EXPECT_EQ(h.out, "status 0: success\nC: complex64 matrix, 2 x 2\n  1+0i  2-3i\n  2+3i  5+0i\n");
}

TEST(CommandLine, OutputFilesReadBackAsInputs) {
  const std::string mtx = temp_file("c.mtx", "");
  const std::string txt = temp_file("c.txt", "");
  const auto o = run_tarnx({"call", "-o", mtx, "zOuterProdH", "[1-2i 0.25]", "[3 -1i]"});
  ASSERT_EQ(o.exit_code, 0) << o.err;
  EXPECT_EQ(o.out, "status 0: success\nC: complex128 matrix, 2 x 2 -> " + mtx + "\n");
  const auto again = run_tarnx({"call", "-o", "C=" + txt, "zMtrxMulH", mtx, "[1 0; 0 1]"});
  ASSERT_EQ(again.exit_code, 0) << again.err;
  const auto text = run_tarnx({"call", "zMtrxMulH", txt, "[1 0; 0 1]"});
  EXPECT_EQ(text.out, "status 0: success\nC: complex128 matrix, 2 x 2\n     3-6i    -2-1i\n  0.75+0i  0-0.25i\n");
}

TEST(CommandLine, ReadsStandardInput) {
  const auto o = run_tarnx({"call", "dMtrxVecMulH", "[1 2; 3 4]", "-"}, "# x\n1\n-1\n");
  ASSERT_EQ(o.exit_code, 0) << o.err;
  EXPECT_EQ(o.out, "status 0: success\ny: float64 vector, length 2\n  -1  -1\n");
}

TEST(CommandLine, ListShowsEveryExportOfTheTable) {
  const auto o = run_tarnx({"list"});
  ASSERT_EQ(o.exit_code, 0) << o.err;
  const auto lines = lines_of(o.out);
  ASSERT_EQ(lines.size(), tarnx::export_table().size());
  for (std::size_t i = 0; i < lines.size(); ++i)
    EXPECT_EQ(lines[i].rfind(std::string(tarnx::export_table()[i].name) + "(", 0), 0u) << lines[i];
  const auto dot = run_tarnx({"list", "ddotprod"});
  EXPECT_EQ(dot.out,
            "dDotProdH(x: in float64 vector, y: in float64 vector, result: result float64)\n");
}

TEST(CommandLine, DemoRunsEveryStepOrSaysWhyNot) {
  const auto o = run_tarnx({});
  ASSERT_EQ(o.exit_code, 0) << o.err;
  EXPECT_EQ(o.err, "");
  // Each step either ran (and printed its status) or its export is not
  // there yet; a step whose arguments do not fit its export is a fault.
  for (const char* name : {"dMtrxMulH", "dLinEqH", "dInvMtrxH", "dEigenVH", "dMtrxExpH", "dLinearFitH"}) {
    const std::size_t at = o.out.find(std::string("[") + name + "]");
    ASSERT_NE(at, std::string::npos) << name;
    const std::string step = o.out.substr(at, o.out.find("\n\n", at) - at);
    const bool ran = step.find("    status ") != std::string::npos;
    const bool absent = step.find(std::string("skipped: ") + name + " is not in") != std::string::npos;
    EXPECT_TRUE(ran != absent) << step;
  }
  EXPECT_NE(o.out.find("C: float64 matrix, 2 x 2\n      19  22\n      43  50\n"), std::string::npos) << o.out;
}

TEST(CommandLine, EveryNaNPrintsTheSameWay) {
  // A transpose copies the bits, so both NaN signs reach the output.
  const auto o = run_tarnx({"call", "dTransposeH", "[-nan nan]"});
  ASSERT_EQ(o.exit_code, 0) << o.err;
  EXPECT_EQ(o.out, "status 0: success\nB: float64 matrix, 2 x 1\n  nan\n  nan\n");
  const auto z = run_tarnx({"call", "zTransposeH", "[-nan-nani]"});
  EXPECT_EQ(lines_of(z.out).at(2), "  nan+nani");
}

TEST(CommandLine, DigitsApplyToOutputFiles) {
  const std::string txt = temp_file("digits.txt", "");
  const std::string mtx = temp_file("digits.mtx", "");
  const auto o = run_tarnx({"call", "--digits", "3", "-o", txt, "dMtrxMulH", "[0.1 0.333333]", "[1 0; 0 1]"});
  ASSERT_EQ(o.exit_code, 0) << o.err;
  const auto m = run_tarnx({"call", "--digits", "3", "-o", mtx, "dMtrxMulH", "[0.1 0.333333]", "[1 0; 0 1]"});
  ASSERT_EQ(m.exit_code, 0) << m.err;
  auto read = [](const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  };
  EXPECT_EQ(read(txt), "0.1  0.333\n");
  EXPECT_EQ(read(mtx), "%%MatrixMarket matrix array real general\n1 2\n0.1\n0.333\n");
}

TEST(CommandLine, NullScratchStatusNamesTheHandle) {
  const auto o = run_tarnx({"call", "dLinEqH", "[4 1; 1 3]", "[1 2]", "0", "pivots=null"});
  EXPECT_EQ(o.exit_code, 1) << o.err;
  EXPECT_EQ(lines_of(o.out).at(0), "status -20999: internal error: scratch handle pivots was null");
}

TEST(CommandLine, TrailingSelectorsTakeTheirDefault) {
  // matrixType left out is 0, a general matrix: the same solution as given.
  const auto o = run_tarnx({"call", "dLinEqH", "[4 -2 1; -2 4 -2; 1 -2 4]", "[11 -16 17]"});
  ASSERT_EQ(o.exit_code, 0) << o.err;
  EXPECT_EQ(o.out, "status 0: success\nX: float64 vector, length 3\n  1  -2  3\n");
  // QR's pivoting and mode both left out: no pivoting, full Q.
  const auto q = run_tarnx({"call", "dQRH", "[3 0; 4 5]"});
  ASSERT_EQ(q.exit_code, 0) << q.err;
  EXPECT_NE(q.out.find("Q: float64 matrix, 2 x 2"), std::string::npos) << q.out;
  EXPECT_NE(q.out.find("P: int32 matrix, 0 x 0"), std::string::npos) << q.out;
  const auto list = run_tarnx({"list", "dLinEqH"});
  EXPECT_NE(list.out.find("matrixType: value int32 = 0,"), std::string::npos) << list.out;
}

TEST(CommandLine, HelpDescribesArgumentsAndStatuses) {
  const auto o = run_tarnx({"help", "zLinEqH"});
  ASSERT_EQ(o.exit_code, 0) << o.err;
  for (const char* part : {"matrixType: value int32 - scalar by value\n",
                           "0 general (LU), 1 symmetric/Hermitian positive definite",
                           "default 0 when left out", "pivots: scratch int32 vector - workspace",
                           "statuses:\n  0: success\n  -20003: empty input\n", "-20041: matrix singular\n",
                           "-20071: not positive definite\n"})
    EXPECT_NE(o.out.find(part), std::string::npos) << part << "\n" << o.out;
  // Every export has its statuses listed.
  for (const tarnx::ExportInfo& e : tarnx::export_table()) {
    if (e.name.starts_with("SetZWRT")) continue;
    const auto h = run_tarnx({"help", std::string(e.name)});
    EXPECT_NE(h.out.find("statuses:"), std::string::npos) << e.name;
  }
}

TEST(CommandLine, VersionNamesLibraryAndCore) {
  const auto o = run_tarnx({"--version"});
  ASSERT_EQ(o.exit_code, 0) << o.err;
  const auto lines = lines_of(o.out);
  ASSERT_GE(lines.size(), 3u) << o.out;
  EXPECT_EQ(lines[0], "tarnx " TARNX_LINALG_VERSION_STRING);
  // The shared object carries its version in a note; a DLL has none, and says so.
  const std::string recorded = std::string(cli_test::kModuleSuffix) == ".so" ? TARNX_LINALG_VERSION_STRING : "(no version recorded)";
  EXPECT_EQ(lines[1].rfind("library " + recorded + "  ", 0), 0u) << lines[1];
  EXPECT_TRUE(lines[1].ends_with(std::string("TARNX_LINALG") + cli_test::kModuleSuffix)) << lines[1];
  EXPECT_EQ(lines[2].rfind("core    ", 0), 0u) << lines[2];
  EXPECT_TRUE(lines[2].ends_with(std::string("tarnx_core_140000") + cli_test::kModuleSuffix)) << lines[2];
}

}  // namespace
