// The elementary exports' bits and contract: transpose signs, the grouping
// of sums, closed forms, edge shapes and the checks in their order.
#include <algorithm>
#include <cmath>
#include <limits>

#include "elementary/api.hpp"

namespace {

using namespace test;
constexpr double inf = std::numeric_limits<double>::infinity();

template <class T> constexpr bool is_float32 = std::is_same_v<RealOf<T>, float>;
template <class T> T conj_of(T v) {
  if constexpr (is_complex<T>) return std::conj(v);
  else return v;
}

// float32 sum in the library's grouping, as a plain index loop: element
// i < 4 floor(n/4) goes to lane i mod 4, the lanes combine as
// (l0 + l2) + (l1 + l3), and a tail r0, r1, r2 is added as (r1 + r0) + r2.
float grouped_sum(const std::vector<float>& v) {
  const std::size_t full = v.size() / 4 * 4, rest = v.size() - full;
  float lane[4] = {}, tail = 0;
  for (std::size_t i = 0; i < full; ++i) lane[i % 4] += v[i];
  if (rest >= 1) tail = v[full];
  if (rest >= 2) tail = v[full + 1] + tail;
  if (rest == 3) tail = tail + v[full + 2];
  const float grouped = (lane[0] + lane[2]) + (lane[1] + lane[3]);
  return rest ? grouped + tail : grouped;
}

// Squares of every real component in storage order, summed the library's
// way: float32 through the lanes, float64 pairwise (c1^2 + c0^2) in order.
template <class T> RealOf<T> grouped_sum_of_squares(const std::vector<T>& v) {
  std::vector<RealOf<T>> sq;
  for (const T& x : v) {
    sq.push_back(std::real(x) * std::real(x));
    if constexpr (is_complex<T>) sq.push_back(x.imag() * x.imag());
  }
  if constexpr (is_float32<T>) {
    return grouped_sum(sq);
  } else {
    double sum = 0;
    std::size_t k = 0;
    for (; k + 1 < sq.size(); k += 2) sum += sq[k + 1] + sq[k];
    return k < sq.size() ? sum + sq[k] : sum;
  }
}

template <class T> class ElementaryTest : public ::testing::Test {
 protected:
  using A = Api<T>;
  using R = RealOf<T>;
  Host host;
  ZwArrayHandle vec(const std::vector<T>& v) { return host.template vector<T>(v); }
  ZwArrayHandle mat(int32_t r, int32_t c, const std::vector<T>& v) {
    return host.template matrix<T>(r, c, v);
  }
  // A matrix norm of a type that needs no scratch handles.
  int32_t mnorm(ZwArrayHandle a, int32_t type, R* r) {
    return A::mnorm(a, type, r, nullptr, nullptr, nullptr, nullptr);
  }
};
TYPED_TEST_SUITE(ElementaryTest, ElementTypes);

TYPED_TEST(ElementaryTest, TransposeConjugatesWithSignedZeros) {
  using T = TypeParam;
  for (auto [m, n] : {std::pair{1, 1}, {37, 70}}) {  // 37 x 70 crosses the copy's tiles
    auto av = random_values<T>(m * n, 1);
    if constexpr (is_complex<T>) av[m * n - 1] = T(2, m > 1 ? -0.0 : 0.0);
    ZwArrayHandle b = this->host.empty();
    ASSERT_EQ(TestFixture::A::transpose(this->mat(m, n, av), b), 0);
    ASSERT_EQ(rows(b), n);
    ASSERT_EQ(cols(b), m);
    auto got = matrix_values<T>(b);
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j) EXPECT_TRUE(same_bits(got[j * m + i], conj_of(av[i * n + j])));
    // A zero imaginary part changes sign, whichever it had.
    if constexpr (is_complex<T>) {
      EXPECT_EQ(std::signbit(got.back().imag()), m == 1);
    }
  }
  // An output of the right shape is reused without a trip to the host.
  ZwArrayHandle b = this->mat(3, 2, std::vector<T>(6));
  const int64_t resizes = ZwrtResizeCount();
  ASSERT_EQ(TestFixture::A::transpose(this->mat(2, 3, std::vector<T>(6)), b), 0);
  EXPECT_EQ(ZwrtResizeCount(), resizes);
  EXPECT_EQ(TestFixture::A::transpose(this->mat(3, 0, {}), b), -20003);
  EXPECT_EQ(rows(b) + cols(b), 0);
}

TYPED_TEST(ElementaryTest, TraceMeanAndRmsSumInTheirGrouping) {
  using T = TypeParam;
  using A = Api<T>;
  using R = RealOf<T>;
  for (auto [m, n] : {std::pair{2, 3}, {5, 3}}) {  // the shorter side bounds the diagonal
    auto av = random_values<T>(m * n, 2);
    T want(0), got;
    for (int i = 0; i < std::min(m, n); ++i) want += av[i * n + i];
    ASSERT_EQ(A::trace(this->mat(m, n, av), c_ptr(&got)), 0);
    EXPECT_TRUE(same_bits(got, want));
  }
  for (int n : {1, 2, 3, 4, 5, 6, 7, 13, 31}) {
    // Values over several magnitudes, so that other groupings round differently.
    auto xv = random_values<T>(n, 10 + n);
    for (int i = 0; i < n; ++i) xv[i] *= R(std::pow(10.0, i % 5));
    T want_mean, mean;
    if constexpr (is_float32<T>) {
      std::vector<float> re, im;
      for (const T& v : xv) re.push_back(std::real(v)), im.push_back(std::imag(v));
      if constexpr (is_complex<T>) want_mean = T(grouped_sum(re) / n, grouped_sum(im) / n);
      else want_mean = grouped_sum(re) / n;
    } else {
      want_mean = T(0);
      for (const T& v : xv) want_mean += v;
      want_mean /= R(n);
    }
    ZwArrayHandle x = this->vec(xv);
    ASSERT_EQ(A::mean(x, c_ptr(&mean)), 0);
    EXPECT_TRUE(same_bits(mean, want_mean)) << "n = " << n;
    R rms;
    const R want_rms = R(std::sqrt(grouped_sum_of_squares(xv)) / std::sqrt(double(n)));
    ASSERT_EQ(A::rms(x, &rms), 0);
    EXPECT_TRUE(same_bits(rms, want_rms)) << "n = " << n;
  }
  // Every running sum starts at +0, so negative zeros alone sum to +0 in
  // every type and every length, lanes or not.
  T negative_zero(R(-0.0));
  if constexpr (is_complex<T>) negative_zero = T(R(-0.0), R(-0.0));
  for (int n : {1, 2, 3, 4, 5}) {
    T mean(1);
    ASSERT_EQ(A::mean(this->vec(std::vector<T>(n, negative_zero)), c_ptr(&mean)), 0);
    EXPECT_FALSE(std::signbit(std::real(mean))) << "n = " << n;
    EXPECT_FALSE(std::signbit(std::imag(mean))) << "n = " << n;
    EXPECT_EQ(std::real(mean), 0);
  }
  R rms;
  ASSERT_EQ(A::rms(this->vec({T(3), T(4)}), &rms), 0);
  EXPECT_EQ(rms, R(5 / std::sqrt(2.0)));

  T got(1);
  EXPECT_EQ(A::trace(this->mat(0, 3, {}), c_ptr(&got)), -20003);
  EXPECT_TRUE(is_failure_nan(got));
  got = T(1);
  EXPECT_EQ(A::mean(this->vec({}), c_ptr(&got)), -20003);
  EXPECT_TRUE(is_failure_nan(got));
  EXPECT_EQ(A::rms(this->vec({}), &rms), -20003);
  EXPECT_TRUE(is_failure_nan(rms));
}

TYPED_TEST(ElementaryTest, SumsOfSquaresAreNotRescaled) {
  using T = TypeParam;
  using R = RealOf<T>;
  const T big(is_float32<T> ? R(1e20) : R(1e200));  // its square overflows
  R rms, norm, frobenius;
  ASSERT_EQ(Api<T>::rms(this->vec({big, big}), &rms), 0);
  ASSERT_EQ(Api<T>::vnorm(this->vec({big, big}), 2, &norm), 0);
  ASSERT_EQ(this->mnorm(this->mat(1, 2, {big, big}), 2, &frobenius), 0);
  EXPECT_TRUE(std::isinf(rms) && std::isinf(norm) && std::isinf(frobenius));
}

TYPED_TEST(ElementaryTest, VectorNormClosedFormsAndChecks) {
  using T = TypeParam;
  using R = RealOf<T>;
  ZwArrayHandle x = this->vec(random_values<T>(11, 4));
  R got;
  for (auto [p, want] : {std::pair{1.0, 7.0}, {2.0, 5.0}, {inf, 4.0}, {-inf, 3.0}}) {
    ASSERT_EQ(Api<T>::vnorm(this->vec({T(3), T(-4)}), p, &got), 0);
    EXPECT_EQ(got, R(want)) << "p = " << p;
  }
  const double nan = std::nan("");
  for (auto [y, p, status] : {std::tuple{x, nan, -20104}, {x, 0.0, -20141}, {this->vec({}), nan, -20003}}) {
    got = 1;
    EXPECT_EQ(Api<T>::vnorm(y, p, &got), status);
    EXPECT_TRUE(is_failure_nan(got));
  }
}

TYPED_TEST(ElementaryTest, MatrixNormChecks) {
  using T = TypeParam;
  using R = RealOf<T>;
  const int m = 7, n = 5;
  auto av = random_values<T>(m * n, 5);
  ZwArrayHandle a = this->mat(m, n, av);
  R got;
  for (auto [type, status] : {std::pair{4, -20061}, {-1, -20061}}) {
    got = 1;
    EXPECT_EQ(this->mnorm(a, type, &got), status);
    EXPECT_TRUE(is_failure_nan(got));
  }
  got = 1;
  EXPECT_EQ(this->mnorm(this->mat(0, 2, {}), 9, &got), -20003) << "the empty check comes first";
  EXPECT_TRUE(is_failure_nan(got));

  // The 2-norm screens what it hands the singular-value kernel.
  ZwArrayHandle s = this->host.template vector<R>({1, 2}), w = this->vec({T(1)});
  ZwArrayHandle rw = this->host.template vector<double>({1}), iw = this->host.template vector<int32_t>({1});
  av[3] = T(std::numeric_limits<R>::quiet_NaN());
  EXPECT_EQ(Api<T>::mnorm(this->mat(m, n, av), 0, &got, s, w, rw, iw), -20068);
  EXPECT_TRUE(is_failure_nan(got));
}

TYPED_TEST(ElementaryTest, SpecialMatrices) {
  using T = TypeParam;
  using A = Api<T>;
  auto v = [](std::initializer_list<int> l) { return std::vector<T>(l.begin(), l.end()); };
  ZwArrayHandle x = this->vec(v({1, 2, 3})), y = this->vec(v({9, 4, 5})), b = this->host.empty();
  // The non-square Hankel matrix reused at its shape: no trip to the host.
  auto xv = random_values<T>(5, 6), yv = random_values<T>(4, 7);
  ASSERT_EQ(A::special(5, 0, this->vec(xv), this->vec(yv), b), 0);
  ASSERT_EQ(cols(b), 4);
  const int64_t resizes = ZwrtResizeCount();
  ASSERT_EQ(A::special(5, 0, this->vec(xv), this->vec(yv), b), 0);
  EXPECT_EQ(ZwrtResizeCount(), resizes) << "a reused output of the right shape is not resized";

  ZwArrayHandle none = this->vec({});
  const std::tuple<int, int, ZwArrayHandle, int> failures[] = {
      {0, 0, x, -20003},  {2, 0, none, -20003}, {4, 0, this->vec(v({1})), -20006}, {4, 0, none, -20006},
      {7, 0, x, -20003},  {6, 2, x, -20061},    {-1, 3, x, -20061}};
  for (auto [type, size, in, status] : failures) {
    b = this->mat(1, 1, v({7}));
    EXPECT_EQ(A::special(type, size, in, y, b), status) << "type " << type;
    EXPECT_EQ(rows(b) + cols(b), 0);
  }
  FailNthResize fail(1);  // an unknown type is refused only after the resize
  EXPECT_EQ(A::special(6, 2, x, y, b), -20001);
}

// ---- products ------------------------------------------------------------------------------

TYPED_TEST(ElementaryTest, MatrixProductEdgeShapesAndChecks) {
  using T = TypeParam;
  using A = Api<T>;
  ZwArrayHandle c = this->host.empty();
  // An empty inner dimension gives NaN, not zeros.
  ASSERT_EQ(A::mul(this->mat(2, 0, {}), this->mat(0, 3, {}), c), 0);
  ASSERT_EQ(rows(c), 2);
  ASSERT_EQ(cols(c), 3);
  for (T v : matrix_values<T>(c)) EXPECT_TRUE(is_failure_nan(v));
  // No rows: an empty result of the right shape.
  ASSERT_EQ(A::mul(this->mat(0, 3, {}), this->host.template filled<T>(3, 2, T(1)), c), 0);
  EXPECT_EQ(rows(c), 0);
  EXPECT_EQ(cols(c), 2);
  // The inner-dimension check comes before the sign check.
  ZwArrayHandle bad = this->mat(-1, 3, {});
  EXPECT_EQ(A::mul(this->host.template filled<T>(2, 3, T(1)), this->host.template filled<T>(2, 3, T(1)), c), -20039);
  EXPECT_EQ(rows(c) + cols(c), 0);
  EXPECT_EQ(A::mul(bad, this->mat(3, 2, std::vector<T>(6)), c), -20004);
  EXPECT_EQ(A::mul(this->mat(2, -1, {}), bad, c), -20004);

  ZwArrayHandle y = this->host.empty();
  EXPECT_EQ(A::mv(this->mat(7, 5, random_values<T>(35, 3)), this->vec(random_values<T>(7, 5)), y), -20039);
  EXPECT_EQ(length(y), 0);
  // A with rows but no columns gives an empty y.
  ASSERT_EQ(A::mv(this->mat(3, 0, {}), this->vec({}), y), 0);
  EXPECT_EQ(length(y), 0);

  c = this->host.template filled<T>(1, 1, T(5));
  EXPECT_EQ(A::outer(this->vec({T(1)}), this->vec({}), c), -20003);
  EXPECT_EQ(rows(c) + cols(c), 0);
  c = this->host.template filled<T>(1, 1, T(5));
  EXPECT_EQ(A::kron(this->mat(0, 2, {}), this->host.template filled<T>(3, 5, T(1)), c), -20003);
  EXPECT_EQ(rows(c) + cols(c), 0);

  T r{};
  EXPECT_EQ(A::dot(this->vec({T(1), T(2), T(3)}), this->vec(std::vector<T>(4)), c_ptr(&r)), -20002);
  EXPECT_TRUE(is_failure_nan(r));
  r = T(1);
  EXPECT_EQ(A::dot(this->vec({}), this->vec({}), c_ptr(&r)), -20003);
  EXPECT_TRUE(is_failure_nan(r));
}

TEST(ProductsBits, ComplexFloatDotSumsInItsLaneOrder) {
  Host host;
  // Values chosen so that float32 rounding differs between summation orders.
  std::vector<cfloat> x, y;
  for (int i = 0; i < 7; ++i) {
    x.emplace_back(1.0f + 1e-7f * i * i, 3e7f / (i + 1));
    y.emplace_back(1e8f / (i + 3), 0.5f - 1e-6f * i);
  }
  float re[4] = {}, im[4] = {};
  int i = 0;
  for (; i + 2 <= 7; i += 2)
    for (int e = 0; e < 2; ++e) {
      re[2 * e] += x[i + e].real() * y[i + e].real();
      re[2 * e + 1] += x[i + e].imag() * y[i + e].imag();
      im[2 * e] += x[i + e].imag() * y[i + e].real();
      im[2 * e + 1] += x[i + e].real() * y[i + e].imag();
    }
  re[0] += x[6].real() * y[6].real();
  re[1] += x[6].imag() * y[6].imag();
  im[0] += x[6].imag() * y[6].real();
  im[1] += x[6].real() * y[6].imag();
  const cfloat want((re[0] + re[2]) + (re[1] + re[3]), (im[0] + im[2]) - (im[1] + im[3]));
  cfloat got;
  ASSERT_EQ(cDotProdH(host.vector(x), host.vector(y), c_ptr(&got)), 0);
  EXPECT_TRUE(same_bits(got, want)) << got << " vs " << want;
}

}  // namespace
