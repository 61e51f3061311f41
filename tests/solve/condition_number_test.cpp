// Condition number through the exports: closed forms, singular and
// overflowing matrices, which kernel's scratch each norm uses, and the checks.
#include "solve/reference.hpp"

namespace {

using namespace test;

template <class T> class ConditionNumberTest : public SingularValueFixture<T> {
 protected:
  using R = RealOf<T>;
  ZwArrayHandle copy = this->host.template vector<T>({T(2)});
  ZwArrayHandle inverse_work = this->host.template vector<T>({T(6)});
  ZwArrayHandle pivots = this->host.template vector<int32_t>({7});

  R cond(int m, int n, const std::vector<T>& a, int32_t type, int32_t want = 0) {
    ZwArrayHandle h = this->host.template matrix<T>(m, n, a);
    R r = 0;
    const ZwArrayHandle kernel_handles[] = {this->work, this->real_work, this->int_work, inverse_work, pivots};
    int32_t passed[5];
    for (int i = 0; i < 5; ++i) passed[i] = length(kernel_handles[i]);
    EXPECT_EQ(Solve<T>::cond(h, type, &r, this->values, copy, this->work, this->real_work, this->int_work,
                            inverse_work, pivots), want);
    EXPECT_TRUE(same_values(matrix_values<T>(h), a));  // never modified
    for (ZwArrayHandle s : {this->values, copy}) EXPECT_EQ(length(s), 0);
    // The kernels' handles are emptied by the kernel that uses them: the
    // singular values' three for the 2-norm (the real workspace only by the
    // complex types), the inverse's two for the others. A call that fails
    // may stop before its kernel; an unused handle is never touched.
    const bool two_norm = type == 0;
    const bool used[5] = {two_norm, two_norm && is_complex<T>, two_norm, !two_norm, !two_norm};
    for (int i = 0; i < 5; ++i) {
      const int32_t now = length(kernel_handles[i]);
      if (!used[i]) EXPECT_EQ(now, passed[i]) << "handle " << i;
      else if (want >= 0) EXPECT_EQ(now, 0) << "handle " << i;
      else EXPECT_TRUE(now == 0 || now == passed[i]) << "handle " << i;
    }
    if (want < 0) {
      EXPECT_TRUE(is_failure_nan(r));
    }
    return r;
  }
};
TYPED_TEST_SUITE(ConditionNumberTest, ElementTypes);

TYPED_TEST(ConditionNumberTest, IdentitySingularAndNearlySingular) {
  using T = TypeParam;
  using R = RealOf<T>;
  const R inf = std::numeric_limits<R>::infinity();
  std::vector<T> identity(16);
  for (int i = 0; i < 4; ++i) identity[i * 4 + i] = T(1);
  for (int type : {0, 1, 3}) EXPECT_EQ(this->cond(4, 4, identity, type), R(1));
  EXPECT_NEAR(this->cond(4, 4, identity, 2), R(4), 4 * epsilon<T>());

  for (int type : {0, 1, 2, 3}) EXPECT_EQ(this->cond(3, 3, std::vector<T>(9), type), inf);
  // An exactly zero pivot in the LU is singular as well.
  for (int type : {1, 2, 3}) EXPECT_EQ(this->cond(2, 2, {T(1), T(2), T(2), T(4)}, type), inf);

  const std::vector<T> tiny = {T(1), T(0), T(0), T(R(1e-20))};
  EXPECT_NEAR(this->cond(2, 2, tiny, 0), R(1e20), R(1e20) * 4 * epsilon<T>());
  // The LU path stays clear of 1e-20: the core's single-precision complex
  // reciprocal squares its argument on the way and overflows there.
  const std::vector<T> small_pivot = {T(1), T(0), T(0), T(R(1e-12))};
  EXPECT_NEAR(this->cond(2, 2, small_pivot, 1), R(1e12), R(1e12) * 4 * epsilon<T>());
  // A quotient or product past the largest value overflows like any other:
  // diag(big, 1/big) and, in the Frobenius norm, diag(big, 1).
  const R big = std::sqrt(std::numeric_limits<R>::max()) * 4, small = 1 / big;
  for (int type : {0, 1, 2, 3}) EXPECT_EQ(this->cond(2, 2, {T(big), T(0), T(0), T(small)}, type), inf);
  const R huge = std::numeric_limits<R>::max() / 8;
  EXPECT_EQ(this->cond(2, 2, {T(huge), T(0), T(0), T(1)}, 2), inf);
  EXPECT_EQ(this->cond(2, 2, {T(huge), T(0), T(0), T(1)}, 0), huge);
}

TYPED_TEST(ConditionNumberTest, ChecksAndFailures) {
  using T = TypeParam;
  const auto a = random_values<T>(6, 90);
  EXPECT_TRUE(std::isfinite(this->cond(3, 2, a, 0)));
  this->cond(3, 2, a, 1, -20040);
  this->cond(0, 2, {}, 0, -20003);
  this->cond(2, 0, {}, 1, -20003);
  this->cond(2, 3, a, 4, -20061);
  this->cond(2, 3, a, -1, -20061);  // a huge unsigned value from the host
  auto bad = a;
  bad[2] = nan_of<T>;
  this->cond(2, 3, bad, 0, -20068);
}

}  // namespace
