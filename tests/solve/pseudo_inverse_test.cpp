// Pseudo-inverse through the exports: closed forms, where the tolerance
// cuts, and the checks.
#include "solve/reference.hpp"

namespace {

using namespace test;

template <class T> class PseudoInverseTest : public ::testing::Test {
 protected:
  using R = RealOf<T>;
  Host host;
  // Scratch handles arrive non-empty, so that emptying them is seen.
  ZwArrayHandle values = host.vector<R>({R(1)});
  ZwArrayHandle factors = host.vector<T>({T(1), T(2)});
  ZwArrayHandle work = host.vector<T>({T(3)});
  ZwArrayHandle real_work = host.vector<double>({4});
  ZwArrayHandle int_work = host.vector<int32_t>({5});

  // Runs the export on an m x n matrix; checks the shape it leaves and that
  // every scratch handle comes back empty.
  std::vector<T> pinv(int m, int n, const std::vector<T>& a, R tol, int32_t want = 0) {
    ZwArrayHandle h = host.matrix<T>(m, n, a);
    EXPECT_EQ(Solve<T>::pinv(h, tol, values, factors, work, real_work, int_work), want);
    EXPECT_EQ(rows(h), want < 0 ? 0 : n);
    EXPECT_EQ(cols(h), want < 0 ? 0 : m);
    for (ZwArrayHandle s : {values, factors, work, int_work}) EXPECT_EQ(length(s), 0);
    expect_kernel_real_work_settled<T>(real_work, 1);
    return want < 0 ? std::vector<T>{} : matrix_values<T>(h);
  }
};
TYPED_TEST_SUITE(PseudoInverseTest, ElementTypes);

TYPED_TEST(PseudoInverseTest, ClosedFormsAndTheTolerance) {
  using T = TypeParam;
  using R = RealOf<T>;
  EXPECT_EQ(this->pinv(1, 1, {T(4)}, -1), std::vector<T>{T(0.25)});
  EXPECT_EQ(this->pinv(1, 1, {T(0)}, 0), std::vector<T>{T(0)});  // never 1/0
  EXPECT_EQ(this->pinv(2, 3, std::vector<T>(6), -1), std::vector<T>(6));

  // diag(2, 1/2): a singular value equal to the tolerance is discarded.
  const std::vector<T> d = {T(2), T(0), T(0), T(0.5)};
  EXPECT_EQ(this->pinv(2, 2, d, R(0.5)), (std::vector<T>{T(0.5), T(0), T(0), T(0)}));
  EXPECT_EQ(this->pinv(2, 2, d, R(0.49)), (std::vector<T>{T(0.5), T(0), T(0), T(2)}));

  // The default tolerance is 2 * 1 * eps here: eps-sized values go, and a
  // value of 4 eps stays, with tolerance 0 keeping either.
  const R eps = epsilon<T>();
  EXPECT_EQ(this->pinv(2, 2, {T(1), T(0), T(0), T(2 * eps)}, -1)[3], T(0));
  EXPECT_EQ(this->pinv(2, 2, {T(1), T(0), T(0), T(4 * eps)}, -1)[3], T(1 / (4 * eps)));
  EXPECT_EQ(this->pinv(2, 2, {T(1), T(0), T(0), T(eps / 8)}, 0)[3], T(8 / eps));
}

TYPED_TEST(PseudoInverseTest, FailuresEmptyTheMatrix) {
  using T = TypeParam;
  this->pinv(0, 3, {}, -1, -20003);
  this->pinv(3, 0, {}, -1, -20003);
  auto a = random_values<T>(12, 7);
  a[5] = nan_of<T>;
  this->pinv(3, 4, a, -1, -20068);
}

}  // namespace
