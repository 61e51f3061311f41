// Cholesky, LU, QR and SVD through the exports: closed forms, and the
// contract around them that the comparison with the reference cannot see:
// the order of checks, which handles a path needs, the triangle that is
// read, and outputs of the right shape kept as they are.
#include <algorithm>
#include <cmath>
#include <limits>

#include "frame/parallel.hpp"
#include "support/reference.hpp"

namespace {

using namespace test;
using Z = std::complex<double>;
using H = ZwArrayHandle;

// Wide matrices for the residuals of large factors.
struct Dense {
  int r, c;
  std::vector<Z> a;
  double norm() const { return frobenius(a); }
  double distance(const Dense& y) const { return r == y.r && c == y.c ? test::distance(a, y.a) : INFINITY; }
};
template <class T> Dense dense(int r, int c, const std::vector<T>& v) { return Dense{r, c, widen_to<Z>(v)}; }
Dense operator*(const Dense& x, const Dense& y) { return Dense{x.r, y.c, multiply(x.a, y.a, x.r, x.c, y.c)}; }
Dense adjoint_times(const Dense& x, const Dense& y) { return Dense{x.c, y.c, multiply(x.a, y.a, x.c, x.r, y.c, true)}; }

template <class T> struct Factor;
#define TARNX_TEST_FACTOR(t, T)                                                                          \
  template <> struct Factor<T> {                                                                         \
    static int32_t chol(H a, int32_t kind) { return t##CholeskyH(a, kind); }                             \
    static int32_t lu(H a, H l, H u, H p, H piv, H w, H perm) { return t##LUH(a, l, u, p, piv, w, perm); } \
    static int32_t qr(H a, H q, H r, H p, H piv, int32_t pivoting, int32_t mode, H w, H rw) {            \
      return t##QRH(a, q, r, p, piv, pivoting, mode, w, rw);                                             \
    }                                                                                                    \
    static int32_t svd(H a, int32_t values_only, int32_t mode, H u, H s, H v, H w, H rw, H iw) {         \
      return t##SVDH(a, values_only, mode, u, s, v, w, rw, iw);                                          \
    }                                                                                                    \
  };
TARNX_TEST_FACTOR(s, float)
TARNX_TEST_FACTOR(d, double)
TARNX_TEST_FACTOR(c, cfloat)
TARNX_TEST_FACTOR(z, cdouble)
#undef TARNX_TEST_FACTOR

template <class T> class FactorizationsTest : public ::testing::Test {
 protected:
  using R = RealOf<T>;
  Host host;
  H e() { return host.empty(); }
  H random(int m, int n, unsigned seed) {
    return host.template matrix<T>(m, n, random_values<T>(static_cast<std::size_t>(m) * n, seed));
  }
  // A small multiple of n epsilon: what a backward-stable factorization of an
  // order-n problem may leave behind.
  static double tol(int n) { return 10.0 * std::max(n, 1) * epsilon<T>(); }
  static void expect_shape(H h, int r, int c) {
    EXPECT_EQ(rows(h), r);
    EXPECT_EQ(cols(h), c);
  }
  static void expect_emptied(std::initializer_list<H> matrices, std::initializer_list<H> vectors) {
    for (H h : matrices) expect_shape(h, 0, 0);
    for (H h : vectors) EXPECT_EQ(length(h), 0);
  }
  // Refused by the screen, bit-exact at its bounds; and the nearest values
  // that pass.
  static std::vector<R> refused() {
    std::vector<R> v{NAN, INFINITY, -INFINITY, std::numeric_limits<R>::max(), -std::numeric_limits<R>::max()};
    if constexpr (std::is_same_v<R, double>) v.push_back(std::bit_cast<double>(0xFFEFFFFFFFFFFFB0ull));
    return v;
  }
  static std::vector<R> accepted() {
    if constexpr (std::is_same_v<R, double>) return {-1.7976931348622e+308, std::bit_cast<double>(0x7FEFFFFFFFFFFFFEull)};
    else return {std::bit_cast<float>(0x7F7FFFFEu), std::bit_cast<float>(0xFF7FFFFEu)};
  }
  // A 2 x 2 matrix holding `x`; for complex types in an imaginary part.
  H holding(R x) {
    std::vector<T> v{T(1), T(2), T(3), T(4)};
    if constexpr (is_complex<T>) v[2] = T(3, x);
    else v[2] = x;
    return host.template matrix<T>(2, 2, v);
  }
  template <class Call> static int64_t resizes(Call call) {
    const int64_t before = ZwrtResizeCount();
    call();
    return ZwrtResizeCount() - before;
  }
};
TYPED_TEST_SUITE(FactorizationsTest, ElementTypes);

// ---- SVD -----------------------------------------------------------------------------------

TYPED_TEST(FactorizationsTest, SvdClosedFormsAndContract) {
  using T = TypeParam;
  using R = RealOf<T>;
  H u = this->e(), s = this->e(), v = this->e(), w = this->e(), rw = this->e(), iw = this->e();
  auto svd = [&](H a, int values_only, int mode) { return Factor<T>::svd(a, values_only, mode, u, s, v, w, rw, iw); };
  // [3 0 4]: one value, 5; full mode squares V up.
  H row = this->host.template matrix<T>(1, 3, {T(3), T(0), T(4)});
  ASSERT_EQ(svd(row, 0, 0), 0);
  EXPECT_NEAR(vector_values<R>(s).at(0), 5, this->tol(3) * 5);
  this->expect_shape(u, 1, 1);
  this->expect_shape(v, 3, 1);
  ASSERT_EQ(svd(row, 0, 1), 0);
  this->expect_shape(v, 3, 3);
  // V is a conjugating copy: a zero imaginary part comes back as -0.
  if constexpr (is_complex<T>) {
    ASSERT_EQ(svd(this->host.template matrix<T>(1, 1, {T(2)}), 0, 0), 0);
    EXPECT_TRUE(same_bits(matrix_values<T>(v)[0], T(1, -R(0))));
  }

  // Checks in order: emptiness, mode (even for values only), then the screen.
  H a = this->random(3, 2, 1);
  auto expect_failure = [&](int32_t status, int32_t want) {
    EXPECT_EQ(status, want);
    this->expect_emptied({u, v}, {s, w, rw, iw});
    ASSERT_EQ(svd(a, 0, 1), 0);  // fill the outputs again
  };
  ASSERT_EQ(svd(a, 0, 1), 0);
  expect_failure(svd(this->host.template matrix<T>(0, 5, {}), 0, 7), -20003);
  expect_failure(svd(a, 1, 2), -20061);
  expect_failure(svd(this->holding(NAN), 0, -1), -20061);
  for (R bad : this->refused()) {
    expect_failure(svd(this->holding(bad), 0, 0), -20068);
    expect_failure(svd(this->holding(bad), 1, 0), -20068);
  }
  for (R fine : this->accepted()) EXPECT_EQ(svd(this->holding(fine), 1, 0), 0) << fine;
  // The real workspace matters only to complex types.
  if constexpr (is_complex<T>) expect_failure(Factor<T>::svd(a, 0, 0, u, s, v, w, nullptr, iw), -20999);
  else EXPECT_EQ(Factor<T>::svd(a, 0, 0, u, s, v, w, nullptr, iw), 0);

  // The real workspace is the complex types' alone: a real type's call, even
  // a failed one, hands it back exactly as it came.
  for (int values_only : {0, 1}) {
    H passed = this->host.template vector<double>({4.0, 5.0});
    EXPECT_EQ(Factor<T>::svd(a, values_only, 0, u, s, v, w, passed, iw), 0);
    EXPECT_EQ(vector_values<double>(passed), (is_complex<T> ? std::vector<double>{} : std::vector<double>{4, 5}));
  }
  if constexpr (!is_complex<T>) {
    H passed = this->host.template vector<double>({4.0});
    EXPECT_EQ(Factor<T>::svd(a, 0, 9, u, s, v, w, passed, iw), -20061);
    EXPECT_EQ(vector_values<double>(passed), std::vector<double>{4});
  }
  // U, S and V of the right shape are kept as they are.
  ASSERT_EQ(svd(a, 0, 0), 0);
  const int64_t fresh = this->resizes([&] { Factor<T>::svd(a, 0, 0, this->e(), this->e(), this->e(), w, rw, iw); });
  EXPECT_EQ(fresh - this->resizes([&] { svd(a, 0, 0); }), 3);
}

// ---- Cholesky -------------------------------------------------------------------------------

TYPED_TEST(FactorizationsTest, CholeskyReadsOnlyItsTriangle) {
  using T = TypeParam;
  const std::vector<T> av{T(4), T(2), T(1), T(2), T(5), T(3), T(1), T(3), T(6)};
  for (int kind : {0, 1}) {
    // NaN in the triangle the factor does not use is neither screened nor
    // read, and comes back as exact zeros.
    auto unread = [kind](int k) { return kind == 0 ? k % 3 > k / 3 : k % 3 < k / 3; };
    auto dirty = av;
    for (int k = 0; k < 9; ++k) dirty[k] = unread(k) ? T(NAN) : av[k];
    H clean = this->host.template matrix<T>(3, 3, av), d = this->host.template matrix<T>(3, 3, dirty);
    ASSERT_EQ(Factor<T>::chol(clean, kind), 0);
    ASSERT_EQ(Factor<T>::chol(d, kind), 0);
    const auto f = matrix_values<T>(d);
    EXPECT_EQ(std::memcmp(matrix_data<T>(clean), f.data(), sizeof(T) * f.size()), 0) << kind;
    for (int k = 0; k < 9; ++k) EXPECT_TRUE(!unread(k) || same_bits(f[k], T(0))) << k;
  }

  // Every failure loses the input; shape is checked before emptiness, and
  // both before the kind.
  auto chol = [&](int r, int c, std::vector<T> v, int kind) {
    H a = this->host.template matrix<T>(r, c, v);
    const int32_t status = Factor<T>::chol(a, kind);
    this->expect_shape(a, 0, 0);
    return status;
  };
  EXPECT_EQ(chol(2, 3, std::vector<T>(6, T(1)), 9), -20040);
  EXPECT_EQ(chol(0, 2, {}, 9), -20040);
  EXPECT_EQ(chol(0, 0, {}, 9), -20003);
  EXPECT_EQ(chol(2, 2, {T(2), T(1), T(1), T(2)}, 2), -20061);
  for (int kind : {0, 1}) EXPECT_EQ(chol(2, 2, {T(1), T(2), T(2), T(1)}, kind), -20071);
}

// ---- LU -------------------------------------------------------------------------------------

TYPED_TEST(FactorizationsTest, LuClosedFormsWarningAndContract) {
  using T = TypeParam;
  H l = this->e(), u = this->e(), p = this->e(), piv = this->e(), w = this->e(), perm = this->e();
  auto lu = [&](int m, int n, std::vector<T> v) { return Factor<T>::lu(this->host.template matrix<T>(m, n, v), l, u, p, piv, w, perm); };
  auto expect_lu = [&](std::vector<T> lw, std::vector<T> uw, std::vector<int32_t> pw, std::vector<int32_t> pivw) {
    EXPECT_EQ(matrix_values<T>(l), lw);
    EXPECT_EQ(matrix_values<T>(u), uw);
    EXPECT_EQ(matrix_values<int32_t>(p), pw);
    EXPECT_EQ(vector_values<int32_t>(piv), pivw);
    this->expect_emptied({}, {w, perm});
  };
  ASSERT_EQ(lu(2, 2, {T(0), T(1), T(1), T(0)}), 0);
  expect_lu({T(1), T(0), T(0), T(1)}, {T(1), T(0), T(0), T(1)}, {0, 1, 1, 0}, {1, 1});
  // An exactly zero pivot: a warning, with every output kept.
  ASSERT_EQ(lu(2, 2, std::vector<T>(4)), 20003);
  expect_lu({T(1), T(0), T(0), T(1)}, std::vector<T>(4), {1, 0, 0, 1}, {0, 1});
  const std::vector<T> rank2{T(1), T(2), T(3), T(2), T(4), T(6), T(1), T(0), T(1)};
  ASSERT_EQ(lu(3, 3, rank2), 20003);
  const auto pa = multiply(widen_to<Z>(matrix_values<int32_t>(p)), widen_to<Z>(rank2), 3, 3, 3);
  EXPECT_LE(distance(pa, multiply(widen_to<Z>(matrix_values<T>(l)), widen_to<Z>(matrix_values<T>(u)), 3, 3, 3)),
            this->tol(3) * 10);

  H a = this->random(4, 3, 7);
  auto expect_failure = [&](int32_t status, int32_t want) {
    EXPECT_EQ(status, want);
    this->expect_emptied({l, u, p}, {piv, w, perm});
    ASSERT_EQ(Factor<T>::lu(a, l, u, p, piv, w, perm), 0);
  };
  ASSERT_EQ(Factor<T>::lu(a, l, u, p, piv, w, perm), 0);
  expect_failure(lu(3, 0, {}), -20003);
  const int64_t fresh = this->resizes([&] { Factor<T>::lu(a, this->e(), this->e(), this->e(), this->e(), w, perm); });
  EXPECT_EQ(fresh - this->resizes([&] { Factor<T>::lu(a, l, u, p, piv, w, perm); }), 4) << "outputs of the right shape are kept";
}

// ---- large factors ----------------------------------------------------------------------------

// Orders at which unpacking LU and clearing the Cholesky factor's other
// triangle are shared out over threads; the factors are judged by their
// exact zeros and unit diagonal and by products with a random vector, which
// keep the reference arithmetic O(n^2).
TYPED_TEST(FactorizationsTest, LargeFactorsKeepTheirShapeAndResidual) {
  using T = TypeParam;
  const int n = static_cast<int>(std::sqrt(4.0 * tarnx::parallel::kBytesPerThread / sizeof(T))) + 9;
  const Dense x = dense(n, 1, random_values<T>(n, 5));
  const auto av = random_values<T>(static_cast<std::size_t>(n) * n, 6);
  const Dense A = dense(n, n, av);
  const double scale = A.norm() * x.norm();

  H l = this->e(), u = this->e(), p = this->e(), piv = this->e(), w = this->e(), perm = this->e();
  ASSERT_EQ(Factor<T>::lu(this->host.template matrix<T>(n, n, av), l, u, p, piv, w, perm), 0);
  const auto lv = matrix_values<T>(l), uv = matrix_values<T>(u);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      const std::size_t at = static_cast<std::size_t>(i) * n + j;
      if (j >= i) {
        ASSERT_TRUE(same_bits(lv[at], T(j == i ? 1 : 0))) << i << "," << j;
      } else {
        ASSERT_TRUE(same_bits(uv[at], T(0))) << i << "," << j;
      }
    }
  const Dense PAx = dense(n, n, matrix_values<int32_t>(p)) * (A * x);
  EXPECT_LE(PAx.distance(dense(n, n, lv) * (dense(n, n, uv) * x)) / scale, this->tol(n));

  // Hermitian and diagonally dominant, so positive definite.
  std::vector<T> hv(av);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < i; ++j) {
      const T below = hv[static_cast<std::size_t>(i) * n + j];
      if constexpr (is_complex<T>) hv[static_cast<std::size_t>(j) * n + i] = std::conj(below);
      else hv[static_cast<std::size_t>(j) * n + i] = below;
    }
  for (int i = 0; i < n; ++i) hv[static_cast<std::size_t>(i) * n + i] = T(2.0 * n);
  const Dense Hx = dense(n, n, hv) * x;
  for (int kind : {0, 1}) {
    H a = this->host.template matrix<T>(n, n, hv);
    ASSERT_EQ(Factor<T>::chol(a, kind), 0);
    const auto f = matrix_values<T>(a);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j)
        if (kind == 0 ? j > i : j < i) {
          ASSERT_TRUE(same_bits(f[static_cast<std::size_t>(i) * n + j], T(0))) << i << "," << j;
        }
    const Dense F = dense(n, n, f);
    const Dense FFx = kind == 0 ? F * adjoint_times(F, x) : adjoint_times(F, F * x);
    EXPECT_LE(FFx.distance(Hx) / (Hx.norm() + scale), this->tol(n)) << kind;
  }
}

// ---- QR -------------------------------------------------------------------------------------

TYPED_TEST(FactorizationsTest, QrClosedFormsAndContract) {
  using T = TypeParam;
  using R = RealOf<T>;
  H q = this->e(), r = this->e(), p = this->e(), piv = this->e(), w = this->e(), rw = this->e();
  auto qr = [&](H a, int pivoting, int mode) { return Factor<T>::qr(a, q, r, p, piv, pivoting, mode, w, rw); };
  ASSERT_EQ(qr(this->host.template matrix<T>(2, 2, {T(1), T(5), T(0), T(0)}), 1, 1), 0);
  EXPECT_EQ(vector_values<int32_t>(piv), (std::vector<int32_t>{1, 0})) << "the larger column first";
  EXPECT_EQ(matrix_values<int32_t>(p), (std::vector<int32_t>{0, 1, 1, 0}));

  H a = this->random(3, 2, 9);
  auto expect_failure = [&](int32_t status, int32_t want) {
    EXPECT_EQ(status, want);
    this->expect_emptied({q, r, p}, {piv, w, rw});
    ASSERT_EQ(qr(a, 1, 0), 0);
  };
  ASSERT_EQ(qr(a, 1, 0), 0);
  expect_failure(qr(this->host.template matrix<T>(0, 2, {}), 1, 3), -20003);
  expect_failure(qr(this->holding(NAN), 1, 3), -20061);
  for (int pivoting : {0, 1}) {
    for (R bad : this->refused()) expect_failure(qr(this->holding(bad), pivoting, 2), -20068);
    for (R fine : this->accepted()) EXPECT_EQ(qr(this->holding(fine), pivoting, 2), 0) << fine;
  }
  // Without pivoting, P and the pivots a pivoting call filled are emptied.
  ASSERT_EQ(qr(a, 0, 0), 0);
  this->expect_emptied({p}, {piv});
  // The real workspace is needed only by complex pivoting: every other call
  // hands it back exactly as it came, pivoting's empty.
  for (int pivoting : {0, 1}) {
    H passed = this->host.template vector<double>({4.0, 5.0});
    EXPECT_EQ(Factor<T>::qr(a, q, r, p, piv, pivoting, 0, w, passed), 0);
    const bool used = is_complex<T> && pivoting != 0;
    EXPECT_EQ(vector_values<double>(passed), (used ? std::vector<double>{} : std::vector<double>{4, 5}));
  }
  EXPECT_EQ(Factor<T>::qr(a, q, r, p, piv, 0, 0, w, nullptr), 0);
  if constexpr (is_complex<T>) expect_failure(Factor<T>::qr(a, q, r, p, piv, 1, 0, w, nullptr), -20999);
  else EXPECT_EQ(Factor<T>::qr(a, q, r, p, piv, 1, 0, w, nullptr), 0);

  ASSERT_EQ(qr(a, 1, 1), 0);
  const int64_t fresh = this->resizes([&] { Factor<T>::qr(a, this->e(), this->e(), this->e(), this->e(), 1, 1, w, rw); });
  EXPECT_EQ(fresh - this->resizes([&] { qr(a, 1, 1); }), 4) << "outputs of the right shape are kept";
}

}  // namespace
