// Rank through the exports, on diagonal matrices whose singular values sit
// on either side of the tolerance, and its failures.
#include "solve/reference.hpp"

namespace {

using namespace test;

template <class T> class RankTest : public SingularValueFixture<T> {
 protected:
  using R = RealOf<T>;

  int32_t rank(int m, int n, const std::vector<T>& a, R tol, int32_t want = 0) {
    ZwArrayHandle h = this->host.template matrix<T>(m, n, a);
    int32_t r = 99;
    EXPECT_EQ(Solve<T>::rank(h, tol, &r, this->values, this->work, this->real_work, this->int_work), want);
    EXPECT_EQ(rows(h), m);  // the matrix is only read
    for (ZwArrayHandle s : {this->values, this->work, this->int_work}) EXPECT_EQ(length(s), 0);
    expect_kernel_real_work_settled<T>(this->real_work, 1);
    if (want < 0) {
      EXPECT_EQ(r, -1);
    }
    return r;
  }
  static std::vector<T> diagonal(std::initializer_list<R> d) {
    const int n = static_cast<int>(d.size());
    std::vector<T> a(n * n);
    int i = 0;
    for (R v : d) a[i * n + i] = T(v), ++i;
    return a;
  }
};
TYPED_TEST_SUITE(RankTest, ElementTypes);

TYPED_TEST(RankTest, AValueEqualToTheToleranceIsNotCounted) {
  using T = TypeParam;
  using R = RealOf<T>;
  const auto d = this->diagonal({3, 2, 1});
  EXPECT_EQ(this->rank(3, 3, d, 2), 1);
  EXPECT_EQ(this->rank(3, 3, d, R(1.99)), 2);
  EXPECT_EQ(this->rank(3, 3, d, 0), 3);
  EXPECT_EQ(this->rank(3, 3, d, 3), 0);
  // The default is max(m, n) * s1 * eps = 2 eps for these.
  const R eps = epsilon<T>();
  EXPECT_EQ(this->rank(2, 2, this->diagonal({1, 2 * eps}), -1), 1);
  EXPECT_EQ(this->rank(2, 2, this->diagonal({1, 4 * eps}), -1), 2);
  EXPECT_EQ(this->rank(2, 2, this->diagonal({1, R(1e-20)}), -1), 1);
  EXPECT_EQ(this->rank(2, 2, this->diagonal({1, R(1e-20)}), 0), 2);
}

TYPED_TEST(RankTest, FailuresGiveMinusOne) {
  using T = TypeParam;
  this->rank(0, 3, {}, -1, -20003);
  this->rank(3, 0, {}, -1, -20003);
  auto a = random_values<T>(12, 3);
  a[7] = nan_of<T>;
  this->rank(3, 4, a, -1, -20068);
}

}  // namespace
