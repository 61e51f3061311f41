// Every export, with a valid input, made to meet a failing host resize at
// each resize it asks for in turn: the status is a known code, the contract
// around the outputs holds, and nothing leaks or crashes.
#include <cstdio>

#include "support/export_calls.hpp"

namespace {

using namespace test;

TEST(FailureSweep, EveryResizeOfEveryExportFailsCleanly) {
  int exports = 0, runs = 0;
  for (const tarnx::ExportInfo& info : tarnx::export_table()) {
    int64_t resizes;
    {
      Host host;
      PreparedCall call(info, host);
      ASSERT_NE(call.address(), nullptr) << info.name;
      const int64_t before = ZwrtResizeCount();
      const int32_t status = call.call();
      resizes = ZwrtResizeCount() - before;
      EXPECT_TRUE(known_status(status)) << info.name << " " << status;
      EXPECT_EQ(call.broken_promise(status), "");
      if (status < 0) ADD_FAILURE() << info.name << " refuses the sweep's valid input: " << status;
    }
    ++exports;
    for (int64_t k = 1; k <= resizes; ++k) {
      Host host;
      PreparedCall call(info, host);
      const int64_t bytes_before = ZwrtLiveBytes();
      int32_t status;
      {
        FailNthResize fail(k);
        status = call.call();
      }
      ++runs;
      EXPECT_TRUE(known_status(status)) << info.name << " resize " << k << ": " << status;
      EXPECT_EQ(call.broken_promise(status), "") << "resize " << k;
      // A failure may only shrink what the caller's handles hold.
      if (status < 0) {
        EXPECT_LE(ZwrtLiveBytes(), bytes_before) << info.name << " resize " << k;
      }
    }
  }
  std::printf("swept %d exports, %d failing resizes\n", exports, runs);
  EXPECT_GT(runs, 0);
}

}  // namespace
