// QZ decomposition through the exports: A = Q S Z^H and B = Q T Z^H and the
// shapes of S and T against plain loops, the eigenvalues against the
// generalized eigenvalue export, and the failure contract.
#include <cmath>

#include "support/host.hpp"

namespace {

using namespace test;
using cd = std::complex<double>;

template <class T> class QZTest : public ::testing::Test {
 protected:
  using C = std::complex<RealOf<T>>;
  Host host;
  ZwArrayHandle a{}, b{}, q = host.empty(), z = host.empty(), w = host.empty(), work = host.empty(),
                rwork = host.empty();

  int32_t run(int32_t n, const std::vector<T>& av, const std::vector<T>& bv, int32_t vectors = 1) {
    a = host.matrix<T>(n, n, av);
    b = host.matrix<T>(n, n, bv);
    return call(vectors, work, rwork);
  }
  int32_t call(int32_t vectors, ZwArrayHandle work_h, ZwArrayHandle rwork_h) {
    constexpr auto fn = std::is_same_v<T, float> ? sQZH : std::is_same_v<T, double> ? dQZH
                        : std::is_same_v<T, cfloat> ? cQZH : zQZH;
    const int32_t status = fn(a, b, vectors, q, z, w, work_h, rwork_h);
    EXPECT_EQ(length(work) + length(rwork), 0);
    return status;
  }

  // ||Q M Z^H - M0|| / ||M0||, for M = S and M = T.
  double residual(int n, const std::vector<T>& m, const std::vector<T>& m0) {
    const auto qv = matrix_values<T>(q), zv = matrix_values<T>(z);
    std::vector<cd> qm(n * n);
    for (int i = 0; i < n; ++i)
      for (int k = 0; k < n; ++k)
        for (int l = 0; l < n; ++l) qm[i * n + l] += cd(qv[i * n + k]) * cd(m[k * n + l]);
    double norm = 0, diff = 0;
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        cd qmz = 0;
        for (int k = 0; k < n; ++k) qmz += qm[i * n + k] * std::conj(cd(zv[j * n + k]));
        norm += std::norm(cd(m0[i * n + j])), diff += std::norm(cd(m0[i * n + j]) - qmz);
      }
    return std::sqrt(diff / norm);
  }
  double unitarity(int n, const std::vector<T>& u) {
    double s = 0;
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        cd d = i == j ? -1 : 0;
        for (int k = 0; k < n; ++k) d += std::conj(cd(u[k * n + i])) * cd(u[k * n + j]);
        s += std::norm(d);
      }
    return std::sqrt(s);
  }

  void expect_generalized_schur_form(int n, const std::vector<T>& a0, const std::vector<T>& b0) {
    const auto s = matrix_values<T>(a), t = matrix_values<T>(b);
    const double tol = 30.0 * n * epsilon<T>();
    EXPECT_LE(residual(n, s, a0), tol);
    EXPECT_LE(residual(n, t, b0), tol);
    EXPECT_LE(unitarity(n, matrix_values<T>(q)), tol);
    EXPECT_LE(unitarity(n, matrix_values<T>(z)), tol);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < i; ++j) {
        EXPECT_EQ(cd(t[i * n + j]), 0.0) << "T " << i << "," << j;
        // Real types: a sub-diagonal entry only inside a 2 x 2 block, and
        // blocks never overlap.
        const bool pair_entry = !is_complex<T> && i == j + 1 && (j == 0 || s[j * n + j - 1] == T(0));
        EXPECT_TRUE(pair_entry || s[i * n + j] == T(0)) << "S " << i << "," << j;
      }
    // T's diagonal is real and non-negative; a real pair's block of T is
    // diagonal.
    for (int j = 0; j < n; ++j) {
      EXPECT_TRUE(cd(t[j * n + j]).imag() == 0 && cd(t[j * n + j]).real() >= 0) << j;
      EXPECT_TRUE(j + 1 == n || s[(j + 1) * n + j] == T(0) || t[j * n + j + 1] == T(0)) << j;
    }
    // Each 1 x 1 block gives its eigenvalue as S(j, j) / T(j, j).
    const auto ev = vector_values<C>(w);
    const double scale = std::sqrt(std::norm(cd(s[0])) + std::norm(cd(t[0]))) + 1;
    for (int j = 0; j < n; ++j) {
      if (j + 1 < n && s[(j + 1) * n + j] != T(0)) {
        // alpha and beta differ within the pair, so the quotients are
        // conjugates only to rounding.
        EXPECT_LE(std::abs(cd(ev[j + 1]) - std::conj(cd(ev[j]))), tol * std::abs(cd(ev[j]))) << j;
        EXPECT_GT(ev[j].imag(), 0) << j;
        ++j;
        continue;
      }
      EXPECT_TRUE(is_complex<T> || ev[j].imag() == 0) << j;
      if (!std::isfinite(std::abs(ev[j]))) continue;
      EXPECT_LE(std::abs(cd(ev[j]) * cd(t[j * n + j]) - cd(s[j * n + j])), tol * scale * (1 + std::abs(cd(ev[j])))) << j;
    }
  }

  // Every eigenvalue has a partner of the generalized eigenvalue export, as
  // a multiset: the two may come in different orders.
  void expect_same_eigenvalues(int n, const std::vector<T>& a0, const std::vector<T>& b0) {
    const auto ev = vector_values<C>(w);
    ZwArrayHandle ga = host.matrix<T>(n, n, a0), gb = host.matrix<T>(n, n, b0), gw = host.empty(),
                  gv = host.empty();
    constexpr auto gen = std::is_same_v<T, float> ? sGenEigenVH : std::is_same_v<T, double> ? dGenEigenVH
                         : std::is_same_v<T, cfloat> ? cGenEigenVH : zGenEigenVH;
    ASSERT_EQ(gen(ga, gb, 0, gw, gv, work, rwork), 0);
    auto other = vector_values<C>(gw);
    for (int j = 0; j < n; ++j) {
      int best = 0;
      for (int k = 1; k < int(other.size()); ++k)
        if (std::abs(other[k] - ev[j]) < std::abs(other[best] - ev[j])) best = k;
      EXPECT_LE(std::abs(cd(other[best] - ev[j])), std::sqrt(epsilon<T>()) * (1 + std::abs(cd(ev[j])))) << j;
      other.erase(other.begin() + best);
    }
  }
};
TYPED_TEST_SUITE(QZTest, ElementTypes);

TYPED_TEST(QZTest, FactorsThePairWithTheGeneralizedEigenvalues) {
  using T = TypeParam;
  for (int32_t n : {1, 2, 7, 40}) {
    const auto av = random_values<T>(n * n, 50 + n), bv = random_values<T>(n * n, 60 + n);
    ASSERT_EQ(this->run(n, av, bv), 0);
    this->expect_generalized_schur_form(n, av, bv);
    this->expect_same_eigenvalues(n, av, bv);
  }
  // Without vectors S and T are the same, and Q and Z are emptied.
  const auto av = random_values<T>(49, 70), bv = random_values<T>(49, 71);
  ASSERT_EQ(this->run(7, av, bv), 0);
  const auto s = matrix_values<T>(this->a), t = matrix_values<T>(this->b);
  ASSERT_EQ(this->run(7, av, bv, 0), 0);
  EXPECT_EQ(matrix_values<T>(this->a), s);
  EXPECT_EQ(matrix_values<T>(this->b), t);
  EXPECT_EQ(rows(this->q) + cols(this->q) + rows(this->z) + cols(this->z), 0);
}

TYPED_TEST(QZTest, SingularBGivesAnInfiniteEigenvalue) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  const std::vector<T> eye{T(1), T(0), T(0), T(1)}, b{T(1), T(0), T(0), T(0)};
  ASSERT_EQ(this->run(2, eye, b), 0);
  this->expect_generalized_schur_form(2, eye, b);
  const auto ev = vector_values<C>(this->w);
  const C inf = std::isfinite(ev[0].real()) ? ev[1] : ev[0];
  EXPECT_EQ(std::isfinite(ev[0].real()) ? ev[0] : ev[1], C(1));
  EXPECT_FALSE(std::isfinite(inf.real()) && std::isfinite(inf.imag()));
  // A real eigenvalue keeps an imaginary part of exactly +0.
  EXPECT_TRUE(is_complex<T> || (std::isinf(inf.real()) && same_bits(inf.imag(), RealOf<T>(0))));
}

TYPED_TEST(QZTest, FailuresInTheirOrderEmptyEveryOutput) {
  using T = TypeParam;
  const std::vector<T> good{T(1), T(2), T(3), T(4)};
  auto expect_failure = [&](int32_t want, int32_t n, std::vector<T> av, std::vector<T> bv,
                            bool null_work = false, bool null_rwork = false, int64_t failing_resize = 0) {
    // A success first leaves outputs to empty; a failing resize needs them
    // empty already, so that each resize reaches the host.
    if (failing_resize == 0) {
      ASSERT_EQ(this->run(2, good, good), 0);
    }
    this->a = this->host.template matrix<T>(n, n == 0 ? 0 : int32_t(av.size()) / n, av);
    this->b = this->host.template matrix<T>(int32_t(std::sqrt(bv.size())), int32_t(std::sqrt(bv.size())), bv);
    FailNthResize fail(failing_resize);
    EXPECT_EQ(this->call(1, null_work ? nullptr : this->work, null_rwork ? nullptr : this->rwork), want);
    EXPECT_EQ(rows(this->a) + cols(this->a) + rows(this->b) + cols(this->b), 0);
    EXPECT_EQ(rows(this->q) + cols(this->q) + rows(this->z) + cols(this->z) + length(this->w), 0);
  };
  expect_failure(-20003, 0, {}, good);
  expect_failure(-20003, 2, good, {});
  expect_failure(-20040, 2, std::vector<T>(6), std::vector<T>(9));
  expect_failure(-20070, 2, {T(NAN), T(0), T(0), T(1)}, std::vector<T>(9));
  expect_failure(-20068, 2, good, {T(1), T(0), T(0), T(INFINITY)});
  expect_failure(-20068, 2, good, {T(1), T(0), T(0), T(std::numeric_limits<RealOf<T>>::max())});
  expect_failure(-20999, 2, good, good, true);
  if constexpr (is_complex<T>) expect_failure(-20999, 2, good, good, false, true);
  // Q, Z, the eigenvalues, the workspace, then (complex) the real workspace.
  for (int64_t k = 1; k <= 4 + is_complex<T>; ++k) expect_failure(-20001, 2, good, good, false, false, k);
  // The real types never read the real workspace.
  if constexpr (!is_complex<T>) {
    this->a = this->host.template matrix<T>(2, 2, good);
    this->b = this->host.template matrix<T>(2, 2, good);
    EXPECT_EQ(this->call(1, this->work, nullptr), 0);
  }
}

}  // namespace
