// Many threads calling every export at once, each with its own handles, get
// bit for bit what one thread gets; threads that the host serves from
// different run-time modules each reach their own module.
#include <atomic>
#include <cstdio>
#include <iterator>
#include <thread>

#include "support/export_calls.hpp"
#include "support/test_os.hpp"

namespace {

using namespace test;

constexpr int kThreads = 8;
constexpr int kRounds = 3;

// Threads of one size share code paths; threads of different sizes run the
// blocked and unblocked paths of the core side by side.
constexpr int kSizes[] = {1, 4, 7};

TEST(Concurrency, EveryExportFromManyThreadsMatchesOneThread) {
  const auto table = tarnx::export_table();
  std::vector<std::vector<unsigned char>> expected[std::size(kSizes)];
  std::vector<int32_t> expected_status[std::size(kSizes)];
  {
    Host host;
    for (std::size_t s = 0; s < std::size(kSizes); ++s)
      for (const auto& info : table) {
        PreparedCall call(info, host, kSizes[s]);
        expected_status[s].push_back(call.call());
        expected[s].push_back(call.snapshot());
      }
  }
  const int64_t handles_before = ZwrtLiveHandles();
  const int64_t bytes_before = ZwrtLiveBytes();
  std::atomic<int> mismatches{0}, calls{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      Host host(false);
      const std::size_t s = t % std::size(kSizes);
      for (int round = 0; round < kRounds; ++round)
        for (std::size_t k = 0; k < table.size(); ++k) {
          // Each thread walks the table from its own starting point, so
          // different exports run side by side.
          const std::size_t i = (k + t * 7) % table.size();
          PreparedCall call(table[i], host, kSizes[s]);
          const int32_t status = call.call();
          ++calls;
          if (status != expected_status[s][i] || call.snapshot() != expected[s][i]) {
            ++mismatches;
            ADD_FAILURE() << table[i].name << " differs on thread " << t;
          }
          if (const std::string why = call.broken_promise(status); !why.empty()) {
            ++mismatches;
            ADD_FAILURE() << why << " on thread " << t;
          }
        }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(mismatches.load(), 0);
  EXPECT_EQ(ZwrtLiveHandles(), handles_before);
  EXPECT_EQ(ZwrtLiveBytes(), bytes_before);
  std::printf("%d threads made %d calls of %zu exports\n", kThreads, calls.load(), table.size());
}

// Calls large enough that their copies and screens start threads of their
// own, from several host threads at once: every split is joined inside its
// call and shares nothing with another call's.
TEST(Concurrency, CallsThatSplitTheirOwnWorkMatchOneThread) {
  constexpr int kLarge = 760;
  const char* names[] = {"dLUH", "cLinEqH", "zCholeskyH"};
  std::vector<const tarnx::ExportInfo*> exports;
  std::vector<std::vector<unsigned char>> expected;
  {
    Host host;
    for (const char* name : names) {
      exports.push_back(tarnx::find_export(name));
      ASSERT_NE(exports.back(), nullptr) << name;
      PreparedCall call(*exports.back(), host, kLarge);
      call.call();
      expected.push_back(call.snapshot());
    }
  }
  std::atomic<int> mismatches{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t)
    threads.emplace_back([&, t] {
      Host host(false);
      for (std::size_t k = 0; k < exports.size(); ++k) {
        const std::size_t i = (k + t) % exports.size();
        PreparedCall call(*exports[i], host, kLarge);
        call.call();
        if (call.snapshot() != expected[i]) {
          ++mismatches;
          ADD_FAILURE() << exports[i]->name << " differs on thread " << t;
        }
      }
    });
  for (auto& th : threads) th.join();
  EXPECT_EQ(mismatches.load(), 0);
}

// Each thread registers for the release of the core's per-thread buffers on
// its first call, and runs that release as it ends: threads that start and
// end while others call are what the ThreadSanitizer build watches here.
TEST(Concurrency, ThreadsStartingAndEndingBesideCallersAreRaceFree) {
  std::atomic<bool> stop{false};
  std::atomic<int> failures{0};
  auto call_once = [&] {
    Host host(false);
    ZwArrayHandle a = host.matrix<double>(2, 2, {2, 1, 1, 3});
    ZwArrayHandle c = host.empty();
    if (dMtrxMulH(a, a, c) != 0 || matrix_data<double>(c)[0] != 5.0) ++failures;
  };
  std::thread steady([&] {
    while (!stop.load()) call_once();
  });
  for (int wave = 0; wave < 4; ++wave) {
    std::vector<std::thread> short_lived;
    for (int t = 0; t < kThreads; ++t) short_lived.emplace_back(call_once);
    for (auto& th : short_lived) th.join();
  }
  stop = true;
  steady.join();
  EXPECT_EQ(failures.load(), 0);
}

TEST(Concurrency, ThreadSlotsRouteEachThreadToItsOwnHost) {
  void* fake = os::open_library(TARNX_FAKE_HOST);
  ASSERT_NE(fake, nullptr);
  auto fake_new = reinterpret_cast<void** (*)(std::size_t)>(os::symbol(fake, "AZNewHandle"));
  auto fake_count = reinterpret_cast<long (*)()>(os::symbol(fake, "FakeHostResizeCount"));
  const uint32_t key = os::new_thread_key();
  ASSERT_NE(key, 0xFFFFFFFFu);
  SetZWRTTLSIndex(key);
  const long fake_before = fake_count();
  const int64_t zwrt_before = ZwrtResizeCount();
  constexpr int kCalls = 200;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      const bool on_fake = t % 2 == 0;
      if (on_fake) os::set_thread_value(key, fake);
      Host host(false);
      ZwArrayHandle a = host.matrix<double>(1, 1, {2});
      for (int i = 0; i < kCalls; ++i) {
        // A new output handle each time, from the host that serves this
        // thread, so every call asks that host for one resize.
        ZwArrayHandle c = on_fake ? reinterpret_cast<ZwArrayHandle>(fake_new(8)) : host.empty();
        EXPECT_EQ(dMtrxMulH(a, a, c), 0);
        EXPECT_EQ(matrix_data<double>(c)[0], 4.0);
        if (on_fake) {
          std::free(*reinterpret_cast<void**>(c));
          std::free(c);
        }
      }
    });
  for (auto& th : threads) th.join();
  SetZWRTTLSIndex(0xFFFFFFFFu);
  os::delete_thread_key(key);
  EXPECT_EQ(fake_count() - fake_before, kThreads / 2 * kCalls);
  EXPECT_EQ(ZwrtResizeCount() - zwrt_before, kThreads / 2 * kCalls);
}

}  // namespace
