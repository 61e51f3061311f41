// Matrix exponential, square root and power through the exports, against
// closed forms and long double references.
#include <algorithm>
#include <cstdio>
#include <numbers>

#include "matfun/pade.hpp"
#include "matfun/triangular_sqrt.hpp"
#include "reference.hpp"

namespace {

using namespace test;

template <class T> class MatrixFunctionsTest : public ::testing::Test {
 protected:
  using R = RealOf<T>;
  using C = std::complex<R>;
  Host host;
  // Scratch handles arrive non-empty, so that emptying them is seen.
  ZwArrayHandle work = host.vector<T>({T(1), T(2)});
  ZwArrayHandle scale = host.vector<R>({R(3)});
  ZwArrayHandle balance = host.vector<T>({T(4)});
  ZwArrayHandle solve = host.vector<T>({T(5)});
  ZwArrayHandle pivots = host.vector<int32_t>({6});
  ZwArrayHandle root_work = host.vector<C>({C(7)});
  ZwArrayHandle root_balance = host.vector<C>({C(8)});
  ZwArrayHandle schur_work = host.vector<C>({C(9)});
  ZwArrayHandle schur_real_work = host.vector<double>({10.0});

  ZwArrayHandle mat(int r, int c, const std::vector<T>& v) { return host.matrix<T>(r, c, v); }
  int32_t exp(ZwArrayHandle a) {
    given(work, scale, balance, solve, pivots);
    return MatFun<T>::exp(a, work, scale, balance, solve, pivots);
  }
  int32_t sqrt(ZwArrayHandle a, ZwArrayHandle x) {
    given(scale, root_work, root_balance, schur_work, schur_real_work);
    return MatFun<T>::sqrt(a, x, scale, root_work, root_balance, schur_work, schur_real_work);
  }
  // Every scratch handle that a call has been given is empty.
  void expect_scratch_empty() {
    for (ZwArrayHandle h : given_) EXPECT_EQ(length(h), 0);
  }
  void expect_emptied(ZwArrayHandle h) {
    EXPECT_EQ(rows(h), 0);
    EXPECT_EQ(cols(h), 0);
  }
  // Relative distance of a computed matrix from a reference.
  long double distance(ZwArrayHandle got, const WideMatrix& want) {
    if (rows(got) * cols(got) != static_cast<int>(want.size())) return INFINITY;
    return relative_distance(widen(matrix_values<T>(got)), want);
  }
  template <class... H> void given(H... h) {
    for (ZwArrayHandle x : {h...})
      if (x != nullptr && std::find(given_.begin(), given_.end(), x) == given_.end()) given_.push_back(x);
  }
  std::vector<ZwArrayHandle> given_;
  long double distance_c(ZwArrayHandle got, const WideMatrix& want) {
    if (rows(got) * cols(got) != static_cast<int>(want.size())) return INFINITY;
    return relative_distance(widen(matrix_values<C>(got)), want);
  }
};
TYPED_TEST_SUITE(MatrixFunctionsTest, ElementTypes);

template <class T> T make(double re, double im = 0) {
  if constexpr (is_complex<T>) return T(RealOf<T>(re), RealOf<T>(im));
  else return T(re);
}

// ---- exponential ---------------------------------------------------------------------------

TYPED_TEST(MatrixFunctionsTest, ExponentialOfDiagonalIsElementwise) {
  using T = TypeParam;
  using R = RealOf<T>;
  ZwArrayHandle zero = this->mat(3, 3, std::vector<T>(9));
  ASSERT_EQ(this->exp(zero), 0);
  EXPECT_EQ(matrix_values<T>(zero), widen_back<T>(identity(3)));
  this->expect_scratch_empty();

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
    // stays an exact zero, also where e^x overflows.
    const R pi = std::numbers::pi_v<R>;
    ZwArrayHandle b = this->mat(3, 3, {T(0, pi), T(0), T(0), T(0), T(2, 0), T(0), T(0), T(0), T(100, 0)});
    ASSERT_EQ(this->exp(b), 0);
    v = matrix_values<T>(b);
    EXPECT_EQ(v[0], T(std::cos(pi), std::sin(pi)));
    EXPECT_NE(v[0].imag(), R(0));
    EXPECT_EQ(v[4].real(), std::exp(R(2)));
    EXPECT_TRUE(same_bits(v[4].imag(), R(0)));
    EXPECT_EQ(v[8].real(), std::exp(R(100)));
    EXPECT_EQ(v[8].imag(), R(0));
    this->expect_scratch_empty();
  }
}

TYPED_TEST(MatrixFunctionsTest, ExponentialClosedForms) {
  using T = TypeParam;
  const long double tol = std::max<long double>(1e-8L, 64 * epsilon<T>());
  // Nilpotent: e^A = I + A, at infinity norms below, at and above 1.
  for (double a : {0.25, 0.5, 1.0, 2.0, 8.0}) {
    ZwArrayHandle m = this->mat(2, 2, {make<T>(0), make<T>(a), make<T>(0), make<T>(0)});
    ASSERT_EQ(this->exp(m), 0);
    EXPECT_LE(this->distance(m, {1, a, 0, 1}), tol) << a;
  }
  // A rotation generator gives the rotation.
  ZwArrayHandle rot = this->mat(2, 2, {make<T>(0), make<T>(1), make<T>(-1), make<T>(0)});
  ASSERT_EQ(this->exp(rot), 0);
  const long double c = std::cos(1.0L), s = std::sin(1.0L);
  EXPECT_LE(this->distance(rot, {c, s, -s, c}), tol);
  if constexpr (is_complex<T>) {
    // e^(i sigma_x) = cos 1 I + i sin 1 sigma_x.
    ZwArrayHandle m = this->mat(2, 2, {make<T>(0), make<T>(0, 1), make<T>(0, 1), make<T>(0)});
    ASSERT_EQ(this->exp(m), 0);
    EXPECT_LE(this->distance(m, {c, wide(0, s), wide(0, s), c}), tol);
  }
  this->expect_scratch_empty();
}

TYPED_TEST(MatrixFunctionsTest, ExponentialMatchesTaylorReference) {
  using T = TypeParam;
  // The degree is chosen for a relative error of 1e-8; the squarings and the
  // working precision add rounding of order n eps per squaring.
  for (int n : {2, 5, 12, 30}) {
    for (double size : {0.1, 1.0, 6.0}) {
      auto v = random_values<T>(n * n, 100 + n);
      for (T& x : v) x *= RealOf<T>(size / std::sqrt(double(n)));
      ZwArrayHandle a = this->mat(n, n, v);
      ASSERT_EQ(this->exp(a), 0) << n << " " << size;
      const long double err = this->distance(a, exp_by_taylor(widen(v), n));
      EXPECT_LE(err, 1e-8L + 20.0L * n * epsilon<T>()) << n << " " << size;
      this->expect_scratch_empty();
    }
  }
}

TYPED_TEST(MatrixFunctionsTest, ExponentialFailures) {
  using T = TypeParam;
  ZwArrayHandle a = this->mat(2, 3, std::vector<T>(6, T(1)));
  EXPECT_EQ(this->exp(a), -20040);
  this->expect_emptied(a);
  EXPECT_EQ(this->exp(this->mat(0, 0, {})), -20003);
  this->expect_scratch_empty();

  const std::vector<T> full = {make<T>(1), make<T>(2), make<T>(3), make<T>(4)};
  ZwArrayHandle none = nullptr;
  ZwArrayHandle* handles[] = {&this->work, &this->scale, &this->balance, &this->solve, &this->pivots};
  for (ZwArrayHandle* h : handles) {
    ZwArrayHandle kept = *h;
    *h = none;
    a = this->mat(2, 2, full);
    EXPECT_EQ(this->exp(a), -20999);
    this->expect_emptied(a);
    *h = kept;
    this->expect_scratch_empty();
  }

  // A NaN on the diagonal of a matrix that is not diagonal is refused.
  a = this->mat(2, 2, {make<T>(std::nan("")), make<T>(1), make<T>(0), make<T>(1)});
  EXPECT_LT(this->exp(a), 0);
  this->expect_emptied(a);
  this->expect_scratch_empty();
}

// ---- square root -----------------------------------------------------------------------------

TYPED_TEST(MatrixFunctionsTest, SquareRootOfScalarIsPrincipal) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  ZwArrayHandle x = this->host.empty();
  auto root_of = [&](T v) {
    EXPECT_EQ(MatFun<T>::sqrt(this->mat(1, 1, {v}), x, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    return matrix_values<C>(x).at(0);
  };
  EXPECT_EQ(root_of(make<T>(4)), C(2, 0));
  EXPECT_EQ(root_of(make<T>(-4)), C(0, 2));
  EXPECT_EQ(root_of(make<T>(0)), C(0, 0));
  if constexpr (is_complex<T>) {
    EXPECT_EQ(root_of(T(3, 4)), C(2, 1));
    EXPECT_EQ(root_of(T(3, -4)), C(2, -1));
    // Just below the cut the root is in the lower half-plane.
    EXPECT_EQ(root_of(T(-4, -0.0)), C(0, 2));
    EXPECT_LT(root_of(T(-4, -1e-30)).imag(), 0);
  }
}

TYPED_TEST(MatrixFunctionsTest, SquareRootClosedForms) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  ZwArrayHandle x = this->host.empty();
  ASSERT_EQ(this->sqrt(this->mat(2, 2, {make<T>(4), make<T>(0), make<T>(0), make<T>(9)}), x), 0);
  EXPECT_LE(this->distance_c(x, {2, 0, 0, 3}), 4 * epsilon<T>());
  // Upper triangular: [[2, 1/5], [0, 3]] squared is [[4, 1], [0, 9]].
  ASSERT_EQ(this->sqrt(this->mat(2, 2, {make<T>(4), make<T>(1), make<T>(0), make<T>(9)}), x), 0);
  EXPECT_LE(this->distance_c(x, {2, 0.2L, 0, 3}), 16 * epsilon<T>());
  // A rotation by 90 degrees has the rotation by 45 degrees as its root.
  ASSERT_EQ(this->sqrt(this->mat(2, 2, {make<T>(0), make<T>(-1), make<T>(1), make<T>(0)}), x), 0);
  const long double h = std::sqrt(0.5L);
  EXPECT_LE(this->distance_c(x, {h, -h, h, h}), 16 * epsilon<T>());
  // A reused output of the right shape keeps its block.
  ZwArrayHandle reused = this->host.template matrix<C>(2, 2, std::vector<C>(4));
  const auto* block = *reused;
  ASSERT_EQ(this->sqrt(this->mat(2, 2, {make<T>(4), make<T>(0), make<T>(0), make<T>(9)}), reused), 0);
  EXPECT_EQ(*reused, block);
  this->expect_scratch_empty();
}

// B = X0 X0 with X0 = 2 I + E, |E| small: X0's eigenvalues lie in the right
// half-plane, so X0 is B's principal root.
TYPED_TEST(MatrixFunctionsTest, SquareRootRecoversPrincipalRoot) {
  using T = TypeParam;
  for (int n : {3, 16, 45, 120}) {
    auto e = random_values<T>(n * n, 200 + n);
    WideMatrix x0 = widen(e);
    for (wide& v : x0) v *= 1.0L / n;
    for (int i = 0; i < n; ++i) x0[i * n + i] += 2;
    const WideMatrix b = product(x0, x0, n);
    ZwArrayHandle x = this->host.empty();
    ASSERT_EQ(this->sqrt(this->mat(n, n, widen_back<T>(b)), x), 0) << n;
    EXPECT_LE(this->distance_c(x, x0), 20.0L * n * epsilon<T>()) << n;
    this->expect_scratch_empty();
  }
}

// Random matrices, real and complex, with eigenvalues anywhere: X X = A to
// rounding (the residual of a stable method is small whatever the root's
// condition).
TYPED_TEST(MatrixFunctionsTest, SquareRootResidualOnRandomMatrices) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  for (int n : {2, 7, 33, 90}) {
    const auto v = random_values<T>(n * n, 300 + n);
    ZwArrayHandle x = this->host.empty();
    ASSERT_EQ(this->sqrt(this->mat(n, n, v), x), 0) << n;
    const WideMatrix root = widen(matrix_values<C>(x));
    EXPECT_LE(relative_distance(product(root, root, n), widen(v)), 10.0L * n * epsilon<T>()) << n;
  }
  this->expect_scratch_empty();
}

TYPED_TEST(MatrixFunctionsTest, SquareRootWarnsOfRepeatedZeroEigenvalues) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  ZwArrayHandle x = this->host.empty();
  // Both roots and the coupling are zero: the 0/0 case is taken as 0.
  EXPECT_EQ(this->sqrt(this->mat(2, 2, std::vector<T>(4)), x), 20006);
  EXPECT_EQ(matrix_values<C>(x), std::vector<C>(4));
  this->expect_scratch_empty();
  EXPECT_EQ(this->sqrt(this->mat(2, 2, {make<T>(1), make<T>(0), make<T>(0), make<T>(0)}), x), 0);
  // Two eigenvalues whose squared moduli are below epsilon, the root kept.
  const double d1 = 1e-9, d2 = 4e-9;
  const std::vector<T> a = {make<T>(d1), make<T>(0), make<T>(0), make<T>(0), make<T>(d2), make<T>(0),
                            make<T>(1), make<T>(0), make<T>(4)};
  ASSERT_EQ(this->sqrt(this->mat(3, 3, a), x), 20006);
  ASSERT_EQ(rows(x), 3);
  const WideMatrix root = widen(matrix_values<C>(x));
  EXPECT_LE(relative_distance(product(root, root, 3), widen(a)), 100 * epsilon<T>());
  this->expect_scratch_empty();
}

TYPED_TEST(MatrixFunctionsTest, SquareRootFailures) {
  using T = TypeParam;
  ZwArrayHandle x = this->host.template matrix<typename TestFixture::C>(1, 1, {{}});
  EXPECT_EQ(this->sqrt(this->mat(3, 2, std::vector<T>(6, T(1))), x), -20040);
  this->expect_emptied(x);
  EXPECT_EQ(this->sqrt(this->mat(0, 0, {}), x), -20003);
  this->expect_scratch_empty();

  const std::vector<T> full = {make<T>(1), make<T>(2), make<T>(3), make<T>(4)};
  ZwArrayHandle* handles[] = {&this->root_work, &this->scale, &this->root_balance, &this->schur_work,
                              &this->schur_real_work};
  for (ZwArrayHandle* h : handles) {
    ZwArrayHandle kept = *h;
    *h = nullptr;
    EXPECT_EQ(this->sqrt(this->mat(2, 2, full), x), -20999);
    this->expect_emptied(x);
    *h = kept;
    this->expect_scratch_empty();
  }
  const auto inf = std::numeric_limits<RealOf<T>>::infinity();
  EXPECT_LT(this->sqrt(this->mat(2, 2, {make<T>(1), make<T>(inf), make<T>(0), make<T>(1)}), x), 0);
  this->expect_emptied(x);
  this->expect_scratch_empty();
}

// The recursive triangular root, on plain-loop products, against the
// element recurrence in long double; orders above the leaf size take the
// blocked path, odd ones split unevenly.
template <class R> struct LoopProduct {
  static void subtract(int32_t m, int32_t p, int32_t k, const std::complex<R>* x,
                       const std::complex<R>* y, std::complex<R>* c, std::size_t ld) {
    for (int32_t i = 0; i < m; ++i)
      for (int32_t j = 0; j < p; ++j)
        for (int32_t l = 0; l < k; ++l) c[i * ld + j] -= x[i * ld + l] * y[l * ld + j];
  }
};

template <class R> void check_triangular_root(int n) {
  using C = std::complex<R>;
  auto t = random_values<C>(n * n, 500 + n);
  for (int i = 0; i < n; ++i) {
    t[i * n + i] += C(3);
    for (int j = 0; j < i; ++j) t[i * n + j] = C(R(7));  // never read
  }
  std::vector<C> r(n * n, C(R(9)));
  tarnx::triangularSquareRoot<R, LoopProduct<R>>(t.data(), n, r.data());
  WideMatrix want = widen(t);
  for (int j = 0; j < n; ++j) {
    want[j * n + j] = std::sqrt(want[j * n + j]);
    for (int i = j - 1; i >= 0; --i) {
      wide s = want[i * n + j];
      for (int k = i + 1; k < j; ++k) s -= want[i * n + k] * want[k * n + j];
      want[i * n + j] = s / (want[i * n + i] + want[j * n + j]);
    }
    for (int i = j + 1; i < n; ++i) want[i * n + j] = 0;
  }
  EXPECT_LE(relative_distance(widen(r), want), 10.0L * n * std::numeric_limits<R>::epsilon()) << n;
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < i; ++j) EXPECT_EQ(r[i * n + j], C(0)) << i << " " << j;
}

TEST(TriangularSquareRoot, RecursionSumsTheElementRecurrence) {
  for (int n : {1, 5, 32, 33, 71, 130}) {
    check_triangular_root<float>(n);
    check_triangular_root<double>(n);
  }
}

// ---- every path hands its scratch back ----------------------------------------------------------

// Each resize of a successful call made to fail in turn: -20001, the output
// emptied and every scratch handle empty.
TYPED_TEST(MatrixFunctionsTest, FailingResizesLeaveNothingBehind) {
  using T = TypeParam;
  const int n = 5;
  const auto v = random_values<T>(n * n, 400);
  auto sweep = [&](auto call, const char* what) {
    int64_t resizes;
    {
      ZwArrayHandle a = this->mat(n, n, v);
      const int64_t before = ZwrtResizeCount();
      ASSERT_GE(call(a), 0) << what;
      resizes = ZwrtResizeCount() - before;
    }
    for (int64_t k = 1; k <= resizes; ++k) {
      ZwArrayHandle a = this->mat(n, n, v);
      int32_t status;
      {
        FailNthResize fail(k);
        status = call(a);
      }
      this->expect_scratch_empty();
      if (status >= 0) continue;  // the failing resize was one that empties
      EXPECT_EQ(status, -20001) << what << " resize " << k;
    }
  };
  ZwArrayHandle x = this->host.empty();
  sweep([&](ZwArrayHandle a) {
    const int32_t s = this->exp(a);
    if (s < 0) this->expect_emptied(a);
    return s;
  }, "exponential");
  sweep([&](ZwArrayHandle a) {
    const int32_t s = this->sqrt(a, x);
    if (s < 0) this->expect_emptied(x);
    return s;
  }, "square root");
}

// ---- the exponential's scalar decisions ---------------------------------------------------------

TEST(MatrixExponentialRules, ScalingBringsTheNormBelowOne) {
  EXPECT_EQ(tarnx::scalingPower(0.0), 0);
  EXPECT_EQ(tarnx::scalingPower(0.4999), 0);
  EXPECT_EQ(tarnx::scalingPower(0.5), 0);  // [0.5, 1) is deliberately left alone
  EXPECT_EQ(tarnx::scalingPower(0.99), 0);
  EXPECT_EQ(tarnx::scalingPower(1.0), 1);
  EXPECT_EQ(tarnx::scalingPower(1.5), 1);
  EXPECT_EQ(tarnx::scalingPower(2.0), 2);
  for (double norm = 1.0; norm < 1e300; norm *= 3.7) {
    const double scaled = std::ldexp(norm, -tarnx::scalingPower(norm));
    EXPECT_GE(scaled, 0.5) << norm;
    EXPECT_LT(scaled, 1.0) << norm;
  }
}

// Against the error term in closed form, 2^(3-2q) (q!)^2 / ((2q)! (2q+1)!),
// evaluated through log-gamma.
TEST(MatrixExponentialRules, PadeDegreeIsTheSmallestThatMeetsTheTolerance) {
  auto error_term = [](int q) {
    const double lg = (3 - 2 * q) * std::log(2.0) + 2 * std::lgamma(q + 1.0) - std::lgamma(2 * q + 1.0) -
                      std::lgamma(2 * q + 2.0);
    return std::exp(lg);
  };
  auto meets = [&](int q, double norm) {
    const double e = error_term(q);
    return e * std::exp(e) <= 1e-8 / (std::exp(norm) * norm);
  };
  int previous = 1;
  for (double norm : {1e-9, 1e-6, 1e-3, 0.01, 0.1, 0.25, 0.5, 0.75, 0.999, 1.0, 4.0, 20.0}) {
    const int q = tarnx::selectPadeDegree(tarnx::kExponentialTolerance, norm);
    EXPECT_TRUE(meets(q, norm)) << norm;
    if (q > 1) {
      EXPECT_FALSE(meets(q - 1, norm)) << norm;
    }
    EXPECT_GE(q, previous) << "the degree grows with the norm";
    previous = q;
  }
  EXPECT_EQ(tarnx::selectPadeDegree(1e-8, 0.5), 4);
  EXPECT_EQ(tarnx::selectPadeDegree(1e-8, 1e-3), 3);
}

}  // namespace
