// Square root and logarithm on spectra that the plain scalar formulas get
// wrong: eigenvalues whose squared modulus overflows or underflows, and
// conjugate pairs close to the negative real axis, where the root's real
// part and T^(1/2^s) - I both cancel. Results are checked against closed
// forms and against residuals in long double, X X - A and exp(X) - A, scaled
// by what the conditioning of the problem allows.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

#include "reference.hpp"

namespace {

using namespace test;

template <class T> class ExtremeSpectraTest : public ::testing::Test {
 protected:
  using R = RealOf<T>;
  using C = std::complex<R>;
  static constexpr bool single = std::is_same_v<R, float>;
  Host host;
  ZwArrayHandle x = host.empty();

  int32_t root(int32_t n, const std::vector<T>& a) {
    return MatFun<T>::sqrt(host.matrix<T>(n, n, a), x, host.empty(), host.empty(), host.empty(),
                           host.empty(), host.empty());
  }
  int32_t log(int32_t n, const std::vector<T>& a) {
    return MatFun<T>::log(host.matrix<T>(n, n, a), x, host.empty(), host.empty(), host.empty(),
                          host.empty(), host.empty());
  }
  WideMatrix result() {
    const std::vector<C> v = matrix_values<C>(x);
    for (const C& e : v) EXPECT_TRUE(std::isfinite(e.real()) && std::isfinite(e.imag())) << e;
    return widen(v);
  }
};
TYPED_TEST_SUITE(ExtremeSpectraTest, ElementTypes);

// The values a test uses in float32 and in float64 precision.
template <class R> std::vector<R> per_precision(const std::vector<double>& single, const std::vector<double>& twice) {
  const std::vector<double>& v = std::is_same_v<R, float> ? single : twice;
  return std::vector<R>(v.begin(), v.end());
}

long double norm1(const WideMatrix& a, int n) {
  long double best = 0;
  for (int j = 0; j < n; ++j) {
    long double sum = 0;
    for (int i = 0; i < n; ++i) sum += std::abs(a[i * n + j]);
    best = std::max(best, sum);
  }
  return best;
}

// ||X X - A|| / ||A|| against its bound in units of n eps: a backward
// stable root leaves a residual of about n eps ||X||^2.
long double root_residual(const WideMatrix& x, const WideMatrix& a, int n) {
  WideMatrix r = product(x, x, n);
  for (std::size_t i = 0; i < r.size(); ++i) r[i] -= a[i];
  return norm1(r, n) / norm1(x, n) / norm1(x, n);
}

// ||exp(X) - A|| / ||A||, exp in long double.
long double log_residual(const WideMatrix& x, const WideMatrix& a, int n) {
  WideMatrix e = exp_by_taylor(x, n);
  for (std::size_t i = 0; i < e.size(); ++i) e[i] -= a[i];
  return norm1(e, n) / norm1(a, n);
}

// What exp(X) - A would be for an X known to all its digits and then merely
// rounded: the largest change of exp(X), relative to ||A||, under a few
// random perturbations of X of norm eps ||X||. Near the negative real axis
// X is far from normal and exp amplifies such a perturbation by far more
// than ||X||; this is the yardstick the residual is measured against.
long double rounding_effect(const WideMatrix& x, const WideMatrix& a, int n, long double eps, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<long double> unit(-1, 1);
  const WideMatrix e0 = exp_by_taylor(x, n);
  const long double size = eps * norm1(x, n) / n;
  long double worst = 0;
  for (int k = 0; k < 4; ++k) {
    WideMatrix moved = x;
    for (wide& v : moved) v += size * wide(unit(gen), unit(gen));
    WideMatrix e = exp_by_taylor(moved, n);
    for (std::size_t i = 0; i < e.size(); ++i) e[i] -= e0[i];
    worst = std::max(worst, norm1(e, n) / norm1(a, n));
  }
  return worst;
}

// Principal log of a 2 x 2 upper triangular [a b; 0 c]:
// [log a, b (log a - log c) / (a - c); 0, log c], in long double.
WideMatrix triangular_log(wide a, wide b, wide c) {
  return {std::log(a), a == c ? b / a : b * (std::log(a) - std::log(c)) / (a - c), 0, std::log(c)};
}

// Elementwise distance to a closed form, relative to each element's size.
long double worst_relative(const WideMatrix& got, const WideMatrix& want) {
  long double worst = 0;
  for (std::size_t i = 0; i < want.size(); ++i)
    worst = std::max(worst, std::abs(got[i] - want[i]) / std::max(std::abs(want[i]), 1e-300L));
  return worst;
}

TYPED_TEST(ExtremeSpectraTest, ScalarRootKeepsThePlainFormulasBits) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  using R = typename TestFixture::R;
  auto root_bits = [&](T v, C want) {
    ASSERT_EQ(this->root(1, {v}), 0);
    const C got = matrix_values<C>(this->x).at(0);
    EXPECT_TRUE(same_bits(got.real(), want.real()) && same_bits(got.imag(), want.imag())) << got;
  };
  root_bits(T(4), C(2, 0));
  root_bits(T(-4), C(0, 2));
  root_bits(T(2), C(std::sqrt(R(2)), 0));
  if constexpr (is_complex<T>) {
    root_bits(T(3, 4), C(2, 1));
    root_bits(T(0, 2), C(1, 1));
    root_bits(T(-3, -4), C(1, -2));
  }
}

// 1 x 1 roots over the whole range against long double's complex root:
// each part to a few units of rounding of the root's modulus, never an
// overflow of x^2 + y^2 nor a real part lost to x + r cancelling.
TYPED_TEST(ExtremeSpectraTest, ScalarRootOverTheWholeRange) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  using R = typename TestFixture::R;
  using L = std::numeric_limits<R>;
  const std::vector<R> sizes = {L::denorm_min(), L::min(), R(1e-20), std::sqrt(L::min()), R(0.5),
                                R(1), R(4), R(1e15), std::sqrt(L::max()), L::max() / 4};
  std::vector<T> values;
  for (R re : sizes)
    for (R sign : {R(1), R(-1)}) {
      values.push_back(T(sign * re));
      if constexpr (is_complex<T>)
        for (R im : sizes) values.insert(values.end(), {T(sign * re, im), T(sign * re, -im / 3)});
    }
  for (const T& v : values) {
    ASSERT_EQ(this->root(1, {v}), 0) << v;
    const C got = matrix_values<C>(this->x).at(0);
    // A zero imaginary part counts as positive, whatever its sign.
    const wide want = std::sqrt(wide(std::real(v), std::imag(v) == 0 ? 0.0L : std::imag(v)));
    EXPECT_LE(std::abs(wide(got.real(), got.imag()) - want), 4 * L::epsilon() * std::abs(want)) << v;
    EXPECT_GE(got.real(), 0) << v;
  }
}

// The examples that gave NaN, infinity or a residual of 1e-9: a scalar
// whose square overflows, and conjugate pairs -4 +- sqrt(d) i whose roots'
// real parts are all that keeps R12 = T12 / (r1 + r2) finite.
TYPED_TEST(ExtremeSpectraTest, RootOfNearlyNegativePairs) {
  using T = TypeParam;
  using R = typename TestFixture::R;
  const R huge = TestFixture::single ? R(1e30) : R(1e300);
  ASSERT_EQ(this->root(1, {T(huge)}), 0);
  EXPECT_LE(worst_relative(this->result(), {std::sqrt(static_cast<long double>(huge))}), 2 * epsilon<T>());
  const std::vector<R> gaps = per_precision<R>({1e-6, 1e-4}, {1e-16, 1e-14, 1e-10});
  for (R d : gaps) {
    const std::vector<T> a = {T(-4), T(1), T(-d), T(-4)};
    ASSERT_EQ(this->root(2, a), 0) << d;
    // The principal root is p I + q N, N = A + 4 I, with p + i sqrt(d) q
    // the root of -4 + i sqrt(d).
    const std::complex<long double> s = std::sqrt(std::complex<long double>(-4, std::sqrt(static_cast<long double>(d))));
    const long double p = s.real(), q = s.imag() / std::sqrt(static_cast<long double>(d));
    const WideMatrix want = {p, q, -d * q, p};
    EXPECT_LE(root_residual(this->result(), widen(a), 2), 8 * epsilon<T>()) << d;
    EXPECT_LE(relative_distance(this->result(), want), 8 * epsilon<T>() / std::sqrt(d)) << d;
  }
}

TYPED_TEST(ExtremeSpectraTest, LogOfTriangularWithExtremeEigenvalues) {
  using T = TypeParam;
  using R = typename TestFixture::R;
  // The float32 squares overflow above 1.8e19 and underflow below 1e-19;
  // the float64 ones above 1.3e154 and below 1.5e-154.
  const std::vector<R> big = per_precision<R>({2e19, 1e30}, {1e155, 1e300});
  const std::vector<R> small = per_precision<R>({1e-20, 1e-30}, {1e-160, 1e-300});
  for (R a : big) {
    ASSERT_EQ(this->log(2, {T(a), T(1), T(0), T(2)}), 0) << a;
    EXPECT_LE(worst_relative(this->result(), triangular_log(a, 1, 2)), 8 * epsilon<T>()) << a;
    // Two large eigenvalues close together: their logarithms' difference
    // is small against either.
    ASSERT_EQ(this->log(2, {T(a), T(a), T(0), T(a * R(1.5))}), 0) << a;
    EXPECT_LE(worst_relative(this->result(), triangular_log(a, a, a * R(1.5))), 8 * epsilon<T>()) << a;
  }
  for (R a : small) {
    // Kept under the warning for an eigenvalue within rounding of 0.
    ASSERT_EQ(this->log(2, {T(a), T(1), T(0), T(2)}), 20006) << a;
    EXPECT_LE(worst_relative(this->result(), triangular_log(a, 1, 2)), 8 * epsilon<T>()) << a;
  }
  if constexpr (is_complex<T>) {
    // Both halves of a close pair across the cut, as a triangular matrix.
    const T a(-1, R(1e-3)), c(-1, R(-1e-3));
    ASSERT_EQ(this->log(2, {a, T(1), T(0), c}), 0);
    EXPECT_LE(worst_relative(this->result(), triangular_log(wide(a.real(), a.imag()), 1, wide(c.real(), c.imag()))),
              64 * epsilon<T>() / R(1e-3));
  }
}

// [[-1, 1], [-d, -1]]: eigenvalues -1 +- sqrt(d) i, off the axis but close,
// and the real logarithm a I + b N with b near pi / sqrt(d).
TYPED_TEST(ExtremeSpectraTest, LogOfNearlyNegativePairs) {
  using T = TypeParam;
  using R = typename TestFixture::R;
  const std::vector<R> gaps = per_precision<R>({1e-10, 1e-8, 1e-4}, {1e-20, 1e-14, 1e-8});
  for (R d : gaps) {
    const std::vector<T> a = {T(-1), T(1), T(-d), T(-1)};
    ASSERT_EQ(this->log(2, a), 0) << d;
    const long double root_d = std::sqrt(static_cast<long double>(d));
    const std::complex<long double> l = std::log(std::complex<long double>(-1, root_d));
    const WideMatrix want = {l.real(), l.imag() / root_d, -d * l.imag() / root_d, l.real()};
    const WideMatrix got = this->result();
    EXPECT_LE(log_residual(got, widen(a), 2), 8 * (epsilon<T>() + rounding_effect(got, widen(a), 2, epsilon<T>(), 1))) << d;
    EXPECT_LE(relative_distance(got, want), 8 * epsilon<T>() / root_d) << d;
  }
}

// Random matrices built around a chosen spectrum: eigenvalue moduli spread
// over many orders of magnitude, about half of them within a small angle of
// the negative real axis (never on it; real matrices hold them as conjugate
// pairs in 2 x 2 blocks), coupled by a random upper triangle and hidden by a
// permutation and a diagonal scaling by powers of two, both exact, and for
// odd seeds by a reflection as well. Each coupling is scaled by the distance
// between the two eigenvalues it couples: the logarithm then has no element
// much larger than the eigenvalues' logarithms, so that exp(X) - A measures
// the algorithm and not the ill-conditioning of exp at a far from normal X.
template <class T> std::vector<T> spread_spectrum(int n, unsigned seed, int decades, int closest) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> unit(0, 1);
  const long double pi = std::numbers::pi_v<long double>;
  WideMatrix s(static_cast<std::size_t>(n) * n), lambda(n);
  std::vector<int> block(n);
  for (int i = 0; i < n;) {
    const long double modulus = std::pow(10.0L, decades * (2 * unit(gen) - 1));
    const bool near_axis = unit(gen) < 0.5;
    const long double angle = near_axis ? pi - std::pow(10.0L, -closest * unit(gen)) : pi * (2 * unit(gen) - 1) * 0.9L;
    const wide value = std::polar(modulus, unit(gen) < 0.5 ? angle : -angle);
    block[i] = i;
    lambda[i] = value;
    if (is_complex<T>) {
      s[i * n + i] = value;
      ++i;
    } else if (i + 1 < n) {
      // A real 2 x 2 block with the pair value, conj(value).
      s[i * n + i] = s[(i + 1) * n + i + 1] = value.real();
      s[i * n + i + 1] = value.imag();
      s[(i + 1) * n + i] = -value.imag();
      block[i + 1] = i;
      lambda[i + 1] = value;
      i += 2;
    } else {
      s[i * n + i] = lambda[i] = modulus;
      ++i;
    }
  }
  for (int i = 0; i < n; ++i)
    for (int j = i + 1; j < n; ++j) {
      if (block[j] == block[i]) continue;
      long double gap = std::abs(lambda[i] - lambda[j]);
      if (!is_complex<T>) gap = std::min(gap, std::abs(lambda[i] - std::conj(lambda[j])));
      s[i * n + j] = (2 * unit(gen) - 1) * gap;
    }
  std::vector<int> p(n);
  for (int i = 0; i < n; ++i) p[i] = i;
  std::shuffle(p.begin(), p.end(), gen);
  std::vector<int> scale(n);
  for (int& k : scale) k = static_cast<int>(unit(gen) * 9) - 4;
  WideMatrix a(s.size());
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) a[p[i] * n + p[j]] = s[i * n + j] * std::ldexp(1.0L, scale[i] - scale[j]);
  if (seed % 2 == 1) {
    // A = H A H with H = I - 2 v v^T / v^T v.
    WideMatrix v(n), h = identity(n);
    long double vv = 0;
    for (auto& e : v) e = 2 * unit(gen) - 1, vv += std::norm(e);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) h[i * n + j] -= 2.0L * v[i] * v[j] / vv;
    a = product(product(h, a, n), h, n);
  }
  return narrow<T>(a);
}

TYPED_TEST(ExtremeSpectraTest, RandomSpreadSpectra) {
  using T = TypeParam;
  const int decades = TestFixture::single ? 2 : 3, closest = TestFixture::single ? 2 : 4;
  for (int n : {2, 3, 5, 8})
    for (unsigned seed = 0; seed < 12; ++seed) {
      const std::vector<T> a = spread_spectrum<T>(n, 1000 * n + seed, decades, closest);
      ASSERT_GE(this->root(n, a), 0) << n << " " << seed;
      const long double r = root_residual(this->result(), widen(a), n) / (n * epsilon<T>());
      EXPECT_LE(r, 16) << n << " " << seed;
      ASSERT_GE(this->log(n, a), 0) << n << " " << seed;
      const WideMatrix x = this->result();
      const long double l = log_residual(x, widen(a), n) / (n * epsilon<T>() + rounding_effect(x, widen(a), n, epsilon<T>(), seed));
      EXPECT_LE(l, 16) << n << " " << seed;
    }
}

}  // namespace
