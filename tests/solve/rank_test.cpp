// Rank through the exports, on matrices built with a known rank and on
// diagonal matrices whose singular values sit on either side of the tolerance.
#include "solve/reference.hpp"

namespace {

using namespace test;

template <class T> struct RankOf;
#define TARNX_TEST_RANK(t, T)                                                                    \
  template <> struct RankOf<T> {                                                                 \
    template <class... H> static int32_t call(ZwArrayHandle a, RealOf<T> tol, int32_t* r, H... h) { \
      return t##RankH(a, tol, r, h...);                                                          \
    }                                                                                            \
  };
TARNX_TEST_RANK(s, float)
TARNX_TEST_RANK(d, double)
TARNX_TEST_RANK(c, cfloat)
TARNX_TEST_RANK(z, cdouble)
#undef TARNX_TEST_RANK

template <class T> class RankTest : public SingularValueFixture<T> {
 protected:
  using R = RealOf<T>;

  int32_t rank(int m, int n, const std::vector<T>& a, R tol, int32_t want = 0) {
    ZwArrayHandle h = this->host.template matrix<T>(m, n, a);
    int32_t r = 99;
    EXPECT_EQ(RankOf<T>::call(h, tol, &r, this->values, this->work, this->real_work, this->int_work), want);
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

TYPED_TEST(RankTest, DefaultToleranceFindsTheConstructedRank) {
  using T = TypeParam;
  struct Case { int m, n, r; };
  for (Case c : {Case{5, 5, 5}, Case{3, 5, 3}, Case{8, 6, 3}, Case{9, 40, 1}, Case{30, 20, 12}}) {
    // m x r times r x n, each factor of full rank.
    const auto l = random_values<T>(c.m * c.r, 10 + c.m), f = random_values<T>(c.r * c.n, 20 + c.n);
    std::vector<T> a(c.m * c.n);
    for (int i = 0; i < c.m; ++i)
      for (int l2 = 0; l2 < c.r; ++l2)
        for (int j = 0; j < c.n; ++j) a[i * c.n + j] += l[i * c.r + l2] * f[l2 * c.n + j];
    EXPECT_EQ(this->rank(c.m, c.n, a, -1), c.r) << c.m << " x " << c.n;
  }
  EXPECT_EQ(this->rank(4, 3, std::vector<T>(12), -1), 0);  // the tolerance is 0 and nothing exceeds it
}

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
  for (int nth : {1, 2, 3}) {  // the singular values, then the kernel's scratch
    FailNthResize fail(nth);
    this->rank(3, 4, a, -1, -20001);
  }
  a[7] = nan_of<T>;
  this->rank(3, 4, a, -1, -20068);
  int32_t r = 99;
  EXPECT_EQ(RankOf<T>::call(this->host.template matrix<T>(1, 1, {T(1)}), -1, &r, nullptr,
                            this->work, this->real_work, this->int_work), -20999);
  EXPECT_EQ(r, -1);
}

}  // namespace
