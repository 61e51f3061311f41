// Transpose, trace, mean, RMS, norms and special matrices through the
// exports, against plain reference loops and closed forms.
#include <cmath>
#include <limits>

#include "support/host.hpp"

namespace {

using namespace test;

template <class T> struct Elementary;
#define TARNX_TEST_ELEMENTARY(t, T)                                                                \
  template <> struct Elementary<T> {                                                               \
    using R = RealOf<T>;                                                                           \
    static int32_t transpose(ZwArrayHandle a, ZwArrayHandle b) { return t##TransposeH(a, b); }     \
    static int32_t trace(ZwArrayHandle a, T* r) { return t##TraceH(a, c_ptr(r)); }                 \
    static int32_t mean(ZwArrayHandle x, T* r) { return t##MeanH(x, c_ptr(r)); }                  \
    static int32_t rms(ZwArrayHandle x, R* r) { return t##RMSH(x, r); }                            \
    static int32_t vnorm(ZwArrayHandle x, double p, R* r) { return t##VectorNormH(x, p, r); }      \
    static int32_t mnorm(ZwArrayHandle a, int32_t type, R* r, ZwArrayHandle s, ZwArrayHandle w,    \
                         ZwArrayHandle rw, ZwArrayHandle iw) {                                     \
      return t##MtrxNormH(a, type, r, s, w, rw, iw);                                               \
    }                                                                                              \
    static int32_t special(int32_t type, int32_t size, ZwArrayHandle x, ZwArrayHandle y,           \
                           ZwArrayHandle b) {                                                      \
      return t##SpecialMtrxH(type, size, x, y, b);                                                 \
    }                                                                                              \
  };
TARNX_TEST_ELEMENTARY(s, float)
TARNX_TEST_ELEMENTARY(d, double)
TARNX_TEST_ELEMENTARY(c, cfloat)
TARNX_TEST_ELEMENTARY(z, cdouble)

template <class T> constexpr bool is_float32 = std::is_same_v<RealOf<T>, float>;

// float32 sum in the library's grouping, written as a plain index loop:
// element i < 4*floor(n/4) goes into lane i mod 4; the lanes combine as
// (l0 + l2) + (l1 + l3); the tail r0, r1, r2 adds as (r1 + r0) + r2.
float grouped_sum(const std::vector<float>& v) {
  const std::size_t full = v.size() / 4 * 4;
  float lane[4] = {};
  for (std::size_t i = 0; i < full; ++i) lane[i % 4] += v[i];
  const std::size_t rest = v.size() - full;
  float tail = 0;
  if (rest >= 1) tail = v[full];
  if (rest >= 2) tail = v[full + 1] + tail;
  if (rest == 3) tail = tail + v[full + 2];
  if (full == 0) return tail;
  const float grouped = (lane[0] + lane[2]) + (lane[1] + lane[3]);
  return rest ? grouped + tail : grouped;
}

// Every real component of the values, in storage order.
template <class T> std::vector<RealOf<T>> components(const std::vector<T>& v) {
  std::vector<RealOf<T>> out;
  for (const T& x : v) {
    if constexpr (is_complex<T>) {
      out.push_back(x.real());
      out.push_back(x.imag());
    } else {
      out.push_back(x);
    }
  }
  return out;
}

// The plain sum of squares of all components, in the library's grouping.
template <class T> RealOf<T> reference_sum_of_squares(const std::vector<T>& v) {
  auto c = components(v);
  for (auto& x : c) x *= x;
  if constexpr (is_float32<T>) {
    return grouped_sum(c);
  } else {
    double sum = 0;
    std::size_t k = 0;
    for (; k + 1 < c.size(); k += 2) sum += c[k + 1] + c[k];
    if (k < c.size()) sum += c[k];
    return sum;
  }
}

template <class T> double modulus(T v) { return std::abs(std::complex<double>(v)); }

// Values spread over several magnitudes, so that float32 sums in another
// grouping round differently.
template <class T> std::vector<T> spread_values(std::size_t n, unsigned seed) {
  auto v = random_values<T>(n, seed);
  for (std::size_t i = 0; i < n; ++i) v[i] *= RealOf<T>(std::pow(10.0, static_cast<double>(i % 5)));
  return v;
}

template <class T> class ElementaryTest : public ::testing::Test {
 protected:
  using E = Elementary<T>;
  using R = RealOf<T>;
  Host host;

  ZwArrayHandle vec(const std::vector<T>& v) { return host.template vector<T>(v); }
  ZwArrayHandle mat(int32_t r, int32_t c, const std::vector<T>& v) { return host.template matrix<T>(r, c, v); }
  static double tol(int terms) { return 8.0 * terms * epsilon<T>(); }
  void expect_empty_matrix(ZwArrayHandle h) {
    EXPECT_EQ(rows(h), 0);
    EXPECT_EQ(cols(h), 0);
  }
  void expect_near_rel(double got, double want, int terms) {
    EXPECT_LE(std::fabs(got - want), tol(terms) * std::fabs(want)) << got << " vs " << want;
  }
};
TYPED_TEST_SUITE(ElementaryTest, ElementTypes);

TYPED_TEST(ElementaryTest, TransposeConjugatesWithSignedZeros) {
  using T = TypeParam;
  using E = Elementary<T>;
  for (auto [m, n] : {std::pair{1, 1}, {3, 5}, {37, 70}}) {  // 37 x 70 crosses the tiles
    auto av = random_values<T>(m * n, 1);
    const bool zeros = is_complex<T> && m * n > 1;
    if constexpr (is_complex<T>) {
      if (zeros) {
        av[0] = T(1, 0);
        av[m * n - 1] = T(2, -0.0);
      }
    }
    ZwArrayHandle b = this->host.empty();
    ASSERT_EQ(E::transpose(this->mat(m, n, av), b), 0);
    ASSERT_EQ(rows(b), n);
    ASSERT_EQ(cols(b), m);
    auto got = matrix_values<T>(b);
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j) {
        const T a = av[i * n + j];
        T want = a;
        if constexpr (is_complex<T>) want = T(a.real(), -a.imag());
        EXPECT_TRUE(same_bits(got[j * m + i], want)) << i << "," << j;
      }
    if constexpr (is_complex<T>) {
      if (!zeros) continue;
      EXPECT_TRUE(std::signbit(got[0].imag())) << "a zero imaginary part turns negative";
      EXPECT_FALSE(std::signbit(got[m * n - 1].imag())) << "a negative zero turns positive";
    }
  }
  // An output of the right shape is reused without a trip to the host.
  auto av = random_values<T>(6, 2);
  ZwArrayHandle b = this->mat(3, 2, std::vector<T>(6));
  const int64_t before = ZwrtResizeCount();
  ASSERT_EQ(E::transpose(this->mat(2, 3, av), b), 0);
  EXPECT_EQ(ZwrtResizeCount(), before);

  EXPECT_EQ(E::transpose(this->mat(3, 0, {}), b), -20003);
  this->expect_empty_matrix(b);
  b = this->mat(1, 1, {T(1)});
  {
    FailNthResize fail(1);
    EXPECT_EQ(E::transpose(this->mat(2, 3, av), b), -20001);
  }
  this->expect_empty_matrix(b);
}

TYPED_TEST(ElementaryTest, TraceSumsTheShorterDiagonal) {
  using T = TypeParam;
  using E = Elementary<T>;
  for (auto [m, n] : {std::pair{1, 1}, {2, 3}, {5, 3}, {8, 8}}) {
    auto av = random_values<T>(m * n, 3);
    T want(0);
    for (int i = 0; i < std::min(m, n); ++i) want += av[i * n + i];
    T got;
    ASSERT_EQ(E::trace(this->mat(m, n, av), &got), 0);
    EXPECT_TRUE(same_bits(got, want)) << m << " x " << n;
  }
  T got(1);
  EXPECT_EQ(E::trace(this->mat(0, 3, {}), &got), -20003);
  EXPECT_TRUE(is_failure_nan(got));
}

TYPED_TEST(ElementaryTest, MeanAndRmsSumInTheirGrouping) {
  using T = TypeParam;
  using E = Elementary<T>;
  using R = RealOf<T>;
  bool grouping_mattered = false;
  for (int n : {1, 2, 3, 4, 5, 6, 7, 8, 13, 31}) {
    auto xv = spread_values<T>(n, 10 + n);
    ZwArrayHandle x = this->vec(xv);

    T want_mean;
    if constexpr (is_float32<T>) {
      std::vector<float> re, im;
      float plain = 0;
      for (const T& v : xv) {
        re.push_back(std::real(v));
        im.push_back(std::imag(v));
        plain += std::real(v);
      }
      if constexpr (is_complex<T>) want_mean = T(grouped_sum(re) / n, grouped_sum(im) / n);
      else want_mean = grouped_sum(re) / n;
      grouping_mattered |= plain != grouped_sum(re);
    } else {
      T sum(0);
      for (const T& v : xv) sum += v;
      want_mean = sum / R(n);
    }
    T mean;
    ASSERT_EQ(E::mean(x, &mean), 0);
    EXPECT_TRUE(same_bits(mean, want_mean)) << "n = " << n << ": " << mean << " vs " << want_mean;

    const R norm = std::sqrt(reference_sum_of_squares(xv));
    const R want_rms = R(double(norm) / std::sqrt(double(n)));
    R rms;
    ASSERT_EQ(E::rms(x, &rms), 0);
    EXPECT_TRUE(same_bits(rms, want_rms)) << "n = " << n << ": " << rms << " vs " << want_rms;
    double plain_rms = 0;
    for (const T& v : xv) plain_rms += std::norm(std::complex<double>(v));
    this->expect_near_rel(rms, std::sqrt(plain_rms / n), n);
  }
  if constexpr (is_float32<T>) {
    EXPECT_TRUE(grouping_mattered) << "the values must tell groupings apart";
  }

  T mean(1);
  R rms(1);
  EXPECT_EQ(E::mean(this->vec({}), &mean), -20003);
  EXPECT_TRUE(is_failure_nan(mean));
  EXPECT_EQ(E::rms(this->vec({}), &rms), -20003);
  EXPECT_TRUE(is_failure_nan(rms));
  ASSERT_EQ(E::rms(this->vec({T(3), T(4)}), &rms), 0);
  EXPECT_EQ(rms, R(5.0 / std::sqrt(2.0)));
}

TYPED_TEST(ElementaryTest, SumsOfSquaresAreNotRescaled) {
  using T = TypeParam;
  using E = Elementary<T>;
  using R = RealOf<T>;
  // Squares of these overflow the working precision; a rescaled sum would not.
  const T big(is_float32<T> ? R(1e20) : R(1e200));
  ZwArrayHandle x = this->vec({big, big});
  R r;
  ASSERT_EQ(E::rms(x, &r), 0);
  EXPECT_TRUE(std::isinf(r));
  ASSERT_EQ(E::vnorm(x, 2, &r), 0);
  EXPECT_TRUE(std::isinf(r));
  ASSERT_EQ(E::mnorm(this->mat(1, 2, {big, big}), 2, &r, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_TRUE(std::isinf(r));
}

TYPED_TEST(ElementaryTest, VectorNormsOfEveryOrder) {
  using T = TypeParam;
  using E = Elementary<T>;
  using R = RealOf<T>;
  const int n = 11;
  auto xv = random_values<T>(n, 4);
  ZwArrayHandle x = this->vec(xv);
  constexpr double inf = std::numeric_limits<double>::infinity();
  auto reference = [&](double p) {
    double lo = inf, hi = 0, sum = 0;
    for (const T& v : xv) {
      lo = std::min(lo, modulus(v));
      hi = std::max(hi, modulus(v));
      sum += std::pow(modulus(v), p);
    }
    return std::isinf(p) ? (p > 0 ? hi : lo) : std::pow(sum, 1 / p);
  };
  for (double p : {1.0, 2.0, inf, -inf, 3.0, 0.5, -1.0, -2.5}) {
    R got;
    ASSERT_EQ(E::vnorm(x, p, &got), 0) << "p = " << p;
    this->expect_near_rel(got, reference(p), n);
  }
  // The example (3, -4), exact in every order but p = 3.
  ZwArrayHandle e = this->vec({T(3), T(-4)});
  const std::pair<double, double> cases[] = {{1, 7}, {2, 5}, {inf, 4}, {-inf, 3}};
  for (auto [p, want] : cases) {
    R got;
    ASSERT_EQ(E::vnorm(e, p, &got), 0);
    EXPECT_EQ(got, R(want)) << "p = " << p;
  }

  R r = 1;
  EXPECT_EQ(E::vnorm(x, std::nan(""), &r), -20104);
  EXPECT_TRUE(is_failure_nan(r));
  r = 1;
  EXPECT_EQ(E::vnorm(x, 0.0, &r), -20141);
  EXPECT_TRUE(is_failure_nan(r));
  r = 1;
  EXPECT_EQ(E::vnorm(this->vec({}), std::nan(""), &r), -20003) << "the empty check comes first";
  EXPECT_TRUE(is_failure_nan(r));
}

TYPED_TEST(ElementaryTest, MatrixNormsOneFrobeniusInfinity) {
  using T = TypeParam;
  using E = Elementary<T>;
  using R = RealOf<T>;
  const int m = 7, n = 5;
  auto av = random_values<T>(m * n, 5);
  ZwArrayHandle a = this->mat(m, n, av);
  double col = 0, row = 0, frob = 0;
  for (int j = 0; j < n; ++j) {
    double s = 0;
    for (int i = 0; i < m; ++i) s += modulus(av[i * n + j]);
    col = std::max(col, s);
  }
  for (int i = 0; i < m; ++i) {
    double s = 0;
    for (int j = 0; j < n; ++j) s += modulus(av[i * n + j]);
    row = std::max(row, s);
    for (int j = 0; j < n; ++j) frob += std::norm(std::complex<double>(av[i * n + j]));
  }
  const std::pair<int, double> cases[] = {{1, col}, {2, std::sqrt(frob)}, {3, row}};
  for (auto [type, want] : cases) {
    R got;
    ASSERT_EQ(E::mnorm(a, type, &got, nullptr, nullptr, nullptr, nullptr), 0) << "type " << type;
    this->expect_near_rel(got, want, m * n);
  }
  ZwArrayHandle e = this->mat(2, 2, {T(1), T(-2), T(3), T(4)});
  R got;
  ASSERT_EQ(E::mnorm(e, 1, &got, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(got, R(6));
  ASSERT_EQ(E::mnorm(e, 3, &got, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(got, R(7));
  ASSERT_EQ(E::mnorm(e, 2, &got, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(got, std::sqrt(R(30)));

  for (int type : {4, -1}) {
    got = 1;
    EXPECT_EQ(E::mnorm(a, type, &got, nullptr, nullptr, nullptr, nullptr), -20061);
    EXPECT_TRUE(is_failure_nan(got));
  }
  got = 1;
  EXPECT_EQ(E::mnorm(this->mat(0, 2, {}), 9, &got, nullptr, nullptr, nullptr, nullptr), -20003)
      << "the empty check comes before the type";
  EXPECT_TRUE(is_failure_nan(got));
}

TYPED_TEST(ElementaryTest, TwoNormIsTheLargestSingularValue) {
  using T = TypeParam;
  using E = Elementary<T>;
  using R = RealOf<T>;
  using C = std::complex<double>;
  ZwArrayHandle s = this->host.template vector<R>({1, 2, 3}), w = this->vec({T(1)});
  ZwArrayHandle rw = this->host.template vector<double>({1}), iw = this->host.template vector<int32_t>({1});
  auto expect_scratch_empty = [&] {
    EXPECT_EQ(length(s), 0);
    EXPECT_EQ(length(w), 0);
    EXPECT_EQ(length(iw), 0);
    if constexpr (is_complex<T>) {
      EXPECT_EQ(length(rw), 0);
    }
  };

  // A rank-one matrix u v^T has the 2-norm |u| |v|.
  const int m = 6, n = 4;
  auto uv = random_values<T>(m, 8), vv = random_values<T>(n, 9);
  std::vector<T> outer;
  double uu = 0, vn = 0;
  for (T a : uv) uu += std::norm(C(a));
  for (T b : vv) vn += std::norm(C(b));
  for (T a : uv)
    for (T b : vv) outer.push_back(a * b);
  R got;
  ASSERT_EQ(E::mnorm(this->mat(m, n, outer), 0, &got, s, w, rw, iw), 0);
  this->expect_near_rel(got, std::sqrt(uu * vn), 4 * m);
  expect_scratch_empty();

  // A general matrix: the square root of the largest eigenvalue of A^H A,
  // by power iteration in float64.
  auto av = random_values<T>(n * m, 10);
  std::vector<C> x(m, C(1)), y(m);
  double lambda = 0;
  for (int it = 0; it < 300; ++it) {
    std::vector<C> ax(n);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < m; ++j) ax[i] += C(av[i * m + j]) * x[j];
    for (int j = 0; j < m; ++j) {
      y[j] = 0;
      for (int i = 0; i < n; ++i) y[j] += std::conj(C(av[i * m + j])) * ax[i];
    }
    double len = 0;
    for (C v : y) len += std::norm(v);
    lambda = std::sqrt(len);
    for (int j = 0; j < m; ++j) x[j] = y[j] / lambda;
  }
  ASSERT_EQ(E::mnorm(this->mat(n, m, av), 0, &got, s, w, rw, iw), 0);
  this->expect_near_rel(got, std::sqrt(lambda), 4 * m);
  expect_scratch_empty();

  // Failures: the NaN of the result's precision and every handle empty.
  auto nan_input = av;
  nan_input[3] = T(std::numeric_limits<R>::quiet_NaN());
  got = 1;
  EXPECT_EQ(E::mnorm(this->mat(n, m, nan_input), 0, &got, s, w, rw, iw), -20068);
  EXPECT_TRUE(is_failure_nan(got));
  expect_scratch_empty();
  got = 1;
  EXPECT_EQ(E::mnorm(this->mat(n, m, av), 0, &got, nullptr, w, rw, iw), -20999);
  EXPECT_TRUE(is_failure_nan(got));
  got = 1;
  EXPECT_EQ(E::mnorm(this->mat(n, m, av), 0, &got, s, nullptr, rw, iw), -20999);
  EXPECT_TRUE(is_failure_nan(got));
  expect_scratch_empty();
  {
    FailNthResize fail(2);  // the kernel's first resize
    got = 1;
    EXPECT_EQ(E::mnorm(this->mat(n, m, av), 0, &got, s, w, rw, iw), -20001);
  }
  EXPECT_TRUE(is_failure_nan(got));
  expect_scratch_empty();
}

TYPED_TEST(ElementaryTest, SpecialMatricesAgainstTheirDefinitions) {
  using T = TypeParam;
  using E = Elementary<T>;
  const int m = 5, c = 4;
  auto xv = random_values<T>(m, 6), yv = random_values<T>(c, 7);
  ZwArrayHandle x = this->vec(xv), y = this->vec(yv), b = this->host.empty();

  ASSERT_EQ(E::special(0, 3, x, y, b), 0);
  ASSERT_EQ(rows(b), 3);
  ASSERT_EQ(cols(b), 3);
  auto got = matrix_values<T>(b);
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) EXPECT_EQ(got[i * 3 + j], T(i == j ? 1 : 0));

  ASSERT_EQ(E::special(1, 99, x, y, b), 0);
  ASSERT_EQ(rows(b), m);
  got = matrix_values<T>(b);
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < m; ++j) EXPECT_EQ(got[i * m + j], i == j ? xv[i] : T(0));

  // Toeplitz: constant diagonals, x down the first column, y(1..) along the
  // first row. Hankel: constant anti-diagonals, x down the first column,
  // y(1..) along the last row.
  ASSERT_EQ(E::special(2, 0, x, y, b), 0);
  ASSERT_EQ(rows(b), m);
  ASSERT_EQ(cols(b), c);
  got = matrix_values<T>(b);
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < c; ++j) EXPECT_EQ(got[i * c + j], j > i ? yv[j - i] : xv[i - j]) << i << "," << j;
  ASSERT_EQ(E::special(5, 0, x, y, b), 0);
  got = matrix_values<T>(b);
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < c; ++j) EXPECT_EQ(got[i * c + j], i + j < m ? xv[i + j] : yv[i + j - m + 1]) << i << "," << j;

  ASSERT_EQ(E::special(3, 0, x, y, b), 0);
  got = matrix_values<T>(b);
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < m; ++j) {
      const auto want = std::pow(std::complex<double>(xv[i]), m - 1 - j);
      EXPECT_LE(std::abs(std::complex<double>(got[i * m + j]) - want), this->tol(m)) << i << "," << j;
    }

  // The companion's characteristic polynomial is x's, scaled to be monic:
  // its first row is -x(1..)/x(0), with ones below the diagonal.
  ASSERT_EQ(E::special(4, 0, x, y, b), 0);
  ASSERT_EQ(rows(b), m - 1);
  got = matrix_values<T>(b);
  for (int i = 0; i < m - 1; ++i)
    for (int j = 0; j < m - 1; ++j) {
      const auto want = i == 0 ? -std::complex<double>(xv[j + 1]) / std::complex<double>(xv[0])
                               : std::complex<double>(i == j + 1 ? 1 : 0);
      EXPECT_LE(std::abs(std::complex<double>(got[i * (m - 1) + j]) - want), this->tol(4) * (1 + std::abs(want)));
    }
  ASSERT_EQ(E::special(4, 0, this->vec({T(2), T(4), T(6)}), y, b), 0);
  EXPECT_EQ(matrix_values<T>(b), (std::vector<T>{T(-2), T(-3), T(1), T(0)}));

  // A reused output of the right shape is not resized.
  const int64_t before = ZwrtResizeCount();
  ASSERT_EQ(E::special(0, 2, x, y, b), 0);
  EXPECT_EQ(ZwrtResizeCount(), before);
}

TYPED_TEST(ElementaryTest, SpecialMatrixFailuresEmptyTheOutput) {
  using T = TypeParam;
  using E = Elementary<T>;
  ZwArrayHandle x = this->vec({T(1), T(2)}), one = this->vec({T(1)}), none = this->vec({});
  ZwArrayHandle b = this->mat(1, 1, {T(7)});
  EXPECT_EQ(E::special(0, 0, x, x, b), -20003);
  this->expect_empty_matrix(b);
  EXPECT_EQ(E::special(2, 0, x, none, b), -20003);
  EXPECT_EQ(E::special(4, 0, one, x, b), -20006);
  EXPECT_EQ(E::special(4, 0, none, x, b), -20006);
  EXPECT_EQ(E::special(7, 0, x, x, b), -20003) << "an unknown type takes its shape from the size";
  ASSERT_EQ(E::special(0, 2, x, x, b), 0);
  EXPECT_EQ(E::special(6, 2, x, x, b), -20061);
  this->expect_empty_matrix(b);
  EXPECT_EQ(E::special(-1, 3, x, x, b), -20061);
  this->expect_empty_matrix(b);
  {
    // The type is refused only after the resize, so a failing resize wins.
    FailNthResize fail(1);
    EXPECT_EQ(E::special(6, 2, x, x, b), -20001);
  }
  this->expect_empty_matrix(b);
}

TEST(ElementaryExamples, ConjugateTransposeOfARow) {
  Host host;
  ZwArrayHandle b = host.empty();
  ASSERT_EQ(zTransposeH(host.matrix<cdouble>(1, 2, {{1, 2}, {3, 0}}), b), 0);
  ASSERT_EQ(rows(b), 2);
  ASSERT_EQ(cols(b), 1);
  auto got = matrix_values<cdouble>(b);
  EXPECT_TRUE(same_bits(got[0], cdouble(1, -2)));
  EXPECT_TRUE(same_bits(got[1], cdouble(3, -0.0)));
}

TEST(ElementaryExamples, ToeplitzVandermondeHankel) {
  Host host;
  ZwArrayHandle x = host.vector<double>({1, 2, 3}), y = host.vector<double>({9, 4, 5}), b = host.empty();
  ASSERT_EQ(dSpecialMtrxH(2, 0, x, y, b), 0);
  EXPECT_EQ(matrix_values<double>(b), (std::vector<double>{1, 4, 5, 2, 1, 4, 3, 2, 1}));
  ASSERT_EQ(dSpecialMtrxH(5, 0, x, y, b), 0);
  EXPECT_EQ(matrix_values<double>(b), (std::vector<double>{1, 2, 3, 2, 3, 4, 3, 4, 5}));
  ASSERT_EQ(dSpecialMtrxH(3, 0, host.vector<double>({2, 3}), y, b), 0);
  EXPECT_EQ(matrix_values<double>(b), (std::vector<double>{2, 1, 3, 1}));
}

TEST(ElementaryExamples, NormOfOrderThreeAndMinusOne) {
  Host host;
  double r;
  ASSERT_EQ(dVectorNormH(host.vector<double>({3, -4}), 3, &r), 0);
  EXPECT_DOUBLE_EQ(r, std::cbrt(91.0));
  ASSERT_EQ(dVectorNormH(host.vector<double>({1, 2}), -1, &r), 0);
  EXPECT_DOUBLE_EQ(r, 1 / 1.5);
}

}  // namespace
