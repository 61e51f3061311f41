// Determinant through the exports: the checks, exact zeros and signs, and
// the widened product of a diagonal.
#include "solve/reference.hpp"

namespace {

using namespace test;

template <class T> class DeterminantTest : public SolveFixture<T> {
 protected:
  // The positive definite path never touches the pivots; every other way
  // out empties both scratch handles.
  T det(ZwArrayHandle a, int32_t type, int32_t want_status = 0) {
    T d(1);
    this->pivots = this->host.template vector<int32_t>({7});
    EXPECT_EQ(Solve<T>::det(a, type, &d, this->work, this->pivots), want_status);
    if (want_status < 0) {
      EXPECT_TRUE(is_failure_nan(d));
    }
    EXPECT_EQ(length(this->work), 0);
    EXPECT_EQ(length(this->pivots), type == kPositiveDefinite ? 1 : 0);
    return d;
  }
};
TYPED_TEST_SUITE(DeterminantTest, ElementTypes);

TYPED_TEST(DeterminantTest, ChecksAndFailuresGiveTheFailureNaN) {
  using T = TypeParam;
  this->det(this->host.empty(), kGeneral, -20003);
  this->det(this->mat(3, 0, {}), kGeneral, -20003);  // the inverse calls this one not square
  this->det(this->mat(2, 3, std::vector<T>(6)), kGeneral, -20040);
  ZwArrayHandle a = this->mat(3, 3, random_values<T>(9, 1));
  this->det(a, 4, -20061);
  this->det(a, -1, -20061);
  // Symmetric and indefinite: refused from n = 3 on, not by the closed form.
  this->det(this->mat(3, 3, {1, 2, 0, 2, 1, 0, 0, 0, 1}), kPositiveDefinite, -20071);
  EXPECT_EQ(this->det(this->mat(2, 2, {1, 2, 2, 1}), kPositiveDefinite), T(-3));
  // A Hermitian determinant is real to the last bit, whatever the upper
  // triangle holds.
  EXPECT_EQ(std::imag(this->det(this->mat(4, 4, positive_definite_matrix<T>(4, 24, true)), kPositiveDefinite)), 0);
  // The positive definite path needs the work but not the pivots; 1 x 1
  // needs neither.
  T d{};
  EXPECT_EQ(Solve<T>::det(a, kPositiveDefinite, &d, nullptr, nullptr), -20999);
  EXPECT_TRUE(is_failure_nan(d));
  ASSERT_EQ(Solve<T>::det(this->mat(1, 1, {T(-2.5)}), kGeneral, &d, nullptr, nullptr), 0);
  EXPECT_EQ(d, T(-2.5));
}

TYPED_TEST(DeterminantTest, SingularIsAnExactZeroAndARowSwapAnExactMinusOne) {
  using T = TypeParam;
  // A zero column is an exactly zero pivot for the core.
  EXPECT_TRUE(same_bits(this->det(this->mat(3, 3, {1, 0, 2, 3, 0, 4, 5, 0, 6}), kGeneral), T(0)));
  EXPECT_EQ(this->det(this->mat(3, 3, {0, 1, 0, 1, 0, 0, 0, 0, 1}), kGeneral), T(-1));
}

TYPED_TEST(DeterminantTest, DiagonalProductIsPlainButWidenedForSinglePrecision) {
  using T = TypeParam;
  using R = RealOf<T>;
  const int n = 200;
  std::vector<T> a(n * n);
  for (int i = 0; i < n; ++i) a[i * n + i] = T(10);
  const T d = this->det(this->mat(n, n, a), kLower);
  if constexpr (std::is_same_v<R, float>) {
    EXPECT_TRUE(same_bits(std::real(d), std::numeric_limits<float>::infinity()));
  } else {
    EXPECT_NEAR(std::real(d) / 1e200, 1.0, 1e-13);
  }
  EXPECT_EQ(std::imag(d), 0);
  // 1e30 1e30 1e-30 1e-30 leaves float32 range half-way through the product.
  const T big(R(1e30)), small(R(1e-30));
  EXPECT_NEAR(std::real(this->det(this->mat(4, 4, {big, 0, 0, 0, 0, big, 0, 0, 0, 0, small, 0, 0, 0, 0, small}), kUpper)), 1.0, 1e-5);
}

}  // namespace
