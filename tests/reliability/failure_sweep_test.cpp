// Every export, with a valid input, made to meet a failing host resize at
// each resize it asks for in turn: the call reports the host's full memory,
// keeps the contract around its outputs, leaves its inputs alone, and gives
// back every handle and byte. Also: a null scratch handle is refused the same
// way by every export that takes one.
#include <cstdio>

#include "frame/status.hpp"
#include "support/export_calls.hpp"

namespace {

using namespace test;
using tarnx::arg::Role;
using tarnx::arg::Shape;

constexpr int32_t kOutOfMemory = -20001;
constexpr int32_t kInternalError = -20999;

struct Baseline {
  int32_t status;
  std::vector<unsigned char> results;
  int64_t resizes;
};

Baseline run_clean(const tarnx::ExportInfo& info) {
  Host host;
  PreparedCall call(info, host);
  EXPECT_NE(call.address(), nullptr) << info.name;
  const int64_t before = ZwrtResizeCount();
  const int32_t status = call.call();
  Baseline b{status, call.snapshot(), ZwrtResizeCount() - before};
  EXPECT_TRUE(tarnx::is_known_status(status)) << info.name << " " << status;
  EXPECT_EQ(call.broken_promise(status), "");
  if (status < 0) ADD_FAILURE() << info.name << " refuses the sweep's valid input: " << status;
  return b;
}

TEST(FailureSweep, EveryResizeOfEveryExportFailsCleanly) {
  int exports = 0, runs = 0;
  for (const tarnx::ExportInfo& info : tarnx::export_table()) {
    const Baseline clean = run_clean(info);
    ++exports;
    for (int64_t k = 1; k <= clean.resizes; ++k) {
      const int64_t bytes_before = ZwrtLiveBytes();
      {
        Host host;
        PreparedCall call(info, host);
        int32_t status;
        {
          FailNthResize fail(k);
          status = call.call();
        }
        ++runs;
        const std::string where = std::string(info.name) + " resize " + std::to_string(k);
        if (status < 0) {
          EXPECT_EQ(status, kOutOfMemory) << where;
        } else {
          // Only a resize whose result the call may ignore (emptying a
          // handle) can fail without failing the call, and then the results
          // are those of the clean call.
          EXPECT_EQ(status, clean.status) << where;
          EXPECT_TRUE(call.snapshot() == clean.results) << where << ": results differ from the clean call";
        }
        EXPECT_EQ(call.broken_promise(status), "") << where;
      }
      EXPECT_EQ(ZwrtLiveBytes(), bytes_before) << info.name << " resize " << k << ": host bytes leaked";
    }
  }
  std::printf("swept %d exports, %d failing resizes\n", exports, runs);
  EXPECT_GT(runs, 0);
}

TEST(FailureSweep, NullNeededScratchHandleIsAnInternalError) {
  int refused = 0, unneeded = 0;
  for (const tarnx::ExportInfo& info : tarnx::export_table()) {
    bool has_scratch = false;
    for (const auto& a : info.args)
      has_scratch |= a.kind.role == Role::Scratch || a.kind.role == Role::PathScratch;
    if (!has_scratch) continue;
    const Baseline clean = run_clean(info);
    for (std::size_t i = 0; i < info.args.size(); ++i) {
      if (info.args[i].kind.role != Role::Scratch && info.args[i].kind.role != Role::PathScratch) continue;
      Host host;
      PreparedCall call(info, host);
      call.slots()[i].handle = nullptr;
      const int32_t status = call.call();
      const std::string where = std::string(info.name) + " without " + std::string(info.args[i].name);
      if (status < 0) {
        EXPECT_EQ(status, kInternalError) << where;
        ++refused;
      } else {
        // A scratch handle that this path does not use (the real workspace
        // of a real variant, the sort's integers when nothing is sorted) may
        // be missing; the results are then those of the full call.
        EXPECT_EQ(status, clean.status) << where;
        EXPECT_TRUE(call.snapshot() == clean.results) << where << ": results differ from the clean call";
        ++unneeded;
      }
      EXPECT_EQ(call.broken_promise(status), "") << where;
    }
  }
  std::printf("null scratch handles: %d refused, %d not needed by the call\n", refused, unneeded);
  EXPECT_GT(refused, 0);
}

}  // namespace
