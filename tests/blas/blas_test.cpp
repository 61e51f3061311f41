// The BLAS entry points through the exports: results against plain loops on
// the operands that offsets and leading dimensions select inside larger
// stored blocks, the checks and their order with checkArguments on and off,
// and the creation of empty outputs.
#include <dlfcn.h>

#include <cmath>
#include <functional>
#include <string>
#include <utility>

#include "frame/export_table.hpp"
#include "support/host.hpp"

namespace {

using namespace test;

template <class T> struct Blas;
#define TARNX_TEST_BLAS(t, T)                        \
  template <> struct Blas<T> {                       \
    static constexpr auto gemm = &zwblas_##t##gemm;  \
    static constexpr auto gemv = &zwblas_##t##gemv;  \
    static constexpr auto symm = &zwblas_##t##symm;  \
    static constexpr auto trmm = &zwblas_##t##trmm;  \
    static constexpr auto trmv = &zwblas_##t##trmv;  \
    TARNX_TEST_BLAS_SELF_ADJOINT(t)                  \
  };
// symv for the real types; hemv and hemm for the complex ones.
#define TARNX_TEST_BLAS_SELF_ADJOINT(t) static constexpr auto symv = &zwblas_##t##symv;
TARNX_TEST_BLAS(s, float)
TARNX_TEST_BLAS(d, double)
#undef TARNX_TEST_BLAS_SELF_ADJOINT
#define TARNX_TEST_BLAS_SELF_ADJOINT(t)              \
  static constexpr auto symv = &zwblas_##t##hemv;    \
  static constexpr auto hemm = &zwblas_##t##hemm;
TARNX_TEST_BLAS(c, cfloat)
TARNX_TEST_BLAS(z, cdouble)
#undef TARNX_TEST_BLAS_SELF_ADJOINT
#undef TARNX_TEST_BLAS

constexpr int32_t kRow = 101, kCol = 102, kUpper = 121, kUnit = 132, kLeft = 141;
constexpr int32_t kSkip = 1;  // a case not run with checks off: the core would get the bad sizes

template <class T> T scalar(double re, double im) {
  if constexpr (is_complex<T>) return T(RealOf<T>(re), RealOf<T>(im));
  else return T(re);
}
template <class T> T conj_of(T v) {
  if constexpr (is_complex<T>) return std::conj(v);
  else return v;
}

// An operand as the core reads it: rows ld apart in row-major layout,
// columns ld apart in column-major layout.
template <class T> struct View {
  T* base;
  int layout, ld;
  T& operator()(int i, int j) const { return base[layout == kRow ? i * ld + j : i + j * ld]; }
};
template <class T> T op(const View<T>& a, int trans, int i, int j) {
  return trans == 111 ? a(i, j) : trans == 112 ? a(j, i) : conj_of(a(j, i));
}
// Element (i, j) of the self-adjoint matrix whose `uplo` triangle A holds.
template <class T> T self_adjoint(const View<T>& a, int uplo, bool hermitian, int i, int j) {
  if (i == j && hermitian) return T(std::real(a(i, i)));
  if (uplo == kUpper ? i <= j : i >= j) return a(i, j);
  return hermitian ? conj_of(a(j, i)) : a(j, i);
}
// Element (i, j) of op(A) for the triangle that uplo and diag describe.
template <class T> T triangular(const View<T>& a, int uplo, int trans, int diag, int i, int j) {
  if (trans != 111) std::swap(i, j);
  const T v = i == j ? (diag == kUnit ? T(1) : a(i, i)) : (uplo == kUpper) == (i < j) ? a(i, j) : T(0);
  return trans == 113 ? conj_of(v) : v;
}
// Logical element k of n taken `inc` apart; a negative increment walks back.
template <class T> T& strided(T* base, int inc, int n, int k) {
  return base[inc > 0 ? k * inc : (n - 1 - k) * -inc];
}

template <class T> void expect_close(const std::vector<T>& got, const std::vector<T>& want, int terms,
                                     const std::string& where) {
  ASSERT_EQ(got.size(), want.size()) << where;
  const double tol = 16.0 * (terms + 2) * epsilon<T>();
  for (std::size_t i = 0; i < got.size(); ++i)
    ASSERT_LE(std::abs(std::complex<double>(got[i]) - std::complex<double>(want[i])), tol)
        << where << ", element " << i;
}

// A stored matrix of the given shape; a negative shape gets a bare header.
template <class T> ZwArrayHandle sized(Host& host, int32_t r, int32_t c, unsigned seed = 7) {
  if (r < 0 || c < 0) return host.matrix<T>(r, c, {});
  return host.matrix<T>(r, c, random_values<T>(static_cast<std::size_t>(r) * c, seed));
}
// A vector of length n; a negative length gets a bare header.
template <class T> ZwArrayHandle sized(Host& host, int32_t n) {
  return n < 0 ? host.matrix<T>(n, 0, {}) : host.vector<T>(random_values<T>(n, 8));
}
bool emptied(ZwArrayHandle h, bool matrix) { return rows(h) == 0 && (!matrix || cols(h) == 0); }

// Valid argument sets that each check case spoils in one place.
struct GemmArgs {
  int32_t a[2]{3, 4}, b[2]{4, 5}, c[2]{3, 5};
  int32_t m = 3, n = 5, k = 4, ta = 111, tb = 111, ar = 0, ac = 0, br = 0, bc = 0, cr = 0, cc = 0;
  int32_t lda = 4, ldb = 5, ldc = 5, layout = kRow;
};
struct GemvArgs {
  int32_t a[2]{3, 4}, x = 4, y = 3;
  int32_t trans = 111, incx = 1, incy = 1, m = 3, n = 4, ar = 0, ac = 0, xo = 0, yo = 0, lda = 4, layout = kRow;
};
struct SymmArgs {
  int32_t a[2]{3, 3}, b[2]{3, 5}, c[2]{3, 5};
  int32_t m = 3, n = 5, side = kLeft, uplo = kUpper, ar = 0, ac = 0, br = 0, bc = 0, cr = 0, cc = 0;
  int32_t lda = 3, ldb = 5, ldc = 5, layout = kRow;
};
struct SymvArgs {
  int32_t a[2]{4, 4}, x = 4, y = 4;
  int32_t uplo = kUpper, incx = 1, incy = 1, n = 4, ar = 0, ac = 0, xo = 0, yo = 0, lda = 4, layout = kRow;
};
struct TrmmArgs {
  int32_t a[2]{3, 3}, b[2]{3, 5};
  int32_t m = 3, n = 5, side = kLeft, uplo = kUpper, ta = 111, diag = 131, ar = 0, ac = 0, br = 0, bc = 0;
  int32_t lda = 3, ldb = 5, layout = kRow;
};
struct TrmvArgs {
  int32_t a[2]{4, 4}, x = 4;
  int32_t uplo = kUpper, trans = 111, diag = 131, incx = 1, n = 4, ar = 0, ac = 0, xo = 0, lda = 4, layout = kRow;
};

template <class T> class BlasTest : public ::testing::Test {
 protected:
  using B = Blas<T>;
  Host host;
  T alpha = scalar<T>(0.75, 0.25), beta = scalar<T>(-0.5, 0.5);
  static constexpr int S = 9, ld = 6;  // operands live inside 9 x 9 blocks, 6 apart

  // One bad argument set: the status with checks on and with checks off,
  // and the output operand emptied after a failure.
  template <class Args> struct Case {
    const char* what;
    std::function<void(Args&)> spoil;
    int32_t on, off;
  };
  template <class Args, class Call> void expect_cases(const std::vector<Case<Args>>& cases, Call call) {
    for (const auto& c : cases)
      for (int check : {1, 0}) {
        const int32_t want = check == 1 ? c.on : c.off;
        if (want == kSkip) continue;
        Args args;
        c.spoil(args);
        const auto [status, out_emptied] = call(args, check);
        EXPECT_EQ(status, want) << c.what << ", checkArguments " << check;
        EXPECT_EQ(out_emptied, want < 0) << c.what << ", checkArguments " << check;
      }
  }
};
TYPED_TEST_SUITE(BlasTest, ElementTypes);

TYPED_TEST(BlasTest, GemmMatchesReferenceOnSelectedBlocks) {
  using T = TypeParam;
  constexpr int S = TestFixture::S, ld = TestFixture::ld, M = 3, N = 4, K = 2;
  for (int layout : {kRow, kCol})
    for (int ta : {111, 112, 113})
      for (int tb : {111, 112, 113})
        for (int check : {0, 1}) {
          auto av = random_values<T>(S * S, 1), bv = random_values<T>(S * S, 2), cv = random_values<T>(S * S, 3);
          ZwArrayHandle a = this->host.matrix(S, S, av), b = this->host.matrix(S, S, bv), c = this->host.matrix(S, S, cv);
          const int64_t resizes = ZwrtResizeCount();
          ASSERT_EQ(TestFixture::B::gemm(a, b, c, c_ptr(&this->alpha), c_ptr(&this->beta), M, N, K, ta, tb, 1, 2, 2, 1,
                                         3, 0, ld, ld, ld, layout, check), 0);
          EXPECT_EQ(ZwrtResizeCount(), resizes) << "an output of the right shape is not resized";
          View<T> A{av.data() + S + 2, layout, ld}, Bm{bv.data() + 2 * S + 1, layout, ld}, C{cv.data() + 3 * S, layout, ld};
          for (int i = 0; i < M; ++i)
            for (int j = 0; j < N; ++j) {
              T sum{};
              for (int l = 0; l < K; ++l) sum += op(A, ta, i, l) * op(Bm, tb, l, j);
              C(i, j) = this->alpha * sum + this->beta * C(i, j);
            }
          expect_close(matrix_values<T>(c), cv, K, "layout " + std::to_string(layout) + " transA " + std::to_string(ta) +
                                                       " transB " + std::to_string(tb));
          EXPECT_EQ(matrix_values<T>(a), av);
        }
}

TYPED_TEST(BlasTest, GemvMatchesReferenceWithStridesBothWays) {
  using T = TypeParam;
  constexpr int S = TestFixture::S, ld = TestFixture::ld, M = 3, N = 4;
  for (int layout : {kRow, kCol})
    for (int trans : {111, 112, 113})
      for (auto [incx, incy] : {std::pair{2, 1}, {-1, -3}})
        for (int check : {0, 1}) {
          auto av = random_values<T>(S * S, 4), xv = random_values<T>(20, 5), yv = random_values<T>(20, 6);
          ZwArrayHandle y = this->host.vector(yv);
          ASSERT_EQ(TestFixture::B::gemv(this->host.matrix(S, S, av), this->host.vector(xv), y, c_ptr(&this->alpha),
                                         c_ptr(&this->beta), trans, incx, incy, M, N, 1, 2, 1, 2, ld, layout, check), 0);
          const View<T> A{av.data() + S + 2, layout, ld};
          const int nx = trans == 111 ? N : M, ny = trans == 111 ? M : N;
          for (int i = 0; i < ny; ++i) {
            T sum{};
            for (int l = 0; l < nx; ++l) sum += op(A, trans, i, l) * strided(xv.data() + 1, incx, nx, l);
            T& yi = strided(yv.data() + 2, incy, ny, i);
            yi = this->alpha * sum + this->beta * yi;
          }
          expect_close(vector_values<T>(y), yv, nx, "layout " + std::to_string(layout) + " trans " + std::to_string(trans) +
                                                        " incx " + std::to_string(incx));
        }
}

TYPED_TEST(BlasTest, SymmetricAndHermitianProductsReadOnlyTheirTriangle) {
  using T = TypeParam;
  using B = typename TestFixture::B;
  constexpr int S = TestFixture::S, ld = TestFixture::ld, M = 3, N = 4;
  for (bool hermitian : {false, true}) {
    if (hermitian && !is_complex<T>) continue;
    for (int layout : {kRow, kCol})
      for (int uplo : {121, 122})
        for (int check : {0, 1}) {
          const std::string where = std::string(hermitian ? "he" : "sy") + " layout " + std::to_string(layout) +
                                    " uplo " + std::to_string(uplo);
          for (int side : {141, 142}) {
            auto av = random_values<T>(S * S, 7), bv = random_values<T>(S * S, 8), cv = random_values<T>(S * S, 9);
            ZwArrayHandle a = this->host.matrix(S, S, av), b = this->host.matrix(S, S, bv), c = this->host.matrix(S, S, cv);
            auto* mm = B::symm;
            if constexpr (is_complex<T>) if (hermitian) mm = B::hemm;
            ASSERT_EQ(mm(a, b, c, c_ptr(&this->alpha), c_ptr(&this->beta), M, N, side, uplo, 1, 2, 2, 1, 3, 0, ld, ld,
                         ld, layout, check), 0);
            const View<T> A{av.data() + S + 2, layout, ld}, Bm{bv.data() + 2 * S + 1, layout, ld};
            const View<T> C{cv.data() + 3 * S, layout, ld};
            const int ka = side == kLeft ? M : N;
            for (int i = 0; i < M; ++i)
              for (int j = 0; j < N; ++j) {
                T sum{};
                for (int l = 0; l < ka; ++l)
                  sum += side == kLeft ? self_adjoint(A, uplo, hermitian, i, l) * Bm(l, j)
                                       : Bm(i, l) * self_adjoint(A, uplo, hermitian, l, j);
                C(i, j) = this->alpha * sum + this->beta * C(i, j);
              }
            expect_close(matrix_values<T>(c), cv, ka, where + " side " + std::to_string(side));
          }
          if (hermitian != is_complex<T>) continue;  // symv is real, hemv complex
          for (auto [incx, incy] : {std::pair{1, 2}, {-2, -1}}) {
            auto av = random_values<T>(S * S, 10), xv = random_values<T>(20, 11), yv = random_values<T>(20, 12);
            ZwArrayHandle y = this->host.vector(yv);
            ASSERT_EQ(B::symv(this->host.matrix(S, S, av), this->host.vector(xv), y, c_ptr(&this->alpha),
                              c_ptr(&this->beta), uplo, incx, incy, N, 1, 2, 1, 2, ld, layout, check), 0);
            const View<T> A{av.data() + S + 2, layout, ld};
            for (int i = 0; i < N; ++i) {
              T sum{};
              for (int l = 0; l < N; ++l) sum += self_adjoint(A, uplo, hermitian, i, l) * strided(xv.data() + 1, incx, N, l);
              T& yi = strided(yv.data() + 2, incy, N, i);
              yi = this->alpha * sum + this->beta * yi;
            }
            expect_close(vector_values<T>(y), yv, N, where + " incx " + std::to_string(incx));
          }
        }
  }
}

TYPED_TEST(BlasTest, TriangularProductsOverwriteTheirOperand) {
  using T = TypeParam;
  using B = typename TestFixture::B;
  constexpr int S = TestFixture::S, ld = TestFixture::ld, M = 3, N = 4;
  for (int layout : {kRow, kCol})
    for (int uplo : {121, 122})
      for (int trans : {111, 112, 113})
        for (int diag : {131, 132})
          for (int check : {0, 1}) {
            const std::string where = "layout " + std::to_string(layout) + " uplo " + std::to_string(uplo) + " trans " +
                                      std::to_string(trans) + " diag " + std::to_string(diag);
            auto av = random_values<T>(S * S, 13);
            ZwArrayHandle a = this->host.matrix(S, S, av);
            const View<T> A{av.data() + S + 2, layout, ld};
            for (int side : {141, 142}) {
              auto bv = random_values<T>(S * S, 14), want = bv;
              ZwArrayHandle b = this->host.matrix(S, S, bv);
              ASSERT_EQ(B::trmm(a, b, c_ptr(&this->alpha), M, N, side, uplo, trans, diag, 1, 2, 2, 1, ld, ld, layout, check), 0);
              const View<T> Bm{bv.data() + 2 * S + 1, layout, ld}, Out{want.data() + 2 * S + 1, layout, ld};
              const int ka = side == kLeft ? M : N;
              for (int i = 0; i < M; ++i)
                for (int j = 0; j < N; ++j) {
                  T sum{};
                  for (int l = 0; l < ka; ++l)
                    sum += side == kLeft ? triangular(A, uplo, trans, diag, i, l) * Bm(l, j)
                                         : Bm(i, l) * triangular(A, uplo, trans, diag, l, j);
                  Out(i, j) = this->alpha * sum;
                }
              expect_close(matrix_values<T>(b), want, ka, where + " side " + std::to_string(side));
            }
            for (int incx : {3, -2}) {
              auto xv = random_values<T>(20, 15), want = xv;
              ZwArrayHandle x = this->host.vector(xv);
              ASSERT_EQ(B::trmv(a, x, uplo, trans, diag, incx, N, 1, 2, 1, ld, layout, check), 0);
              for (int i = 0; i < N; ++i) {
                T sum{};
                for (int l = 0; l < N; ++l) sum += triangular(A, uplo, trans, diag, i, l) * strided(xv.data() + 1, incx, N, l);
                strided(want.data() + 1, incx, N, i) = sum;
              }
              expect_close(vector_values<T>(x), want, N, where + " incx " + std::to_string(incx));
            }
          }
}

// Each check in its place: the first failing one decides, checks that only
// checkArguments makes are skipped without it, and the output operand is
// emptied after every failure (for trmm and trmv the caller's own input).
TYPED_TEST(BlasTest, ChecksComeInOrderAndEmptyTheOutput) {
  using T = TypeParam;
  using B = typename TestFixture::B;
  using F = TestFixture;
  Host& h = this->host;
  T* al = &this->alpha;
  T* be = &this->beta;
  this->template expect_cases<GemmArgs>(
      {{"C with a negative size", [](GemmArgs& g) { g.c[0] = -1; }, -20003, kSkip},
       {"M negative comes before transA", [](GemmArgs& g) { g.m = -1, g.ta = 114; }, -20059, -20061},
       {"K negative", [](GemmArgs& g) { g.k = -1; }, -20039, kSkip},
       {"C row offset past C", [](GemmArgs& g) { g.cr = 3; }, -20017, kSkip},
       {"C row offset into an empty C", [](GemmArgs& g) { g.c[0] = g.c[1] = 0, g.cr = 1; }, -20017, kSkip},
       {"C too short after its offset", [](GemmArgs& g) { g.cr = 1; }, -20058, kSkip},
       {"ldc below N", [](GemmArgs& g) { g.ldc = 4; }, -20058, -20058},
       {"A without columns", [](GemmArgs& g) { g.a[1] = 0; }, -20003, kSkip},
       {"B column offset past B", [](GemmArgs& g) { g.bc = 5; }, -20017, kSkip},
       {"stored op(A) too long for A", [](GemmArgs& g) { g.ta = 112; }, -20058, kSkip},
       {"lda below K", [](GemmArgs& g) { g.lda = 3; }, -20058, -20058},
       {"column-major lda still read by rows", [](GemmArgs& g) { g.layout = kCol, g.lda = 3; }, -20058, -20058},
       {"ldb below N", [](GemmArgs& g) { g.ldb = 4; }, -20058, -20058},
       {"a bad transB reads B transposed first", [](GemmArgs& g) { g.tb = 110; }, -20058, -20061},
       {"layout not a CBLAS value", [](GemmArgs& g) { g.layout = 103; }, -20061, -20061}},
      [&](const GemmArgs& g, int check) {
        ZwArrayHandle c = sized<T>(h, g.c[0], g.c[1]);
        const int32_t status = B::gemm(sized<T>(h, g.a[0], g.a[1]), sized<T>(h, g.b[0], g.b[1]), c, c_ptr(al), c_ptr(be),
                                       g.m, g.n, g.k, g.ta, g.tb, g.ar, g.ac, g.br, g.bc, g.cr, g.cc, g.lda, g.ldb, g.ldc,
                                       g.layout, check);
        return std::pair{status, emptied(c, true)};
      });
  this->template expect_cases<GemvArgs>(
      {{"x with a negative length", [](GemvArgs& g) { g.x = -1; }, -20003, kSkip},
       {"N negative comes before incx", [](GemvArgs& g) { g.n = -1, g.incx = 0; }, -20059, -20141},
       {"A empty", [](GemvArgs& g) { g.a[0] = 0; }, -20003, kSkip},
       {"incx zero", [](GemvArgs& g) { g.incx = 0; }, -20141, -20141},
       {"x offset past x", [](GemvArgs& g) { g.xo = 4; }, -20017, kSkip},
       {"x too short for its increment", [](GemvArgs& g) { g.incx = 2; }, -20058, kSkip},
       {"A too short after its offset", [](GemvArgs& g) { g.ar = 1; }, -20058, kSkip},
       {"y offset negative", [](GemvArgs& g) { g.yo = -1; }, -20017, kSkip},
       {"y too short", [](GemvArgs& g) { g.y = 2; }, -20058, kSkip},
       {"lda below N", [](GemvArgs& g) { g.lda = 3; }, -20058, -20058},
       {"column-major lda still read by rows", [](GemvArgs& g) { g.layout = kCol, g.lda = 3; }, -20058, -20058},
       {"trans not a CBLAS value", [](GemvArgs& g) { g.trans = 114, g.y = 4; }, -20061, -20061}},
      [&](const GemvArgs& g, int check) {
        ZwArrayHandle y = sized<T>(h, g.y);
        const int32_t status = B::gemv(sized<T>(h, g.a[0], g.a[1]), sized<T>(h, g.x), y, c_ptr(al), c_ptr(be), g.trans,
                                       g.incx, g.incy, g.m, g.n, g.ar, g.ac, g.xo, g.yo, g.lda, g.layout, check);
        return std::pair{status, emptied(y, false)};
      });
  const std::vector<typename F::template Case<SymmArgs>> symm_cases{
      {"B with a negative size", [](SymmArgs& g) { g.b[1] = -5; }, -20003, kSkip},
      {"N negative", [](SymmArgs& g) { g.n = -1; }, -20059, kSkip},
      {"C column offset past C", [](SymmArgs& g) { g.cc = 5; }, -20017, kSkip},
      {"A column offset past A", [](SymmArgs& g) { g.ac = 3; }, -20017, kSkip},
      {"lda below the order of A", [](SymmArgs& g) { g.lda = 2; }, -20058, -20058},
      {"a bad side makes A too small first", [](SymmArgs& g) { g.side = 143; }, -20058, -20061},
      {"uplo not a CBLAS value", [](SymmArgs& g) { g.uplo = 123; }, -20061, -20061}};
  for (bool hermitian : {false, true}) {
    if (hermitian && !is_complex<T>) continue;
    auto* mm = B::symm;
    if constexpr (is_complex<T>) if (hermitian) mm = B::hemm;
    this->template expect_cases<SymmArgs>(symm_cases, [&](const SymmArgs& g, int check) {
      ZwArrayHandle c = sized<T>(h, g.c[0], g.c[1]);
      const int32_t status = mm(sized<T>(h, g.a[0], g.a[1]), sized<T>(h, g.b[0], g.b[1]), c, c_ptr(al), c_ptr(be), g.m,
                                g.n, g.side, g.uplo, g.ar, g.ac, g.br, g.bc, g.cr, g.cc, g.lda, g.ldb, g.ldc, g.layout, check);
      return std::pair{status, emptied(c, true)};
    });
  }
  this->template expect_cases<SymvArgs>(
      {{"A with a negative size", [](SymvArgs& g) { g.a[0] = -4; }, -20003, kSkip},
       {"N negative", [](SymvArgs& g) { g.n = -1; }, -20059, kSkip},
       {"incy zero", [](SymvArgs& g) { g.incy = 0; }, -20141, -20141},
       {"x offset negative", [](SymvArgs& g) { g.xo = -1; }, -20017, kSkip},
       {"y too short", [](SymvArgs& g) { g.y = 3; }, -20058, kSkip},
       {"lda below N", [](SymvArgs& g) { g.lda = 3; }, -20058, -20058},
       {"uplo not a CBLAS value", [](SymvArgs& g) { g.uplo = 120; }, -20061, -20061}},
      [&](const SymvArgs& g, int check) {
        ZwArrayHandle y = sized<T>(h, g.y);
        const int32_t status = B::symv(sized<T>(h, g.a[0], g.a[1]), sized<T>(h, g.x), y, c_ptr(al), c_ptr(be), g.uplo,
                                       g.incx, g.incy, g.n, g.ar, g.ac, g.xo, g.yo, g.lda, g.layout, check);
        return std::pair{status, emptied(y, false)};
      });
  this->template expect_cases<TrmmArgs>(
      {{"M negative", [](TrmmArgs& g) { g.m = -1; }, -20059, kSkip},
       {"A empty", [](TrmmArgs& g) { g.a[1] = 0; }, -20003, kSkip},
       {"B row offset past B", [](TrmmArgs& g) { g.br = 3; }, -20017, kSkip},
       {"A too short after its offset", [](TrmmArgs& g) { g.ar = 1; }, -20058, kSkip},
       {"ldb below N", [](TrmmArgs& g) { g.ldb = 4; }, -20058, -20058},
       {"side not a CBLAS value", [](TrmmArgs& g) { g.side = 143, g.a[0] = g.a[1] = g.lda = 5; }, -20061, -20061},
       {"diag not a CBLAS value", [](TrmmArgs& g) { g.diag = 133; }, -20061, -20061}},
      [&](const TrmmArgs& g, int check) {
        ZwArrayHandle b = sized<T>(h, g.b[0], g.b[1]);
        const int32_t status = B::trmm(sized<T>(h, g.a[0], g.a[1]), b, c_ptr(al), g.m, g.n, g.side, g.uplo, g.ta, g.diag,
                                       g.ar, g.ac, g.br, g.bc, g.lda, g.ldb, g.layout, check);
        return std::pair{status, emptied(b, true)};
      });
  this->template expect_cases<TrmvArgs>(
      {{"x with a negative length", [](TrmvArgs& g) { g.x = -4; }, -20003, kSkip},
       {"N negative", [](TrmvArgs& g) { g.n = -1; }, -20059, kSkip},
       {"incx zero", [](TrmvArgs& g) { g.incx = 0; }, -20141, -20141},
       {"x offset past x", [](TrmvArgs& g) { g.xo = 4; }, -20017, kSkip},
       {"x too short for its increment", [](TrmvArgs& g) { g.incx = -2; }, -20058, kSkip},
       {"lda below N", [](TrmvArgs& g) { g.lda = 3; }, -20058, -20058},
       {"trans not a CBLAS value", [](TrmvArgs& g) { g.trans = 114; }, -20061, -20061}},
      [&](const TrmvArgs& g, int check) {
        ZwArrayHandle x = sized<T>(h, g.x);
        const int32_t status = B::trmv(sized<T>(h, g.a[0], g.a[1]), x, g.uplo, g.trans, g.diag, g.incx, g.n, g.ar, g.ac,
                                       g.xo, g.lda, g.layout, check);
        return std::pair{status, emptied(x, false)};
      });
}

// Nothing to add up: the output keeps every bit, even where beta would have
// scaled it, and the early return comes before the enumeration checks.
TYPED_TEST(BlasTest, EmptyProductsLeaveTheOutputUntouched) {
  using T = TypeParam;
  using B = typename TestFixture::B;
  auto cv = random_values<T>(6, 16);
  ZwArrayHandle c = this->host.matrix(2, 3, cv), b = this->host.matrix(2, 3, cv);
  T two = T(2);
  EXPECT_EQ(B::gemm(this->host.empty(), this->host.empty(), c, c_ptr(&this->alpha), c_ptr(&two), 2, 3, 0, 114, 111, 0, 0,
                    0, 0, 0, 0, 0, 3, 3, kRow, 1), 0);
  EXPECT_EQ(B::trmm(this->host.empty(), b, c_ptr(&this->alpha), 0, 3, 143, kUpper, 111, 131, 0, 0, 0, 0, 0, 3, kRow, 1), 0);
  const auto after_c = matrix_values<T>(c), after_b = matrix_values<T>(b);
  for (std::size_t i = 0; i < cv.size(); ++i) {
    EXPECT_TRUE(same_bits(after_c[i], cv[i]));
    EXPECT_TRUE(same_bits(after_b[i], cv[i]));
  }
  EXPECT_EQ(rows(c), 2);
  EXPECT_EQ(rows(b), 2);
}

// An empty C or y is created to hold the whole result at its offsets and
// beta is not applied to what the new block happens to hold: a NaN beta
// leaves no trace.
TYPED_TEST(BlasTest, EmptyOutputsAreCreatedAndBetaIgnored) {
  using T = TypeParam;
  using B = typename TestFixture::B;
  constexpr int M = 3, N = 2, K = 4;
  T nan = scalar<T>(std::nan(""), std::nan("")), *al = &this->alpha;
  auto av = random_values<T>(M * K, 17), bv = random_values<T>(K * N, 18), xv = random_values<T>(K, 19);
  ZwArrayHandle a = this->host.matrix(M, K, av), b = this->host.matrix(K, N, bv), x = this->host.vector(xv);
  // An empty dimension admits only offset 0, so the offsets widen the new
  // block only along a dimension that C already has.
  for (auto [shape, cr, cc, ldc] : {std::tuple{std::pair{0, 0}, 0, 0, 0}, {std::pair{0, 0}, 0, 0, 7},
                                    {std::pair{0, 5}, 0, 2, 0}, {std::pair{3, 0}, 2, 0, 0}}) {
    ZwArrayHandle c = sized<T>(this->host, shape.first, shape.second);
    ASSERT_EQ(B::gemm(a, b, c, c_ptr(al), c_ptr(&nan), M, N, K, 111, 111, 0, 0, 0, 0, cr, cc, K, N, ldc, kRow, 1), 0);
    const int width = ldc == 0 ? N + cc : ldc;
    ASSERT_EQ(rows(c), M + cr);
    ASSERT_EQ(cols(c), width);
    const auto got = matrix_values<T>(c);
    for (int i = 0; i < M; ++i)
      for (int j = 0; j < N; ++j) {
        T sum{};
        for (int l = 0; l < K; ++l) sum += av[i * K + l] * bv[l * N + j];
        expect_close<T>({got[(i + cr) * width + j + cc]}, {this->alpha * sum}, K, "gemm into " + std::to_string(cols(c)));
      }
  }
  ZwArrayHandle y = this->host.empty();
  ASSERT_EQ(B::gemv(a, x, y, c_ptr(al), c_ptr(&nan), 111, 1, -2, M, K, 0, 0, 0, 1, K, kRow, 1), 0);
  ASSERT_EQ(length(y), 2 * (M - 1) + 1 + 1);
  for (int i = 0; i < M; ++i) {
    T sum{};
    for (int l = 0; l < K; ++l) sum += av[i * K + l] * xv[l];
    expect_close<T>({strided(vector_data<T>(y) + 1, -2, M, i)}, {this->alpha * sum}, K, "gemv");
  }
  // The structured products create theirs the same way.
  ZwArrayHandle sq = this->host.matrix(2, 2, std::vector<T>{T(1), T(2), T(5), T(3)}), c = this->host.empty();
  ASSERT_EQ(B::symm(sq, this->host.matrix(2, 1, std::vector<T>{T(1), T(1)}), c, c_ptr(al), c_ptr(&nan), 2, 1, kLeft,
                    kUpper, 0, 0, 0, 0, 0, 0, 2, 1, 0, kRow, 1), 0);
  expect_close(matrix_values<T>(c), {this->alpha * T(3), this->alpha * T(5)}, 2, "symm");
  ASSERT_EQ(B::symv(sq, this->host.vector(std::vector<T>{T(1), T(1)}), y = this->host.empty(), c_ptr(al), c_ptr(&nan),
                    122, 1, 3, 2, 0, 0, 0, 0, 2, kRow, 1), 0);
  ASSERT_EQ(length(y), 4);
  expect_close<T>({vector_data<T>(y)[0], vector_data<T>(y)[3]}, {this->alpha * T(6), this->alpha * T(8)}, 2, "symv");
  // A creation that the host cannot serve.
  ZwArrayHandle fails = this->host.empty();
  {
    FailNthResize fail(1);
    EXPECT_EQ(B::gemm(a, b, fails, c_ptr(al), c_ptr(&nan), M, N, K, 111, 111, 0, 0, 0, 0, 0, 0, K, N, 0, kRow, 1), -20001);
  }
  EXPECT_TRUE(emptied(fails, true));
  {
    FailNthResize fail(1);
    EXPECT_EQ(B::gemv(a, x, fails, c_ptr(al), c_ptr(&nan), 111, 1, 1, M, K, 0, 0, 0, 0, K, kRow, 1), -20001);
  }
  EXPECT_EQ(length(fails), 0);
}

TEST(BlasExports, AllTwentySixAreDynamicSymbolsWithTheirArguments) {
  void* lib = dlopen(TARNX_LIB_DIR "/TARNX_LINALG.so", RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(lib, nullptr);
  int found = 0;
  for (const char* t : {"s", "d", "c", "z"})
    for (const auto& [op, args] : {std::pair<const char*, std::size_t>{"gemm", 21}, {"gemv", 17}, {"symm", 20},
                                   {"hemm", 20}, {"symv", 16}, {"hemv", 16}, {"trmm", 17}, {"trmv", 13}}) {
      const std::string name = std::string("zwblas_") + t + op;
      // hemm and hemv are complex only, symv real only.
      const bool complex = *t == 'c' || *t == 'z';
      const bool exists = op[0] == 'h' ? complex : std::string(op) == "symv" ? !complex : true;
      EXPECT_EQ(dlsym(lib, name.c_str()) != nullptr, exists) << name;
      const tarnx::ExportInfo* info = tarnx::find_export(name);
      EXPECT_EQ(info != nullptr, exists) << name;
      if (info != nullptr) {
        EXPECT_EQ(info->args.size(), args) << name;
      }
      found += exists;
    }
  EXPECT_EQ(found, 26);
  dlclose(lib);
}

}  // namespace
