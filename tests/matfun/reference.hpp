#pragma once
// Shared by the matrix function tests: the exports by element type and
// references formed in long double by plain loops.
#include <cmath>
#include <complex>
#include <vector>

#include "support/host.hpp"

namespace test {

template <class T> struct MatFun;
#define TARNX_TEST_MATFUN(t, T)                                                                   \
  template <> struct MatFun<T> {                                                                  \
    template <class... H> static int32_t exp(H... h) { return t##MtrxExpH(h...); }                \
    template <class... H> static int32_t sqrt(H... h) { return t##MtrxSqrtH(h...); }              \
    template <class... H> static int32_t log(H... h) { return t##MtrxLnH(h...); }                 \
    template <class... H> static int32_t pow(ZwArrayHandle a, int32_t p, H... h) {                \
      return t##MtrxPowH(a, p, h...);                                                             \
    }                                                                                             \
  };
TARNX_TEST_MATFUN(s, float)
TARNX_TEST_MATFUN(d, double)
TARNX_TEST_MATFUN(c, cfloat)
TARNX_TEST_MATFUN(z, cdouble)
#undef TARNX_TEST_MATFUN

using wide = std::complex<long double>;
using WideMatrix = std::vector<wide>;

template <class T> WideMatrix widen(const std::vector<T>& a) {
  WideMatrix w;
  for (const T& v : a) w.push_back(wide(std::real(v), std::imag(v)));
  return w;
}

template <class T> std::vector<T> narrow(const WideMatrix& w) {
  std::vector<T> a;
  for (const wide& v : w) {
    if constexpr (is_complex<T>) a.push_back(T(RealOf<T>(v.real()), RealOf<T>(v.imag())));
    else a.push_back(T(v.real()));
  }
  return a;
}

inline WideMatrix identity(int n) {
  WideMatrix e(static_cast<std::size_t>(n) * n);
  for (int i = 0; i < n; ++i) e[i * n + i] = 1;
  return e;
}

inline WideMatrix product(const WideMatrix& x, const WideMatrix& y, int n) {
  WideMatrix z(x.size());
  for (int i = 0; i < n; ++i)
    for (int k = 0; k < n; ++k)
      for (int j = 0; j < n; ++j) z[i * n + j] += x[i * n + k] * y[k * n + j];
  return z;
}

// sum |a - b| / sum |b|.
inline long double relative_distance(const WideMatrix& a, const WideMatrix& b) {
  long double d = 0, s = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    d += std::abs(a[i] - b[i]);
    s += std::abs(b[i]);
  }
  return a.size() == b.size() ? d / s : INFINITY;
}

// A^p by |p| - 1 plain products; for negative p of A^-1, by Gauss-Jordan
// elimination without pivoting (the callers' matrices are diagonally
// dominant).
inline WideMatrix power_by_products(WideMatrix a, int n, int p) {
  WideMatrix base = p < 0 ? identity(n) : a;
  for (int c = 0; p < 0 && c < n; ++c) {
    const wide d = a[c * n + c];
    for (int j = 0; j < n; ++j) a[c * n + j] /= d, base[c * n + j] /= d;
    for (int r = 0; r < n; ++r) {
      const wide f = r == c ? 0 : a[r * n + c];
      for (int j = 0; j < n; ++j) a[r * n + j] -= f * a[c * n + j], base[r * n + j] -= f * base[c * n + j];
    }
  }
  WideMatrix x = identity(n);
  for (int i = 0; i < std::abs(p); ++i) x = product(x, base, n);
  return x;
}

// e^A by its Taylor series on A / 2^s, scaled below 1/8, and s squarings:
// a method of its own, in a precision far above those it checks.
inline WideMatrix exp_by_taylor(WideMatrix a, int n) {
  long double norm = 0;
  for (const wide& v : a) norm += std::abs(v);
  int s = 0;
  for (; norm > 0.125L; norm /= 2) ++s;
  for (wide& v : a) v *= std::ldexp(1.0L, -s);
  WideMatrix sum = identity(n), term = identity(n);
  for (int k = 1; k <= 30; ++k) {
    term = product(term, a, n);
    for (std::size_t i = 0; i < sum.size(); ++i) sum[i] += term[i] /= static_cast<long double>(k);
  }
  for (int i = 0; i < s; ++i) sum = product(sum, sum, n);
  return sum;
}

}  // namespace test
