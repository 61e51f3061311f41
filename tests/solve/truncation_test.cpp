// Rank and pseudo-inverse through the exports: both cut the singular values
// at a tolerance, so diagonal matrices whose values sit on either side of it
// pin where the cut falls; and their failures.
#include "solve/reference.hpp"

namespace {

using namespace test;

template <class T> class TruncationTest : public SingularValueFixture<T> {
 protected:
  using R = RealOf<T>;
  ZwArrayHandle factors = this->host.template vector<T>({T(1), T(2)});

  // Every scratch handle comes back empty, the matrix is only read.
  int32_t rank(int m, int n, const std::vector<T>& a, R tol, int32_t want = 0) {
    ZwArrayHandle h = this->host.template matrix<T>(m, n, a);
    int32_t r = 99;
    EXPECT_EQ(Solve<T>::rank(h, tol, &r, this->values, this->work, this->real_work, this->int_work), want);
    EXPECT_EQ(rows(h), m);
    expect_scratch_settled();
    if (want < 0) {
      EXPECT_EQ(r, -1);
    }
    return r;
  }
  // The m x n matrix becomes its n x m pseudo-inverse, or 0 x 0 on failure.
  std::vector<T> pinv(int m, int n, const std::vector<T>& a, R tol, int32_t want = 0) {
    ZwArrayHandle h = this->host.template matrix<T>(m, n, a);
    EXPECT_EQ(Solve<T>::pinv(h, tol, this->values, factors, this->work, this->real_work, this->int_work), want);
    EXPECT_EQ(rows(h), want < 0 ? 0 : n);
    EXPECT_EQ(cols(h), want < 0 ? 0 : m);
    EXPECT_EQ(length(factors), 0);
    expect_scratch_settled();
    return want < 0 ? std::vector<T>{} : matrix_values<T>(h);
  }
  void expect_scratch_settled() {
    for (ZwArrayHandle s : {this->values, this->work, this->int_work}) EXPECT_EQ(length(s), 0);
    expect_kernel_real_work_settled<T>(this->real_work, 1);
  }
  static std::vector<T> diagonal(std::initializer_list<R> d) {
    const int n = static_cast<int>(d.size());
    std::vector<T> a(n * n);
    int i = 0;
    for (R v : d) a[i * n + i] = T(v), ++i;
    return a;
  }
};
TYPED_TEST_SUITE(TruncationTest, ElementTypes);

TYPED_TEST(TruncationTest, RankCountsOnlyValuesAboveTheTolerance) {
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

TYPED_TEST(TruncationTest, PseudoInverseClosedFormsAndTheTolerance) {
  using T = TypeParam;
  using R = RealOf<T>;
  EXPECT_EQ(this->pinv(1, 1, {T(4)}, -1), std::vector<T>{T(0.25)});
  EXPECT_EQ(this->pinv(1, 1, {T(0)}, 0), std::vector<T>{T(0)});  // never 1/0
  EXPECT_EQ(this->pinv(2, 3, std::vector<T>(6), -1), std::vector<T>(6));
  // diag(2, 1/2): a singular value equal to the tolerance is discarded.
  const std::vector<T> d = this->diagonal({2, 0.5});
  EXPECT_EQ(this->pinv(2, 2, d, R(0.5)), (std::vector<T>{T(0.5), T(0), T(0), T(0)}));
  EXPECT_EQ(this->pinv(2, 2, d, R(0.49)), (std::vector<T>{T(0.5), T(0), T(0), T(2)}));
  // The default tolerance is 2 * 1 * eps here: eps-sized values go, and a
  // value of 4 eps stays, with tolerance 0 keeping either.
  const R eps = epsilon<T>();
  EXPECT_EQ(this->pinv(2, 2, this->diagonal({1, 2 * eps}), -1)[3], T(0));
  EXPECT_EQ(this->pinv(2, 2, this->diagonal({1, 4 * eps}), -1)[3], T(1 / (4 * eps)));
  EXPECT_EQ(this->pinv(2, 2, this->diagonal({1, eps / 8}), 0)[3], T(8 / eps));
}

// The rank reports -1, the pseudo-inverse loses the matrix.
TYPED_TEST(TruncationTest, Failures) {
  using T = TypeParam;
  auto a = random_values<T>(12, 3);
  a[7] = nan_of<T>;
  for (auto [m, n, values, status] : {std::tuple{0, 3, std::vector<T>{}, -20003}, {3, 0, std::vector<T>{}, -20003},
                                      {3, 4, a, -20068}}) {
    this->rank(m, n, values, -1, status);
    this->pinv(m, n, values, -1, status);
  }
}

}  // namespace
