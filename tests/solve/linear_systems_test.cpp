// Linear systems through the exports, checked by the residual A X - B.
#include "solve/reference.hpp"

namespace {

using namespace test;

template <class T> class LinearSystemsTest : public ::testing::Test {
 protected:
  Host host;
  ZwArrayHandle work = host.vector<T>({T(1), T(2)});
  ZwArrayHandle pivots = host.vector<int32_t>({7});
  ZwArrayHandle x = host.vector<T>({T(9)});

  int32_t lin_eq(ZwArrayHandle a, ZwArrayHandle b, int32_t type) {
    return Solve<T>::lin_eq(a, b, type, x, work, pivots);
  }
  void expect_scratch_empty() {
    EXPECT_EQ(length(work), 0);
    EXPECT_EQ(length(pivots), 0);
  }
  // A failed call leaves X and both scratch handles empty.
  void expect_failure(ZwArrayHandle a, ZwArrayHandle b, int32_t type, int32_t status) {
    x = host.vector<T>({T(9)});
    EXPECT_EQ(lin_eq(a, b, type), status);
    EXPECT_EQ(length(x), 0);
    expect_scratch_empty();
  }
  ZwArrayHandle vec(const std::vector<T>& v) { return host.vector<T>(v); }
  ZwArrayHandle mat(int r, int c, const std::vector<T>& v) { return host.matrix<T>(r, c, v); }
};
TYPED_TEST_SUITE(LinearSystemsTest, ElementTypes);

TYPED_TEST(LinearSystemsTest, ResidualIsSmallForEveryMatrixTypeAndOneOrManyRightHandSides) {
  using T = TypeParam;
  const T nan(std::numeric_limits<RealOf<T>>::quiet_NaN());
  for (int32_t type : {kGeneral, kPositiveDefinite, kLower, kUpper}) {
    for (int n : {1, 2, 5, 64, 200}) {
      const unsigned seed = 100 * type + n;
      // What is given, and the matrix the selector says it stands for. The
      // triangular ones carry NaN in the triangle that must be ignored.
      std::vector<T> given, meant;
      if (type == kGeneral) given = meant = general_matrix<T>(n, seed);
      if (type == kPositiveDefinite) {
        given = positive_definite_matrix<T>(n, seed, true);
        meant = from_lower(given, n);
      }
      if (type == kLower || type == kUpper) {
        given = triangular_matrix<T>(n, type == kLower, seed, nan);
        meant = triangle_of(given, n, type == kLower);
      }
      ZwArrayHandle a = this->mat(n, n, given);
      for (int k : {1, 3}) {
        const auto bv = random_values<T>(n * k, seed + 1);
        ZwArrayHandle b = k == 1 ? this->vec(bv) : this->mat(n, k, bv);
        ZwArrayHandle out = this->host.empty();
        const int32_t status = k == 1 ? Solve<T>::lin_eq(a, b, type, out, this->work, this->pivots)
                                      : Solve<T>::lin_eq_set(a, b, type, out, this->work, this->pivots);
        ASSERT_EQ(status, 0) << "type " << type << ", n = " << n << ", k = " << k;
        const auto xv = k == 1 ? vector_values<T>(out) : matrix_values<T>(out);
        if (k > 1) {
          EXPECT_EQ(rows(out), n);
          EXPECT_EQ(cols(out), k);
        }
        ASSERT_EQ(xv.size(), std::size_t(n * k));
        EXPECT_LE(scaled_residual(meant, xv, bv, n, k), 4.0) << "type " << type << ", n = " << n << ", k = " << k;
        EXPECT_TRUE(same_values(k == 1 ? vector_values<T>(b) : matrix_values<T>(b), bv)) << "B is never written";
        this->expect_scratch_empty();
      }
      EXPECT_TRUE(same_values(matrix_values<T>(a), given)) << "A is never written";
    }
  }
}

TYPED_TEST(LinearSystemsTest, ChecksComeInTheirOrder) {
  using T = TypeParam;
  const T nan(std::numeric_limits<RealOf<T>>::quiet_NaN());
  const auto g3 = general_matrix<T>(3, 5);
  ZwArrayHandle a3 = this->mat(3, 3, g3), b3 = this->vec({1, 2, 3});
  this->expect_failure(this->host.empty(), this->vec({}), kGeneral, -20003);
  this->expect_failure(this->mat(3, 0, {}), b3, kGeneral, -20040);
  this->expect_failure(a3, this->vec({}), kGeneral, -20002);  // an empty B is a mismatch here
  // The selector is looked at only after X has been sized; X is emptied.
  this->expect_failure(a3, b3, 4, -20061);
  this->expect_failure(a3, b3, -1, -20061);
  // Sets: a B without columns is empty, one with the wrong rows a mismatch.
  ZwArrayHandle xs = this->mat(1, 1, {9});
  EXPECT_EQ(Solve<T>::lin_eq_set(a3, this->mat(3, 0, {}), kGeneral, xs, this->work, this->pivots), -20003);
  EXPECT_EQ(Solve<T>::lin_eq_set(a3, this->mat(2, 1, {1, 2}), kGeneral, xs, this->work, this->pivots), -20002);
  EXPECT_EQ(rows(xs), 0);
  EXPECT_EQ(cols(xs), 0);

  // The screens come before any look at the workspace handles.
  auto with_nan = g3;
  with_nan[4] = nan;
  for (int32_t type : {kGeneral, kPositiveDefinite, kLower, kUpper}) {
    EXPECT_EQ(Solve<T>::lin_eq(this->mat(3, 3, with_nan), b3, type, this->x, nullptr, nullptr), -20068);
    EXPECT_EQ(Solve<T>::lin_eq(a3, this->vec({1, nan, 3}), type, this->x, nullptr, nullptr), -20068);
    EXPECT_EQ(Solve<T>::lin_eq(a3, b3, type, this->x, nullptr, this->pivots), -20999);
    EXPECT_EQ(length(this->pivots), 0);
    EXPECT_EQ(length(this->x), 0);
    this->pivots = this->host.template vector<int32_t>({7});
  }
  EXPECT_EQ(Solve<T>::lin_eq(a3, b3, kGeneral, this->x, this->work, nullptr), -20999);
  EXPECT_EQ(length(this->work), 0);
  EXPECT_EQ(length(this->x), 0);
}

TYPED_TEST(LinearSystemsTest, OnlyTheNamedTriangleIsScreenedAndUsed) {
  using T = TypeParam;
  const T nan(std::numeric_limits<RealOf<T>>::quiet_NaN());
  ZwArrayHandle a = this->mat(2, 2, {2, nan, 1, 1}), b = this->vec({2, 3});
  ASSERT_EQ(this->lin_eq(a, b, kLower), 0);
  EXPECT_EQ(vector_values<T>(this->x), (std::vector<T>{1, 2}));
  this->expect_failure(a, b, kUpper, -20068);
  ASSERT_EQ(this->lin_eq(this->mat(2, 2, {2, 0, 0, 4}), this->vec({2, 4}), kGeneral), 0);
  EXPECT_EQ(vector_values<T>(this->x), (std::vector<T>{1, 1}));
}

TYPED_TEST(LinearSystemsTest, SingularIndefiniteAndOutOfMemoryEmptyX) {
  using T = TypeParam;
  this->expect_failure(this->mat(2, 2, {1, 2, 2, 4}), this->vec({1, 1}), kGeneral, -20041);
  this->expect_failure(this->mat(2, 2, {1, 0, 1, 0}), this->vec({1, 1}), kLower, -20041);
  this->expect_failure(this->mat(2, 2, {1, 2, 2, 1}), this->vec({1, 1}), kPositiveDefinite, -20071);
  const auto g = general_matrix<T>(4, 6);
  for (int nth : {1, 2, 3}) {  // X, the workspace, the pivots
    FailNthResize fail(nth);
    this->expect_failure(this->mat(4, 4, g), this->vec({1, 2, 3, 4}), kGeneral, -20001);
  }
  // An X of the right length is not resized: only the workspace and the
  // pivots are sized and emptied again.
  this->x = this->host.template vector<T>(std::vector<T>(4));
  const int64_t before = ZwrtResizeCount();
  ASSERT_EQ(this->lin_eq(this->mat(4, 4, g), this->vec({1, 2, 3, 4}), kGeneral), 0);
  EXPECT_EQ(ZwrtResizeCount() - before, 4);
}

TYPED_TEST(LinearSystemsTest, ScreenRefusesTheExtremeFiniteValues) {
  using T = TypeParam;
  using R = RealOf<T>;
  const R high = std::numeric_limits<R>::max();
  std::vector<R> refused{high, -high};
  R accepted = std::nextafter(high, R(0));
  if constexpr (std::is_same_v<R, double>) {
    // Deliberately asymmetric: the last units below -max are refused too.
    refused.push_back(std::bit_cast<double>(0xFFEFFFFFFFFFFFB0ull));
    accepted = 1.7976931348622e308;
  }
  for (R v : refused) {
    this->expect_failure(this->mat(1, 1, {T(v)}), this->vec({1}), kGeneral, -20068);
    this->expect_failure(this->mat(1, 1, {1}), this->vec({T(v)}), kLower, -20068);
  }
  if constexpr (is_complex<T>)  // the imaginary part is screened as well
    this->expect_failure(this->mat(1, 1, {T(1, std::numeric_limits<R>::infinity())}), this->vec({1}), kUpper, -20068);
  ASSERT_EQ(this->lin_eq(this->mat(1, 1, {1}), this->vec({T(accepted)}), kGeneral), 0);
  EXPECT_EQ(vector_values<T>(this->x), std::vector<T>{T(accepted)});
}

}  // namespace
