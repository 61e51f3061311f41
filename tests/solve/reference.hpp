#pragma once
// Shared by the solve tests: the exports by element type, one fixture, test
// matrices of each kind, and references formed in double precision by plain
// loops.
#include <algorithm>
#include <cmath>
#include <limits>

#include "support/reference.hpp"

namespace test {

template <class T> struct Solve;
#define TARNX_TEST_SOLVE(t, T)                                                                          \
  template <> struct Solve<T> {                                                                         \
    static int32_t det(ZwArrayHandle a, int32_t m, T* d, ZwArrayHandle w, ZwArrayHandle p) { return t##DeterminantH(a, m, c_ptr(d), w, p); } \
    static int32_t inv(ZwArrayHandle a, int32_t m, ZwArrayHandle w, ZwArrayHandle p) { return t##InvMtrxH(a, m, w, p); } \
    static int32_t eq(ZwArrayHandle a, ZwArrayHandle b, int32_t m, ZwArrayHandle x, ZwArrayHandle w, ZwArrayHandle p) { return t##LinEqH(a, b, m, x, w, p); } \
    static int32_t eq_set(ZwArrayHandle a, ZwArrayHandle b, int32_t m, ZwArrayHandle x, ZwArrayHandle w, ZwArrayHandle p) { return t##LinEqSetH(a, b, m, x, w, p); } \
    template <class... A> static int32_t cond(A... a) { return t##CondNumberH(a...); }                 \
    template <class... A> static int32_t rank(A... a) { return t##RankH(a...); }                       \
    template <class... A> static int32_t pinv(A... a) { return t##PseudoInvMtrxH(a...); }              \
    template <class... A> static int32_t ls(A... a) { return t##LSEqH(a...); }                         \
    template <class... A> static int32_t ls_set(A... a) { return t##LSEqSetH(a...); }                  \
  };
TARNX_TEST_SOLVE(s, float)
TARNX_TEST_SOLVE(d, double)
TARNX_TEST_SOLVE(c, cfloat)
TARNX_TEST_SOLVE(z, cdouble)
#undef TARNX_TEST_SOLVE

enum : int32_t { kGeneral = 0, kPositiveDefinite = 1, kLower = 2, kUpper = 3 };

using wide = std::complex<double>;
using Dense = std::vector<wide>;
template <class T> Dense widen(const std::vector<T>& v) { return widen_to<wide>(v); }
template <class T> T conj_of(T v) {
  if constexpr (is_complex<T>) return std::conj(v);
  else return v;
}
template <class T> inline const T nan_of = T(std::numeric_limits<RealOf<T>>::quiet_NaN());

// Scratch handles arrive non-empty, so that emptying them is seen.
template <class T> class SolveFixture : public ::testing::Test {
 protected:
  Host host;
  ZwArrayHandle work = host.vector<T>({T(1), T(2)});
  ZwArrayHandle pivots = host.vector<int32_t>({7});

  ZwArrayHandle mat(int r, int c, const std::vector<T>& v) { return host.matrix<T>(r, c, v); }
  ZwArrayHandle vec(const std::vector<T>& v) { return host.vector<T>(v); }
  void expect_scratch_empty() {
    EXPECT_EQ(length(work), 0);
    EXPECT_EQ(length(pivots), 0);
  }
};

// The singular values' scratch handles, shared by the rank and the 2-norm
// condition number; they arrive non-empty, so that emptying them is seen.
template <class T> class SingularValueFixture : public ::testing::Test {
 protected:
  using R = RealOf<T>;
  Host host;
  ZwArrayHandle values = host.vector<R>({R(1)});
  ZwArrayHandle work = host.vector<T>({T(3)});
  ZwArrayHandle real_work = host.vector<double>({4});
  ZwArrayHandle int_work = host.vector<int32_t>({5});
};

// M M^H / n + I, Hermitian positive definite. With `upper_noise` its strict
// upper triangle holds unrelated values, which must not matter.
template <class T> std::vector<T> positive_definite_matrix(int n, unsigned seed, bool upper_noise) {
  auto m = random_values<T>(n * n, seed);
  std::vector<T> a(n * n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      for (int l = 0; l < n; ++l) a[i * n + j] += m[i * n + l] * conj_of(m[j * n + l]);
      a[i * n + j] = a[i * n + j] / T(RealOf<T>(n)) + T(i == j);
      if (upper_noise && j > i) a[i * n + j] = T(RealOf<T>(7 + i - j));
    }
  return a;
}

// The Hermitian matrix that the lower triangle of `a` stands for.
template <class T> std::vector<T> from_lower(std::vector<T> a, int n) {
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j) a[i * n + j] = conj_of(a[j * n + i]);
  return a;
}

// `a` with the triangle other than the named one set to `other`.
template <class T> std::vector<T> triangle_of(std::vector<T> a, int n, bool lower, T other = T(0)) {
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      if (lower ? j > i : j < i) a[i * n + j] = other;
  return a;
}

// Triangular with a dominant diagonal, so well conditioned.
template <class T> std::vector<T> triangular_matrix(int n, bool lower, unsigned seed, T other) {
  auto a = random_values<T>(n * n, seed);
  for (int i = 0; i < n; ++i) a[i * n + i] += T(RealOf<T>(n + 1));
  return triangle_of(a, n, lower, other);
}

template <class T> double inf_norm(const std::vector<T>& a, int m, int n) {
  double best = 0;
  for (int i = 0; i < m; ++i) {
    double s = 0;
    for (int j = 0; j < n; ++j) s += std::abs(wide(a[i * n + j]));
    best = std::max(best, s);
  }
  return best;
}

// ||A X - B|| / (||A|| ||X|| n eps) for A n x n, X and B n x k: the backward
// error in units of the working precision, small for any stable method.
template <class T>
double scaled_residual(const std::vector<T>& a, const std::vector<T>& x, const std::vector<T>& b, int n, int k) {
  std::vector<wide> r(n * k);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < k; ++j) {
      r[i * k + j] = -wide(b[i * k + j]);
      for (int l = 0; l < n; ++l) r[i * k + j] += wide(a[i * n + l]) * wide(x[l * k + j]);
    }
  return inf_norm(r, n, k) / (inf_norm(a, n, n) * inf_norm(x, n, k) * n * epsilon<T>());
}

template <class T> bool same_values(const std::vector<T>& a, const std::vector<T>& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), same_bits<T>);
}

}  // namespace test
