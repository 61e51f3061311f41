// How the library finds its host's run-time functions: the search order over
// the modules of the process, re-resolution when the host changes, and the
// fatal exits when there is none. A thread's own slot is the concurrency
// test's, which runs the threads side by side.
#include <cstdlib>
#include <filesystem>

#include "support/host.hpp"
#include "support/process.hpp"
#include "support/test_os.hpp"

namespace {

using namespace test;
namespace fs = std::filesystem;

// A second host runtime loaded beside zwrt.so; it counts the resizes it serves.
struct FakeHost {
  void* module = os::open_library(TARNX_FAKE_HOST);
  using NewHandle = void** (*)(std::size_t);
  using Count = long (*)();
  NewHandle new_handle = reinterpret_cast<NewHandle>(os::symbol(module, "AZNewHandle"));
  Count count = reinterpret_cast<Count>(os::symbol(module, "FakeHostResizeCount"));
  // Output handles that this host can resize, given back at the end.
  std::vector<void**> made;
  ZwArrayHandle output() {
    made.push_back(new_handle(8));
    return reinterpret_cast<ZwArrayHandle>(made.back());
  }
  ~FakeHost() {
    for (void** h : made) {
      std::free(*h);
      std::free(h);
    }
  }
};

// One product whose output needs a resize; says which host served it.
struct Served {
  long fake, zwrt;
};
Served product_served(FakeHost& fake, ZwArrayHandle out) {
  Host host;
  const long fake_before = fake.count();
  const int64_t zwrt_before = ZwrtResizeCount();
  dims(out)[0] = 0;
  dims(out)[1] = 0;
  EXPECT_EQ(dMtrxMulH(host.matrix<double>(1, 1, {2}), host.matrix<double>(1, 1, {3}), out), 0);
  EXPECT_EQ(matrix_data<double>(out)[0], 6);
  return {fake.count() - fake_before, static_cast<long>(ZwrtResizeCount() - zwrt_before)};
}

TEST(HostLink, RuntimeModuleOverridesTheSearchAndIsResolvedAgainOnChange) {
  FakeHost fake;
  ASSERT_NE(fake.module, nullptr);
  ZwArrayHandle out = fake.output();
  SetZWRTModule(fake.module);
  Served s = product_served(fake, out);
  EXPECT_EQ(s.fake, 1);
  EXPECT_EQ(s.zwrt, 0);
  SetZWRTModule(nullptr);  // back to the search, which finds zwrt.so
  Host host;
  ZwArrayHandle z = host.empty();
  const int64_t before = ZwrtResizeCount();
  EXPECT_EQ(dMtrxMulH(host.matrix<double>(1, 1, {2}), host.matrix<double>(1, 1, {3}), z), 0);
  EXPECT_EQ(ZwrtResizeCount() - before, 1);
}

std::string library() { return std::string(TARNX_LIB_DIR) + "/" + os::kLibraryFile; }

TEST(HostLinkProcess, MainProgramExportingTheHostWinsOverZwrt) {
  auto r = run_process(quote(TARNX_HOST_PROBE) + " main " + quote(library()) + " " +
                       quote(std::string(TARNX_LIB_DIR) + "/zwrt" + os::kModuleSuffix));
  auto v = r.values();
  EXPECT_EQ(v["status"], "0") << r.output;
  EXPECT_EQ(v["main_resizes"], "1") << r.output;
  EXPECT_EQ(v["zwrt_resizes"], "0") << r.output;
}

TEST(HostLinkProcess, ZwffrtIsTheLastResort) {
  auto r = run_process(quote(TARNX_PROBE) + " zwffrt " + quote(library()) + " " +
                       quote(fs::path(TARNX_FAKE_HOST).parent_path().string()));
  auto v = r.values();
  EXPECT_EQ(v["status"], "0") << r.output;
  EXPECT_EQ(v["zwffrt_resizes"], "1") << r.output;
}

// Runs the probe in `mode`, which must end the process with exit code 1 and
// the fatal `message`, never returning from the call.
void expect_fatal(const char* mode, const std::string& message) {
  auto r = run_process(quote(TARNX_PROBE) + " " + mode + " " + quote(library()));
  EXPECT_EQ(r.exit_code, 1);
  EXPECT_NE(r.output.find("Fatal Error: ZANWELLV.LIB " + message + "\n"), std::string::npos) << r.output;
  EXPECT_EQ(r.output.find("status="), std::string::npos) << "the call must not return";
}

TEST(HostLinkProcess, NoHostEndsTheProcessWithItsMessage) {
  expect_fatal("nohost", "was not called from a Zanwell process.");
}

TEST(HostLinkProcess, HostWithoutTheFunctionNamesIt) {
  expect_fatal("missing", "could not locate \"NumericArrayResize\".");
}

}  // namespace
