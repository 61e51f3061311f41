// Least squares through the exports: closed forms, the choice of method by
// tolerance and shape, the second pass, and the checks in their order.
#include "solve/reference.hpp"

namespace {

using namespace test;

template <class T> class LeastSquaresTest : public ::testing::Test {
 protected:
  using R = RealOf<T>;
  Host host;
  // Scratch handles arrive non-empty, so that emptying them is seen.
  ZwArrayHandle s1 = host.vector<T>({T(1)});
  ZwArrayHandle s2 = host.vector<double>({2});
  ZwArrayHandle s3 = host.vector<int32_t>({3});
  ZwArrayHandle workspace = host.vector<T>({T(4)});
  ZwArrayHandle values = host.vector<R>({R(5)});

  void expect_scratch_empty(bool with_workspace = true) {
    for (ZwArrayHandle h : {s1, s3, values}) EXPECT_EQ(length(h), 0);
    if (with_workspace) {
      EXPECT_EQ(length(workspace), 0);
    }
  }
  // One right-hand side when k is 0 (the vector export), else k of them.
  std::vector<T> lsq(int m, int n, const std::vector<T>& a, int k, const std::vector<T>& b, R tol,
                     int32_t want, bool with_workspace = true) {
    ZwArrayHandle ws = with_workspace ? workspace : nullptr;
    ZwArrayHandle ah = host.matrix<T>(m, n, a), x = host.vector<T>({T(9), T(9)});
    const int32_t s2_passed = length(s2);
    if (k == 0) {
      EXPECT_EQ(Solve<T>::ls(ah, host.vector<T>(b), tol, x, s1, s2, s3, ws, values), want);
      EXPECT_EQ(length(x), want < 0 ? 0 : n);
    } else {
      const int rb = static_cast<int>(b.size()) / k;
      EXPECT_EQ(Solve<T>::ls_set(ah, host.matrix<T>(rb, k, b), tol, x, s1, s2, s3, ws, values), want);
      EXPECT_EQ(rows(x), want < 0 ? 0 : n);
      EXPECT_EQ(cols(x), want < 0 ? 0 : k);
    }
    expect_scratch_empty(with_workspace);
    // The second scratch handle is the singular value kernel's real
    // workspace: only the complex types' pseudo-inverse method uses it; the
    // core solver and the real types leave it as passed.
    const bool pseudo_inverse = tol == 0 || (k > 0 && 4 * k > std::max(m, n));
    if (!(pseudo_inverse && is_complex<T>)) {
      EXPECT_EQ(length(s2), s2_passed);
    } else if (want >= 0) {
      EXPECT_EQ(length(s2), 0);
    }
    return want < 0 ? std::vector<T>{} : k == 0 ? vector_values<T>(x) : matrix_values<T>(x);
  }
};
TYPED_TEST_SUITE(LeastSquaresTest, ElementTypes);

TYPED_TEST(LeastSquaresTest, ClosedForms) {
  using T = TypeParam;
  const std::vector<T> a = {T(1), T(0), T(0), T(1), T(0), T(0)};
  for (RealOf<T> tol : {RealOf<T>(0), RealOf<T>(-1)})
    EXPECT_EQ(this->lsq(3, 2, a, 0, {T(1), T(2), T(3)}, tol, 0), (std::vector<T>{T(1), T(2)}));
  const std::vector<T> ones(4, T(1));
  // The core's solver with the default, and with 1e-10 where that is above
  // the roundoff of a single-precision decomposition.
  for (RealOf<T> tol : {RealOf<T>(0), RealOf<T>(-1), RealOf<T>(sizeof(RealOf<T>) == 8 ? 1e-10 : 1e-5)}) {
    const auto x = this->lsq(2, 2, ones, 0, {T(2), T(2)}, tol, 20001);
    for (const T& v : x) EXPECT_NEAR(std::abs(v - T(1)), 0, 8 * epsilon<T>());
  }
  EXPECT_EQ(this->lsq(1, 1, {T(0)}, 0, {T(3)}, 0, 20001), std::vector<T>{T(0)});
}

// The methods are told apart by the workspace only the pseudo-inverse uses.
TYPED_TEST(LeastSquaresTest, TheToleranceAndShapeChooseTheMethod) {
  using T = TypeParam;
  const auto a = random_values<T>(300, 21);  // 100 x 3
  this->lsq(100, 3, a, 0, random_values<T>(100, 22), 0, -20999, false);
  this->lsq(100, 3, a, 0, random_values<T>(100, 22), -1, 0, false);  // -1 is not 0
  this->lsq(100, 3, a, 0, random_values<T>(100, 22), RealOf<T>(1e-3), 0, false);
  this->lsq(100, 3, a, 25, random_values<T>(2500, 23), -1, 0, false);
  this->lsq(100, 3, a, 26, random_values<T>(2600, 23), -1, -20999, false);
  this->lsq(100, 3, a, 1, random_values<T>(100, 22), 0, -20999, false);
}

// The same truncation rule with one pass (many right-hand sides, tolerance
// -1) and with two (tolerance 0): the second pass shrinks the residual of
// a consistent system whose singular values spread over much of the range.
TYPED_TEST(LeastSquaresTest, TheSecondPassReducesTheResidual) {
  using T = TypeParam;
  const int m = 12, n = 8, k = 4;  // 4 k > 12: the pseudo-inverse for either tolerance
  Dense a(m * n);
  const double spread = std::sqrt(1 / epsilon<T>()) / 10;
  for (int i = 0; i < n; ++i) a[i * n + i] = std::pow(spread, -double(i) / (n - 1));
  // Mix rows and columns with random orthogonal-ish factors to hide the diagonal.
  const Dense p = widen(random_values<T>(m * m, 31)), q = widen(random_values<T>(n * n, 32));
  Dense mixed = multiply(multiply(p, a, m, m, n), q, m, n, n);
  const auto ar = narrow<T>(mixed);
  const auto x0 = random_values<T>(n * k, 33);
  const auto b = narrow<T>(multiply(widen(ar), widen(x0), m, n, k));
  auto residual = [&](const std::vector<T>& x) {
    Dense r = multiply(widen(ar), widen(x), m, n, k);
    return distance(r, widen(b));
  };
  const double one_pass = residual(this->lsq(m, n, ar, k, b, -1, 0));
  const double two_passes = residual(this->lsq(m, n, ar, k, b, 0, 0));
  // How much it shrinks depends on the core's rounding (a half with one BLAS,
  // a quarter less with another); a second pass that changes nothing fails.
  EXPECT_LT(two_passes, one_pass * 0.9) << one_pass << " " << two_passes;
}

TYPED_TEST(LeastSquaresTest, FailuresEmptyX) {
  using T = TypeParam;
  const auto a = random_values<T>(12, 41);  // 4 x 3
  const auto b = random_values<T>(4, 42);
  for (RealOf<T> tol : {RealOf<T>(0), RealOf<T>(-1)}) {
    this->lsq(0, 3, {}, 0, {}, tol, -20003);
    this->lsq(4, 3, a, 0, random_values<T>(3, 43), tol, -20002);
    this->lsq(4, 3, a, 1, random_values<T>(5, 43), tol, -20002);
    auto bad = b;
    bad[2] = nan_of<T>;
    this->lsq(4, 3, a, 0, bad, tol, -20068);
    auto bad_a = a;
    bad_a[4] = nan_of<T>;
    this->lsq(4, 3, bad_a, 0, b, tol, -20068);
  }
  ZwArrayHandle x = this->host.empty();
  EXPECT_EQ(Solve<T>::ls_set(this->host.template matrix<T>(4, 3, a), this->host.template matrix<T>(4, 0, {}),
                                 RealOf<T>(-1), x, this->s1, this->s2, this->s3, this->workspace,
                                 this->values), -20003);  // no right-hand sides
  // The core's solver needs its floating and its integer workspace.
  EXPECT_EQ(Solve<T>::ls(this->host.template matrix<T>(4, 3, a), this->host.vector(b),
                                 RealOf<T>(-1), x, nullptr, this->s2, this->s3, this->workspace,
                                 this->values), -20999);
  EXPECT_EQ(Solve<T>::ls(this->host.template matrix<T>(4, 3, a), this->host.vector(b),
                                 RealOf<T>(-1), x, this->s1, this->s2, nullptr, this->workspace,
                                 this->values), -20999);
  EXPECT_EQ(Solve<T>::ls(this->host.template matrix<T>(4, 3, a), this->host.vector(b),
                                 RealOf<T>(0), x, this->s1, this->s2, this->s3, this->workspace,
                                 nullptr), -20999);
  EXPECT_EQ(length(x), 0);
  {
    // The workspace is sized before the singular values' handle is looked
    // at: its failed resize (the second, after X's) decides.
    FailNthResize fail(2);
    EXPECT_EQ(Solve<T>::ls(this->host.template matrix<T>(4, 3, a), this->host.vector(b),
                                   RealOf<T>(0), x, this->s1, this->s2, this->s3, this->workspace,
                                   nullptr), -20001);
  }
  this->expect_scratch_empty();
}

}  // namespace
