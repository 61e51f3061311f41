// Schur decomposition through the exports: A = Z T Z^H and the shape of T
// against plain loops, the eigenvalue ordering, and the failure contract.
#include <cmath>

#include "support/host.hpp"

namespace {

using namespace test;
using cd = std::complex<double>;

// Sort key of each order, in the working precision: keys that differ only by
// rounding may come either way round.
template <class R> R key_of(std::complex<R> v, int order) {
  return order <= 2 ? v.real() : v.real() * v.real() + v.imag() * v.imag();
}

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
    constexpr auto fn = std::is_same_v<T, float> ? sSchurH : std::is_same_v<T, double> ? dSchurH
                        : std::is_same_v<T, cfloat> ? cSchurH : zSchurH;
    const int32_t status = fn(a, vectors, order, z, w, work_h, rwork_h, iwork_h);
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

TYPED_TEST(SchurTest, EveryOrderGivesASchurFormSortedByItsKey) {
  using T = TypeParam;
  for (int32_t n : {1, 2, 9, 40, 200}) {
    const auto values = random_values<T>(n * n, 10 + n);
    for (int32_t order = n == 200 ? 3 : 0; order <= (n == 200 ? 3 : 4); ++order) {
      ASSERT_EQ(this->run(n, values, 1, order), 0);
      this->expect_schur_form(n, values);
      const auto ev = vector_values<typename TestFixture::C>(this->w);
      for (int j = 0; order != 0 && j + 1 < n; ++j) {
        const auto k0 = key_of(ev[j], order), k1 = key_of(ev[j + 1], order);
        EXPECT_TRUE(order % 2 == 1 ? k0 <= k1 : k0 >= k1) << "order " << order << " at " << j;
      }
    }
  }
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
  auto expect_failure = [&](int32_t want, int32_t n, std::vector<T> values, int32_t order, bool null_work = false) {
    ASSERT_EQ(this->run(2, good, 1, 1), 0);
    EXPECT_EQ(this->run(n, values, 1, order, null_work ? nullptr : this->work, this->rwork, this->iwork), want);
    EXPECT_EQ(rows(this->a) + cols(this->a) + rows(this->z) + length(this->w), 0);
  };
  expect_failure(-20003, 0, {}, 9);
  expect_failure(-20040, 2, std::vector<T>(6), 9);
  expect_failure(-20061, 2, {T(NAN), T(0), T(0), T(1)}, 5);
  expect_failure(-20061, 2, good, -1);  // the order is unsigned
  expect_failure(-20068, 2, {T(1), T(0), T(0), T(INFINITY)}, 1);
  expect_failure(-20999, 2, good, 0, true);
  // Real types need the block map only to sort, complex ones always need the
  // real workspace; neither reads the other handle.
  EXPECT_EQ(this->run(2, good, 1, 1, this->work, nullptr, nullptr), -20999);
  EXPECT_EQ(this->run(2, good, 1, 0, this->work, is_complex<T> ? this->rwork : nullptr, nullptr), 0);
}

}  // namespace
