// Inverse through the exports: the triangle each kind reads, which paths
// use the scratch handles, and the checks.
#include "solve/reference.hpp"

namespace {

using namespace test;

template <class T> class InverseTest : public SolveFixture<T> {
 protected:
  // Inverts `given` in place and returns the result; a failure must leave
  // the matrix 0 x 0.
  // The general path empties both scratch handles, and so does a call
  // refused before any path is chosen; every other path leaves them as passed.
  std::vector<T> inv(ZwArrayHandle a, int32_t type, int32_t want_status = 0) {
    const int32_t n = rows(a);
    const bool refused_early = n < 1 || cols(a) != n;
    this->work = this->vec({T(1), T(2)});
    this->pivots = this->host.template vector<int32_t>({7});
    EXPECT_EQ(Solve<T>::inv(a, type, this->work, this->pivots), want_status);
    EXPECT_EQ(rows(a), want_status < 0 ? 0 : n);
    EXPECT_EQ(cols(a), want_status < 0 ? 0 : n);
    if (type == kGeneral || refused_early) {
      this->expect_scratch_empty();
    } else {
      EXPECT_EQ(vector_values<T>(this->work), (std::vector<T>{T(1), T(2)}));
      EXPECT_EQ(vector_values<int32_t>(this->pivots), std::vector<int32_t>{7});
    }
    return want_status < 0 ? std::vector<T>{} : matrix_values<T>(a);
  }
};
TYPED_TEST_SUITE(InverseTest, ElementTypes);

// NaN in the triangle a kind does not read is not screened: the positive
// definite inverse is mirrored over it, exactly Hermitian, and a triangular
// inverse hands it back as it was.
TYPED_TEST(InverseTest, TheUnreadTriangleMayHoldNaN) {
  using T = TypeParam;
  const T nan = nan_of<T>;
  const int n = 3;
  std::vector<T> identity(n * n);
  for (int i = 0; i < n; ++i) identity[i * n + i] = T(1);
  const auto p = positive_definite_matrix<T>(n, 53, false);
  const auto x = this->inv(this->mat(n, n, triangle_of(p, n, true, nan)), kPositiveDefinite);
  EXPECT_LE(scaled_residual(p, x, identity, n, n), 4.0);
  EXPECT_TRUE(same_values(x, from_lower(x, n)));
  for (bool lower : {true, false}) {
    const auto t = triangular_matrix<T>(n, lower, 63, nan);
    const auto xt = this->inv(this->mat(n, n, t), lower ? kLower : kUpper);
    EXPECT_LE(scaled_residual(triangle_of(t, n, lower), triangle_of(xt, n, lower), identity, n, n), 4.0);
    EXPECT_TRUE(same_values(triangle_of(xt, n, lower, nan), xt));
  }
}

TYPED_TEST(InverseTest, ChecksAndFailuresEmptyTheMatrix) {
  using T = TypeParam;
  EXPECT_EQ(this->inv(this->mat(1, 1, {4}), kGeneral), std::vector<T>{T(0.25)});
  EXPECT_EQ(this->inv(this->mat(1, 1, {4}), kPositiveDefinite), std::vector<T>{T(0.25)});
  this->inv(this->mat(0, 3, {}), kGeneral, -20003);
  this->inv(this->mat(3, 0, {}), kGeneral, -20040);  // only the row count is tested against 1
  this->inv(this->mat(2, 3, std::vector<T>(6)), kGeneral, -20040);
  this->inv(this->mat(3, 3, {1, 0, 2, 3, 0, 4, 5, 0, 6}), kGeneral, -20041);  // an exactly zero pivot
  this->inv(this->mat(3, 3, {1, 0, 0, 2, 0, 0, 3, 4, 5}), kLower, -20041);
  this->inv(this->mat(2, 2, {1, 2, 2, 1}), kPositiveDefinite, -20071);
  const auto g = random_values<T>(16, 70);
  this->inv(this->mat(4, 4, g), 4, -20061);
  this->inv(this->mat(4, 4, g), -1, -20061);
}

}  // namespace
