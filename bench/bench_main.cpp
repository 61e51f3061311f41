// Google Benchmark front for the family table: every family at every size,
// the export first and the core calls it wraps right after, so both see the
// same machine state. Names read <family>/<ours|raw>/<n>. Times are CPU
// time: the core runs one thread, and on a shared machine wall time mostly
// measures the neighbours.
#include <benchmark/benchmark.h>
#include <cblas.h>

#include <algorithm>
#include <string>
#include <vector>

#include "bench/harness.hpp"
#include "zwrt.h"

namespace {

void run_ours(benchmark::State& state, const bench::Case& c, int32_t n) {
  auto work = c.make(n);
  // The first call sizes the outputs; a host loop reuses them afterwards.
  if (int32_t status = work->ours(); status < 0) {
    const std::string message = "status " + std::to_string(status);
    state.SkipWithError(message.c_str());
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(work->ours());
  if (c.target == bench::Target::Copy)
    state.SetBytesProcessed(state.iterations() * int64_t{n} * n * 8);
}

void run_raw(benchmark::State& state, const bench::Case& c, int32_t n) {
  auto work = c.make(n);
  work->raw();
  for (auto _ : state) {
    work->raw();
    benchmark::ClobberMemory();
  }
  if (c.target == bench::Target::Copy)
    state.SetBytesProcessed(state.iterations() * int64_t{n} * n * 8);
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

void configure(benchmark::internal::Benchmark* b, int32_t n) {
  b->Unit(benchmark::kMicrosecond)->Repetitions(n <= 100 ? 7 : 3);
  b->ComputeStatistics("min", least);
}

}  // namespace

namespace bench {
void register_frame_pieces(double (*least)(const std::vector<double>&));
}

int main(int argc, char** argv) {
  for (const bench::Case& c : bench::cases()) {
    for (int32_t n : c.sizes) {
      const std::string size = std::to_string(n);
      configure(benchmark::RegisterBenchmark((c.name + "/ours/" + size).c_str(),
                                             [&c, n](benchmark::State& s) { run_ours(s, c, n); }),
                n);
      configure(benchmark::RegisterBenchmark((c.name + "/raw/" + size).c_str(),
                                             [&c, n](benchmark::State& s) { run_raw(s, c, n); }),
                n);
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
