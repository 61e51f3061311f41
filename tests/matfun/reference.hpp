#pragma once
// Shared by the matrix function tests: the exports by element type, a
// fixture whose scratch handles arrive non-empty, and references formed in
// long double by plain loops.
#include <cmath>
#include <complex>
#include <vector>

#include "support/host.hpp"

namespace test {

template <class T> struct MatFun;
#define TARNX_TEST_MATFUN(t, T)                                                                  \
  template <> struct MatFun<T> {                                                                 \
    static int32_t exp(ZwArrayHandle a, ZwArrayHandle w, ZwArrayHandle s, ZwArrayHandle b,      \
                       ZwArrayHandle sw, ZwArrayHandle p) { return t##MtrxExpH(a, w, s, b, sw, p); } \
    static int32_t sqrt(ZwArrayHandle a, ZwArrayHandle x, ZwArrayHandle s, ZwArrayHandle w,     \
                        ZwArrayHandle b, ZwArrayHandle s1, ZwArrayHandle s2) {                  \
      return t##MtrxSqrtH(a, x, s, w, b, s1, s2);                                              \
    }                                                                                            \
  };
TARNX_TEST_MATFUN(s, float)
TARNX_TEST_MATFUN(d, double)
TARNX_TEST_MATFUN(c, cfloat)
TARNX_TEST_MATFUN(z, cdouble)
#undef TARNX_TEST_MATFUN

using wide = std::complex<long double>;
using WideMatrix = std::vector<wide>;

template <class T> WideMatrix widen(const std::vector<T>& a) {
  WideMatrix w(a.size());
  for (std::size_t i = 0; i < a.size(); ++i) {
    if constexpr (is_complex<T>) w[i] = wide(a[i].real(), a[i].imag());
    else w[i] = wide(a[i], 0);
  }
  return w;
}

template <class T> std::vector<T> widen_back(const WideMatrix& w) {
  std::vector<T> a(w.size());
  for (std::size_t i = 0; i < w.size(); ++i) {
    if constexpr (is_complex<T>) a[i] = T(RealOf<T>(w[i].real()), RealOf<T>(w[i].imag()));
    else a[i] = T(w[i].real());
  }
  return a;
}

inline WideMatrix product(const WideMatrix& x, const WideMatrix& y, int n) {
  WideMatrix z(x.size());
  for (int i = 0; i < n; ++i)
    for (int k = 0; k < n; ++k)
      for (int j = 0; j < n; ++j) z[i * n + j] += x[i * n + k] * y[k * n + j];
  return z;
}

inline long double norm1(const WideMatrix& a) {
  long double s = 0;
  for (const wide& v : a) s += std::abs(v);
  return s;
}

// Relative distance sum |a - b| / sum |b| of two matrices.
inline long double relative_distance(const WideMatrix& a, const WideMatrix& b) {
  long double d = 0;
  for (std::size_t i = 0; i < a.size(); ++i) d += std::abs(a[i] - b[i]);
  return d / norm1(b);
}

inline WideMatrix identity(int n) {
  WideMatrix e(static_cast<std::size_t>(n) * n);
  for (int i = 0; i < n; ++i) e[i * n + i] = 1;
  return e;
}

// e^A by its Taylor series on A / 2^s with |A / 2^s| below 1/8 and s
// squarings, in long double: a method of its own, far more accurate than
// the working precisions it checks.
inline WideMatrix exp_by_taylor(WideMatrix a, int n) {
  int s = 0;
  for (long double norm = norm1(a); norm > 0.125L; norm /= 2) ++s;
  const long double shrink = std::ldexp(1.0L, -s);
  for (wide& v : a) v *= shrink;
  WideMatrix sum = identity(n), term = identity(n);
  for (int k = 1; k <= 30; ++k) {
    term = product(term, a, n);
    for (wide& v : term) v /= static_cast<long double>(k);
    for (std::size_t i = 0; i < sum.size(); ++i) sum[i] += term[i];
  }
  for (int i = 0; i < s; ++i) sum = product(sum, sum, n);
  return sum;
}

}  // namespace test
