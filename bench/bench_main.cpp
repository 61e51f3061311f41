// Google Benchmark front for the family table: every family at every size,
// the export first and the core calls it wraps right after, so both see the
// same machine state. Names read <family>/<ours|raw>/<n>. Times are CPU
// time: the core runs one thread, and on a shared machine wall time mostly
// measures the neighbours.
#include <benchmark/benchmark.h>
#include <cblas.h>

#include <string>

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

}  // namespace

int main(int argc, char** argv) {
  for (const bench::Case& c : bench::cases()) {
    for (int32_t n : c.sizes) {
      const std::string size = std::to_string(n);
      benchmark::RegisterBenchmark((c.name + "/ours/" + size).c_str(),
                                   [&c, n](benchmark::State& s) { run_ours(s, c, n); })
          ->Unit(benchmark::kMicrosecond);
      benchmark::RegisterBenchmark((c.name + "/raw/" + size).c_str(),
                                   [&c, n](benchmark::State& s) { run_raw(s, c, n); })
          ->Unit(benchmark::kMicrosecond);
    }
  }
  benchmark::RegisterBenchmark("host/resize_cycle", host_resize_cycle)->Unit(benchmark::kNanosecond);
  benchmark::AddCustomContext("openblas", openblas_get_config());
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
