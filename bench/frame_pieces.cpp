// The frame's two passes over a whole matrix, the screen and the transposing
// copy, timed on their own beside memcpy of the same bytes, at the sizes
// where they decide the large-n ratios.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "bench/harness.hpp"
#include "frame/layout.hpp"

namespace bench {
namespace {

struct Square {
  int32_t n;
  std::vector<double> a, b;
  explicit Square(int32_t n_) : n(n_), a(general_matrix(n, 31)), b(a.size()) {}
  int64_t bytes() const { return static_cast<int64_t>(a.size()) * 8; }
};

void screen_frame(benchmark::State& s) {
  Square q(static_cast<int32_t>(s.range(0)));
  for (auto _ : s) benchmark::DoNotOptimize(tarnx::HasNonFinite(q.a.data(), q.n * q.n));
  s.SetBytesProcessed(s.iterations() * q.bytes());
}
void transpose_frame(benchmark::State& s) {
  Square q(static_cast<int32_t>(s.range(0)));
  for (auto _ : s) {
    tarnx::ToColumnMajor(q.a.data(), q.n, q.n, q.b.data());
    benchmark::ClobberMemory();
  }
  s.SetBytesProcessed(s.iterations() * q.bytes());
}
// The same copy on the calling thread alone, the kernel's own speed.
void transpose_one_thread(benchmark::State& s) {
  Square q(static_cast<int32_t>(s.range(0)));
  for (auto _ : s) {
    tarnx::detail::layout_copy(q.a.data(), q.n, q.n, q.b.data(), tarnx::detail::UnitOf<double>{}, 1);
    benchmark::ClobberMemory();
  }
  s.SetBytesProcessed(s.iterations() * q.bytes());
}
void copy_memcpy(benchmark::State& s) {
  Square q(static_cast<int32_t>(s.range(0)));
  for (auto _ : s) {
    std::memcpy(q.b.data(), q.a.data(), static_cast<std::size_t>(q.bytes()));
    benchmark::ClobberMemory();
  }
  s.SetBytesProcessed(s.iterations() * q.bytes());
}

}  // namespace

void register_frame_pieces(double (*least)(const std::vector<double>&)) {
  struct Piece {
    const char* name;
    void (*fn)(benchmark::State&);
  };
  for (const Piece& p :
       {Piece{"frame/screen", screen_frame}, Piece{"frame/transpose", transpose_frame},
        Piece{"frame/transpose_one_thread", transpose_one_thread},
        Piece{"frame/memcpy", copy_memcpy}})
    benchmark::RegisterBenchmark(p.name, p.fn)
        ->Arg(512)
        ->Arg(1000)
        ->Arg(2048)
        ->Unit(benchmark::kMicrosecond)
        ->Repetitions(5)
        ->ComputeStatistics("min", least);
}

}  // namespace bench
