// Matrix logarithm through the exports: exp(log A) = A against a plain-loop
// exponential, closed forms, the statuses the spectrum decides, and the
// failure contract.
#include <cmath>
#include <numbers>

#include "support/host.hpp"

namespace {

using namespace test;
using cd = std::complex<double>;
using Matrix = std::vector<cd>;

Matrix product(int n, const Matrix& a, const Matrix& b) {
  Matrix c(n * n);
  for (int i = 0; i < n; ++i)
    for (int k = 0; k < n; ++k)
      for (int j = 0; j < n; ++j) c[i * n + j] += a[i * n + k] * b[k * n + j];
  return c;
}

// exp by scaling to a norm below 1/2, a Taylor sum to rounding, and squaring.
Matrix reference_exp(int n, Matrix x) {
  double norm = 0;
  for (cd v : x) norm = std::max(norm, std::abs(v));
  int squarings = 0;
  for (; norm * n > 0.5; norm /= 2) ++squarings;
  for (cd& v : x) v = std::ldexp(1.0, -squarings) * v;
  Matrix sum(n * n), term(n * n);
  for (int i = 0; i < n; ++i) sum[i * n + i] = term[i * n + i] = 1;
  for (int k = 1; k < 30; ++k) {
    term = product(n, term, x);
    for (int i = 0; i < n * n; ++i) sum[i] += (term[i] /= double(k));
  }
  for (int k = 0; k < squarings; ++k) sum = product(n, sum, sum);
  return sum;
}

template <class T> Matrix widen(const std::vector<T>& v) { return Matrix(v.begin(), v.end()); }

double relative_distance(const Matrix& a, const Matrix& b) {
  double diff = 0, norm = 0;
  for (std::size_t i = 0; i < a.size(); ++i) diff += std::norm(a[i] - b[i]), norm += std::norm(b[i]);
  return std::sqrt(diff / norm);
}

template <class T> class LogarithmTest : public ::testing::Test {
 protected:
  using C = std::complex<RealOf<T>>;
  Host host;
  ZwArrayHandle x = host.empty(), work = host.empty(), schur1 = host.empty(), schur2 = host.empty();

  int32_t call(ZwArrayHandle a, ZwArrayHandle work_h, ZwArrayHandle schur1_h, ZwArrayHandle schur2_h) {
    constexpr auto fn = std::is_same_v<T, float> ? sMtrxLnH : std::is_same_v<T, double> ? dMtrxLnH
                        : std::is_same_v<T, cfloat> ? cMtrxLnH : zMtrxLnH;
    const int32_t status = fn(a, x, work_h, schur1_h, schur2_h);
    EXPECT_EQ(length(work) + length(schur1) + length(schur2), 0);
    return status;
  }
  int32_t run(int32_t n, const std::vector<T>& values) {
    return call(host.matrix<T>(n, n, values), work, schur1, schur2);
  }
  Matrix result() { return widen(matrix_values<C>(x)); }
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
    EXPECT_LE(relative_distance(reference_exp(n, this->result()), widen(a)), 20.0 * n * epsilon<T>()) << n;
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
  EXPECT_EQ(this->result(), Matrix(9));
  // Triangular: log [a b; 0 c] = [log a, b (log a - log c) / (a - c); 0, log c],
  // and a Jordan block [2 1; 0 2] gives [log 2, 1/2; 0, log 2].
  ASSERT_EQ(this->run(2, {T(4), T(3), T(0), T(1)}), 0);
  EXPECT_LE(relative_distance(this->result(), {std::log(4.0), std::log(4.0), 0, 0}), 10 * epsilon<T>());
  ASSERT_EQ(this->run(2, {T(2), T(1), T(0), T(2)}), 0);
  EXPECT_LE(relative_distance(this->result(), {std::log(2.0), 0.5, 0, std::log(2.0)}), 10 * epsilon<T>());
  // 1 x 1 on the principal branch; scratch handles are not needed.
  auto scalar = [&](T v, int32_t want, cd expected) {
    ASSERT_EQ(this->call(this->host.template matrix<T>(1, 1, {v}), nullptr, nullptr, nullptr), want);
    EXPECT_LE(std::abs(this->result()[0] - expected), 2 * epsilon<T>() * std::abs(expected)) << cd(v);
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
  const double pi = std::numbers::pi;
  // A negative eigenvalue still has a logarithm: kept, with the warning.
  const std::vector<T> negative{T(-1), T(1), T(0), T(2)};
  ASSERT_EQ(this->run(2, negative), 20006);
  EXPECT_LE(relative_distance(reference_exp(2, this->result()), widen(negative)), 50 * epsilon<T>());
  EXPECT_NEAR(this->result()[0].imag(), pi, 10 * epsilon<T>());
  // So does a tiny one, by the square root's test |lambda|^2 < eps.
  const RealOf<T> tiny = std::sqrt(epsilon<T>()) / 4;
  ASSERT_EQ(this->run(2, {T(tiny), T(0), T(0), T(1)}), 20006);
  EXPECT_NEAR(this->result()[0].real(), std::log(double(tiny)), 10 * epsilon<T>() * -std::log(double(tiny)));
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
  auto expect_failure = [&](int32_t want, ZwArrayHandle a, int null_handle = 0, int64_t failing_resize = 0) {
    // A success first leaves X to empty; a failing resize needs X empty
    // already, so that its resize reaches the host.
    if (failing_resize == 0) {
      ASSERT_EQ(this->run(2, good), 0);
    }
    FailNthResize fail(failing_resize);
    EXPECT_EQ(this->call(a, null_handle == 1 ? nullptr : this->work, null_handle == 2 ? nullptr : this->schur1,
                         null_handle == 3 ? nullptr : this->schur2), want);
    EXPECT_EQ(rows(this->x) + cols(this->x), 0);
  };
  auto m = [&](int32_t r, int32_t c, const std::vector<T>& v) { return this->host.template matrix<T>(r, c, v); };
  expect_failure(-20003, m(0, 0, {}));
  expect_failure(-20040, m(2, 3, std::vector<T>(6, T(NAN))));
  expect_failure(-20068, m(2, 2, {T(1), T(0), T(0), T(INFINITY)}));
  expect_failure(-20068, m(1, 1, {T(NAN)}));
  for (int null_handle : {1, 2, 3}) expect_failure(-20999, m(2, 2, good), null_handle);
  // X, the workspace, the Schur work, the Schur real work.
  for (int64_t k = 1; k <= 4; ++k) expect_failure(-20001, m(2, 2, good), 0, k);
}

}  // namespace
