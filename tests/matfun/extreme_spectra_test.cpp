// Square root and logarithm through the exports, mostly on spectra that the
// plain scalar formulas get wrong: eigenvalues whose squared modulus
// overflows or underflows, and conjugate pairs close to the negative real
// axis, where the root's real part and T^(1/2^s) - I both cancel. Results are
// checked against closed forms and against the residuals X X - A and
// exp(X) - A, scaled by what the conditioning of the problem allows.
#include <algorithm>
#include <array>
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
  // The logarithm's scratch handles arrive non-empty, so that emptying them
  // is seen; `null_scratch` k (1 to 5) passes the k-th as null.
  ZwArrayHandle scale = host.vector<R>({R(1)}), work = host.vector<C>({C(2)}),
                balance = host.vector<C>({C(3)}), schur1 = host.vector<C>({C(4)}),
                schur2 = host.vector<double>({5.0});
  int32_t log_call(ZwArrayHandle a, int null_scratch = 0) {
    ZwArrayHandle h[5] = {scale, work, balance, schur1, schur2};
    if (null_scratch > 0) h[null_scratch - 1] = nullptr;
    const int32_t status = MatFun<T>::log(a, x, h[0], h[1], h[2], h[3], h[4]);
    EXPECT_EQ(length(scale) + length(work) + length(balance) + length(schur1) + length(schur2), 0);
    return status;
  }
  int32_t log(int32_t n, const std::vector<T>& a) { return log_call(host.matrix<T>(n, n, a)); }
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

// e^X for the residuals below, in __float128 (113 bits). X's logarithm of
// a spread spectrum is far from normal, with elements up to 1e13 where
// e^X's are 1e6: e^(X / 2^k) humps far above e^X on the way, and scaling and
// squaring loses some twenty digits to it, all of long double's. Taylor
// terms of X / 2^s, scaled below 1/8 in a norm that bounds the 1-norm,
// then s squarings.
struct Quad {
  __float128 re = 0, im = 0;
  Quad operator+(Quad o) const { return {re + o.re, im + o.im}; }
  Quad operator*(Quad o) const { return {re * o.re - im * o.im, re * o.im + im * o.re}; }
  Quad operator*(__float128 f) const { return {re * f, im * f}; }
};

std::vector<Quad> quad_product(const std::vector<Quad>& x, const std::vector<Quad>& y, int n) {
  std::vector<Quad> z(x.size());
  for (int i = 0; i < n; ++i)
    for (int l = 0; l < n; ++l)
      for (int j = 0; j < n; ++j) z[i * n + j] = z[i * n + j] + x[i * n + l] * y[l * n + j];
  return z;
}

std::vector<Quad> to_quad(const WideMatrix& x) {
  std::vector<Quad> q(x.size());
  for (std::size_t i = 0; i < x.size(); ++i) q[i] = {x[i].real(), x[i].imag()};
  return q;
}

// ||x - y||_1, the difference formed in __float128.
long double distance1(const std::vector<Quad>& x, const std::vector<Quad>& y, int n) {
  WideMatrix d(y.size());
  for (std::size_t i = 0; i < y.size(); ++i)
    d[i] = wide(static_cast<long double>(x[i].re - y[i].re), static_cast<long double>(x[i].im - y[i].im));
  return norm1(d, n);
}

std::vector<Quad> exp_in_quad(std::vector<Quad> a, int n) {
  __float128 norm = 0;
  for (const Quad& v : a) norm += (v.re < 0 ? -v.re : v.re) + (v.im < 0 ? -v.im : v.im);
  int s = 0;
  for (; norm > 0.125L; norm /= 2) ++s;
  __float128 scale = 1;
  for (int i = 0; i < s; ++i) scale /= 2;
  for (Quad& v : a) v = v * scale;
  std::vector<Quad> sum(a.size()), term(a.size());
  for (int i = 0; i < n; ++i) sum[i * n + i] = term[i * n + i] = {1, 0};
  for (int k = 1; k <= 40; ++k) {
    term = quad_product(term, a, n);
    for (std::size_t i = 0; i < sum.size(); ++i) sum[i] = sum[i] + (term[i] = term[i] * (__float128(1) / k));
  }
  for (int i = 0; i < s; ++i) sum = quad_product(sum, sum, n);
  return sum;
}

// ||exp(X) - A|| / ||A||.
long double log_residual(const WideMatrix& x, const WideMatrix& a, int n) {
  return distance1(exp_in_quad(to_quad(x), n), to_quad(a), n) / norm1(a, n);
}

// kappa_exp(X): what rounding X costs exp(X) - A per unit of relative
// rounding, ||L_exp(X, E)|| / ||A|| for perturbations E of norm about ||X||
// in random directions, the Frechet derivative taken as a finite difference
// in __float128 with a step of 1e-20: small enough to stay linear where X
// is far from normal (a step of eps ||X|| can leave the linear range by
// far), large enough to stand clear of the quad exponential's own rounding.
long double exp_condition(const WideMatrix& x, const WideMatrix& a, int n, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<long double> unit(-1, 1);
  const std::vector<Quad> exp0 = exp_in_quad(to_quad(x), n);
  const long double step = 1e-20L, size = step * norm1(x, n) / n;
  long double worst = 0;
  for (int k = 0; k < 4; ++k) {
    std::vector<Quad> moved = to_quad(x);
    for (Quad& v : moved) v = v + Quad{size * unit(gen), size * unit(gen)};
    worst = std::max(worst, distance1(exp_in_quad(moved, n), exp0, n) / norm1(a, n) / step);
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
  root_bits(T(0), C(0, 0));
  root_bits(T(2), C(std::sqrt(R(2)), 0));
  if constexpr (is_complex<T>) {
    root_bits(T(3, 4), C(2, 1));
    root_bits(T(3, -4), C(2, -1));
    root_bits(T(0, 2), C(1, 1));
    root_bits(T(-3, -4), C(1, -2));
    root_bits(T(-4, -0.0), C(0, 2));  // only a negative y turns the root down
  }
  // A 1 x 1 needs no scratch.
  ZwArrayHandle a = this->host.template matrix<T>(1, 1, {T(9)});
  EXPECT_EQ(MatFun<T>::sqrt(a, this->x, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(matrix_values<C>(this->x).at(0), C(3, 0));
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
// whose square overflows, and conjugate pairs c +- sqrt(u v) i of
// [[c, u], [-v, c]] whose roots' real parts are all that keeps
// R12 = T12 / (r1 + r2) finite. In the last pair both the roots' sum and
// the coupling u - v are below the square root of epsilon, yet their
// quotient is of order 1 and must not be taken for 0 / 0.
TYPED_TEST(ExtremeSpectraTest, RootOfNearlyNegativePairs) {
  using T = TypeParam;
  using R = typename TestFixture::R;
  const R huge = TestFixture::single ? R(1e30) : R(1e300);
  ASSERT_EQ(this->root(1, {T(huge)}), 0);
  EXPECT_LE(worst_relative(this->result(), {std::sqrt(static_cast<long double>(huge))}), 2 * epsilon<T>());
  const R g = TestFixture::single ? R(1e-4) : R(1e-10);
  std::vector<std::array<R, 3>> pairs = {{-1, 2 * g, g / 2}};
  for (R d : per_precision<R>({1e-6, 1e-4}, {1e-16, 1e-14, 1e-10})) pairs.push_back({-4, 1, d});
  for (const auto& [c, u, v] : pairs) {
    const std::vector<T> a = {T(c), T(u), T(-v), T(c)};
    ASSERT_EQ(this->root(2, a), 0) << u << " " << v;
    // The principal root is p I + q N, N = A - c I, with p + i w q the
    // root of c + i w, w = sqrt(u v).
    const long double w = std::sqrt(static_cast<long double>(u) * v);
    const std::complex<long double> s = std::sqrt(std::complex<long double>(c, w));
    const long double p = s.real(), q = s.imag() / w;
    const WideMatrix want = {p, u * q, -v * q, p};
    EXPECT_LE(root_residual(this->result(), widen(a), 2), 8 * epsilon<T>()) << u << " " << v;
    EXPECT_LE(relative_distance(this->result(), want), 8 * epsilon<T>() / w) << u << " " << v;
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
    EXPECT_LE(log_residual(got, widen(a), 2), 8 * epsilon<T>() * (1 + exp_condition(got, widen(a), 2, 1))) << d;
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
template <class T> struct Spread {
  std::vector<T> a;
  WideMatrix eigenvalues;  // each conjugate pair of a real matrix once
};

template <class T> Spread<T> spread_spectrum(int n, unsigned seed, int decades, int closest) {
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
  WideMatrix distinct;
  for (int i = 0; i < n; ++i)
    if (block[i] == i) distinct.push_back(lambda[i]);
  return {narrow<T>(a), distinct};
}

// The largest divided difference of the principal logarithm over the
// spectrum (a conjugate pair of a real matrix counting both ways), times
// ||A|| / ||X||: the Kronecker form's lower bound of the logarithm's
// relative condition number. A pair close to the cut gives
// (log l - log conj l) / (l - conj l), about pi / (|l| angle).
long double log_condition(const WideMatrix& eigenvalues, bool pairs, const WideMatrix& a, const WideMatrix& x, int n) {
  WideMatrix all = eigenvalues;
  if (pairs)
    for (const wide& l : eigenvalues)
      if (l.imag() != 0) all.push_back(std::conj(l));
  long double largest = 0;
  for (const wide& p : all)
    for (const wide& q : all) {
      const wide d = p == q ? 1.0L / p : (std::log(p) - std::log(q)) / (p - q);
      largest = std::max(largest, std::abs(d));
    }
  return largest * norm1(a, n) / norm1(x, n);
}

// exp(X) = A to 16 n eps (1 + kappa_exp(X)), kappa_exp(X) the cost of merely
// rounding X, wherever the spectrum allows: moduli over 10^+-6, and
// eigenvalues of complex matrices down to 1e-8 from the cut, pairs of real
// matrices down to 1e-4. A conjugate pair closer than that carries the
// logarithm's ill-conditioning across the cut into X beyond what rounding X
// costs; there the bound is what that condition allows, n eps kappa_exp
// kappa_log. The square root balances first, and the balancing's factors
// spread with the spectrum: it is held to its backward bound over 10^+-3.
TYPED_TEST(ExtremeSpectraTest, RandomSpreadSpectra) {
  using T = TypeParam;
  const long double eps = epsilon<T>();
  const int decades = 6;
  for (int n : {2, 3, 5, 8})
    for (unsigned seed = 0; seed < 12; ++seed) {
      const std::vector<T> a = spread_spectrum<T>(n, 1000 * n + seed, 3, 4).a;
      ASSERT_GE(this->root(n, a), 0) << n << " " << seed;
      EXPECT_LE(root_residual(this->result(), widen(a), n), 16 * n * eps) << n << " " << seed;
      for (int closest : {4, 8}) {
        const Spread<T> spread = spread_spectrum<T>(n, 1000 * n + seed, decades, closest);
        const WideMatrix wa = widen(spread.a);
        ASSERT_GE(this->log(n, spread.a), 0) << n << " " << seed;
        const WideMatrix x = this->result();
        const long double kappa_exp = exp_condition(x, wa, n, seed);
        long double bound = 16 * n * eps * (1 + kappa_exp);
        if (!is_complex<T> && closest > 4) bound *= log_condition(spread.eigenvalues, true, wa, x, n);
        EXPECT_LE(log_residual(x, wa, n), bound) << n << " " << seed << " " << closest;
      }
    }
}

// ---- the logarithm's closed forms, statuses and failure contract -------------------------

TYPED_TEST(ExtremeSpectraTest, LogClosedForms) {
  using T = TypeParam;
  const double pi = std::numbers::pi;
  // log I = 0, exactly.
  ASSERT_EQ(this->log(3, {T(1), T(0), T(0), T(0), T(1), T(0), T(0), T(0), T(1)}), 0);
  EXPECT_EQ(this->result(), WideMatrix(9));
  // Triangular: log [a b; 0 c] = [log a, b (log a - log c) / (a - c); 0, log c],
  // and a Jordan block [2 1; 0 2] gives [log 2, 1/2; 0, log 2].
  ASSERT_EQ(this->log(2, {T(4), T(3), T(0), T(1)}), 0);
  EXPECT_LE(relative_distance(this->result(), {std::log(4.0L), std::log(4.0L), 0, 0}), 10 * epsilon<T>());
  ASSERT_EQ(this->log(2, {T(2), T(1), T(0), T(2)}), 0);
  EXPECT_LE(relative_distance(this->result(), {std::log(2.0L), 0.5L, 0, std::log(2.0L)}), 10 * epsilon<T>());
  // 1 x 1 on the principal branch; scratch handles are not needed.
  using cd = std::complex<double>;
  auto scalar = [&](T v, int32_t want, cd expected) {
    ZwArrayHandle a = this->host.template matrix<T>(1, 1, {v});
    ASSERT_EQ(this->log_call(a, 1), want);
    ASSERT_EQ(this->log_call(a, 2), want);
    const cd got(matrix_values<typename TestFixture::C>(this->x)[0]);
    EXPECT_LE(std::abs(got - expected), 2 * epsilon<T>() * std::abs(expected)) << cd(v);
  };
  scalar(T(std::exp(1.0)), 0, 1.0);
  scalar(T(-4), 20006, {std::log(4.0), pi});
  if constexpr (is_complex<T>) {
    scalar(T(3, 4), 0, {std::log(5.0), std::atan2(4.0, 3.0)});
    scalar(T(0, -2), 0, {std::log(2.0), -pi / 2});
    scalar(T(-1, -0.0), 20006, {0.0, pi});  // the axis takes +i pi, whatever the zero's sign
  }
}

TYPED_TEST(ExtremeSpectraTest, LogStatusFromTheSpectrum) {
  using T = TypeParam;
  // A negative eigenvalue still has a logarithm: kept, with the warning.
  const std::vector<T> negative{T(-1), T(1), T(0), T(2)};
  ASSERT_EQ(this->log(2, negative), 20006);
  EXPECT_LE(relative_distance(exp_by_taylor(this->result(), 2), widen(negative)), 20 * epsilon<T>());
  EXPECT_NEAR(double(this->result()[0].imag()), std::numbers::pi, 10 * epsilon<T>());
  // So does a tiny one, by the square root's test |lambda|^2 < eps.
  const RealOf<T> tiny = std::sqrt(epsilon<T>()) / 4;
  ASSERT_EQ(this->log(2, {T(tiny), T(0), T(0), T(1)}), 20006);
  EXPECT_NEAR(double(this->result()[0].real()), std::log(double(tiny)), -10 * epsilon<T>() * std::log(double(tiny)));
  // An eigenvalue 0 has none.
  for (int32_t n : {1, 2}) {
    ASSERT_EQ(this->log(1, {T(2)}), 0);
    EXPECT_EQ(this->log(n, n == 1 ? std::vector<T>{T(0)} : std::vector<T>{T(0), T(1), T(0), T(1)}), -20041);
    EXPECT_EQ(rows(this->x) + cols(this->x), 0);
  }
}

TYPED_TEST(ExtremeSpectraTest, LogFailuresInTheirOrderEmptyX) {
  using T = TypeParam;
  const std::vector<T> good{T(2), T(1), T(0), T(3)};
  auto expect_failure = [&](int32_t want, ZwArrayHandle a, int null_scratch = 0, int64_t failing_resize = 0) {
    // A success first leaves X to empty; a failing resize needs X empty
    // already, so that its resize reaches the host.
    if (failing_resize == 0) {
      ASSERT_EQ(this->log(2, good), 0);
    }
    FailNthResize fail(failing_resize);
    EXPECT_EQ(this->log_call(a, null_scratch), want);
    EXPECT_EQ(rows(this->x) + cols(this->x), 0);
  };
  auto m = [&](int32_t r, int32_t c, const std::vector<T>& v) { return this->host.template matrix<T>(r, c, v); };
  expect_failure(-20003, m(0, 0, {}));
  expect_failure(-20040, m(2, 3, std::vector<T>(6, T(NAN))));
  expect_failure(-20068, m(2, 2, {T(1), T(0), T(0), T(INFINITY)}), 1);
  expect_failure(-20068, m(1, 1, {T(NAN)}));
  for (int null_scratch = 1; null_scratch <= 5; ++null_scratch) expect_failure(-20999, m(2, 2, good), null_scratch);
  // X, then the workspace; every later resize is failed by the export sweep.
  for (int64_t k = 1; k <= 2; ++k) expect_failure(-20001, m(2, 2, good), 0, k);
}

}  // namespace
