// Generalized eigenvalues through the exports: residuals of the pencil
// against plain loops, infinite eigenvalues, and the failure contract.
#include <cmath>

#include "support/host.hpp"

namespace {

using namespace test;
using cd = std::complex<double>;

template <class T> struct GenEigen;
#define TARNX_TEST_GENEIGEN(t, T)                                                                 \
  template <> struct GenEigen<T> {                                                                \
    static int32_t run(ZwArrayHandle a, ZwArrayHandle b, int32_t option, ZwArrayHandle w,         \
                       ZwArrayHandle v, ZwArrayHandle work, ZwArrayHandle rwork) {                \
      return t##GenEigenVH(a, b, option, w, v, work, rwork);                                      \
    }                                                                                             \
  };
TARNX_TEST_GENEIGEN(s, float)
TARNX_TEST_GENEIGEN(d, double)
TARNX_TEST_GENEIGEN(c, cfloat)
TARNX_TEST_GENEIGEN(z, cdouble)

template <class T> class GenEigenTest : public ::testing::Test {
 protected:
  using C = std::complex<RealOf<T>>;
  using R = RealOf<T>;
  Host host;
  ZwArrayHandle w = host.empty(), v = host.empty(), work = host.empty(), rwork = host.empty();

  int32_t run(ZwArrayHandle a, ZwArrayHandle b, int32_t option, ZwArrayHandle work_handle) {
    const int32_t status = GenEigen<T>::run(a, b, option, w, v, work_handle, rwork);
    EXPECT_EQ(length(work), 0);
    EXPECT_EQ(length(rwork), 0);
    return status;
  }
};
TYPED_TEST_SUITE(GenEigenTest, ElementTypes);

TYPED_TEST(GenEigenTest, PencilResidualsAndConjugateColumns) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  for (int n : {1, 6, 80}) {
    const auto av = random_values<T>(n * n, 40 + n), bv = random_values<T>(n * n, 50 + n);
    ZwArrayHandle a = this->host.template matrix<T>(n, n, av), b = this->host.template matrix<T>(n, n, bv);
    ASSERT_EQ(this->run(a, b, 1, this->work), 0);
    EXPECT_EQ(matrix_values<T>(a), av);
    EXPECT_EQ(matrix_values<T>(b), bv);
    const auto ev = vector_values<C>(this->w);
    const auto x = matrix_values<C>(this->v);
    ASSERT_EQ(ev.size(), std::size_t(n));
    double norm_a = 0, norm_b = 0;
    for (int i = 0; i < n * n; ++i) norm_a += std::norm(cd(av[i])), norm_b += std::norm(cd(bv[i]));
    // ||A x - lambda B x|| against (||A|| + |lambda| ||B||) ||x||.
    for (int j = 0; j < n; ++j) {
      const cd lambda = ev[j];
      double residual = 0, norm_x = 0;
      for (int i = 0; i < n; ++i) {
        cd ax = 0, bx = 0;
        for (int k = 0; k < n; ++k) {
          ax += cd(av[i * n + k]) * cd(x[k * n + j]);
          bx += cd(bv[i * n + k]) * cd(x[k * n + j]);
        }
        residual += std::norm(ax - lambda * bx);
        norm_x += std::norm(cd(x[i * n + j]));
      }
      const double scale = (std::sqrt(norm_a) + std::abs(lambda) * std::sqrt(norm_b)) * std::sqrt(norm_x);
      EXPECT_LE(std::sqrt(residual), 100.0 * n * epsilon<T>() * scale) << "eigenpair " << j;
      if (!is_complex<T> && lambda.imag() > 0) {
        // The pair's two quotients come from different BETA values, so
        // they agree to rounding only; its vectors are exact conjugates.
        ASSERT_LE(std::abs(cd(ev[j + 1]) - std::conj(lambda)), 4 * epsilon<T>() * std::abs(lambda));
        for (int i = 0; i < n; ++i) EXPECT_EQ(x[i * n + j + 1], std::conj(x[i * n + j]));
      }
    }
  }
}

TYPED_TEST(GenEigenTest, SingularBGivesAnInfiniteEigenvalue) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  ZwArrayHandle a = this->host.template matrix<T>(2, 2, {T(1), T(0), T(0), T(1)});
  ASSERT_EQ(this->run(a, this->host.template matrix<T>(2, 2, {T(1), T(0), T(0), T(0)}), 0, this->work), 0);
  EXPECT_EQ(rows(this->v), 0);
  const auto ev = vector_values<C>(this->w);
  const int finite = std::isfinite(ev[0].real()) ? 0 : 1;
  EXPECT_EQ(ev[finite], C(1));
  const C inf = ev[1 - finite];
  if constexpr (is_complex<T>) {
    EXPECT_FALSE(std::isfinite(inf.real()) && std::isfinite(inf.imag()));
  } else {
    EXPECT_EQ(inf.real(), std::numeric_limits<RealOf<T>>::infinity());
    EXPECT_TRUE(same_bits(inf.imag(), RealOf<T>(0))) << "exactly +0, not NaN";
  }
  // With B the identity the eigenvalues are those of A alone.
  ASSERT_EQ(this->run(this->host.template matrix<T>(2, 2, {T(2), T(1), T(0), T(3)}), a, 1, this->work), 0);
  auto two = vector_values<C>(this->w);
  if (std::abs(two[0] - C(3)) < std::abs(two[0] - C(2))) std::swap(two[0], two[1]);
  EXPECT_NEAR(std::abs(two[0] - C(2)) + std::abs(two[1] - C(3)), 0, 8 * epsilon<T>());
}

TYPED_TEST(GenEigenTest, FailuresInTheirOrder) {
  using T = TypeParam;
  using R = typename TestFixture::R;
  auto m = [&](int r, int c, T fill = T(1)) { return this->host.template matrix<T>(r, c, std::vector<T>(r * c, fill)); };
  auto expect_failure = [&](int32_t want, ZwArrayHandle a, ZwArrayHandle b, int32_t option,
                            ZwArrayHandle work) {
    ASSERT_EQ(this->run(m(3, 3), this->host.template matrix<T>(3, 3, {T(1), T(0), T(0), T(0), T(1), T(0), T(0), T(0), T(1)}), 1, this->work), 0);
    EXPECT_EQ(this->run(a, b, option, work), want);
    EXPECT_EQ(length(this->w), 0);
    EXPECT_EQ(rows(this->v), 0);
    EXPECT_EQ(cols(this->v), 0);
  };
  expect_failure(-20003, m(2, 2), m(0, 2), 7, this->work);
  expect_failure(-20040, m(2, 3), m(3, 3), 7, this->work);
  expect_failure(-20070, m(2, 2), m(3, 3), 7, this->work);
  expect_failure(-20061, m(2, 2, T(NAN)), m(2, 2), 2, this->work);
  expect_failure(-20068, m(2, 2), m(2, 2, T(-std::numeric_limits<R>::max())), 1, this->work);
  expect_failure(-20068, m(2, 2, T(INFINITY)), m(2, 2), 0, nullptr);
  expect_failure(-20999, m(2, 2), m(2, 2), 0, nullptr);
}

}  // namespace
