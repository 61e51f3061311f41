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
    static int32_t chol(ZwArrayHandle a, int32_t kind) { return t##CholeskyH(a, kind); }          \
    static int32_t lu(ZwArrayHandle a, ZwArrayHandle l, ZwArrayHandle u, ZwArrayHandle p,         \
                      ZwArrayHandle piv, ZwArrayHandle w, ZwArrayHandle perm) {                   \
      return t##LUH(a, l, u, p, piv, w, perm);                                                    \
    }                                                                                             \
    static int32_t qr(ZwArrayHandle a, ZwArrayHandle q, ZwArrayHandle r, ZwArrayHandle p,         \
                      ZwArrayHandle piv, int32_t pivoting, int32_t mode, ZwArrayHandle w,         \
                      ZwArrayHandle rw) {                                                         \
      return t##QRH(a, q, r, p, piv, pivoting, mode, w, rw);                                      \
    }                                                                                             \
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
Dense dense_int(ZwArrayHandle h) { return dense(rows(h), cols(h), matrix_values<int32_t>(h)); }

Dense operator*(const Dense& x, const Dense& y) {
  Dense out(x.r, y.c);
  for (int i = 0; i < x.r; ++i)
    for (int l = 0; l < x.c; ++l) {
      const Z xil = x(i, l);
      if (xil == 0.0) continue;  // triangles and permutations are mostly zero
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

  // Runs `call` with the first, second, ... resize failing until it
  // succeeds. Each failing run must report -20001 and leave every matrix
  // and vector it was given empty (outputs and scratch handles alike).
  template <class Call> void expect_each_failed_resize_empties(int matrices, int vectors, Call call) {
    for (int nth = 1; nth < 100; ++nth) {
      std::vector<ZwArrayHandle> mh(matrices), vh(vectors);
      for (auto& h : mh) h = host.empty();
      for (auto& h : vh) h = host.empty();
      int32_t status;
      {
        FailNthResize fail(nth);
        status = call(mh, vh);
      }
      if (status >= 0) return;
      SCOPED_TRACE(::testing::Message() << "resize " << nth << " fails");
      EXPECT_EQ(status, -20001);
      for (ZwArrayHandle h : mh) expect_empty_matrix(h, "matrix");
      for (ZwArrayHandle h : vh) expect_empty_vector(h, "vector");
    }
    ADD_FAILURE() << "never succeeded";
  }
  // Host resizes made by `call`.
  template <class Call> static int64_t resizes_made(Call call) {
    const int64_t before = ZwrtResizeCount();
    call();
    return ZwrtResizeCount() - before;
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
  for (int values_only : {0, 1}) {
    SCOPED_TRACE(values_only);
    this->expect_each_failed_resize_empties(2, 4, [&](auto& mh, auto& vh) {
      return Factor<T>::svd(a, values_only, 1, mh[0], vh[0], mh[1], vh[1], vh[2], vh[3]);
    });
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

// ---- Cholesky -------------------------------------------------------------------------------

// B B^H + n I: Hermitian positive definite and well conditioned.
template <class T> std::vector<T> positive_definite(int n, unsigned seed) {
  const Dense b = dense(n, n, random_values<T>(static_cast<std::size_t>(n) * n, seed));
  Dense a = b * adjoint(b);
  std::vector<T> out(static_cast<std::size_t>(n) * n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      const Z v = a(i, j) + (i == j ? double(n) : 0.0);
      if constexpr (is_complex<T>) out[static_cast<std::size_t>(i) * n + j] = T(RealOf<T>(v.real()), RealOf<T>(v.imag()));
      else out[static_cast<std::size_t>(i) * n + j] = T(v.real());
    }
  return out;
}

TYPED_TEST(FactorizationsTest, CholeskyRebuildsAFromOneTriangle) {
  using T = TypeParam;
  unsigned seed = 40;
  for (int n : {1, 2, 5, 33, 150}) {
    const auto av = positive_definite<T>(n, ++seed);
    const Dense A = dense(n, n, av);
    for (int kind : {0, 1}) {
      SCOPED_TRACE(::testing::Message() << "n " << n << " kind " << kind);
      ZwArrayHandle a = this->host.template matrix<T>(n, n, av);
      ASSERT_EQ(Factor<T>::chol(a, kind), 0);
      this->expect_shape(a, n, n, "factor");
      const auto f = matrix_values<T>(a);
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
          const T v = f[static_cast<std::size_t>(i) * n + j];
          if (kind == 0 ? j > i : j < i) {
            ASSERT_TRUE(same_bits(v, T(0))) << i << "," << j;
          }
          if (i == j) {
            EXPECT_GT(std::real(v), 0);
            EXPECT_EQ(std::imag(v), 0);
          }
        }
      const Dense F = dense(n, n, f);
      const Dense rebuilt = kind == 0 ? F * adjoint(F) : adjoint(F) * F;
      EXPECT_LE(distance(rebuilt, A) / norm(A), this->tolerance(n));

      // Only the factor's own triangle is read: NaN in the other one changes
      // nothing.
      auto dirty = av;
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
          if (kind == 0 ? j > i : j < i) dirty[static_cast<std::size_t>(i) * n + j] = T(NAN);
      ZwArrayHandle d = this->host.template matrix<T>(n, n, dirty);
      ASSERT_EQ(Factor<T>::chol(d, kind), 0);
      EXPECT_EQ(std::memcmp(matrix_data<T>(d), f.data(), sizeof(T) * f.size()), 0);
    }
  }
  ZwArrayHandle four = this->host.template matrix<T>(1, 1, {T(4)});
  ASSERT_EQ(Factor<T>::chol(four, 1), 0);
  EXPECT_EQ(matrix_values<T>(four)[0], T(2));
}

TYPED_TEST(FactorizationsTest, CholeskyFailureLosesTheInput) {
  using T = TypeParam;
  auto chol = [&](int r, int c, std::vector<T> v, int kind) {
    ZwArrayHandle a = this->host.template matrix<T>(r, c, v);
    const int32_t status = Factor<T>::chol(a, kind);
    this->expect_empty_matrix(a, "A");
    return status;
  };
  // Shape before emptiness before the kind.
  EXPECT_EQ(chol(2, 3, std::vector<T>(6, T(1)), 9), -20040);
  EXPECT_EQ(chol(0, 0, {}, 9), -20003);
  EXPECT_EQ(chol(0, 2, {}, 9), -20040);
  EXPECT_EQ(chol(2, 2, {T(2), T(1), T(1), T(2)}, 2), -20061) << "a good matrix is lost too";
  EXPECT_EQ(chol(2, 2, {T(1), T(2), T(2), T(1)}, 0), -20071);
  EXPECT_EQ(chol(2, 2, {T(1), T(2), T(2), T(1)}, 1), -20071);
}

// ---- LU -------------------------------------------------------------------------------------

struct Shape {
  int m, n;
};
constexpr Shape kShapes[] = {{1, 1}, {1, 5}, {5, 1}, {6, 6}, {9, 4}, {4, 9}, {60, 45}, {45, 60}, {200, 200}};

TYPED_TEST(FactorizationsTest, LuFactorsTheRowPermutedMatrix) {
  using T = TypeParam;
  unsigned seed = 60;
  for (auto [m, n] : kShapes) {
    SCOPED_TRACE(::testing::Message() << m << " x " << n);
    const int k = std::min(m, n);
    ZwArrayHandle a = this->random_matrix(m, n, ++seed);
    const auto a_before = matrix_values<T>(a);
    ZwArrayHandle l = this->host.empty(), u = this->host.empty(), p = this->host.empty(), piv = this->host.empty();
    ZwArrayHandle w = this->host.empty(), perm = this->host.empty();
    ASSERT_EQ(Factor<T>::lu(a, l, u, p, piv, w, perm), 0);
    this->expect_shape(l, m, k, "L");
    this->expect_shape(u, k, n, "U");
    this->expect_shape(p, m, m, "P");
    ASSERT_EQ(length(piv), m);
    this->expect_empty_vector(w, "work");
    this->expect_empty_vector(perm, "permutation");
    EXPECT_EQ(matrix_values<T>(a), a_before);

    // The interchanges, replayed here, give the row order of P A.
    const auto pivots = vector_values<int32_t>(piv);
    std::vector<int> order(m);
    for (int i = 0; i < m; ++i) order[i] = i;
    for (int i = 0; i < m; ++i) {
      if (i < k) {
        ASSERT_GE(pivots[i], i);
        ASSERT_LT(pivots[i], m);
        std::swap(order[i], order[pivots[i]]);
      } else {
        EXPECT_EQ(pivots[i], i);
      }
    }
    const auto pv = matrix_values<int32_t>(p);
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < m; ++j) ASSERT_EQ(pv[static_cast<std::size_t>(i) * m + j], j == order[i] ? 1 : 0);

    const auto lv = matrix_values<T>(l), uv = matrix_values<T>(u);
    const Dense L = dense(m, k, lv), U = dense(k, n, uv);
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < k; ++j) {
        if (j == i) ASSERT_TRUE(same_bits(lv[static_cast<std::size_t>(i) * k + j], T(1)));
        else if (j > i) ASSERT_TRUE(same_bits(lv[static_cast<std::size_t>(i) * k + j], T(0)));
        // Partial pivoting bounds the multipliers; complex pivots are chosen
        // by |re| + |im|, which allows up to sqrt(2).
        else ASSERT_LE(std::abs(L(i, j)), (is_complex<T> ? std::sqrt(2.0) : 1.0) + 1e-6);
      }
    for (int i = 0; i < k; ++i)
      for (int j = 0; j < i; ++j) ASSERT_TRUE(same_bits(uv[static_cast<std::size_t>(i) * n + j], T(0)));
    const Dense A = dense(m, n, a_before);
    EXPECT_LE(distance(dense_int(p) * A, L * U) / norm(A), this->tolerance(std::max(m, n)));
  }
}

TYPED_TEST(FactorizationsTest, LuClosedFormsAndTheSingularWarning) {
  using T = TypeParam;
  ZwArrayHandle l = this->host.empty(), u = this->host.empty(), p = this->host.empty(), piv = this->host.empty();
  ZwArrayHandle w = this->host.empty(), perm = this->host.empty();
  auto lu = [&](int m, int n, std::vector<T> v) {
    return Factor<T>::lu(this->host.template matrix<T>(m, n, v), l, u, p, piv, w, perm);
  };
  ASSERT_EQ(lu(1, 1, {T(5)}), 0);
  EXPECT_EQ(matrix_values<T>(l), std::vector<T>{T(1)});
  EXPECT_EQ(matrix_values<T>(u), std::vector<T>{T(5)});
  EXPECT_EQ(matrix_values<int32_t>(p), std::vector<int32_t>{1});
  EXPECT_EQ(vector_values<int32_t>(piv), std::vector<int32_t>{0});

  ASSERT_EQ(lu(2, 2, {T(0), T(1), T(1), T(0)}), 0);
  EXPECT_EQ(matrix_values<int32_t>(p), (std::vector<int32_t>{0, 1, 1, 0}));
  EXPECT_EQ(vector_values<int32_t>(piv), (std::vector<int32_t>{1, 1}));
  EXPECT_EQ(matrix_values<T>(l), (std::vector<T>{T(1), T(0), T(0), T(1)}));
  EXPECT_EQ(matrix_values<T>(u), (std::vector<T>{T(1), T(0), T(0), T(1)}));

  // An exactly zero pivot: a warning, and every output is kept.
  ASSERT_EQ(lu(2, 2, {T(0), T(0), T(0), T(0)}), 20003);
  EXPECT_EQ(matrix_values<T>(l), (std::vector<T>{T(1), T(0), T(0), T(1)}));
  EXPECT_EQ(matrix_values<T>(u), std::vector<T>(4, T(0)));
  EXPECT_EQ(matrix_values<int32_t>(p), (std::vector<int32_t>{1, 0, 0, 1}));
  EXPECT_EQ(vector_values<int32_t>(piv), (std::vector<int32_t>{0, 1}));
  ASSERT_EQ(lu(3, 3, {T(1), T(2), T(3), T(2), T(4), T(6), T(1), T(0), T(1)}), 20003);
  EXPECT_LE(distance(dense_int(p) * dense(3, 3, std::vector<T>{T(1), T(2), T(3), T(2), T(4), T(6), T(1), T(0), T(1)}),
                     dense<T>(l) * dense<T>(u)),
            this->tolerance(3) * 10);
  this->expect_empty_vector(w, "work");
  this->expect_empty_vector(perm, "permutation");

  ASSERT_EQ(lu(3, 2, {T(1), T(2), T(3), T(4), T(5), T(7)}), 0);
  EXPECT_EQ(vector_values<int32_t>(piv)[2], 2);
}

TYPED_TEST(FactorizationsTest, LuRefusals) {
  using T = TypeParam;
  ZwArrayHandle a = this->random_matrix(4, 3, 7);
  ZwArrayHandle l = this->host.empty(), u = this->host.empty(), p = this->host.empty(), piv = this->host.empty();
  ZwArrayHandle w = this->host.empty(), perm = this->host.empty();
  auto expect_failed = [&](int32_t status, int32_t want) {
    EXPECT_EQ(status, want);
    for (ZwArrayHandle h : {l, u, p}) this->expect_empty_matrix(h, "output");
    for (ZwArrayHandle h : {piv, w, perm}) this->expect_empty_vector(h, "vector");
  };
  ASSERT_EQ(Factor<T>::lu(a, l, u, p, piv, w, perm), 0);
  expect_failed(Factor<T>::lu(this->host.template matrix<T>(3, 0, {}), l, u, p, piv, w, perm), -20003);
  ASSERT_EQ(Factor<T>::lu(a, l, u, p, piv, w, perm), 0);
  expect_failed(Factor<T>::lu(a, l, u, p, piv, nullptr, perm), -20999);
  ASSERT_EQ(Factor<T>::lu(a, l, u, p, piv, w, perm), 0);
  expect_failed(Factor<T>::lu(a, l, u, p, piv, w, nullptr), -20999);
  // The input is not screened: what the core makes of a NaN stands.
  ZwArrayHandle nan = this->host.template matrix<T>(1, 1, {T(NAN)});
  EXPECT_GE(Factor<T>::lu(nan, l, u, p, piv, w, perm), 0);

  this->expect_each_failed_resize_empties(3, 3, [&](auto& mh, auto& vh) {
    return Factor<T>::lu(a, mh[0], mh[1], mh[2], vh[0], vh[1], vh[2]);
  });
  // Outputs that already have their shapes are not resized.
  ASSERT_EQ(Factor<T>::lu(a, l, u, p, piv, w, perm), 0);
  const int64_t fresh = this->resizes_made([&] {
    Factor<T>::lu(a, this->host.empty(), this->host.empty(), this->host.empty(), this->host.empty(), w, perm);
  });
  const int64_t reused = this->resizes_made([&] { Factor<T>::lu(a, l, u, p, piv, w, perm); });
  EXPECT_EQ(fresh - reused, 4);
}

// ---- QR -------------------------------------------------------------------------------------

TYPED_TEST(FactorizationsTest, QrFactorsEveryShapeInEveryMode) {
  using T = TypeParam;
  unsigned seed = 80;
  for (auto [m, n] : kShapes) {
    const int k = std::min(m, n);
    ZwArrayHandle a = this->random_matrix(m, n, ++seed);
    const auto a_before = matrix_values<T>(a);
    const Dense A = dense(m, n, a_before);
    for (int pivoting : {0, 1})
      for (int mode : {0, 1, 2}) {
        SCOPED_TRACE(::testing::Message() << m << " x " << n << " pivoting " << pivoting << " mode " << mode);
        ZwArrayHandle q = this->host.empty(), r = this->host.empty(), w = this->host.empty(), rw = this->host.empty();
        ZwArrayHandle p = this->host.template matrix<int32_t>(1, 1, {7}), piv = this->host.template vector<int32_t>({7});
        ASSERT_EQ(Factor<T>::qr(a, q, r, p, piv, pivoting, mode, w, rw), 0);
        const int q_cols = mode == 0 ? m : mode == 1 ? k : 0, r_rows = mode == 0 ? m : k;
        this->expect_shape(q, mode == 2 ? 0 : m, q_cols, "Q");
        this->expect_shape(r, r_rows, n, "R");
        this->expect_empty_vector(w, "work");
        this->expect_empty_vector(rw, "real work");
        EXPECT_EQ(matrix_values<T>(a), a_before);

        const auto rv = matrix_values<T>(r);
        for (int i = 0; i < r_rows; ++i)
          for (int j = 0; j < std::min(i, n); ++j) ASSERT_TRUE(same_bits(rv[static_cast<std::size_t>(i) * n + j], T(0)));
        for (int i = k; i < r_rows; ++i)
          for (int j = 0; j < n; ++j) ASSERT_TRUE(same_bits(rv[static_cast<std::size_t>(i) * n + j], T(0)));

        // A P, with P checked against the pivot list.
        Dense AP = A;
        if (pivoting == 0) {
          this->expect_empty_matrix(p, "P");
          this->expect_empty_vector(piv, "pivots");
        } else {
          this->expect_shape(p, n, n, "P");
          ASSERT_EQ(length(piv), n);
          const auto pivots = vector_values<int32_t>(piv);
          const auto pv = matrix_values<int32_t>(p);
          std::vector<int> seen(n);
          for (int j = 0; j < n; ++j) {
            ASSERT_GE(pivots[j], 0);
            ASSERT_LT(pivots[j], n);
            ASSERT_EQ(seen[pivots[j]]++, 0) << "pivots form a permutation";
            for (int i = 0; i < n; ++i) ASSERT_EQ(pv[static_cast<std::size_t>(i) * n + j], i == pivots[j] ? 1 : 0);
          }
          AP = A * dense_int(p);
          const Dense R = dense<T>(r);
          for (int i = 1; i < k; ++i) EXPECT_LE(std::abs(R(i, i)), std::abs(R(i - 1, i - 1)) * (1 + 1e-5));
        }
        const double scale = norm(A);
        if (mode == 2) {
          // R alone: R^H R = (A P)^H (A P) whatever Q was.
          const Dense R = dense<T>(r);
          EXPECT_LE(distance(adjoint(R) * R, adjoint(AP) * AP) / (scale * scale), this->tolerance(std::max(m, n)));
        } else {
          const Dense Q = dense<T>(q);
          EXPECT_LE(orthogonality_error(Q), this->tolerance(m));
          EXPECT_LE(distance(Q * dense<T>(r), AP) / scale, this->tolerance(std::max(m, n)));
        }
      }
  }
}

TYPED_TEST(FactorizationsTest, QrClosedForms) {
  using T = TypeParam;
  ZwArrayHandle q = this->host.empty(), r = this->host.empty(), p = this->host.empty(), piv = this->host.empty();
  ZwArrayHandle w = this->host.empty(), rw = this->host.empty();
  for (int pivoting : {0, 1}) {
    ASSERT_EQ(Factor<T>::qr(this->host.template matrix<T>(1, 1, {T(-3)}), q, r, p, piv, pivoting, 0, w, rw), 0);
    EXPECT_EQ(matrix_values<T>(q), std::vector<T>{T(1)}) << "a reflector of order 1 is the identity";
    EXPECT_EQ(matrix_values<T>(r), std::vector<T>{T(-3)});
  }
  ASSERT_EQ(Factor<T>::qr(this->host.template matrix<T>(2, 2, {T(1), T(5), T(0), T(0)}), q, r, p, piv, 1, 1, w, rw), 0);
  EXPECT_EQ(vector_values<int32_t>(piv), (std::vector<int32_t>{1, 0})) << "the larger column comes first";
  EXPECT_EQ(matrix_values<int32_t>(p), (std::vector<int32_t>{0, 1, 1, 0}));
  for (int mode : {0, 1}) {
    ASSERT_EQ(Factor<T>::qr(this->random_matrix(2, 3, 5), q, r, p, piv, 0, mode, w, rw), 0);
    this->expect_shape(q, 2, 2, "Q of a wide matrix");
    this->expect_shape(r, 2, 3, "R of a wide matrix");
  }
}

TYPED_TEST(FactorizationsTest, QrRefusals) {
  using T = TypeParam;
  using R = RealOf<T>;
  ZwArrayHandle a = this->random_matrix(3, 2, 9);
  ZwArrayHandle q = this->host.empty(), r = this->host.empty(), p = this->host.empty(), piv = this->host.empty();
  ZwArrayHandle w = this->host.empty(), rw = this->host.empty();
  auto fill = [&] { ASSERT_EQ(Factor<T>::qr(a, q, r, p, piv, 1, 0, w, rw), 0); };
  auto expect_failed = [&](int32_t status, int32_t want) {
    EXPECT_EQ(status, want);
    for (ZwArrayHandle h : {q, r, p}) this->expect_empty_matrix(h, "output");
    for (ZwArrayHandle h : {piv, w, rw}) this->expect_empty_vector(h, "vector");
  };
  fill();
  expect_failed(Factor<T>::qr(this->host.template matrix<T>(0, 2, {}), q, r, p, piv, 1, 3, w, rw), -20003);
  fill();
  expect_failed(Factor<T>::qr(this->matrix_holding(NAN), q, r, p, piv, 1, 3, w, rw), -20061);
  for (int pivoting : {0, 1}) {
    for (R bad : this->refused_values()) {
      fill();
      expect_failed(Factor<T>::qr(this->matrix_holding(bad), q, r, p, piv, pivoting, 2, w, rw), -20068);
    }
    for (R fine : this->accepted_extremes())
      EXPECT_EQ(Factor<T>::qr(this->matrix_holding(fine), q, r, p, piv, pivoting, 2, w, rw), 0) << fine;
    fill();
    expect_failed(Factor<T>::qr(a, q, r, p, piv, pivoting, 1, nullptr, rw), -20999);
  }
  // The real workspace is needed only by complex pivoting.
  EXPECT_EQ(Factor<T>::qr(a, q, r, p, piv, 0, 0, w, nullptr), 0);
  if constexpr (is_complex<T>) expect_failed(Factor<T>::qr(a, q, r, p, piv, 1, 0, w, nullptr), -20999);
  else EXPECT_EQ(Factor<T>::qr(a, q, r, p, piv, 1, 0, w, nullptr), 0);

  for (int pivoting : {0, 1})
    this->expect_each_failed_resize_empties(3, 3, [&](auto& mh, auto& vh) {
      return Factor<T>::qr(a, mh[0], mh[1], mh[2], vh[0], pivoting, 0, vh[1], vh[2]);
    });
  const int64_t fresh = this->resizes_made([&] {
    Factor<T>::qr(a, this->host.empty(), this->host.empty(), this->host.empty(), this->host.empty(), 1, 1, w, rw);
  });
  fill();
  Factor<T>::qr(a, q, r, p, piv, 1, 1, w, rw);
  const int64_t reused = this->resizes_made([&] { Factor<T>::qr(a, q, r, p, piv, 1, 1, w, rw); });
  EXPECT_EQ(fresh - reused, 4);
}

}  // namespace
