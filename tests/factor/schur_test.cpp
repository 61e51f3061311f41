// Schur decomposition through the exports: residuals and the shape of T
// against plain loops, the eigenvalue ordering, and the failure contract.
#include <cmath>

#include "support/host.hpp"

namespace {

using namespace test;
using cd = std::complex<double>;

template <class T> struct Schur;
#define TARNX_TEST_SCHUR(t, T)                                                                    \
  template <> struct Schur<T> {                                                                   \
    static int32_t run(ZwArrayHandle a, int32_t vectors, int32_t order, ZwArrayHandle z,          \
                       ZwArrayHandle w, ZwArrayHandle work, ZwArrayHandle rwork, ZwArrayHandle iwork) { \
      return t##SchurH(a, vectors, order, z, w, work, rwork, iwork);                              \
    }                                                                                             \
  };
TARNX_TEST_SCHUR(s, float)
TARNX_TEST_SCHUR(d, double)
TARNX_TEST_SCHUR(c, cfloat)
TARNX_TEST_SCHUR(z, cdouble)

// Sort key of each order, as the caller understands it, in the working
// precision: keys that differ only in rounding may be either way round.
template <class R> R key_of(std::complex<R> v, int order) {
  return order <= 2 ? v.real() : v.real() * v.real() + v.imag() * v.imag();
}

template <class T> class SchurTest : public ::testing::Test {
 protected:
  using C = std::complex<RealOf<T>>;
  Host host;
  ZwArrayHandle a{}, z{}, w{}, work{}, rwork{}, iwork{};

  int32_t run(int32_t n, const std::vector<T>& values, int32_t vectors, int32_t order) {
    a = host.matrix<T>(n, n, values);
    z = host.empty(), w = host.empty(), work = host.empty(), rwork = host.empty(), iwork = host.empty();
    const int32_t status = Schur<T>::run(a, vectors, order, z, w, work, rwork, iwork);
    EXPECT_EQ(length(work), 0);
    EXPECT_EQ(length(is_complex<T> ? rwork : iwork), 0);
    return status;
  }
  // Everything the call returns must be consistent: A = Z T Z^H with Z
  // unitary, T (quasi-)upper-triangular, eigenvalues = T's diagonal blocks.
  // A 2 x 2 block's eigenvalues are only as good as their condition allows:
  // `pair_slack` widens the tolerance for strongly non-normal pairs.
  void expect_schur_form(int32_t n, const std::vector<T>& original, double pair_slack = 1) {
    const double tol = 30.0 * n * epsilon<T>();
    auto t = matrix_values<T>(a), zv = matrix_values<T>(z);
    auto ev = vector_values<C>(w);
    ASSERT_EQ(ev.size(), std::size_t(n));
    std::vector<cd> zt(std::size_t(n) * n);
    for (int i = 0; i < n; ++i)
      for (int k = 0; k < n; ++k)
        for (int l = 0; l < n; ++l) zt[i * n + l] += cd(zv[i * n + k]) * cd(t[k * n + l]);
    double norm_a = 0, residual = 0, orthogonality = 0;
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        cd ztz = 0, zz = 0;
        for (int k = 0; k < n; ++k) {
          zz += std::conj(cd(zv[k * n + i])) * cd(zv[k * n + j]);
          ztz += zt[i * n + k] * std::conj(cd(zv[j * n + k]));
        }
        norm_a += std::norm(cd(original[i * n + j]));
        residual += std::norm(cd(original[i * n + j]) - ztz);
        orthogonality += std::norm(zz - (i == j ? 1.0 : 0.0));
        if (i > j + (is_complex<T> ? 0 : 1)) {
          EXPECT_EQ(cd(t[i * n + j]), cd(0)) << i << "," << j;
        }
      }
    EXPECT_LE(std::sqrt(residual / norm_a), tol);
    EXPECT_LE(std::sqrt(orthogonality), tol);
    for (int j = 0; j < n; ++j) {
      const cd sub = j + 1 < n ? cd(t[(j + 1) * n + j]) : 0.0;
      if (sub == 0.0) {
        if (!is_complex<T>) {
          EXPECT_EQ(ev[j].imag(), 0) << j;
        }
        EXPECT_LE(std::abs(cd(ev[j]) - cd(t[j * n + j])), tol * std::sqrt(norm_a)) << j;
        continue;
      }
      // A 2 x 2 block: its eigenvalues in closed form, positive part first.
      if (j + 2 < n) {
        EXPECT_EQ(cd(t[(j + 2) * n + j + 1]), 0.0) << "blocks overlap at " << j;
      }
      const double p = std::real(cd(t[j * n + j])), s = std::real(cd(t[(j + 1) * n + j + 1]));
      const cd root = std::sqrt(cd((p - s) * (p - s) / 4 + std::real(cd(t[j * n + j + 1])) * sub.real()));
      const cd first = (p + s) / 2 + (root.imag() >= 0 ? root : -root);
      EXPECT_LE(std::abs(cd(ev[j]) - first), pair_slack * tol * std::sqrt(norm_a)) << j;
      EXPECT_EQ(ev[j + 1], std::conj(ev[j])) << j;
      ++j;
    }
  }
};
TYPED_TEST_SUITE(SchurTest, ElementTypes);

TYPED_TEST(SchurTest, EveryOrderGivesASchurFormSortedByItsKey) {
  using T = TypeParam;
  for (int32_t n : {1, 2, 9, 40}) {
    const auto values = random_values<T>(n * n, 10 + n);
    for (int32_t order = 0; order <= 4; ++order) {
      ASSERT_EQ(this->run(n, values, 1, order), 0);
      this->expect_schur_form(n, values);
      if (order == 0) continue;
      if (n == 9 && order == 3) {
        // Without vectors the Schur form is the same.
        const auto t = matrix_values<T>(this->a);
        ASSERT_EQ(this->run(n, values, 0, order), 0);
        EXPECT_EQ(matrix_values<T>(this->a), t);
        EXPECT_EQ(rows(this->z), 0);
        ASSERT_EQ(this->run(n, values, 1, order), 0);
      }
      auto ev = vector_values<typename TestFixture::C>(this->w);
      for (int j = 0; j + 1 < n; ++j) {
        const auto k0 = key_of(ev[j], order), k1 = key_of(ev[j + 1], order);
        EXPECT_TRUE(order % 2 == 1 ? k0 <= k1 : k0 >= k1) << "order " << order << " at " << j;
      }
    }
  }
  const auto big = random_values<T>(200 * 200, 3);
  ASSERT_EQ(this->run(200, big, 1, 3), 0);
  this->expect_schur_form(200, big);
}

TYPED_TEST(SchurTest, SortsDiagonalAndNeverMovesEqualKeys) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  ASSERT_EQ(this->run(3, {T(3), T(0), T(0), T(0), T(1), T(0), T(0), T(0), T(2)}, 0, 1), 0);
  EXPECT_EQ(vector_values<C>(this->w), (std::vector<C>{C(1), C(2), C(3)}));
  EXPECT_EQ(matrix_values<T>(this->a)[8], T(3));
  EXPECT_EQ(rows(this->z), 0);
  ASSERT_EQ(this->run(3, {T(3), T(0), T(0), T(0), T(1), T(0), T(0), T(0), T(2)}, 0, 4), 0);
  EXPECT_EQ(vector_values<C>(this->w), (std::vector<C>{C(3), C(2), C(1)}));
  // Equal keys in every order (a real ±i pair; a complex 1 ± i), and -2
  // against 2 under the modulus orders: nothing moves.
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

TYPED_TEST(SchurTest, NearRealPairIsSnappedOnlyWhenSorting) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  if constexpr (!is_complex<T>) {
    const T d = epsilon<T>() / 16;
    const std::vector<T> m{T(1), d, -d, T(1)};
    ASSERT_EQ(this->run(2, m, 1, 0), 0);
    auto pair = vector_values<C>(this->w);
    EXPECT_NEAR(pair[0].imag(), d, d / 100);
    EXPECT_EQ(pair[1], std::conj(pair[0]));
    ASSERT_EQ(this->run(2, m, 1, 2), 0);
    EXPECT_EQ(vector_values<C>(this->w), (std::vector<C>{C(1), C(1)}));
    EXPECT_EQ(matrix_values<T>(this->a), (std::vector<T>{T(1), T(0), T(0), T(1)}));
  }
}

TYPED_TEST(SchurTest, FailuresEmptyEveryOutputAndLoseA) {
  using T = TypeParam;
  const T nan = std::numeric_limits<RealOf<T>>::quiet_NaN();
  const std::vector<T> ok{T(1), T(2), T(3), T(4)};
  auto expect_emptied = [&] {
    EXPECT_EQ(rows(this->a), 0);
    EXPECT_EQ(cols(this->a), 0);
    EXPECT_EQ(rows(this->z), 0);
    EXPECT_EQ(length(this->w), 0);
  };
  EXPECT_EQ(this->run(0, {}, 1, 0), -20003);
  this->a = this->host.template matrix<T>(2, 3, std::vector<T>(6));
  EXPECT_EQ(Schur<T>::run(this->a, 1, 9, this->z, this->w, this->work, this->rwork, this->iwork), -20040);
  expect_emptied();
  EXPECT_EQ(this->run(2, {nan, T(0), T(0), T(1)}, 1, 5), -20061);
  expect_emptied();
  EXPECT_EQ(this->run(2, ok, 1, -1), -20061) << "the order is unsigned";
  EXPECT_EQ(this->run(2, {T(1), T(0), T(0), std::numeric_limits<RealOf<T>>::infinity()}, 1, 1), -20068);
  expect_emptied();
  {
    FailNthResize fail(2);  // Z is sized, then the eigenvalues
    EXPECT_EQ(this->run(2, ok, 1, 0), -20001);
    expect_emptied();
  }
  this->a = this->host.template matrix<T>(2, 2, ok);
  EXPECT_EQ(Schur<T>::run(this->a, 1, 0, this->z, this->w, nullptr, this->rwork, this->iwork), -20999);
  expect_emptied();
  // Real types need the block map only to sort, complex ones always need the
  // real workspace; neither reads the other handle.
  this->a = this->host.template matrix<T>(2, 2, ok);
  EXPECT_EQ(Schur<T>::run(this->a, 1, 1, this->z, this->w, this->work, nullptr, nullptr), -20999);
  this->a = this->host.template matrix<T>(2, 2, ok);
  ZwArrayHandle rwork = is_complex<T> ? this->rwork : nullptr;
  EXPECT_EQ(Schur<T>::run(this->a, 1, 0, this->z, this->w, this->work, rwork, nullptr), 0);
}

TYPED_TEST(SchurTest, PairsThatTurnRealWhenMovedAreSplit) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  if constexpr (!is_complex<T>) {
    // Strongly non-normal pairs 1 ± sqrt(b c) i, above the snapping
    // tolerance. Moving the eigenvalue 0 past such a pair perturbs its tiny
    // sub-diagonal by rounding, which often turns the pair real: then T's
    // diagonal must still be the eigenvalue vector.
    int splits = 0;
    for (double b : {1e2, 1e4})
      for (double c : sizeof(T) == 4 ? std::vector<double>{1e-8, 1e-12} : std::vector<double>{1e-12, 1e-16, 1e-20}) {
        const std::vector<T> m{T(1), T(b), T(1), T(-c), T(1), T(1), T(0), T(0), T(0)};
        ASSERT_EQ(this->run(3, m, 1, 0), 0);
        ASSERT_NE(vector_values<C>(this->w)[0].imag(), 0);
        ASSERT_EQ(this->run(3, m, 1, 1), 0);
        this->expect_schur_form(3, m, 1 / std::sqrt(epsilon<T>()));
        const auto ev = vector_values<C>(this->w);
        EXPECT_TRUE(ev[0].real() <= ev[1].real() && ev[1].real() <= ev[2].real());
        splits += ev[2].imag() == 0;
      }
    EXPECT_GT(splits, 0) << "no case exercised the split";
  }
}

}  // namespace
