// Eigenvalues, Schur and QZ decompositions through the exports: closed forms,
// infinite eigenvalues' bits, the (quasi-)triangular shapes on closed forms
// and near-real pairs, equal sort keys that never move, the same form with
// or without vectors, and the failure contracts in their order.
#include <cmath>

#include "support/host.hpp"

namespace {

using namespace test;
using cd = std::complex<double>;

template <class T> struct Spectral;
#define TARNX_TEST_SPECTRAL(t, T, SELF_ADJOINT)                                                     \
  template <> struct Spectral<T> {                                                                  \
    static constexpr auto eigen = t##EigenVH, gen_eigen = t##GenEigenVH, schur = t##SchurH, qz = t##QZH; \
    SELF_ADJOINT                                                                                    \
  };
// The symmetric driver for the real types, the Hermitian one for the complex.
TARNX_TEST_SPECTRAL(s, float, static constexpr auto self_adjoint = sSymEigenVH;)
TARNX_TEST_SPECTRAL(d, double, static constexpr auto self_adjoint = dSymEigenVH;)
TARNX_TEST_SPECTRAL(c, cfloat, static constexpr auto self_adjoint = cHermEigenVH;)
TARNX_TEST_SPECTRAL(z, cdouble, static constexpr auto self_adjoint = zHermEigenVH;)
#undef TARNX_TEST_SPECTRAL

template <class T> class EigenTest : public ::testing::Test {
 protected:
  using R = RealOf<T>;
  using C = std::complex<R>;
  Host host;
  ZwArrayHandle w = host.empty(), v = host.empty(), work = host.empty(), rwork = host.empty(),
                iwork = host.empty();

  // The three drivers; each call must leave every scratch handle empty.
  enum Driver { General, SelfAdjoint, Generalized };
  int32_t call(Driver d, ZwArrayHandle a, ZwArrayHandle b, int32_t option, ZwArrayHandle work_h) {
    int32_t status;
    if (d == General) status = Spectral<T>::eigen(a, option, w, v, work_h, rwork);
    else if (d == Generalized) status = Spectral<T>::gen_eigen(a, b, option, w, v, work_h, rwork);
    else if constexpr (is_complex<T>) status = Spectral<T>::self_adjoint(a, option, w, v, work_h, rwork, iwork);
    else status = Spectral<T>::self_adjoint(a, option, w, v, work_h, iwork);
    EXPECT_EQ(length(work) + length(rwork) + length(iwork), 0);
    return status;
  }
};
TYPED_TEST_SUITE(EigenTest, ElementTypes);

TYPED_TEST(EigenTest, GeneralAndGeneralizedClosedForms) {
  using T = TypeParam;
  using C = typename TestFixture::C;
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

TYPED_TEST(EigenTest, SelfAdjointValuesAscend) {
  using T = TypeParam;
  using R = typename TestFixture::R;
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
                              bool null_work = false) {
      ASSERT_EQ(this->call(d, m(3, 3), this->host.template matrix<T>(3, 3, {T(2), T(0), T(0), T(0), T(1), T(0), T(0), T(0), T(1)}), 1, this->work), 0);
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
  }
}

// ---- Schur ---------------------------------------------------------------------------------

template <class T> class SchurTest : public ::testing::Test {
 protected:
  using C = std::complex<RealOf<T>>;
  Host host;
  ZwArrayHandle a{}, z = host.empty(), w = host.empty(), work = host.empty(), rwork = host.empty(),
                iwork = host.empty();

  int32_t run(int32_t n, const std::vector<T>& values, int32_t vectors, int32_t order,
              ZwArrayHandle work_h, ZwArrayHandle rwork_h, ZwArrayHandle iwork_h) {
    // n rows, as many columns as the values fill.
    a = host.matrix<T>(n, n == 0 ? 0 : int32_t(values.size()) / n, values);
    const int32_t status = Spectral<T>::schur(a, vectors, order, z, w, work_h, rwork_h, iwork_h);
    EXPECT_EQ(length(work), 0);
    EXPECT_EQ(length(is_complex<T> ? rwork : iwork), 0);
    return status;
  }
  int32_t run(int32_t n, const std::vector<T>& values, int32_t vectors, int32_t order) {
    return run(n, values, vectors, order, work, rwork, iwork);
  }

  // A = Z T Z^H with Z unitary, T (quasi-)upper-triangular, and the
  // eigenvalues T's diagonal blocks, a pair positive part first. A pair's
  // eigenvalues are only as good as their condition: `pair_slack` widens it.
  void expect_schur_form(int n, const std::vector<T>& a0, double pair_slack = 1) {
    const auto t = matrix_values<T>(a), zv = matrix_values<T>(z);
    const auto ev = vector_values<C>(w);
    auto at = [n](const std::vector<T>& m, int i, int j) { return cd(m[i * n + j]); };
    std::vector<cd> zt(n * n);
    for (int i = 0; i < n; ++i)
      for (int k = 0; k < n; ++k)
        for (int l = 0; l < n; ++l) zt[i * n + l] += at(zv, i, k) * at(t, k, l);
    double norm = 0, residual = 0, unitary = 0;
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        cd ztz = 0, zz = i == j ? -1 : 0;
        for (int k = 0; k < n; ++k) {
          ztz += zt[i * n + k] * std::conj(at(zv, j, k));
          zz += std::conj(at(zv, k, i)) * at(zv, k, j);
        }
        norm += std::norm(at(a0, i, j)), residual += std::norm(at(a0, i, j) - ztz), unitary += std::norm(zz);
        EXPECT_TRUE(i <= j + !is_complex<T> || at(t, i, j) == 0.0) << i << "," << j;
      }
    const double tol = 30.0 * n * epsilon<T>();
    EXPECT_LE(std::sqrt(residual / norm), tol);
    EXPECT_LE(std::sqrt(unitary), tol);
    for (int j = 0; j < n; ++j) {
      if (j + 1 == n || at(t, j + 1, j) == 0.0) {
        EXPECT_LE(std::abs(cd(ev[j]) - at(t, j, j)), tol * std::sqrt(norm)) << j;
        EXPECT_TRUE(is_complex<T> || ev[j].imag() == 0) << j;
        continue;
      }
      const cd p = at(t, j, j), s = at(t, j + 1, j + 1);
      const cd root = std::sqrt((p - s) * (p - s) / 4.0 + at(t, j, j + 1) * at(t, j + 1, j));
      EXPECT_LE(std::abs(cd(ev[j]) - (p + s) / 2.0 - (root.imag() < 0 ? -root : root)), pair_slack * tol * std::sqrt(norm));
      EXPECT_EQ(ev[j + 1], std::conj(ev[j])) << j;
      EXPECT_TRUE(j + 2 == n || at(t, j + 2, j + 1) == 0.0) << "blocks overlap at " << j;
      ++j;
    }
  }
};
TYPED_TEST_SUITE(SchurTest, ElementTypes);

TYPED_TEST(SchurTest, WithoutVectorsTheFormIsTheSame) {
  using T = TypeParam;
  // Without vectors the Schur form is the same.
  const auto values = random_values<T>(81, 19);
  ASSERT_EQ(this->run(9, values, 1, 4), 0);
  const auto t = matrix_values<T>(this->a);
  ASSERT_EQ(this->run(9, values, 0, 4), 0);
  EXPECT_EQ(matrix_values<T>(this->a), t);
  EXPECT_EQ(rows(this->z), 0);
}

TYPED_TEST(SchurTest, SortsDiagonalAndNeverMovesEqualKeys) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  const std::vector<T> diagonal{T(3), T(0), T(0), T(0), T(1), T(0), T(0), T(0), T(2)};
  ASSERT_EQ(this->run(3, diagonal, 1, 1), 0);
  EXPECT_EQ(vector_values<C>(this->w), (std::vector<C>{C(1), C(2), C(3)}));
  this->expect_schur_form(3, diagonal);
  ASSERT_EQ(this->run(3, diagonal, 1, 4), 0);
  EXPECT_EQ(vector_values<C>(this->w), (std::vector<C>{C(3), C(2), C(1)}));
  // Equal keys in every order (a real ±i pair, a complex 1 ± i), and 2
  // against -2 under the modulus orders: nothing moves.
  std::vector<T> equal{T(0), T(1), T(-1), T(0)};
  if constexpr (is_complex<T>) equal = {T(1, 1), T(1), T(0), T(1, -1)};
  for (const auto& m : {equal, std::vector<T>{T(2), T(1), T(0), T(-2)}}) {
    ASSERT_EQ(this->run(2, m, 1, 0), 0);
    const auto t0 = matrix_values<T>(this->a), z0 = matrix_values<T>(this->z);
    const auto e0 = vector_values<C>(this->w);
    for (int32_t order = m == equal ? 1 : 3; order <= 4; ++order) {
      ASSERT_EQ(this->run(2, m, 1, order), 0);
      EXPECT_EQ(matrix_values<T>(this->a), t0);
      EXPECT_EQ(matrix_values<T>(this->z), z0);
      EXPECT_EQ(vector_values<C>(this->w), e0);
    }
  }
}

TYPED_TEST(SchurTest, NearRealPairsAreSnappedOrSplit) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  if constexpr (!is_complex<T>) {
    // 1 ± i eps/16 is snapped to two real eigenvalues, but only when sorting.
    const T d = epsilon<T>() / 16;
    ASSERT_EQ(this->run(2, {T(1), d, -d, T(1)}, 1, 0), 0);
    const auto pair = vector_values<C>(this->w);
    EXPECT_NEAR(pair[0].imag(), d, d / 100);
    ASSERT_EQ(this->run(2, {T(1), d, -d, T(1)}, 1, 2), 0);
    EXPECT_EQ(vector_values<C>(this->w), (std::vector<C>{C(1), C(1)}));
    EXPECT_EQ(matrix_values<T>(this->a), (std::vector<T>{T(1), T(0), T(0), T(1)}));
    // Strongly non-normal pairs 1 ± sqrt(b c) i, above that tolerance: moving
    // 0 past one perturbs its tiny sub-diagonal by rounding, which often
    // turns it real. T's diagonal must still be the eigenvalue vector.
    int splits = 0;
    for (double b : {1e2, 1e4})
      for (double c : sizeof(T) == 4 ? std::vector<double>{1e-8, 1e-12} : std::vector<double>{1e-12, 1e-16, 1e-20}) {
        const std::vector<T> m{T(1), T(b), T(1), T(-c), T(1), T(1), T(0), T(0), T(0)};
        ASSERT_EQ(this->run(3, m, 1, 1), 0);
        this->expect_schur_form(3, m, 1 / std::sqrt(epsilon<T>()));
        const auto ev = vector_values<C>(this->w);
        EXPECT_TRUE(ev[0].real() <= ev[1].real() && ev[1].real() <= ev[2].real());
        splits += ev[2].imag() == 0;
      }
    EXPECT_GT(splits, 0) << "no case exercised the split";
  }
}

TYPED_TEST(SchurTest, FailuresEmptyEveryOutputAndLoseA) {
  using T = TypeParam;
  const std::vector<T> good{T(1), T(2), T(3), T(4)};
  auto expect_failure = [&](int32_t want, int32_t n, std::vector<T> values, int32_t order) {
    ASSERT_EQ(this->run(2, good, 1, 1), 0);
    EXPECT_EQ(this->run(n, values, 1, order), want);
    EXPECT_EQ(rows(this->a) + cols(this->a) + rows(this->z) + length(this->w), 0);
  };
  expect_failure(-20003, 0, {}, 9);
  expect_failure(-20040, 2, std::vector<T>(6), 9);
  expect_failure(-20061, 2, {T(NAN), T(0), T(0), T(1)}, 5);
  expect_failure(-20061, 2, good, -1);  // the order is unsigned
  expect_failure(-20068, 2, {T(1), T(0), T(0), T(INFINITY)}, 1);
  // Real types need the block map only to sort, complex ones always need the
  // real workspace; neither reads the other handle.
  EXPECT_EQ(this->run(2, good, 1, 1, this->work, nullptr, nullptr), -20999);
  EXPECT_EQ(this->run(2, good, 1, 0, this->work, is_complex<T> ? this->rwork : nullptr, nullptr), 0);
}

// ---- QZ ------------------------------------------------------------------------------------

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
    const int32_t status = Spectral<T>::qz(a, b, vectors, q, z, w, work_h, rwork_h);
    EXPECT_EQ(length(work) + length(rwork), 0);
    return status;
  }

  void expect_generalized_schur_form(int n) {
    const auto s = matrix_values<T>(a), t = matrix_values<T>(b);
    const double tol = 30.0 * n * epsilon<T>();
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
};
TYPED_TEST_SUITE(QZTest, ElementTypes);

TYPED_TEST(QZTest, WithoutVectorsTheFormIsTheSame) {
  using T = TypeParam;
  // Without vectors S and T are the same, and Q and Z are emptied.
  const auto av = random_values<T>(49, 70), bv = random_values<T>(49, 71);
  ASSERT_EQ(this->run(7, av, bv), 0);
  this->expect_generalized_schur_form(7);
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
  this->expect_generalized_schur_form(2);
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
                            bool null_rwork = false) {
    ASSERT_EQ(this->run(2, good, good), 0);  // outputs to empty
    this->a = this->host.template matrix<T>(n, n == 0 ? 0 : int32_t(av.size()) / n, av);
    this->b = this->host.template matrix<T>(int32_t(std::sqrt(bv.size())), int32_t(std::sqrt(bv.size())), bv);
    EXPECT_EQ(this->call(1, this->work, null_rwork ? nullptr : this->rwork), want);
    EXPECT_EQ(rows(this->a) + cols(this->a) + rows(this->b) + cols(this->b), 0);
    EXPECT_EQ(rows(this->q) + cols(this->q) + rows(this->z) + cols(this->z) + length(this->w), 0);
  };
  expect_failure(-20003, 0, {}, good);
  expect_failure(-20003, 2, good, {});
  expect_failure(-20040, 2, std::vector<T>(6), std::vector<T>(9));
  expect_failure(-20070, 2, {T(NAN), T(0), T(0), T(1)}, std::vector<T>(9));
  expect_failure(-20068, 2, good, {T(1), T(0), T(0), T(INFINITY)});
  expect_failure(-20068, 2, good, {T(1), T(0), T(0), T(std::numeric_limits<RealOf<T>>::max())});
  // Only the complex types read the real workspace.
  if constexpr (is_complex<T>) expect_failure(-20999, 2, good, good, true);
  if constexpr (!is_complex<T>) {
    this->a = this->host.template matrix<T>(2, 2, good);
    this->b = this->host.template matrix<T>(2, 2, good);
    EXPECT_EQ(this->call(1, this->work, nullptr), 0);
  }
}

}  // namespace
