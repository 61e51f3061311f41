#pragma once
// Shared by the matrix function tests: the exports by element type and
// references formed in long double by the tests' plain loops.
#include <cmath>
#include <complex>
#include <vector>

#include "support/reference.hpp"

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

template <class T> WideMatrix widen(const std::vector<T>& a) { return widen_to<wide>(a); }

inline WideMatrix identity(int n) { return identity_matrix<wide>(n); }

// A^p by |p| - 1 plain products, of A^-1 for negative p.
inline WideMatrix power_by_products(const WideMatrix& a, int n, int p) {
  const WideMatrix base = p < 0 ? inverse_of(a, n) : a;
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
