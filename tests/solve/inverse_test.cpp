// Inverse through the exports, checked by the residual A A^-1 - I.
#include "solve/reference.hpp"

namespace {

using namespace test;

template <class T> class InverseTest : public ::testing::Test {
 protected:
  Host host;
  ZwArrayHandle work = host.vector<T>({T(1), T(2)});
  ZwArrayHandle pivots = host.vector<int32_t>({7});

  int32_t inv(ZwArrayHandle a, int32_t type) { return Solve<T>::inv(a, type, work, pivots); }
  void expect_scratch_empty() {
    EXPECT_EQ(length(work), 0);
    EXPECT_EQ(length(pivots), 0);
  }
  void expect_emptied(ZwArrayHandle a) {
    EXPECT_EQ(rows(a), 0);
    EXPECT_EQ(cols(a), 0);
    expect_scratch_empty();
  }
  // Inverts `given` with the selector; `meant` is the matrix the selector
  // says it stands for. Returns the inverse.
  std::vector<T> invert_and_check(const std::vector<T>& given, const std::vector<T>& meant, int n, int32_t type) {
    ZwArrayHandle a = host.matrix<T>(n, n, given);
    EXPECT_EQ(inv(a, type), 0);
    EXPECT_EQ(rows(a), n);
    EXPECT_EQ(cols(a), n);
    expect_scratch_empty();
    auto x = matrix_values<T>(a);
    std::vector<T> identity(n * n);
    for (int i = 0; i < n; ++i) identity[i * n + i] = T(1);
    const bool triangular = type == kLower || type == kUpper;
    auto used = triangular ? triangle_of(x, n, type == kLower) : x;
    EXPECT_LE(scaled_residual(meant, used, identity, n, n), 4.0) << "n = " << n << ", type " << type;
    return x;
  }
};
TYPED_TEST_SUITE(InverseTest, ElementTypes);

TYPED_TEST(InverseTest, ResidualIsSmallForEveryMatrixType) {
  using T = TypeParam;
  const T nan(std::numeric_limits<RealOf<T>>::quiet_NaN());
  for (int n : {1, 2, 3, 17, 150}) {
    const auto g = general_matrix<T>(n, 40 + n);
    this->invert_and_check(g, g, n, kGeneral);

    // The strict upper triangle is neither read nor kept: the result is
    // mirrored from the lower one, so it is exactly Hermitian.
    const auto p = positive_definite_matrix<T>(n, 50 + n);
    auto noisy = p;
    for (int i = 0; i < n; ++i)
      for (int j = i + 1; j < n; ++j) noisy[i * n + j] = nan;
    const auto x = this->invert_and_check(noisy, p, n, kPositiveDefinite);
    for (int i = 0; i < n; ++i)
      for (int j = i + 1; j < n; ++j) ASSERT_TRUE(same_bits(x[i * n + j], conj_of(x[j * n + i])));

    // The other triangle comes back exactly as it was given.
    for (int32_t type : {kLower, kUpper}) {
      const bool lower = type == kLower;
      const auto t = triangular_matrix<T>(n, lower, 60 + n, nan);
      const auto xt = this->invert_and_check(t, triangle_of(t, n, lower), n, type);
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
          if (lower ? j > i : j < i) {
            ASSERT_TRUE(same_bits(xt[i * n + j], nan));
          }
    }
  }
}

TYPED_TEST(InverseTest, ChecksAndFailuresEmptyTheMatrix) {
  using T = TypeParam;
  for (int32_t type : {kGeneral, kPositiveDefinite}) {
    ZwArrayHandle a = this->host.template matrix<T>(1, 1, {T(4)});
    ASSERT_EQ(this->inv(a, type), 0);
    EXPECT_EQ(matrix_values<T>(a), std::vector<T>{T(0.25)});
  }
  auto expect_failure = [&](ZwArrayHandle a, int32_t type, int32_t status) {
    EXPECT_EQ(this->inv(a, type), status);
    this->expect_emptied(a);
  };
  expect_failure(this->host.template matrix<T>(0, 3, {}), kGeneral, -20003);
  // Only the row count is tested against 1: 3 x 0 is not square, not empty
  // (the determinant reports the same matrix as empty).
  expect_failure(this->host.template matrix<T>(3, 0, {}), kGeneral, -20040);
  expect_failure(this->host.template filled<T>(2, 3, T(1)), kGeneral, -20040);
  const std::vector<T> singular{1, 0, 2, 3, 0, 4, 5, 0, 6};  // an exactly zero pivot
  expect_failure(this->host.template matrix<T>(3, 3, singular), kGeneral, -20041);
  expect_failure(this->host.template matrix<T>(3, 3, {1, 0, 0, 2, 0, 0, 3, 4, 5}), kLower, -20041);
  expect_failure(this->host.template matrix<T>(2, 2, {1, 2, 2, 1}), kPositiveDefinite, -20071);
  const auto g = general_matrix<T>(4, 70);
  expect_failure(this->host.template matrix<T>(4, 4, g), 4, -20061);
  expect_failure(this->host.template matrix<T>(4, 4, g), -1, -20061);
  for (int nth : {1, 2}) {  // the pivots, then the work
    FailNthResize fail(nth);
    expect_failure(this->host.template matrix<T>(4, 4, g), kGeneral, -20001);
  }
  ZwArrayHandle a = this->host.template matrix<T>(4, 4, g);
  EXPECT_EQ(Solve<T>::inv(a, kGeneral, nullptr, this->pivots), -20999);
  this->expect_emptied(a);
  a = this->host.template matrix<T>(4, 4, g);
  EXPECT_EQ(Solve<T>::inv(a, kGeneral, this->work, nullptr), -20999);
  this->expect_emptied(a);
}

}  // namespace
