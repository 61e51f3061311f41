// The triangular square root must not dominate the square root's cost: at
// n = 1000 it is timed against the Schur decomposition of a general matrix
// of the same order, in the same run, both on the core's products.
// Disabled by default (the decomposition alone takes seconds on a shared
// machine); run with --gtest_also_run_disabled_tests.
#include <dlfcn.h>

#include <chrono>
#include <cstdio>

#include "matfun/triangular_sqrt.hpp"
#include "reference.hpp"

namespace {

using namespace test;
using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// The core's zgemm, taken from the module that the library loaded.
using Zgemm = void (*)(int, int, int, int, int, int, const void*, const void*, int, const void*, int,
                       const void*, void*, int);
Zgemm core_zgemm = nullptr;

struct CoreModuleProduct {
  static void subtract(int32_t m, int32_t p, int32_t k, const cdouble* x, const cdouble* y, cdouble* c,
                       std::size_t ld) {
    const cdouble minus_one(-1), one(1);
    const int l = static_cast<int>(ld);
    core_zgemm(101, 111, 111, m, p, k, &minus_one, x, l, y, l, &one, c, l);
  }
};

TEST(SquareRootBenchmark, DISABLED_TriangularRootIsAFifthOfSchurAtOrder1000) {
  void* core = dlopen(TARNX_LIB_DIR "/tarnx_core_140000.so", RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(core, nullptr);
  core_zgemm = reinterpret_cast<Zgemm>(dlsym(core, "cblas_zgemm"));
  ASSERT_NE(core_zgemm, nullptr);

  const int n = 1000;
  Host host;
  ZwArrayHandle a = host.matrix<cdouble>(n, n, random_values<cdouble>(static_cast<std::size_t>(n) * n, 11));
  ZwArrayHandle z = host.empty(), eigenvalues = host.empty();
  ZwArrayHandle work = host.empty(), real_work = host.empty();
  auto start = Clock::now();
  ASSERT_EQ(zSchurH(a, 1, 0, z, eigenvalues, work, real_work, nullptr), 0);
  const double schur = seconds_since(start);

  // The Schur form just computed is the triangular matrix to take the root of.
  const cdouble* t = matrix_data<cdouble>(a);
  std::vector<cdouble> r(static_cast<std::size_t>(n) * n);
  start = Clock::now();
  tarnx::triangularSquareRoot<double, CoreModuleProduct>(t, n, r.data());
  const double root = seconds_since(start);

  // Spot check of R R = T on a few columns of the first rows.
  double worst = 0, scale = 0;
  for (int i = 0; i < 3; ++i)
    for (int j = i; j < n; j += 97) {
      cdouble s = 0;
      for (int k = i; k <= j; ++k) s += r[i * n + k] * r[static_cast<std::size_t>(k) * n + j];
      worst = std::max(worst, std::abs(s - t[i * n + j]));
      scale = std::max(scale, std::abs(t[i * n + j]));
    }
  EXPECT_LT(worst, 1e-10 * scale);
  dlclose(core);

  std::printf("order %d: Schur decomposition %.3f s, triangular square root %.3f s (%.1f%%)\n", n,
              schur, root, 100.0 * root / schur);
  EXPECT_LE(root, schur / 5);
}

}  // namespace
