// Cholesky, LU, QR and SVD through the exports. Results are judged by
// residuals and orthogonality computed here in complex float64 (plain
// loops), by closed forms on small matrices, and by the contract around the
// results: shapes, statuses, emptied outputs and scratch handles.
#include <algorithm>
#include <cmath>
#include <limits>

#include "support/host.hpp"

namespace {

using namespace test;
using Z = std::complex<double>;

template <class T> struct Factor;
#define TARNX_TEST_FACTOR(t, T)                                                                   \
  template <> struct Factor<T> {                                                                  \
    static int32_t svd(ZwArrayHandle a, int32_t values_only, int32_t mode, ZwArrayHandle u,       \
                       ZwArrayHandle s, ZwArrayHandle v, ZwArrayHandle w, ZwArrayHandle rw,       \
                       ZwArrayHandle iw) {                                                        \
      return t##SVDH(a, values_only, mode, u, s, v, w, rw, iw);                                   \
    }                                                                                             \
  };
TARNX_TEST_FACTOR(s, float)
TARNX_TEST_FACTOR(d, double)
TARNX_TEST_FACTOR(c, cfloat)
TARNX_TEST_FACTOR(z, cdouble)
#undef TARNX_TEST_FACTOR

// A row-major matrix in complex float64, the reference arithmetic.
struct Dense {
  int r = 0, c = 0;
  std::vector<Z> a;
  Dense(int rows, int cols) : r(rows), c(cols), a(static_cast<std::size_t>(rows) * cols) {}
  Z& operator()(int i, int j) { return a[static_cast<std::size_t>(i) * c + j]; }
  Z operator()(int i, int j) const { return a[static_cast<std::size_t>(i) * c + j]; }
};

template <class T> Dense dense(int r, int c, const std::vector<T>& v) {
  Dense d(r, c);
  for (std::size_t i = 0; i < v.size(); ++i) d.a[i] = Z(v[i]);
  return d;
}
template <class T> Dense dense(ZwArrayHandle h) { return dense(rows(h), cols(h), matrix_values<T>(h)); }
[[maybe_unused]] Dense dense_int(ZwArrayHandle h) { return dense(rows(h), cols(h), matrix_values<int32_t>(h)); }

Dense operator*(const Dense& x, const Dense& y) {
  Dense out(x.r, y.c);
  for (int i = 0; i < x.r; ++i)
    for (int l = 0; l < x.c; ++l) {
      const Z xil = x(i, l);
      for (int j = 0; j < y.c; ++j) out(i, j) += xil * y(l, j);
    }
  return out;
}
Dense adjoint(const Dense& x) {
  Dense out(x.c, x.r);
  for (int i = 0; i < x.r; ++i)
    for (int j = 0; j < x.c; ++j) out(j, i) = std::conj(x(i, j));
  return out;
}
Dense identity(int n) {
  Dense out(n, n);
  for (int i = 0; i < n; ++i) out(i, i) = 1.0;
  return out;
}
double norm(const Dense& x) {
  double sum = 0;
  for (Z v : x.a) sum += std::norm(v);
  return std::sqrt(sum);
}
double distance(const Dense& x, const Dense& y) {
  EXPECT_EQ(x.r, y.r);
  EXPECT_EQ(x.c, y.c);
  if (x.r != y.r || x.c != y.c) return INFINITY;
  double sum = 0;
  for (std::size_t i = 0; i < x.a.size(); ++i) sum += std::norm(x.a[i] - y.a[i]);
  return std::sqrt(sum);
}
// ||Q^H Q - I||, zero for orthonormal columns.
double orthogonality_error(const Dense& q) { return distance(adjoint(q) * q, identity(q.c)); }

template <class T> class FactorizationsTest : public ::testing::Test {
 protected:
  using F = Factor<T>;
  using R = RealOf<T>;
  Host host;

  ZwArrayHandle random_matrix(int m, int n, unsigned seed) {
    return host.template matrix<T>(m, n, random_values<T>(static_cast<std::size_t>(m) * n, seed));
  }
  // A small multiple of n epsilon: what a backward-stable factorization of
  // an order-n problem may leave behind.
  static double tolerance(int n) { return 10.0 * std::max(n, 1) * epsilon<T>(); }

  static void expect_empty_matrix(ZwArrayHandle h, const char* what) {
    EXPECT_EQ(rows(h), 0) << what;
    EXPECT_EQ(cols(h), 0) << what;
  }
  static void expect_empty_vector(ZwArrayHandle h, const char* what) { EXPECT_EQ(length(h), 0) << what; }
  static void expect_shape(ZwArrayHandle h, int r, int c, const char* what) {
    EXPECT_EQ(rows(h), r) << what;
    EXPECT_EQ(cols(h), c) << what;
  }

  // Values that the screen must refuse, bit-exact at its bounds.
  static std::vector<R> refused_values() {
    std::vector<R> v{std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity(),
                     -std::numeric_limits<R>::infinity(), std::numeric_limits<R>::max(),
                     -std::numeric_limits<R>::max()};
    if constexpr (std::is_same_v<R, double>)
      v.push_back(std::bit_cast<double>(0xFFEFFFFFFFFFFFB0ull));  // the rounded lower bound
    return v;
  }
  // The nearest values that pass: just inside the bounds.
  static std::vector<R> accepted_extremes() {
    if constexpr (std::is_same_v<R, double>) return {-1.7976931348622e+308, std::nextafter(std::numeric_limits<R>::max(), 0.0)};
    else return {std::bit_cast<float>(0x7F7FFFFEu), std::bit_cast<float>(0xFF7FFFFEu)};
  }
  // A 2 x 2 matrix holding `bad` at element (1, 0), for complex types in the
  // imaginary part so that both parts are seen to be screened.
  ZwArrayHandle matrix_holding(R bad) {
    std::vector<T> v{T(1), T(2), T(3), T(4)};
    if constexpr (is_complex<T>) v[2] = T(3, bad);
    else v[2] = bad;
    return host.template matrix<T>(2, 2, v);
  }
};
TYPED_TEST_SUITE(FactorizationsTest, ElementTypes);

// ---- SVD ------------------------------------------------------------------------------------

struct SvdShape {
  int m, n;
};
constexpr SvdShape kSvdShapes[] = {{1, 1}, {1, 4}, {4, 1}, {6, 6}, {9, 4}, {4, 9}, {70, 45}, {45, 70}, {160, 160}};

TYPED_TEST(FactorizationsTest, SvdReconstructsAWithOrthonormalFactors) {
  using T = TypeParam;
  using R = RealOf<T>;
  unsigned seed = 10;
  for (auto [m, n] : kSvdShapes) {
    const int k = std::min(m, n);
    ZwArrayHandle a = this->random_matrix(m, n, ++seed);
    const auto a_before = matrix_values<T>(a);
    const Dense A = dense<T>(a);
    for (int mode : {0, 1}) {
      SCOPED_TRACE(::testing::Message() << m << " x " << n << " mode " << mode);
      ZwArrayHandle u = this->host.empty(), s = this->host.empty(), v = this->host.empty();
      ZwArrayHandle w = this->host.empty(), rw = this->host.empty(), iw = this->host.empty();
      ASSERT_EQ(Factor<T>::svd(a, 0, mode, u, s, v, w, rw, iw), 0);
      const int pu = mode == 1 ? m : k, pv = mode == 1 ? n : k;
      this->expect_shape(u, m, pu, "U");
      this->expect_shape(v, n, pv, "V");
      ASSERT_EQ(length(s), k);
      const auto sv = vector_values<R>(s);
      for (int i = 0; i < k; ++i) {
        EXPECT_GE(sv[i], R(0));
        if (i > 0) {
          EXPECT_LE(sv[i], sv[i - 1]);
        }
      }
      Dense sigma(pu, pv);
      for (int i = 0; i < k; ++i) sigma(i, i) = sv[i];
      const Dense U = dense<T>(u), V = dense<T>(v);
      EXPECT_LE(distance(U * sigma * adjoint(V), A) / norm(A), this->tolerance(std::max(m, n)));
      EXPECT_LE(orthogonality_error(U), this->tolerance(m));
      EXPECT_LE(orthogonality_error(V), this->tolerance(n));
      for (ZwArrayHandle h : {w, rw, iw}) this->expect_empty_vector(h, "scratch");

      // Values only: the same spectrum, whose squares sum to ||A||^2.
      ZwArrayHandle s2 = this->host.empty();
      ASSERT_EQ(Factor<T>::svd(a, 1, mode, u, s2, v, w, rw, iw), 0);
      this->expect_empty_matrix(u, "U");
      this->expect_empty_matrix(v, "V");
      ASSERT_EQ(length(s2), k);
      double squares = 0;
      for (int i = 0; i < k; ++i) {
        squares += double(vector_values<R>(s2)[i]) * vector_values<R>(s2)[i];
        EXPECT_NEAR(vector_values<R>(s2)[i], sv[i], this->tolerance(std::max(m, n)) * sv[0]);
      }
      EXPECT_NEAR(std::sqrt(squares), norm(A), this->tolerance(m * n) * norm(A));
      for (ZwArrayHandle h : {w, rw, iw}) this->expect_empty_vector(h, "scratch");
    }
    EXPECT_EQ(matrix_values<T>(a), a_before) << "A is only read";
  }
}

TYPED_TEST(FactorizationsTest, SvdClosedForms) {
  using T = TypeParam;
  using R = RealOf<T>;
  ZwArrayHandle u = this->host.empty(), s = this->host.empty(), v = this->host.empty();
  ZwArrayHandle w = this->host.empty(), rw = this->host.empty(), iw = this->host.empty();
  // diag(3, -4): the sign travels in U or V.
  ZwArrayHandle d = this->host.template matrix<T>(2, 2, {T(3), T(0), T(0), T(-4)});
  ASSERT_EQ(Factor<T>::svd(d, 0, 0, u, s, v, w, rw, iw), 0);
  EXPECT_EQ(vector_values<R>(s), (std::vector<R>{4, 3}));
  Dense sigma(2, 2);
  sigma(0, 0) = 4;
  sigma(1, 1) = 3;
  EXPECT_LE(distance(dense<T>(u) * sigma * adjoint(dense<T>(v)), dense<T>(d)), this->tolerance(2));

  // A row [3 0 4]: one singular value 5, V's first column the row over 5.
  ZwArrayHandle row = this->host.template matrix<T>(1, 3, {T(3), T(0), T(4)});
  ASSERT_EQ(Factor<T>::svd(row, 0, 0, u, s, v, w, rw, iw), 0);
  ASSERT_EQ(length(s), 1);
  EXPECT_NEAR(vector_values<R>(s)[0], 5, this->tolerance(3) * 5);
  this->expect_shape(u, 1, 1, "economy U");
  this->expect_shape(v, 3, 1, "economy V");
  const Z sign = Z(matrix_values<T>(u)[0]);
  EXPECT_NEAR(std::abs(sign), 1, this->tolerance(3));
  for (int j = 0; j < 3; ++j)
    EXPECT_LE(std::abs(Z(matrix_values<T>(v)[j]) - std::conj(sign) * Z(matrix_values<T>(row)[j]) / 5.0), this->tolerance(3));
  ASSERT_EQ(Factor<T>::svd(row, 0, 1, u, s, v, w, rw, iw), 0);
  this->expect_shape(u, 1, 1, "full U");
  this->expect_shape(v, 3, 3, "full V");

  // V is a conjugating copy of the core's factor: for complex types a zero
  // imaginary part comes back as negative zero.
  if constexpr (is_complex<T>) {
    ZwArrayHandle one = this->host.template matrix<T>(1, 1, {T(2, 0)});
    ASSERT_EQ(Factor<T>::svd(one, 0, 0, u, s, v, w, rw, iw), 0);
    EXPECT_TRUE(same_bits(matrix_values<T>(v)[0], T(1, -R(0)))) << matrix_values<T>(v)[0];
  }
}

TYPED_TEST(FactorizationsTest, SvdRefusals) {
  using T = TypeParam;
  using R = RealOf<T>;
  ZwArrayHandle u = this->host.empty(), s = this->host.empty(), v = this->host.empty();
  ZwArrayHandle w = this->host.empty(), rw = this->host.empty(), iw = this->host.empty();
  ZwArrayHandle a = this->random_matrix(3, 2, 1);
  auto fill_outputs = [&] {
    ASSERT_EQ(Factor<T>::svd(a, 0, 1, u, s, v, w, rw, iw), 0);
    ASSERT_GT(rows(u) * length(s) * rows(v), 0);
  };
  auto expect_failed = [&](int32_t status, int32_t want) {
    EXPECT_EQ(status, want);
    this->expect_empty_matrix(u, "U");
    this->expect_empty_vector(s, "S");
    this->expect_empty_matrix(v, "V");
    for (ZwArrayHandle h : {w, rw, iw}) this->expect_empty_vector(h, "scratch");
  };
  // Checks in order: empty before mode, mode before the values-only choice
  // and before the screen.
  fill_outputs();
  expect_failed(Factor<T>::svd(this->host.template matrix<T>(0, 5, {}), 0, 7, u, s, v, w, rw, iw), -20003);
  fill_outputs();
  expect_failed(Factor<T>::svd(a, 1, 2, u, s, v, w, rw, iw), -20061);
  fill_outputs();
  expect_failed(Factor<T>::svd(this->matrix_holding(NAN), 0, -1, u, s, v, w, rw, iw), -20061);
  for (R bad : this->refused_values()) {
    fill_outputs();
    expect_failed(Factor<T>::svd(this->matrix_holding(bad), 0, 0, u, s, v, w, rw, iw), -20068);
    fill_outputs();
    expect_failed(Factor<T>::svd(this->matrix_holding(bad), 1, 0, u, s, v, w, rw, iw), -20068);
  }
  for (R fine : this->accepted_extremes())
    EXPECT_EQ(Factor<T>::svd(this->matrix_holding(fine), 1, 0, u, s, v, w, rw, iw), 0) << fine;

  // Null scratch handles: the real one only matters for complex types.
  fill_outputs();
  expect_failed(Factor<T>::svd(a, 0, 0, u, s, v, nullptr, rw, iw), -20999);
  fill_outputs();
  expect_failed(Factor<T>::svd(a, 1, 0, u, s, v, w, rw, nullptr), -20999);
  fill_outputs();
  if constexpr (is_complex<T>) expect_failed(Factor<T>::svd(a, 0, 0, u, s, v, w, nullptr, iw), -20999);
  else EXPECT_EQ(Factor<T>::svd(a, 0, 0, u, s, v, w, nullptr, iw), 0);
}

TYPED_TEST(FactorizationsTest, SvdEveryFailedResizeEmptiesEverything) {
  using T = TypeParam;
  ZwArrayHandle a = this->random_matrix(5, 3, 2);
  for (int job : {0, 1}) {
    for (int nth = 1;; ++nth) {
      ZwArrayHandle u = this->host.empty(), s = this->host.empty(), v = this->host.empty();
      ZwArrayHandle w = this->host.empty(), rw = this->host.empty(), iw = this->host.empty();
      int32_t status;
      {
        FailNthResize fail(nth);
        status = Factor<T>::svd(a, job, 1, u, s, v, w, rw, iw);
      }
      if (status == 0) break;
      SCOPED_TRACE(::testing::Message() << "resize " << nth << " fails, values only " << job);
      ASSERT_EQ(status, -20001);
      this->expect_empty_matrix(u, "U");
      this->expect_empty_vector(s, "S");
      this->expect_empty_matrix(v, "V");
      for (ZwArrayHandle h : {w, rw, iw}) this->expect_empty_vector(h, "scratch");
    }
  }
}

TYPED_TEST(FactorizationsTest, SvdKeepsOutputsOfTheRightShape) {
  using T = TypeParam;
  using R = RealOf<T>;
  ZwArrayHandle a = this->random_matrix(6, 4, 3);
  auto resizes = [&](ZwArrayHandle u, ZwArrayHandle s, ZwArrayHandle v) {
    ZwArrayHandle w = this->host.empty(), rw = this->host.empty(), iw = this->host.empty();
    const int64_t before = ZwrtResizeCount();
    EXPECT_EQ(Factor<T>::svd(a, 0, 0, u, s, v, w, rw, iw), 0);
    return ZwrtResizeCount() - before;
  };
  const int64_t fresh = resizes(this->host.empty(), this->host.empty(), this->host.empty());
  const int64_t reused = resizes(this->host.template filled<T>(6, 4, T(0)), this->host.template vector<R>(std::vector<R>(4)),
                                 this->host.template filled<T>(4, 4, T(0)));
  EXPECT_EQ(fresh - reused, 3) << "U, S and V already had their shapes";
}

}  // namespace
