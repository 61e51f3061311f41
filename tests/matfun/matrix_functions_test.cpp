// Matrix exponential, square root and power through the exports, against
// closed forms and long double references.
#include <algorithm>
#include <limits>
#include <numbers>

#include "matfun/binary_power.hpp"
#include "matfun/pade.hpp"
#include "reference.hpp"

namespace {

using namespace test;

template <class T> class MatrixFunctionsTest : public ::testing::Test {
 protected:
  using R = RealOf<T>;
  using C = std::complex<R>;
  Host host;
  ZwArrayHandle work, scale, balance, solve, pivots;                    // exponential
  ZwArrayHandle root_work, root_balance, schur_work, schur_real;         // square root, and scale
  ZwArrayHandle power_work, pinv_factors, pinv_values, pinv_work, pinv_real, pinv_int;  // power

  MatrixFunctionsTest() { refill(); }
  // Fresh scratch handles, non-empty so that emptying them is seen.
  void refill() {
    work = host.vector<T>({T(1)}), scale = host.vector<R>({R(2)}), balance = host.vector<T>({T(3)});
    solve = host.vector<T>({T(4)}), pivots = host.vector<int32_t>({5});
    root_work = host.vector<C>({C(6)}), root_balance = host.vector<C>({C(7)});
    schur_work = host.vector<C>({C(8)}), schur_real = host.vector<double>({9.0});
    power_work = host.vector<T>({T(10)}), pinv_factors = host.vector<T>({T(11)});
    pinv_values = host.vector<R>({R(12)}), pinv_work = host.vector<T>({T(13)});
    pinv_real = host.vector<double>({14.0}), pinv_int = host.vector<int32_t>({15});
  }
  ZwArrayHandle mat(int r, int c, const std::vector<T>& v) { return host.matrix<T>(r, c, v); }
  int32_t exp(ZwArrayHandle a) {
    given_.insert(given_.end(), {work, scale, balance, solve, pivots});
    return MatFun<T>::exp(a, work, scale, balance, solve, pivots);
  }
  int32_t sqrt(ZwArrayHandle a, ZwArrayHandle x) {
    given_.insert(given_.end(), {scale, root_work, root_balance, schur_work, schur_real});
    return MatFun<T>::sqrt(a, x, scale, root_work, root_balance, schur_work, schur_real);
  }
  int32_t pow(ZwArrayHandle a, int32_t p) {
    given_.insert(given_.end(), {power_work, pinv_factors, pinv_values, pinv_work, pinv_int});
    // The real types have no use for the pseudo-inverse's real workspace.
    (is_complex<T> ? given_ : passed_alone_).push_back(pinv_real);
    return MatFun<T>::pow(a, p, power_work, pinv_factors, pinv_values, pinv_work, pinv_real, pinv_int);
  }
  // Every scratch handle that a call was given is empty.
  void expect_scratch_empty() {
    for (ZwArrayHandle h : given_)
      if (h != nullptr) {
        EXPECT_EQ(length(h), 0);
      }
    for (ZwArrayHandle h : passed_alone_) EXPECT_EQ(length(h), 1);
  }
  std::vector<ZwArrayHandle> given_, passed_alone_;
  void expect_emptied(ZwArrayHandle h) { EXPECT_TRUE(rows(h) == 0 && cols(h) == 0); }
  template <class U = T> long double distance(ZwArrayHandle got, const WideMatrix& want) {
    return relative_distance(widen(matrix_values<U>(got)), want);
  }
};
TYPED_TEST_SUITE(MatrixFunctionsTest, ElementTypes);

template <class T> T make(double re, double im = 0) {
  if constexpr (is_complex<T>) return T(RealOf<T>(re), RealOf<T>(im));
  else return T(re);
}

template <class T> bool bitwise_equal(const std::vector<T>& a, const std::vector<T>& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), same_bits<T>);
}

// ---- exponential ---------------------------------------------------------------------------

TYPED_TEST(MatrixFunctionsTest, ExponentialOfDiagonalIsElementwise) {
  using T = TypeParam;
  using R = RealOf<T>;
  ZwArrayHandle zero = this->mat(3, 3, std::vector<T>(9));
  ASSERT_EQ(this->exp(zero), 0);
  EXPECT_TRUE(bitwise_equal(matrix_values<T>(zero), narrow<T>(identity(3))));
  // A NaN off the diagonal does not count as nonzero; no scratch is needed.
  const R nan = std::numeric_limits<R>::quiet_NaN();
  ZwArrayHandle a = this->mat(2, 2, {make<T>(1), make<T>(nan), make<T>(nan), make<T>(2)});
  ASSERT_EQ(MatFun<T>::exp(a, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  auto v = matrix_values<T>(a);
  EXPECT_EQ(v[0], make<T>(std::exp(R(1))));
  EXPECT_EQ(v[3], make<T>(std::exp(R(2))));
  EXPECT_TRUE(std::isnan(std::real(v[1])));
  if constexpr (is_complex<T>) {
    // e^(i pi) keeps e^0 sin(pi) as its imaginary part; a zero imaginary part
    // stays an exact +0, also where e^x overflows.
    const R pi = std::numbers::pi_v<R>;
    ZwArrayHandle b = this->mat(3, 3, {T(0, pi), T(0), T(0), T(0), T(2, 0), T(0), T(0), T(0), T(100, 0)});
    ASSERT_EQ(this->exp(b), 0);
    v = matrix_values<T>(b);
    // The sine of the rounded pi is 1.2246e-16 to within a few units of
    // the fifth digit from one libm to the next, so only that much is held.
    EXPECT_NEAR(v[0].real(), R(-1), 4 * std::numeric_limits<R>::epsilon());
    EXPECT_NEAR(v[0].imag(), std::sin(pi), std::abs(std::sin(pi)) * R(1e-3));
    EXPECT_NE(v[0].imag(), R(0));
    EXPECT_TRUE(same_bits(v[4], T(std::exp(R(2)), R(0))));
    EXPECT_TRUE(same_bits(v[8], T(std::exp(R(100)), R(0))));
  }
  this->expect_scratch_empty();
}

TYPED_TEST(MatrixFunctionsTest, ExponentialClosedForms) {
  using T = TypeParam;
  const long double tol = std::max<long double>(1e-8L, 64 * epsilon<T>());
  // Nilpotent: e^A = I + A, at norms below, at and above the scaling limits.
  for (double a : {0.25, 0.5, 1.0, 2.0, 8.0}) {
    ZwArrayHandle m = this->mat(2, 2, {make<T>(0), make<T>(a), make<T>(0), make<T>(0)});
    ASSERT_EQ(this->exp(m), 0);
    EXPECT_LE(this->distance(m, {1, a, 0, 1}), tol) << a;
  }
  ZwArrayHandle rot = this->mat(2, 2, {make<T>(0), make<T>(1), make<T>(-1), make<T>(0)});
  ASSERT_EQ(this->exp(rot), 0);
  const long double c = std::cos(1.0L), s = std::sin(1.0L);
  EXPECT_LE(this->distance(rot, {c, s, -s, c}), tol);
  if constexpr (is_complex<T>) {  // e^(i sigma_x) = cos 1 I + i sin 1 sigma_x
    ZwArrayHandle m = this->mat(2, 2, {make<T>(0), make<T>(0, 1), make<T>(0, 1), make<T>(0)});
    ASSERT_EQ(this->exp(m), 0);
    EXPECT_LE(this->distance(m, {c, wide(0, s), wide(0, s), c}), tol);
  }
  this->expect_scratch_empty();
}

// Rotations by a large angle theta, e^A unitary: each of the s squarings
// doubles F's relative rounding, and past theta ~ 1 / eps that had grown
// to infinity and NaN (65 squarings at 2e19 in float32). Where eps theta is
// small the closed form holds to about eps theta (1e-8 theta in float64,
// where the approximant's tolerance is the larger); beyond, no digit of
// cos theta is left, but the result stays bounded as the true one is. A
// spiral with eigenvalues -theta +- i theta decays to 0.
TYPED_TEST(MatrixFunctionsTest, ExponentialOfLargeRotationsStaysBounded) {
  using T = TypeParam;
  using R = RealOf<T>;
  const bool single = std::is_same_v<R, float>;
  const std::vector<double> angles = single ? std::vector<double>{1e3, 2e19, 1e30}
                                            : std::vector<double>{1e6, 1e20, 1e300};
  for (double theta : angles) {
    std::vector<std::vector<T>> generators = {{make<T>(0), make<T>(theta), make<T>(-theta), make<T>(0)}};
    if constexpr (is_complex<T>) generators.push_back({make<T>(0), make<T>(0, theta), make<T>(0, theta), make<T>(0)});
    generators.push_back({make<T>(-theta), make<T>(theta), make<T>(-theta), make<T>(-theta)});
    for (std::size_t g = 0; g < generators.size(); ++g) {
      ZwArrayHandle m = this->mat(2, 2, generators[g]);
      ASSERT_EQ(this->exp(m), 0) << theta << " " << g;
      const std::vector<T> v = matrix_values<T>(m);
      const bool decaying = g + 1 == generators.size();
      for (const T& e : v) {
        EXPECT_TRUE(std::isfinite(std::real(e)) && std::isfinite(std::imag(e))) << theta << " " << g;
        EXPECT_LE(std::abs(e), decaying ? std::numeric_limits<R>::min() : R(2)) << theta << " " << g;
      }
      const long double c = std::cos(static_cast<long double>(theta)), sn = std::sin(static_cast<long double>(theta));
      const WideMatrix want = g == 0 ? WideMatrix{c, sn, -sn, c} : WideMatrix{c, wide(0, sn), wide(0, sn), c};
      // The approximant's own tolerance, 1e-8, grows with theta as rounding does.
      const long double tolerance = 16 * theta * std::max<long double>(1e-8L, epsilon<T>());
      if (!decaying && tolerance < 1) {
        EXPECT_LE(this->distance(m, want), tolerance) << theta << " " << g;
      }
    }
  }
  this->expect_scratch_empty();
}

// ---- square root -----------------------------------------------------------------------------

// Random matrices, real and complex, with eigenvalues anywhere: X X = A to
// rounding. And B = X0 X0 with X0 = 2 I + E, |E| small: X0's eigenvalues lie
// in the right half-plane, so X0 is B's principal root. Orders above 32 take
// the blocked triangular root.
TYPED_TEST(MatrixFunctionsTest, SquareRootOfRandomMatrices) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  ZwArrayHandle x = this->host.template matrix<C>(2, 2, std::vector<C>(4));
  const auto* block = *x;
  ASSERT_EQ(this->sqrt(this->mat(2, 2, {make<T>(4), make<T>(1), make<T>(0), make<T>(9)}), x), 0);
  EXPECT_LE(this->template distance<C>(x, {2, 0.2L, 0, 3}), 16 * epsilon<T>());
  EXPECT_EQ(*x, block) << "an output of the right shape is not resized";
  for (int n : {7, 33, 90}) {
    const auto v = random_values<T>(n * n, 300 + n);
    ASSERT_EQ(this->sqrt(this->mat(n, n, v), x), 0) << n;
    const WideMatrix root = widen(matrix_values<C>(x));
    EXPECT_LE(relative_distance(product(root, root, n), widen(v)), 10.0L * n * epsilon<T>()) << n;

    WideMatrix x0 = widen(random_values<T>(n * n, 200 + n));
    for (int i = 0; i < n * n; ++i) x0[i] = x0[i] / static_cast<long double>(n) + (i % (n + 1) == 0 ? 2.0L : 0);
    ASSERT_EQ(this->sqrt(this->mat(n, n, narrow<T>(product(x0, x0, n))), x), 0) << n;
    EXPECT_LE(this->template distance<C>(x, x0), 20.0L * n * epsilon<T>()) << n;
  }
  this->expect_scratch_empty();
}

TYPED_TEST(MatrixFunctionsTest, SquareRootWarnsOfRepeatedZeroEigenvalues) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  ZwArrayHandle x = this->host.empty();
  // Both roots and the coupling term are zero: the 0/0 case is taken as 0.
  EXPECT_EQ(this->sqrt(this->mat(2, 2, std::vector<T>(4)), x), 20006);
  EXPECT_TRUE(bitwise_equal(matrix_values<C>(x), std::vector<C>(4)));
  EXPECT_EQ(this->sqrt(this->mat(2, 2, {make<T>(1), make<T>(0), make<T>(0), make<T>(0)}), x), 0);
  // Two squared moduli below epsilon: the warning, and the root kept.
  const std::vector<T> a = {make<T>(1e-9), make<T>(0), make<T>(0), make<T>(0), make<T>(4e-9),
                            make<T>(0),    make<T>(1), make<T>(0), make<T>(4)};
  ASSERT_EQ(this->sqrt(this->mat(3, 3, a), x), 20006);
  const WideMatrix root = widen(matrix_values<C>(x));
  EXPECT_LE(relative_distance(product(root, root, 3), widen(a)), 100 * epsilon<T>());
  this->expect_scratch_empty();
}

// ---- power -------------------------------------------------------------------------------------

TYPED_TEST(MatrixFunctionsTest, PowerMatchesRepeatedProducts) {
  using T = TypeParam;
  const int n = 6;
  // I + E with E small: negative powers are inverse powers, all of moderate size.
  auto v = random_values<T>(n * n, 600);
  for (int i = 0; i < n * n; ++i) v[i] = v[i] * RealOf<T>(0.3 / n) + T(i % (n + 1) == 0);
  for (int p = -5; p <= 9; ++p) {
    ZwArrayHandle a = this->mat(n, n, v);
    ASSERT_EQ(this->pow(a, p), 0) << p;
    EXPECT_LE(this->distance(a, power_by_products(widen(v), n, p)), 20.0L * (std::abs(p) + 1) * n * epsilon<T>())
        << p;
  }
  // A large power of a shear stays in integers that every type holds exactly.
  const std::vector<T> shear = {make<T>(1), make<T>(1), make<T>(0), make<T>(1)};
  ZwArrayHandle a = this->mat(2, 2, shear);
  ASSERT_EQ(this->pow(a, 1000003), 0);
  EXPECT_EQ(matrix_values<T>(a), (std::vector<T>{make<T>(1), make<T>(1000003), make<T>(0), make<T>(1)}));
  // -2^31 is the power 2^31 of the pseudo-inverse: even, so a reflection
  // gives the identity (a magnitude clipped to 2^31 - 1 would give it back).
  a = this->mat(2, 2, {make<T>(1), make<T>(0), make<T>(0), make<T>(-1)});
  ASSERT_EQ(this->pow(a, INT32_MIN), 0);
  EXPECT_LE(this->distance(a, identity(2)), 16 * epsilon<T>());
  this->expect_scratch_empty();
}

// A = u v^H has rank one: A+ = v u^H / (|u|^2 |v|^2) and
// (A+)^k = (u^H v)^(k-1) v u^H / (|u|^2 |v|^2)^k.
TYPED_TEST(MatrixFunctionsTest, PowerOfSingularMatrixUsesPseudoInverse) {
  using T = TypeParam;
  ZwArrayHandle a = this->mat(2, 2, {make<T>(1), make<T>(0), make<T>(0), make<T>(0)});
  ASSERT_EQ(this->pow(a, -2), 0);
  EXPECT_LE(this->distance(a, {1, 0, 0, 0}), 8 * epsilon<T>());
  const int n = 4;
  const WideMatrix u = widen(random_values<T>(n, 700)), w = widen(random_values<T>(n, 701));
  WideMatrix av(n * n), pinv(n * n);
  wide uw = 0;
  long double uuww = 0;
  for (int i = 0; i < n; ++i) {
    uw += std::conj(u[i]) * w[i];
    for (int j = 0; j < n; ++j) {
      av[i * n + j] = u[i] * std::conj(w[j]);
      pinv[i * n + j] = w[i] * std::conj(u[j]);
      uuww += std::norm(u[i]) * std::norm(w[j]);
    }
  }
  for (int k : {1, 2, 5}) {
    a = this->mat(n, n, narrow<T>(av));
    ASSERT_EQ(this->pow(a, -k), 0) << k;
    WideMatrix want = pinv;
    for (wide& x : want) x *= std::pow(uw, k - 1) / std::pow(uuww, static_cast<long double>(k));
    EXPECT_LE(this->distance(a, want), 100.0L * k * epsilon<T>()) << k;
  }
  this->expect_scratch_empty();
}

TYPED_TEST(MatrixFunctionsTest, PowerZeroAndOneTakeNoScratchNorLookAtValues) {
  using T = TypeParam;
  const T nan = make<T>(std::nan(""), std::nan(""));
  ZwArrayHandle a = this->mat(3, 3, std::vector<T>(9, nan));
  ASSERT_EQ(MatFun<T>::pow(a, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_TRUE(bitwise_equal(matrix_values<T>(a), narrow<T>(identity(3))));
  const std::vector<T> v = {make<T>(1, 2), nan, make<T>(-0.0), make<T>(3)};
  a = this->mat(2, 2, v);
  ASSERT_EQ(MatFun<T>::pow(a, 1, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_TRUE(bitwise_equal(matrix_values<T>(a), v));
  a = this->mat(2, 2, v);  // no screen for positive powers: NaN propagates
  ASSERT_EQ(this->pow(a, 3), 0);
  EXPECT_TRUE(std::isnan(std::real(matrix_values<T>(a)[0])));
}

// ---- failures: the first failing check decides, outputs emptied ------------------------------------

TYPED_TEST(MatrixFunctionsTest, FailuresEmptyTheOutput) {
  using T = TypeParam;
  ZwArrayHandle x = this->host.empty();
  auto expect_status = [&](int32_t got, int32_t want, ZwArrayHandle out, const char* what) {
    EXPECT_EQ(got, want) << what;
    this->expect_emptied(out);
    this->expect_scratch_empty();
    this->refill();
  };
  for (auto [r, c] : {std::pair{2, 3}, {0, 3}, {3, 0}}) {
    ZwArrayHandle a = this->mat(r, c, std::vector<T>(r * c, T(1)));
    expect_status(this->exp(a), r == 0 ? -20003 : -20040, a, "exp shape");
    expect_status(this->sqrt(this->mat(r, c, std::vector<T>(r * c, T(1))), x), r == 0 ? -20003 : -20040, x,
                  "sqrt shape");
    a = this->mat(r, c, std::vector<T>(r * c, T(1)));
    expect_status(this->pow(a, 2), -20040, a, "power: the square test comes first");
  }
  ZwArrayHandle a = this->mat(0, 0, {});
  expect_status(this->pow(a, 0), -20003, a, "power of 0 x 0");

  // Each needed scratch handle null in turn.
  const std::vector<T> full = {make<T>(1), make<T>(2), make<T>(3), make<T>(4)};
  for (ZwArrayHandle* h : {&this->work, &this->scale, &this->balance, &this->solve, &this->pivots}) {
    *h = nullptr;
    a = this->mat(2, 2, full);
    expect_status(this->exp(a), -20999, a, "exp, null scratch");
  }
  for (ZwArrayHandle* h : {&this->scale, &this->root_work, &this->root_balance, &this->schur_work,
                           &this->schur_real}) {
    *h = nullptr;
    expect_status(this->sqrt(this->mat(2, 2, full), x), -20999, x, "sqrt, null scratch");
  }
  this->power_work = nullptr;
  a = this->mat(2, 2, full);
  expect_status(this->pow(a, 2), -20999, a, "pow, null scratch");
  // Values refused by balancing, the solver or the Schur kernel.
  const T inf = make<T>(std::numeric_limits<double>::infinity());
  const std::vector<T> refused = {inf, make<T>(1), make<T>(0), make<T>(1)};
  a = this->mat(2, 2, refused);
  expect_status(this->exp(a), -20068, a, "exp");
  expect_status(this->sqrt(this->mat(2, 2, refused), x), -20068, x, "sqrt");
  a = this->mat(2, 2, refused);
  expect_status(this->pow(a, -2), -20068, a, "pow");
}

// A NaN sharing its row and column with an infinity sends the core's
// balancing round its scaling loop for ever; it is refused before balancing,
// as the core refuses other NaNs.
TYPED_TEST(MatrixFunctionsTest, NaNBesideInfinityIsRefusedBeforeBalancing) {
  using T = TypeParam;
  const double inf = std::numeric_limits<double>::infinity(), nan = std::nan("");
  std::vector<T> hung;
  if constexpr (is_complex<T>)
    hung = {make<T>(-6.4375, inf), make<T>(nan, inf), make<T>(2.5625, -6.9375), make<T>(-7, -7)};
  else
    hung = {make<T>(-7), make<T>(inf), make<T>(2.5), make<T>(nan)};
  ZwArrayHandle a = this->mat(2, 2, hung);
  EXPECT_EQ(this->exp(a), -20999);
  this->expect_emptied(a);
  ZwArrayHandle x = this->host.empty();
  EXPECT_EQ(this->sqrt(this->mat(2, 2, hung), x), -20999);
  this->expect_emptied(x);
  this->expect_scratch_empty();
}

// Each resize of a successful call made to fail in turn: -20001, the output
// emptied and every scratch handle empty.
TYPED_TEST(MatrixFunctionsTest, FailingResizesLeaveNothingBehind) {
  using T = TypeParam;
  const int n = 5;
  const auto v = random_values<T>(n * n, 400);
  ZwArrayHandle x = this->host.empty();
  // `call` runs one export on a fresh matrix and returns its status and output.
  auto sweep = [&](auto call) {
    const int64_t before = ZwrtResizeCount();
    ASSERT_GE(call().first, 0);
    const int64_t resizes = ZwrtResizeCount() - before;
    for (int64_t k = 1; k <= resizes; ++k) {
      this->refill();
      std::pair<int32_t, ZwArrayHandle> result;
      {
        FailNthResize fail(k);
        result = call();
      }
      this->expect_scratch_empty();
      if (result.first >= 0) continue;  // the resize that failed was one that empties
      EXPECT_EQ(result.first, -20001) << "resize " << k;
      this->expect_emptied(result.second);
    }
  };
  sweep([&] {
    ZwArrayHandle a = this->mat(n, n, v);
    return std::pair{this->exp(a), a};
  });
  sweep([&] { return std::pair{this->sqrt(this->mat(n, n, v), x), x}; });
  for (int32_t p : {-1, -3, 2, 5}) {
    sweep([&] {
      ZwArrayHandle a = this->mat(n, n, v);
      return std::pair{this->pow(a, p), a};
    });
  }
}

// ---- the scalar decisions of the exponential and the product order of the power ----------------------

TEST(MatrixExponentialRules, ScalingBringsTheNormBelowOne) {
  EXPECT_EQ(tarnx::scaling_power(0.4999), 0);
  EXPECT_EQ(tarnx::scaling_power(0.5), 0);  // [0.5, 1) is deliberately left alone
  EXPECT_EQ(tarnx::scaling_power(0.99), 0);
  EXPECT_EQ(tarnx::scaling_power(1.0), 1);
  EXPECT_EQ(tarnx::scaling_power(2.0), 2);
  for (double norm = 1.0; norm < 1e300; norm *= 3.7) {
    const double scaled = std::ldexp(norm, -tarnx::scaling_power(norm));
    EXPECT_TRUE(scaled >= 0.5 && scaled < 1.0) << norm;
  }
}

// Against the error term in closed form, 2^(3-2q) (q!)^2 / ((2q)! (2q+1)!).
TEST(MatrixExponentialRules, PadeDegreeIsTheSmallestThatMeetsTheTolerance) {
  auto meets = [](int q, double norm) {
    const double e = std::exp((3 - 2 * q) * std::log(2.0) + 2 * std::lgamma(q + 1.0) -
                              std::lgamma(2 * q + 1.0) - std::lgamma(2 * q + 2.0));
    return e * std::exp(e) <= 1e-8 / (std::exp(norm) * norm);
  };
  for (double norm : {1e-9, 1e-6, 1e-3, 0.01, 0.1, 0.25, 0.5, 0.75, 0.999, 1.0, 4.0, 20.0}) {
    const int q = tarnx::select_pade_degree(tarnx::kExponentialTolerance, norm);
    EXPECT_TRUE(meets(q, norm)) << norm;
    EXPECT_TRUE(q == 1 || !meets(q - 1, norm)) << norm;
  }
  EXPECT_EQ(tarnx::select_pade_degree(1e-8, 1e-3), 3);
  EXPECT_EQ(tarnx::select_pade_degree(1e-8, 0.5), 4);
}

// The buffers hold exponents of one matrix, so a product adds them: the
// result must be P^m, after the promised number of products.
TEST(BinaryPower, ProductCountAndResult) {
  auto run = [](uint32_t m, int& products) {
    int64_t exponent[3] = {1, -1, -1};
    products = 0;
    auto multiply = [&](int x, int y, int out) {
      EXPECT_TRUE(out != x && out != y);
      exponent[out] = exponent[x] + exponent[y];
      ++products;
    };
    auto copy = [&](int from, int to) { exponent[to] = exponent[from]; };
    return exponent[tarnx::binary_power(0, 1, 2, m, multiply, copy)];
  };
  int products = 0;
  for (uint32_t m : {1u, 3u, 6u, 7u, 1000u, 1000003u, 2147483647u}) {
    EXPECT_EQ(run(m, products), static_cast<int64_t>(m));
    EXPECT_LE(products, 2 * static_cast<int>(std::log2(m))) << m;
  }
  EXPECT_EQ(run(255u, products), 255);
  EXPECT_EQ(products, 14);
  for (int k = 1; k <= 31; ++k) {
    EXPECT_EQ(run(uint32_t{1} << k, products), int64_t{1} << k);
    EXPECT_EQ(products, k) << "a power of two is squarings only";
  }
}

}  // namespace
