// The library's dynamic symbol table against the export table, and the rule
// that the library reaches BLAS and LAPACK only through its core module.
#include <dlfcn.h>

#include <set>
#include <sstream>
#include <string>

#include "tools/export_table.hpp"
#include "support/process.hpp"
#include <gtest/gtest.h>

namespace {

using namespace test;

const std::string kLibrary = std::string(TARNX_LIB_DIR) + "/TARNX_LINALG.so";

std::set<std::string> dynamic_exports() {
  auto r = run_process("nm -D --defined-only " + quote(kLibrary));
  std::set<std::string> names;
  std::istringstream in(r.output);
  std::string addr, type, name;
  while (in >> addr >> type >> name)
    if (type == "T" || type == "W" || type == "i") names.insert(name);
  return names;
}

// Every export the host may call, written out here rather than read from the
// library, so that a family lost from the build fails instead of shrinking
// both sides of the comparison.
std::set<std::string> the_export_set() {
  std::set<std::string> names = {"SetZWRTModule", "SetZWRTTLSIndex", "SetZWRTModuleHook",
                                 "SetZWRTTLSIndexHook"};
  for (const char* op :
       {"MtrxMulH", "MtrxVecMulH", "VecMtrxMulH", "DotProdH", "OuterProdH", "KronProdH", "TransposeH",
        "TraceH", "MeanH", "RMSH", "VectorNormH", "MtrxNormH", "SpecialMtrxH", "CholeskyH", "LUH", "QRH",
        "SVDH", "SchurH", "EigenVH", "GenEigenVH", "QZH", "DeterminantH", "CondNumberH", "RankH",
        "InvMtrxH", "PseudoInvMtrxH", "LinEqH", "LinEqSetH", "LSEqH", "LSEqSetH", "MtrxExpH",
        "MtrxSqrtH", "MtrxPowH", "MtrxLnH"})
    for (char t : {'s', 'd', 'c', 'z'}) names.insert(t + std::string(op));
  for (const char* name : {"sSymEigenVH", "dSymEigenVH", "cHermEigenVH", "zHermEigenVH", "sLinearFitH",
                           "dLinearFitH"})
    names.insert(name);
  for (char t : {'s', 'd', 'c', 'z'}) {
    for (const char* op : {"gemm", "gemv", "symm", "trmm", "trmv"}) names.insert("zwblas_" + (t + std::string(op)));
    // The core has a symmetric matrix-vector product for real types only,
    // and Hermitian ones for complex types only.
    if (t == 's' || t == 'd') names.insert("zwblas_" + (t + std::string("symv")));
    if (t == 'c' || t == 'z')
      for (const char* op : {"hemm", "hemv"}) names.insert("zwblas_" + (t + std::string(op)));
  }
  return names;
}

TEST(Exports, DynamicSymbolsAreExactlyTheExportSet) {
  const std::set<std::string> expected = the_export_set();
  EXPECT_EQ(expected.size(), 172u);
  EXPECT_EQ(dynamic_exports(), expected);
  std::set<std::string> table = {"SetZWRTModule", "SetZWRTTLSIndex", "SetZWRTModuleHook", "SetZWRTTLSIndexHook"};
  for (const auto& e : tarnx::export_table()) EXPECT_TRUE(table.insert(std::string(e.name)).second) << e.name;
  EXPECT_EQ(table, expected) << "the export table the tools use lists every export once";
}

TEST(Exports, NoBlasOrLapackLinkedIn) {
  auto r = run_process("ldd " + quote(kLibrary));
  EXPECT_EQ(r.exit_code, 0) << r.output;
  for (const char* lib : {"blas", "lapack", "iomp", "gomp", "tarnx_core"})
    EXPECT_EQ(r.output.find(lib), std::string::npos) << lib << " in\n" << r.output;
}

}  // namespace
