// The element-by-element families over every shape from 1 x 1 to 9 x 9 (and
// every pair of shapes for the binary ones), in all four types, against plain
// loops. Unrolled loops, vector lanes and their tails go wrong for one
// residue of a size at a time (a Kronecker product once repeated a column
// only when B had 2 mod 4 of them), so no size is skipped. The inputs are
// small integers in both parts, which keeps every product and sum exact: the
// results are compared for equality, whatever order the library adds in.
#include <cmath>

#include "elementary/api.hpp"

namespace {

using namespace test;

constexpr int kMaxSide = 9;

// Integers in [-range, range], both parts of a complex value, reproducible.
template <class T> std::vector<T> small_integers(std::size_t n, unsigned seed, int range = 3) {
  std::mt19937 gen(seed);
  std::uniform_int_distribution<int> dist(-range, range);
  std::vector<T> v(n);
  for (auto& x : v) {
    if constexpr (is_complex<T>) x = T(RealOf<T>(dist(gen)), RealOf<T>(dist(gen)));
    else x = T(dist(gen));
  }
  return v;
}

template <class T> T conj_of(T v) {
  if constexpr (is_complex<T>) return std::conj(v);
  else return v;
}

template <class T> class EveryShapeTest : public ::testing::Test {
 protected:
  using A = Api<T>;
  Host host;
  ZwArrayHandle out = host.empty();  // reused: the library resizes it as needed
  ZwArrayHandle mat(int r, int c, const std::vector<T>& v) { return host.template matrix<T>(r, c, v); }
  ZwArrayHandle vec(const std::vector<T>& v) { return host.template vector<T>(v); }
  // The output is r x c and equal to `want`, element for element.
  void expect_matrix(int r, int c, const std::vector<T>& want, const char* what, int m, int n) {
    ASSERT_EQ(rows(out), r) << what << " " << m << " x " << n;
    ASSERT_EQ(cols(out), c) << what << " " << m << " x " << n;
    const auto got = matrix_values<T>(out);
    for (std::size_t i = 0; i < want.size(); ++i)
      ASSERT_EQ(got[i], want[i]) << what << " " << m << " x " << n << ", element " << i;
  }
};
TYPED_TEST_SUITE(EveryShapeTest, ElementTypes);

TYPED_TEST(EveryShapeTest, MatrixProducts) {
  using T = TypeParam;
  for (int m = 1; m <= kMaxSide; ++m)
    for (int k = 1; k <= kMaxSide; ++k) {
      const auto av = small_integers<T>(m * k, m * 16 + k);
      ZwArrayHandle a = this->mat(m, k, av);
      for (int n = 1; n <= kMaxSide; ++n) {
        const auto bv = small_integers<T>(k * n, 1000 + n);
        ASSERT_EQ(TestFixture::A::mul(a, this->mat(k, n, bv), this->out), 0);
        std::vector<T> want(m * n);
        for (int i = 0; i < m; ++i)
          for (int j = 0; j < n; ++j)
            for (int l = 0; l < k; ++l) want[i * n + j] += av[i * k + l] * bv[l * n + j];
        this->expect_matrix(m, n, want, "A B, inner", k, n);
      }
    }
}

TYPED_TEST(EveryShapeTest, MatrixVectorProducts) {
  using T = TypeParam;
  for (int m = 1; m <= kMaxSide; ++m)
    for (int n = 1; n <= kMaxSide; ++n) {
      const auto av = small_integers<T>(m * n, 7 * m + n);
      const auto xn = small_integers<T>(n, 100 + n), xm = small_integers<T>(m, 200 + m);
      ZwArrayHandle a = this->mat(m, n, av), y = this->host.empty();
      ASSERT_EQ(TestFixture::A::mv(a, this->vec(xn), y), 0);
      ASSERT_EQ(length(y), m);
      for (int i = 0; i < m; ++i) {
        T want(0);
        for (int j = 0; j < n; ++j) want += av[i * n + j] * xn[j];
        ASSERT_EQ(vector_values<T>(y)[i], want) << "A x, " << m << " x " << n;
      }
      // x A is A-transpose x, not conjugated.
      ASSERT_EQ(TestFixture::A::vm(this->vec(xm), a, y), 0);
      ASSERT_EQ(length(y), n);
      for (int j = 0; j < n; ++j) {
        T want(0);
        for (int i = 0; i < m; ++i) want += xm[i] * av[i * n + j];
        ASSERT_EQ(vector_values<T>(y)[j], want) << "x A, " << m << " x " << n;
      }
    }
}

// Lengths up to 9 x 9: the complex float32 product is the library's own
// two-at-a-time loop.
TYPED_TEST(EveryShapeTest, DotProducts) {
  using T = TypeParam;
  for (int n = 1; n <= kMaxSide * kMaxSide; ++n) {
    const auto xv = small_integers<T>(n, n), yv = small_integers<T>(n, 500 + n);
    T want(0), got;
    for (int i = 0; i < n; ++i) want += xv[i] * conj_of(yv[i]);
    ASSERT_EQ(TestFixture::A::dot(this->vec(xv), this->vec(yv), c_ptr(&got)), 0);
    ASSERT_EQ(got, want) << "length " << n;
  }
}

TYPED_TEST(EveryShapeTest, OuterProducts) {
  using T = TypeParam;
  for (int m = 1; m <= kMaxSide; ++m)
    for (int n = 1; n <= kMaxSide; ++n) {
      const auto xv = small_integers<T>(m, m), yv = small_integers<T>(n, 50 + n);
      ASSERT_EQ(TestFixture::A::outer(this->vec(xv), this->vec(yv), this->out), 0);
      std::vector<T> want;
      for (T xi : xv)
        for (T yj : yv) want.push_back(xi * yj);
      this->expect_matrix(m, n, want, "x y^T", m, n);
    }
}

// Every A from 1 x 1 to 9 x 9 against every B from 1 x 1 to 9 x 9.
TYPED_TEST(EveryShapeTest, KroneckerProducts) {
  using T = TypeParam;
  std::vector<T> want;
  for (int p = 1; p <= kMaxSide; ++p)
    for (int q = 1; q <= kMaxSide; ++q) {
      const auto av = small_integers<T>(p * q, p * 16 + q);
      ZwArrayHandle a = this->mat(p, q, av);
      for (int r = 1; r <= kMaxSide; ++r)
        for (int s = 1; s <= kMaxSide; ++s) {
          const auto bv = small_integers<T>(r * s, 300 + r * 16 + s);
          ASSERT_EQ(TestFixture::A::kron(a, this->mat(r, s, bv), this->out), 0);
          const int width = q * s;
          want.assign(static_cast<std::size_t>(p * r) * width, T(0));
          for (int i = 0; i < p; ++i)
            for (int j = 0; j < q; ++j)
              for (int k = 0; k < r; ++k)
                for (int l = 0; l < s; ++l) want[(i * r + k) * width + j * s + l] = av[i * q + j] * bv[k * s + l];
          ASSERT_NO_FATAL_FAILURE(this->expect_matrix(p * r, width, want, "A (x) B, B", r, s))
              << "A " << p << " x " << q;
        }
    }
}

// The complex transpose conjugates by subtracting from negative zero, so the
// bits are compared: a zero imaginary part comes back with the other sign.
TYPED_TEST(EveryShapeTest, Transposes) {
  using T = TypeParam;
  for (int m = 1; m <= kMaxSide; ++m)
    for (int n = 1; n <= kMaxSide; ++n) {
      const auto av = small_integers<T>(m * n, 9 * m + n, 1);
      ASSERT_EQ(TestFixture::A::transpose(this->mat(m, n, av), this->out), 0);
      ASSERT_EQ(rows(this->out), n);
      ASSERT_EQ(cols(this->out), m);
      const auto got = matrix_values<T>(this->out);
      for (int i = 0; i < m; ++i)
        for (int j = 0; j < n; ++j) {
          T want = av[i * n + j];
          if constexpr (is_complex<T>) want = T(want.real(), RealOf<T>(-0.0) - want.imag());
          ASSERT_TRUE(same_bits(got[j * m + i], want)) << m << " x " << n << " at " << i << ", " << j;
        }
    }
}

// Trace over every shape; mean and RMS over every length up to 9 x 9, whose
// float32 sums run in four lanes with a tail of up to three.
TYPED_TEST(EveryShapeTest, TraceMeanAndRms) {
  using T = TypeParam;
  using R = RealOf<T>;
  for (int m = 1; m <= kMaxSide; ++m)
    for (int n = 1; n <= kMaxSide; ++n) {
      const auto av = small_integers<T>(m * n, 3 * m + n);
      T want(0), got;
      for (int i = 0; i < std::min(m, n); ++i) want += av[i * n + i];
      ASSERT_EQ(TestFixture::A::trace(this->mat(m, n, av), c_ptr(&got)), 0);
      ASSERT_EQ(got, want) << m << " x " << n;
    }
  for (int n = 1; n <= kMaxSide * kMaxSide; ++n) {
    const auto xv = small_integers<T>(n, 700 + n);
    ZwArrayHandle x = this->vec(xv);
    T sum(0), mean;
    R squares(0), rms;
    for (const T& v : xv) {
      sum += v;
      squares += std::real(v * conj_of(v));
    }
    ASSERT_EQ(TestFixture::A::mean(x, c_ptr(&mean)), 0);
    if constexpr (is_complex<T>) ASSERT_EQ(mean, T(sum.real() / R(n), sum.imag() / R(n))) << "length " << n;
    else ASSERT_EQ(mean, sum / R(n)) << "length " << n;
    ASSERT_EQ(TestFixture::A::rms(x, &rms), 0);
    // The norm in the working precision, then divided by sqrt(n) in float64.
    ASSERT_EQ(rms, R(static_cast<double>(std::sqrt(squares)) / std::sqrt(static_cast<double>(n))))
        << "length " << n;
  }
}

TYPED_TEST(EveryShapeTest, SpecialMatrices) {
  using T = TypeParam;
  constexpr int kIdentity = 0, kDiagonal = 1, kToeplitz = 2, kVandermonde = 3, kCompanion = 4, kHankel = 5;
  ZwArrayHandle none = this->vec({});
  for (int n = 1; n <= kMaxSide; ++n) {
    // Vandermonde powers up to the eighth stay exact with parts in [-2, 2].
    const auto xv = small_integers<T>(n, 40 + n, 2);
    ZwArrayHandle x = this->vec(xv);
    std::vector<T> identity(n * n, T(0)), diagonal(n * n, T(0)), vandermonde(n * n);
    for (int i = 0; i < n; ++i) {
      identity[i * n + i] = T(1);
      diagonal[i * n + i] = xv[i];
      vandermonde[i * n + n - 1] = T(1);
      for (int j = n - 2; j >= 0; --j) vandermonde[i * n + j] = vandermonde[i * n + j + 1] * xv[i];
    }
    ASSERT_EQ(TestFixture::A::special(kIdentity, n, none, none, this->out), 0);
    this->expect_matrix(n, n, identity, "identity", n, n);
    ASSERT_EQ(TestFixture::A::special(kDiagonal, 0, x, none, this->out), 0);
    this->expect_matrix(n, n, diagonal, "diagonal", n, n);
    ASSERT_EQ(TestFixture::A::special(kVandermonde, 0, x, none, this->out), 0);
    this->expect_matrix(n, n, vandermonde, "Vandermonde", n, n);

    // A leading coefficient of 1 keeps the companion's first row exact.
    auto coefficients = small_integers<T>(n + 1, 60 + n);
    coefficients[0] = T(1);
    std::vector<T> companion(n * n, T(0));
    for (int j = 0; j < n; ++j) companion[j] = -coefficients[j + 1];
    for (int i = 1; i < n; ++i) companion[i * n + i - 1] = T(1);
    ASSERT_EQ(TestFixture::A::special(kCompanion, 0, this->vec(coefficients), none, this->out), 0);
    this->expect_matrix(n, n, companion, "companion", n, n);

    for (int c = 1; c <= kMaxSide; ++c) {
      const auto yv = small_integers<T>(c, 80 + c);
      std::vector<T> toeplitz(n * c), hankel(n * c);
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < c; ++j) {
          toeplitz[i * c + j] = i >= j ? xv[i - j] : yv[j - i];
          hankel[i * c + j] = i + j < n ? xv[i + j] : yv[i + j - n + 1];
        }
      ASSERT_EQ(TestFixture::A::special(kToeplitz, 0, x, this->vec(yv), this->out), 0);
      this->expect_matrix(n, c, toeplitz, "Toeplitz", n, c);
      ASSERT_EQ(TestFixture::A::special(kHankel, 0, x, this->vec(yv), this->out), 0);
      this->expect_matrix(n, c, hankel, "Hankel", n, c);
    }
  }
}

}  // namespace
