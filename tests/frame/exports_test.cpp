// The library's dynamic symbol table against the export table, and the rule
// that the library reaches BLAS and LAPACK only through its core module.
#include <dlfcn.h>

#include <set>
#include <sstream>
#include <string>

#include "frame/export_table.hpp"
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

TEST(Exports, DynamicSymbolsAreExactlyTheTableAndTheHostLinkage) {
  std::set<std::string> expected = {"SetZWRTModule", "SetZWRTTLSIndex", "SetZWRTModuleHook",
                                    "SetZWRTTLSIndexHook"};
  for (const auto& e : tarnx::export_table()) EXPECT_TRUE(expected.insert(std::string(e.name)).second) << e.name;
  EXPECT_EQ(dynamic_exports(), expected);
  EXPECT_GE(tarnx::export_table().size(), 24u);
}

TEST(Exports, NoBlasOrLapackLinkedIn) {
  auto r = run_process("ldd " + quote(kLibrary));
  EXPECT_EQ(r.exit_code, 0) << r.output;
  for (const char* lib : {"blas", "lapack", "iomp", "gomp", "tarnx_core"})
    EXPECT_EQ(r.output.find(lib), std::string::npos) << lib << " in\n" << r.output;
}

}  // namespace
