// Matrix logarithm through the exports: exp(log A) = A by the library's
// exponential and by a long double reference, closed forms, the statuses the
// spectrum decides, and the failure contract.
#include <algorithm>
#include <cmath>
#include <numbers>

#include "reference.hpp"

namespace {

using namespace test;
using cd = std::complex<double>;

template <class T> class LogarithmTest : public ::testing::Test {
 protected:
  using R = RealOf<T>;
  using C = std::complex<R>;
  Host host;
  ZwArrayHandle x = host.empty();
  // Scratch handles arrive non-empty, so that emptying them is seen.
  ZwArrayHandle scale = host.vector<R>({R(1)}), work = host.vector<C>({C(2)}),
                balance = host.vector<C>({C(3)}), schur1 = host.vector<C>({C(4)}),
                schur2 = host.vector<double>({5.0});

  // `null_scratch` k (1 to 5) passes the k-th scratch handle as null.
  int32_t call(ZwArrayHandle a, int null_scratch = 0) {
    ZwArrayHandle h[5] = {scale, work, balance, schur1, schur2};
    if (null_scratch > 0) h[null_scratch - 1] = nullptr;
    const int32_t status = MatFun<T>::log(a, x, h[0], h[1], h[2], h[3], h[4]);
    EXPECT_EQ(length(scale) + length(work) + length(balance) + length(schur1) + length(schur2), 0);
    return status;
  }
  int32_t run(int32_t n, const std::vector<T>& values) { return call(host.matrix<T>(n, n, values)); }
  WideMatrix result() { return widen(matrix_values<C>(x)); }

  // exp of the result by the library's own exponential, which takes it as a
  // complex matrix of the same precision.
  WideMatrix library_exp() {
    ZwArrayHandle e = host.matrix<C>(rows(x), cols(x), matrix_values<C>(x));
    EXPECT_EQ(MatFun<C>::exp(e, host.empty(), host.empty(), host.empty(), host.empty(), host.empty()), 0);
    return widen(matrix_values<C>(e));
  }
};
TYPED_TEST_SUITE(LogarithmTest, ElementTypes);

TYPED_TEST(LogarithmTest, ExpOfLogIsA) {
  using T = TypeParam;
  for (int32_t n : {2, 5, 30}) {
    // Shifted so that the spectrum keeps clear of the negative real axis,
    // yet far enough from I that square roots are needed.
    auto a = random_values<T>(n * n, 80 + n);
    for (int i = 0; i < n; ++i) a[i * n + i] += T(RealOf<T>(std::sqrt(n) + 1));
    ASSERT_EQ(this->run(n, a), 0) << n;
    EXPECT_LE(relative_distance(exp_by_taylor(this->result(), n), widen(a)), 20.0 * n * epsilon<T>()) << n;
    // The exponential picks its approximant for an error of 1e-8, not for
    // the working precision.
    EXPECT_LE(relative_distance(this->library_exp(), widen(a)), std::max(40.0 * n * epsilon<T>(), 1e-8)) << n;
  }
  // r times a rotation by 3 radians: eigenvalues r e^(+-3i), close to the
  // negative real axis, and the real logarithm ln(r) I + 3 J.
  const double r = 2, th = 3;
  ASSERT_EQ(this->run(2, {T(r * std::cos(th)), T(-r * std::sin(th)), T(r * std::sin(th)), T(r * std::cos(th))}), 0);
  EXPECT_LE(relative_distance(this->result(), {std::log(r), -th, th, std::log(r)}), 20 * epsilon<T>());
}

TYPED_TEST(LogarithmTest, ClosedForms) {
  using T = TypeParam;
  const double pi = std::numbers::pi;
  // log I = 0, exactly.
  ASSERT_EQ(this->run(3, {T(1), T(0), T(0), T(0), T(1), T(0), T(0), T(0), T(1)}), 0);
  EXPECT_EQ(this->result(), WideMatrix(9));
  // Triangular: log [a b; 0 c] = [log a, b (log a - log c) / (a - c); 0, log c],
  // and a Jordan block [2 1; 0 2] gives [log 2, 1/2; 0, log 2].
  ASSERT_EQ(this->run(2, {T(4), T(3), T(0), T(1)}), 0);
  EXPECT_LE(relative_distance(this->result(), {std::log(4.0L), std::log(4.0L), 0, 0}), 10 * epsilon<T>());
  ASSERT_EQ(this->run(2, {T(2), T(1), T(0), T(2)}), 0);
  EXPECT_LE(relative_distance(this->result(), {std::log(2.0L), 0.5L, 0, std::log(2.0L)}), 10 * epsilon<T>());
  // 1 x 1 on the principal branch; scratch handles are not needed.
  auto scalar = [&](T v, int32_t want, cd expected) {
    ZwArrayHandle a = this->host.template matrix<T>(1, 1, {v});
    ASSERT_EQ(this->call(a, 1), want);
    ASSERT_EQ(this->call(a, 2), want);
    const cd got(matrix_values<typename TestFixture::C>(this->x)[0]);
    EXPECT_LE(std::abs(got - expected), 2 * epsilon<T>() * std::abs(expected)) << cd(v);
  };
  scalar(T(std::exp(1.0)), 0, 1.0);
  scalar(T(-4), 20006, {std::log(4.0), pi});
  if constexpr (is_complex<T>) {
    scalar(T(3, 4), 0, {std::log(5.0), std::atan2(4.0, 3.0)});
    scalar(T(0, -2), 0, {std::log(2.0), -pi / 2});
    scalar(T(-1, -0.0), 20006, {0.0, pi});  // the axis takes +i pi, whatever the zero's sign
  }
}

TYPED_TEST(LogarithmTest, SpectrumDecidesTheStatus) {
  using T = TypeParam;
  // A negative eigenvalue still has a logarithm: kept, with the warning.
  const std::vector<T> negative{T(-1), T(1), T(0), T(2)};
  ASSERT_EQ(this->run(2, negative), 20006);
  EXPECT_LE(relative_distance(exp_by_taylor(this->result(), 2), widen(negative)), 20 * epsilon<T>());
  EXPECT_NEAR(double(this->result()[0].imag()), std::numbers::pi, 10 * epsilon<T>());
  // So does a tiny one, by the square root's test |lambda|^2 < eps.
  const RealOf<T> tiny = std::sqrt(epsilon<T>()) / 4;
  ASSERT_EQ(this->run(2, {T(tiny), T(0), T(0), T(1)}), 20006);
  EXPECT_NEAR(double(this->result()[0].real()), std::log(double(tiny)), -10 * epsilon<T>() * std::log(double(tiny)));
  // An eigenvalue 0 has none.
  for (int32_t n : {1, 2}) {
    ASSERT_EQ(this->run(1, {T(2)}), 0);
    EXPECT_EQ(this->run(n, n == 1 ? std::vector<T>{T(0)} : std::vector<T>{T(0), T(1), T(0), T(1)}), -20041);
    EXPECT_EQ(rows(this->x) + cols(this->x), 0);
  }
}

TYPED_TEST(LogarithmTest, FailuresInTheirOrderEmptyX) {
  using T = TypeParam;
  const std::vector<T> good{T(2), T(1), T(0), T(3)};
  auto expect_failure = [&](int32_t want, ZwArrayHandle a, int null_scratch = 0, int64_t failing_resize = 0) {
    // A success first leaves X to empty; a failing resize needs X empty
    // already, so that its resize reaches the host.
    if (failing_resize == 0) {
      ASSERT_EQ(this->run(2, good), 0);
    }
    FailNthResize fail(failing_resize);
    EXPECT_EQ(this->call(a, null_scratch), want);
    EXPECT_EQ(rows(this->x) + cols(this->x), 0);
  };
  auto m = [&](int32_t r, int32_t c, const std::vector<T>& v) { return this->host.template matrix<T>(r, c, v); };
  expect_failure(-20003, m(0, 0, {}));
  expect_failure(-20040, m(2, 3, std::vector<T>(6, T(NAN))));
  expect_failure(-20068, m(2, 2, {T(1), T(0), T(0), T(INFINITY)}), 1);
  expect_failure(-20068, m(1, 1, {T(NAN)}));
  for (int null_scratch = 1; null_scratch <= 5; ++null_scratch) expect_failure(-20999, m(2, 2, good), null_scratch);
  // X, then the workspace; every later resize is failed by the export sweep.
  for (int64_t k = 1; k <= 2; ++k) expect_failure(-20001, m(2, 2, good), 0, k);
}

}  // namespace
