// Start-up and unload, each in a fresh process: where the numerical core is
// looked for, and what happens to the OpenMP duplicate-runtime variable.
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "support/process.hpp"
#include <gtest/gtest.h>

namespace {

using namespace test;
namespace fs = std::filesystem;

const fs::path kBuilt = TARNX_LIB_DIR;

class ModuleLoad : public ::testing::Test {
 protected:
  fs::path root;
  void SetUp() override {
    root = fs::temp_directory_path() / ("tarnx_load_" + std::to_string(getpid()) + "_" +
                                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(root);
    fs::create_directories(root);
  }
  void TearDown() override { fs::remove_all(root); }

  // A directory holding the core and its OpenMP runtime.
  fs::path core_dir(const fs::path& dir) {
    fs::create_directories(dir);
    fs::copy_file(kBuilt / "tarnx_core_140000.so", dir / "tarnx_core_140000.so");
    fs::create_symlink(fs::canonical(kBuilt / "libiomp5.so"), dir / "libiomp5.so");
    return dir;
  }
  // A copy of the library alone in a directory, so the sibling search finds no core.
  fs::path lone_library() {
    fs::create_directories(root / "lib");
    fs::copy_file(kBuilt / "TARNX_LINALG.so", root / "lib" / "TARNX_LINALG.so");
    return root / "lib" / "TARNX_LINALG.so";
  }
  fs::path registry(const std::string& text) {
    std::ofstream(root / "registry") << text;
    return root / "registry";
  }
  ProcessResult load(const fs::path& lib, const std::string& env) {
    return run_process("env -u KMP_DUPLICATE_LIB_OK TARNX_REGISTRY_FILE=" + quote((root / "registry").string()) +
                       " " + env + " " + quote(TARNX_HOST_PROBE) + " load " + quote(lib.string()));
  }
};

constexpr const char* kKey1 = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Zanwell\\Kipset Package\\Tarnex]\n";
constexpr const char* kKey2 = "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Velmora\\Zanwell\\14.0\\AddOns\\Tarnex]\n";

TEST_F(ModuleLoad, CoreBesideTheLibraryNeedsNoConfiguration) {
  auto r = load(kBuilt / "TARNX_LINALG.so", "");
  EXPECT_EQ(r.values()["status"], "0") << r.output;
  EXPECT_EQ(r.values()["c00"], "4") << r.output;
}

TEST_F(ModuleLoad, FirstRegistryValueWithItsVersionFolder) {
  core_dir(root / "kipset" / "14.0.1");
  registry(std::string(kKey1) + "RunTimeDIR64=" + (root / "kipset").string() + "\n");
  auto r = load(lone_library(), "");
  EXPECT_EQ(r.values()["status"], "0") << r.output;
}

TEST_F(ModuleLoad, SecondRegistryValueWhenTheFirstHoldsNoCore) {
  fs::create_directories(root / "empty" / "14.0.1");
  core_dir(root / "addons" / "14.0.0");
  registry(std::string(kKey1) + "RunTimeDIR64=" + (root / "empty").string() + "/\n" + kKey2 +
           "RunTimeDIR64=" + (root / "addons").string() + "\n");
  auto r = load(lone_library(), "");
  EXPECT_EQ(r.values()["status"], "0") << r.output;
}

TEST_F(ModuleLoad, NoCoreAnywhereSaysWhereItLookedAndFailsEveryCall) {
  fs::create_directories(root / "empty");
  registry(std::string(kKey1) + "RunTimeDIR64=" + (root / "empty").string() + "\n");
  auto r = load(lone_library(), "");
  EXPECT_EQ(r.values()["loaded"], "1") << r.output;
  EXPECT_EQ(r.values()["status"], "-20999") << r.output;
  EXPECT_NE(r.output.find((root / "lib").string() + "/"), std::string::npos) << r.output;
  EXPECT_NE(r.output.find((root / "empty").string() + "/14.0.1/"), std::string::npos) << r.output;
}

TEST_F(ModuleLoad, DuplicateRuntimeVariable) {
  registry("");
  const fs::path lib = kBuilt / "TARNX_LINALG.so";
  struct Case {
    const char* env;
    const char* during;
    const char* after;
  };
  for (Case c : {Case{"", "TRUE", "TRUE"},                        // unset: set, and kept
                 Case{"KMP_DUPLICATE_LIB_OK=false", "TRUE", "false"},  // taken back at unload
                 Case{"KMP_DUPLICATE_LIB_OK=true", "true", "true"},    // already true in any case
                 Case{"KMP_DUPLICATE_LIB_OK=12345678", "TRUE", "TRUE"}}) {  // too long to save
    auto r = load(lib, c.env);
    auto v = r.values();
    EXPECT_EQ(v["during"], c.during) << c.env << "\n" << r.output;
    EXPECT_EQ(v["after"], c.after) << c.env << "\n" << r.output;
  }
}

}  // namespace
