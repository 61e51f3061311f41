// Google Benchmark front for the family table: every family at every size,
// the export first and the core calls it wraps right after, so both see the
// same machine state. Names read <family>/<ours|raw>/<n>. Times are CPU
// time: the core runs one thread, and on a shared machine wall time mostly
// measures the neighbours. With --wall_time (the thread-scaling runs) they
// are wall time instead, since the core's own threads' work is what is
// being scaled and no one thread's CPU clock sees it.
#include <benchmark/benchmark.h>
#include <cblas.h>

#include <time.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "bench/harness.hpp"
#include "zwrt.h"

namespace {

// The first call of the export sizes the outputs, which a host loop then
// reuses; a failing one ends the benchmark with its status.
bool first_call_succeeds(benchmark::State& state, bench::Work& work) {
  if (int32_t status = work.ours(); status < 0) {
    const std::string message = "status " + std::to_string(status);
    state.SkipWithError(message.c_str());
    return false;
  }
  return true;
}

// A copy is measured in bytes moved, n x n elements of 8 bytes a call.
void count_copied_bytes(benchmark::State& state, const bench::Case& c, int32_t n) {
  if (c.target == bench::Target::Copy)
    state.SetBytesProcessed(state.iterations() * int64_t{n} * n * 8);
}

void run_ours(benchmark::State& state, const bench::Case& c, int32_t n) {
  auto work = c.make(n);
  if (!first_call_succeeds(state, *work)) return;
  for (auto _ : state) benchmark::DoNotOptimize(work->ours());
  count_copied_bytes(state, c, n);
}

// Set once from the command line, before anything is registered.
bool wall_time = false;

// Whether the raw entry's first, untimed call is left out: the scaling
// runs' large sizes, where a call takes up to seconds, the one timed call
// is read beside the pairs, and the pairs carry the ratio.
bool skip_raw_warm_up(int32_t n) { return wall_time && n >= 1000; }

void run_raw(benchmark::State& state, const bench::Case& c, int32_t n) {
  auto work = c.make(n);
  if (!skip_raw_warm_up(n)) work->raw();
  for (auto _ : state) {
    work->raw();
    benchmark::ClobberMemory();
  }
  count_copied_bytes(state, c, n);
}

double clock_seconds() {
  timespec t{};
  clock_gettime(wall_time ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  const std::size_t h = v.size() / 2;
  return v.size() % 2 != 0 ? v[h] : 0.5 * (v[h - 1] + v[h]);
}

// At large n the two sides are also timed as pairs, call by call, in turns
// of order: a slow spell of the machine (a neighbour, a frequency change)
// then slows both members of a pair, and the median of the pairs' ratios
// reads through it, where the least of a few separate runs of each side
// still scatters by a quarter. A pair is made per iteration; the scaling
// runs instead make as many pairs as fit a second (at least two, at most
// fifteen) in one iteration, since their calls take from a few milliseconds
// to tens of seconds.
void run_pair(benchmark::State& state, const bench::Case& c, int32_t n) {
  auto work = c.make(n);
  if (!first_call_succeeds(state, *work)) return;
  // Both sides warmed, so that neither pays its first call's sizing and
  // page faults inside a pair.
  work->raw();
  std::vector<double> ratios, ours, raw;
  bool ours_first = true;
  auto one_pair = [&] {
    double t_ours = 0, t_raw = 0;
    for (int side = 0; side < 2; ++side) {
      const bool run_ours = (side == 0) == ours_first;
      const double start = clock_seconds();
      if (run_ours) benchmark::DoNotOptimize(work->ours());
      else work->raw();
      benchmark::ClobberMemory();
      (run_ours ? t_ours : t_raw) = clock_seconds() - start;
    }
    ours_first = !ours_first;
    ratios.push_back(t_ours / t_raw);
    ours.push_back(t_ours);
    raw.push_back(t_raw);
    return t_ours + t_raw;
  };
  for (auto _ : state) {
    if (!wall_time) {
      one_pair();
      continue;
    }
    constexpr std::size_t kFewest = 2, kMost = 15;
    constexpr double kBudget = 1.0;
    double spent = 0;
    while (ratios.size() < kFewest || (spent < kBudget && ratios.size() < kMost))
      spent += one_pair();
  }
  state.counters["ratio"] = median(ratios);
  state.counters["ours_s"] = median(ours);
  state.counters["raw_s"] = median(raw);
}

// What one output or scratch handle costs the host stand-in: grown to a
// small size and emptied again, as every scratch handle is on every call.
void host_resize_cycle(benchmark::State& state) {
  auto h = reinterpret_cast<ZwArrayHandle>(AZNewHandle(8));
  for (auto _ : state) {
    NumericArrayResize(10, 1, &h, 32);
    NumericArrayResize(10, 1, &h, 0);
  }
  AZDisposeHandle(reinterpret_cast<void**>(h));
}

// On a shared machine a neighbour only ever adds time, so the least of
// several short runs is the best estimate of what a call costs. Small sizes,
// where the overhead targets live and a run is cheap, get more runs.
double least(const std::vector<double>& v) { return *std::min_element(v.begin(), v.end()); }

// The scaling runs time only n = 4 and n >= 1000, where one call can take
// seconds: one run per side there, the pairs carry the ratio.
void configure(benchmark::internal::Benchmark* b, int32_t n) {
  b->Unit(benchmark::kMicrosecond)->Repetitions(n <= 100 ? 7 : wall_time ? 1 : 3);
  if (wall_time) b->UseRealTime();
  b->ComputeStatistics("min", least);
}

// The smallest size timed as pairs.
int32_t paired_from() { return wall_time ? 1000 : 500; }

// Takes --wall_time out of the arguments Google Benchmark reads.
void read_own_flags(int& argc, char** argv) {
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--wall_time") == 0) wall_time = true;
    else argv[kept++] = argv[i];
  }
  argc = kept;
}

}  // namespace

namespace bench {
void register_frame_pieces(double (*least)(const std::vector<double>&));
}

int main(int argc, char** argv) {
  read_own_flags(argc, argv);
  for (const bench::Case& c : bench::cases()) {
    for (int32_t n : c.sizes) {
      const std::string size = std::to_string(n);
      configure(benchmark::RegisterBenchmark((c.name + "/ours/" + size).c_str(),
                                             [&c, n](benchmark::State& s) { run_ours(s, c, n); }),
                n);
      configure(benchmark::RegisterBenchmark((c.name + "/raw/" + size).c_str(),
                                             [&c, n](benchmark::State& s) { run_raw(s, c, n); }),
                n);
      if (n >= paired_from())
        benchmark::RegisterBenchmark((c.name + "/pair/" + size).c_str(),
                                     [&c, n](benchmark::State& s) { run_pair(s, c, n); })
            ->Iterations(wall_time ? 1 : 7)
            ->Unit(benchmark::kMillisecond);
    }
  }
  benchmark::RegisterBenchmark("host/resize_cycle", host_resize_cycle)
      ->Unit(benchmark::kNanosecond)
      ->Repetitions(7)
      ->ComputeStatistics("min", least);
  bench::register_frame_pieces(least);
  benchmark::AddCustomContext("openblas", openblas_get_config());
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
