// Eigenvalues, eigenvectors and generalized eigenvalues through the exports:
// eigenpair residuals against plain loops, closed forms, and the failure
// contract the three drivers share.
#include <cmath>

#include "support/host.hpp"

namespace {

using namespace test;
using cd = std::complex<double>;

template <class T> class EigenTest : public ::testing::Test {
 protected:
  using R = RealOf<T>;
  using C = std::complex<R>;
  static constexpr bool f32 = sizeof(R) == 4;
  Host host;
  ZwArrayHandle w = host.empty(), v = host.empty(), work = host.empty(), rwork = host.empty(),
                iwork = host.empty();

  // The three drivers; each call must leave every scratch handle empty.
  enum Driver { General, SelfAdjoint, Generalized };
  int32_t call(Driver d, ZwArrayHandle a, ZwArrayHandle b, int32_t option, ZwArrayHandle work_h) {
    int32_t status;
    if (d == General) status = (f32 ? (is_complex<T> ? cEigenVH : sEigenVH) : (is_complex<T> ? zEigenVH : dEigenVH))(a, option, w, v, work_h, rwork);
    else if (d == Generalized) status = (f32 ? (is_complex<T> ? cGenEigenVH : sGenEigenVH) : (is_complex<T> ? zGenEigenVH : dGenEigenVH))(a, b, option, w, v, work_h, rwork);
    else if constexpr (is_complex<T>) status = (f32 ? cHermEigenVH : zHermEigenVH)(a, option, w, v, work_h, rwork, iwork);
    else status = (f32 ? sSymEigenVH : dSymEigenVH)(a, option, w, v, work_h, iwork);
    EXPECT_EQ(length(work) + length(rwork) + length(iwork), 0);
    return status;
  }

  // Every pair: ||A x - lambda B x|| <= tol (||A|| + |lambda| ||B||) ||x||,
  // with B the identity when `b` is empty.
  template <class V, class X>
  void expect_eigenpairs(int n, const std::vector<T>& a, const std::vector<T>& b,
                         const std::vector<V>& lambda, const std::vector<X>& x) {
    auto norm = [](const std::vector<T>& m) {
      double s = 0;
      for (T e : m) s += std::norm(cd(e));
      return std::sqrt(s);
    };
    const double na = norm(a), nb = b.empty() ? std::sqrt(n) : norm(b);
    for (int j = 0; j < n; ++j) {
      double residual = 0, nx = 0;
      for (int i = 0; i < n; ++i) {
        cd ax = 0, bx = b.empty() ? cd(x[i * n + j]) : 0.0;
        for (int k = 0; k < n; ++k) {
          ax += cd(a[i * n + k]) * cd(x[k * n + j]);
          if (!b.empty()) bx += cd(b[i * n + k]) * cd(x[k * n + j]);
        }
        residual += std::norm(ax - cd(lambda[j]) * bx), nx += std::norm(cd(x[i * n + j]));
      }
      EXPECT_LE(std::sqrt(residual), 100.0 * n * epsilon<T>() * (na + std::abs(cd(lambda[j])) * nb) * std::sqrt(nx)) << j;
    }
  }
  // A real problem's conjugate pairs: consecutive, positive part first, with
  // eigenvector columns that are exact conjugates.
  void expect_conjugate_pairs(int n) {
    const auto lambda = vector_values<C>(w);
    const auto x = matrix_values<C>(v);
    for (int j = 0; !is_complex<T> && j < n; ++j) {
      if (lambda[j].imag() == 0) continue;
      ASSERT_GT(lambda[j].imag(), 0);
      ASSERT_NEAR(std::abs(lambda[j + 1] - std::conj(lambda[j])), 0, 4 * epsilon<T>() * std::abs(lambda[j]));
      for (int i = 0; i < n; ++i) EXPECT_EQ(x[i * n + j + 1], std::conj(x[i * n + j]));
      ++j;
    }
  }
};
TYPED_TEST_SUITE(EigenTest, ElementTypes);

TYPED_TEST(EigenTest, GeneralAndGeneralizedEigenpairs) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  for (int n : {1, 6, 50, 200}) {
    const auto av = random_values<T>(n * n, 20 + n), bv = random_values<T>(n * n, 30 + n);
    ZwArrayHandle a = this->host.template matrix<T>(n, n, av), b = this->host.template matrix<T>(n, n, bv);
    ASSERT_EQ(this->call(TestFixture::General, a, nullptr, 1, this->work), 0);
    this->expect_eigenpairs(n, av, {}, vector_values<C>(this->w), matrix_values<C>(this->v));
    this->expect_conjugate_pairs(n);
    if (n > 80) continue;
    ASSERT_EQ(this->call(TestFixture::Generalized, a, b, 1, this->work), 0);
    this->expect_eigenpairs(n, av, bv, vector_values<C>(this->w), matrix_values<C>(this->v));
    this->expect_conjugate_pairs(n);
    EXPECT_EQ(matrix_values<T>(a), av);
    EXPECT_EQ(matrix_values<T>(b), bv);
  }
  // The rotation gives ±i; option 0 gives no vectors.
  ZwArrayHandle rot = this->host.template matrix<T>(2, 2, {T(0), T(-1), T(1), T(0)});
  ASSERT_EQ(this->call(TestFixture::General, rot, nullptr, 0, this->work), 0);
  const auto ev = vector_values<C>(this->w);
  EXPECT_NEAR(std::abs(ev[0] * ev[0] + C(1)) + std::abs(ev[0] + ev[1]), 0, 8 * epsilon<T>());
  EXPECT_EQ(rows(this->v) + cols(this->v), 0);
  // A singular B gives one infinite eigenvalue; a real one keeps an
  // imaginary part of exactly +0.
  ZwArrayHandle eye = this->host.template matrix<T>(2, 2, {T(1), T(0), T(0), T(1)});
  ASSERT_EQ(this->call(TestFixture::Generalized, eye, this->host.template matrix<T>(2, 2, {T(1), T(0), T(0), T(0)}), 0, this->work), 0);
  const auto gen = vector_values<C>(this->w);
  const C inf = std::isfinite(gen[0].real()) ? gen[1] : gen[0];
  EXPECT_EQ(std::isfinite(gen[0].real()) ? gen[0] : gen[1], C(1));
  EXPECT_FALSE(std::isfinite(inf.real()) && std::isfinite(inf.imag()));
  EXPECT_TRUE(is_complex<T> || (inf.real() == INFINITY && same_bits(inf.imag(), RealOf<T>(0))));
}

TYPED_TEST(EigenTest, SelfAdjointReadsTheLowerTriangleOnly) {
  using T = TypeParam;
  using R = typename TestFixture::R;
  for (int n : {1, 7, 120}) {
    // The strict upper triangle holds unrelated values, which must not be read.
    auto stored = random_values<T>(n * n, 40 + n), full = stored;
    for (int i = 0; i < n; ++i) {
      stored[i * n + i] = full[i * n + i] = T(std::real(stored[i * n + i]));
      for (int j = 0; j < i; ++j) {
        if constexpr (is_complex<T>) full[j * n + i] = std::conj(stored[i * n + j]);
        else full[j * n + i] = stored[i * n + j];
      }
    }
    ASSERT_EQ(this->call(TestFixture::SelfAdjoint, this->host.template matrix<T>(n, n, stored), nullptr, 1, this->work), 0);
    const auto ev = vector_values<R>(this->w);
    EXPECT_TRUE(std::is_sorted(ev.begin(), ev.end()));
    this->expect_eigenpairs(n, full, {}, ev, matrix_values<T>(this->v));
  }
  ZwArrayHandle d = this->host.template matrix<T>(3, 3, {T(3), T(0), T(0), T(0), T(1), T(0), T(0), T(0), T(2)});
  ASSERT_EQ(this->call(TestFixture::SelfAdjoint, d, nullptr, 0, this->work), 0);
  EXPECT_EQ(vector_values<R>(this->w), (std::vector<R>{1, 2, 3}));
  EXPECT_EQ(rows(this->v), 0);
}

TYPED_TEST(EigenTest, FailuresInTheirOrderEmptyTheOutputs) {
  using T = TypeParam;
  using R = typename TestFixture::R;
  auto m = [&](int r, int c, T fill = T(1)) { return this->host.template matrix<T>(r, c, std::vector<T>(r * c, fill)); };
  for (auto d : {TestFixture::General, TestFixture::SelfAdjoint, TestFixture::Generalized}) {
    // Each failure follows a success, so that there are outputs to empty.
    auto expect_failure = [&](int32_t want, ZwArrayHandle a, ZwArrayHandle b, int32_t option,
                              bool null_work = false, int64_t failing_resize = 0) {
      ASSERT_EQ(this->call(d, m(3, 3), this->host.template matrix<T>(3, 3, {T(2), T(0), T(0), T(0), T(1), T(0), T(0), T(0), T(1)}), 1, this->work), 0);
      FailNthResize fail(failing_resize);
      EXPECT_EQ(this->call(d, a, b, option, null_work ? nullptr : this->work), want);
      EXPECT_EQ(length(this->w) + rows(this->v) + cols(this->v), 0);
    };
    expect_failure(-20003, m(0, 0), m(2, 2), 7);
    expect_failure(-20040, m(2, 3), m(3, 3), 7);
    if (d == TestFixture::Generalized) {
      expect_failure(-20003, m(2, 2), m(2, 0), 7);
      expect_failure(-20070, m(2, 2), m(3, 3), 7);
      expect_failure(-20068, m(2, 2), m(2, 2, T(-std::numeric_limits<R>::max())), 1);
    }
    expect_failure(-20061, m(2, 2, T(NAN)), m(2, 2), 2);
    for (R bad : {R(NAN), R(INFINITY), std::numeric_limits<R>::max(), -std::numeric_limits<R>::max()})
      expect_failure(-20068, m(2, 2, T(bad)), m(2, 2), 0, true);
    expect_failure(-20999, m(2, 2), m(2, 2), 1, true);
    for (int64_t nth : {1, 2, 3})  // the eigenvalues, the eigenvectors, the first workspace
      expect_failure(-20001, m(2, 2), m(2, 2), 1, false, nth);
  }
}

}  // namespace
