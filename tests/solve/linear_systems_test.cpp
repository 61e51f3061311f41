// Linear systems through the exports: the checks in their order, the
// triangle each kind screens and reads, and the scratch each solver uses.
#include "solve/reference.hpp"

namespace {

using namespace test;

template <class T> class LinearSystemsTest : public SolveFixture<T> {
 protected:
  ZwArrayHandle x = this->vec({9});
  // One right-hand side; a failure must leave X empty. The workspace comes
  // back empty; the pivots too where the general solver used them, and as
  // passed from the others.
  std::vector<T> solve(ZwArrayHandle a, ZwArrayHandle b, int32_t type, int32_t want_status = 0) {
    const int32_t pivots_passed = length(this->pivots);
    EXPECT_EQ(Solve<T>::eq(a, b, type, x, this->work, this->pivots), want_status);
    if (want_status < 0) {
      EXPECT_EQ(length(x), 0);
      x = this->vec({9});
    }
    EXPECT_EQ(length(this->work), 0);
    EXPECT_EQ(length(this->pivots), type == kGeneral ? 0 : pivots_passed);
    return want_status < 0 ? std::vector<T>{} : vector_values<T>(x);
  }
};
TYPED_TEST_SUITE(LinearSystemsTest, ElementTypes);

TYPED_TEST(LinearSystemsTest, ChecksComeInTheirOrder) {
  using T = TypeParam;
  const T nan = nan_of<T>;
  ZwArrayHandle a = this->mat(3, 3, random_values<T>(9, 5)), b = this->vec({1, 2, 3});
  this->solve(this->host.empty(), this->vec({}), kGeneral, -20003);
  this->solve(this->mat(3, 0, {}), b, kGeneral, -20040);
  this->solve(a, this->vec({}), kGeneral, -20002);  // an empty B is a mismatch, not empty
  this->solve(a, b, 4, -20061);  // after X has been sized
  this->solve(a, b, -1, -20061);
  ZwArrayHandle xs = this->mat(1, 1, {9});
  EXPECT_EQ(Solve<T>::eq_set(a, this->mat(3, 0, {}), kGeneral, xs, this->work, this->pivots), -20003);
  EXPECT_EQ(Solve<T>::eq_set(a, this->mat(2, 1, {1, 2}), kGeneral, xs, this->work, this->pivots), -20002);
  EXPECT_EQ(rows(xs) + cols(xs), 0);
  // The screens come before any look at the scratch handles.
  ZwArrayHandle with_nan = this->mat(3, 3, {1, 0, 0, 0, nan, 0, 0, 0, 1});
  for (int32_t type : {kGeneral, kPositiveDefinite, kLower, kUpper}) {
    EXPECT_EQ(Solve<T>::eq(with_nan, b, type, this->x, nullptr, nullptr), -20068);
    EXPECT_EQ(Solve<T>::eq(a, this->vec({1, nan, 3}), type, this->x, nullptr, nullptr), -20068);
    // Only the general solver has pivots to empty; the others never touch them.
    ZwArrayHandle pivots = this->host.template vector<int32_t>({7});
    EXPECT_EQ(Solve<T>::eq(a, b, type, this->x, nullptr, pivots), -20999);
    EXPECT_EQ(length(this->x), 0);
    EXPECT_EQ(vector_values<int32_t>(pivots), type == kGeneral ? std::vector<int32_t>{} : std::vector<int32_t>{7});
  }
  // A matrix type out of range chooses no solver: both handles stay as passed,
  // while a call refused before that empties them.
  ZwArrayHandle work = this->vec({5}), pivots = this->host.template vector<int32_t>({7});
  EXPECT_EQ(Solve<T>::eq(a, b, 4, this->x, work, pivots), -20061);
  EXPECT_EQ(vector_values<T>(work), std::vector<T>{T(5)});
  EXPECT_EQ(vector_values<int32_t>(pivots), std::vector<int32_t>{7});
  EXPECT_EQ(Solve<T>::eq(a, this->vec({1}), 4, this->x, work, pivots), -20002);
  EXPECT_EQ(length(work) + length(pivots), 0);
  EXPECT_EQ(Solve<T>::eq(a, b, kGeneral, this->x, this->work, nullptr), -20999);
  EXPECT_EQ(length(this->work) + length(this->x), 0);
}

TYPED_TEST(LinearSystemsTest, OnlyTheNamedTriangleIsScreenedAndUsed) {
  using T = TypeParam;
  ZwArrayHandle a = this->mat(2, 2, {2, nan_of<T>, 1, 1}), b = this->vec({2, 3});
  EXPECT_EQ(this->solve(a, b, kLower), (std::vector<T>{1, 2}));
  this->solve(a, b, kUpper, -20068);
  EXPECT_EQ(this->solve(this->mat(2, 2, {2, 0, 0, 4}), this->vec({2, 4}), kGeneral), (std::vector<T>{1, 1}));
}

TYPED_TEST(LinearSystemsTest, SingularAndIndefiniteEmptyX) {
  using T = TypeParam;
  this->solve(this->mat(2, 2, {1, 2, 2, 4}), this->vec({1, 1}), kGeneral, -20041);
  this->solve(this->mat(2, 2, {1, 0, 1, 0}), this->vec({1, 1}), kLower, -20041);
  this->solve(this->mat(2, 2, {1, 2, 2, 1}), this->vec({1, 1}), kPositiveDefinite, -20071);
  ZwArrayHandle a = this->mat(4, 4, random_values<T>(16, 6)), b = this->vec({1, 2, 3, 4});
  // An X of the right length is not resized: only the workspace and the
  // pivots are sized and emptied again.
  this->x = this->vec(std::vector<T>(4));
  const int64_t before = ZwrtResizeCount();
  this->solve(a, b, kGeneral);
  EXPECT_EQ(ZwrtResizeCount() - before, 4);
}

TYPED_TEST(LinearSystemsTest, ScreenRefusesTheExtremeFiniteValues) {
  using T = TypeParam;
  using R = RealOf<T>;
  const R high = std::numeric_limits<R>::max();
  std::vector<R> refused{high, -high};
  R accepted = std::nextafter(high, R(0));
  if constexpr (std::is_same_v<R, double>) {
    // Deliberately asymmetric: the last units above -max are refused too.
    refused.push_back(std::bit_cast<double>(0xFFEFFFFFFFFFFFB0ull));
    accepted = 1.7976931348622e308;
  }
  for (R v : refused) {
    this->solve(this->mat(1, 1, {T(v)}), this->vec({1}), kGeneral, -20068);
    this->solve(this->mat(1, 1, {1}), this->vec({T(v)}), kLower, -20068);
  }
  if constexpr (is_complex<T>) {  // the imaginary part is screened as well
    this->solve(this->mat(1, 1, {T(1, std::numeric_limits<R>::infinity())}), this->vec({1}), kUpper, -20068);
  }
  EXPECT_EQ(this->solve(this->mat(1, 1, {1}), this->vec({T(accepted)}), kGeneral), std::vector<T>{T(accepted)});
}

}  // namespace
