#pragma once
// Shared by the solve tests: the exports by element type, test matrices of
// each kind, and references computed in double precision by plain loops.
#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numeric>

#include "support/host.hpp"

namespace test {

template <class T> struct Solve;
#define TARNX_TEST_SOLVE(t, T)                                                                     \
  template <> struct Solve<T> {                                                                    \
    static int32_t det(ZwArrayHandle a, int32_t type, T* d, ZwArrayHandle w, ZwArrayHandle p) {    \
      return t##DeterminantH(a, type, c_ptr(d), w, p);                                             \
    }                                                                                              \
    static int32_t inv(ZwArrayHandle a, int32_t type, ZwArrayHandle w, ZwArrayHandle p) {          \
      return t##InvMtrxH(a, type, w, p);                                                           \
    }                                                                                              \
    static int32_t lin_eq(ZwArrayHandle a, ZwArrayHandle b, int32_t type, ZwArrayHandle x,         \
                          ZwArrayHandle w, ZwArrayHandle p) {                                      \
      return t##LinEqH(a, b, type, x, w, p);                                                       \
    }                                                                                              \
    static int32_t lin_eq_set(ZwArrayHandle a, ZwArrayHandle b, int32_t type, ZwArrayHandle x,     \
                              ZwArrayHandle w, ZwArrayHandle p) {                                  \
      return t##LinEqSetH(a, b, type, x, w, p);                                                    \
    }                                                                                              \
  };
TARNX_TEST_SOLVE(s, float)
TARNX_TEST_SOLVE(d, double)
TARNX_TEST_SOLVE(c, cfloat)
TARNX_TEST_SOLVE(z, cdouble)
#undef TARNX_TEST_SOLVE

enum : int32_t { kGeneral = 0, kPositiveDefinite = 1, kLower = 2, kUpper = 3 };

using wide = std::complex<double>;
template <class T> wide widen(T v) { return wide(v); }
template <class T> T conj_of(T v) {
  if constexpr (is_complex<T>) return std::conj(v);
  else return v;
}

// Random n x n with entries in [-1, 1]: well enough conditioned for a
// backward-error check, and LU has to pivot.
template <class T> std::vector<T> general_matrix(int n, unsigned seed) {
  return random_values<T>(static_cast<std::size_t>(n) * n, seed);
}

// M M^H / n + I, Hermitian positive definite. With `upper_noise` its strict
// upper triangle is replaced by unrelated values, which must not matter.
template <class T> std::vector<T> positive_definite_matrix(int n, unsigned seed, bool upper_noise = false) {
  auto m = random_values<T>(static_cast<std::size_t>(n) * n, seed);
  std::vector<T> a(m.size());
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      T s{};
      for (int l = 0; l < n; ++l) s += m[i * n + l] * conj_of(m[j * n + l]);
      a[i * n + j] = s / T(RealOf<T>(n)) + T(i == j ? 1 : 0);
    }
  if (upper_noise)
    for (int i = 0; i < n; ++i)
      for (int j = i + 1; j < n; ++j) a[i * n + j] = T(RealOf<T>(7 + i - j));
  return a;
}

// The Hermitian matrix that the lower triangle of `a` stands for.
template <class T> std::vector<T> from_lower(std::vector<T> a, int n) {
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j) a[i * n + j] = conj_of(a[j * n + i]);
  return a;
}

// Triangular with a dominant diagonal; the other triangle holds `other`.
template <class T> std::vector<T> triangular_matrix(int n, bool lower, unsigned seed, T other) {
  auto a = random_values<T>(static_cast<std::size_t>(n) * n, seed);
  for (int i = 0; i < n; ++i) {
    a[i * n + i] += T(RealOf<T>(n + 1));
    for (int j = 0; j < n; ++j)
      if (lower ? j > i : j < i) a[i * n + j] = other;
  }
  return a;
}

// `a` with its other triangle zeroed: the matrix a triangular call works with.
template <class T> std::vector<T> triangle_of(std::vector<T> a, int n, bool lower) {
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      if (lower ? j > i : j < i) a[i * n + j] = T(0);
  return a;
}

// Largest row sum of moduli of a row-major m x n matrix.
template <class T> double inf_norm(const std::vector<T>& a, int m, int n) {
  double best = 0;
  for (int i = 0; i < m; ++i) {
    double s = 0;
    for (int j = 0; j < n; ++j) s += std::abs(widen(a[i * n + j]));
    best = std::max(best, s);
  }
  return best;
}

// ||A X - B|| / (||A|| ||X|| n eps), A n x n, X and B n x k: a backward
// error in units of the working precision, small for any stable solve.
template <class T>
double scaled_residual(const std::vector<T>& a, const std::vector<T>& x, const std::vector<T>& b, int n, int k) {
  std::vector<wide> r(static_cast<std::size_t>(n) * k);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < k; ++j) {
      wide s = -widen(b[i * k + j]);
      for (int l = 0; l < n; ++l) s += widen(a[i * n + l]) * widen(x[l * k + j]);
      r[i * k + j] = s;
    }
  return inf_norm(r, n, k) / (inf_norm(a, n, n) * inf_norm(x, n, k) * n * epsilon<T>());
}

// Leibniz expansion: the sum over all permutations, in double precision.
template <class T> wide permutation_expansion(const std::vector<T>& a, int n) {
  std::vector<int> p(n);
  std::iota(p.begin(), p.end(), 0);
  wide det = 0;
  do {
    int inversions = 0;
    for (int i = 0; i < n; ++i)
      for (int j = i + 1; j < n; ++j) inversions += p[i] > p[j];
    wide term = inversions % 2 ? -1.0 : 1.0;
    for (int i = 0; i < n; ++i) term *= widen(a[i * n + p[i]]);
    det += term;
  } while (std::next_permutation(p.begin(), p.end()));
  return det;
}

template <class T> bool same_values(const std::vector<T>& a, const std::vector<T>& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), same_bits<T>);
}

}  // namespace test
