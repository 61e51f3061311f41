// The BLAS entry points through the exports: results against plain loops on
// the operands that offsets and leading dimensions select inside larger
// stored blocks, the checks and their order with checkArguments on and off,
// and the creation of empty outputs.
#include <cmath>
#include <functional>
#include <string>
#include <utility>

#include "frame/cblas_values.hpp"
#include "tools/export_table.hpp"
#include "support/host.hpp"
#include "support/test_os.hpp"

namespace {

using namespace test;

template <class T> struct Blas;
#define TARNX_TEST_BLAS(t, T, SELF_ADJOINT)                                                              \
  template <> struct Blas<T> {                                                                           \
    static constexpr auto gemm = &zwblas_##t##gemm, gemv = &zwblas_##t##gemv, symm = &zwblas_##t##symm;  \
    static constexpr auto trmm = &zwblas_##t##trmm, trmv = &zwblas_##t##trmv;                            \
    SELF_ADJOINT                                                                                         \
  };
// symv for the real types; hemv and hemm for the complex ones.
TARNX_TEST_BLAS(s, float, static constexpr auto symv = &zwblas_ssymv;)
TARNX_TEST_BLAS(d, double, static constexpr auto symv = &zwblas_dsymv;)
TARNX_TEST_BLAS(c, cfloat, static constexpr auto symv = &zwblas_chemv; static constexpr auto hemm = &zwblas_chemm;)
TARNX_TEST_BLAS(z, cdouble, static constexpr auto symv = &zwblas_zhemv; static constexpr auto hemm = &zwblas_zhemm;)
#undef TARNX_TEST_BLAS

constexpr int32_t kRow = tarnx::cblas::RowMajor, kCol = tarnx::cblas::ColMajor, kUpper = tarnx::cblas::Upper,
                  kUnit = tarnx::cblas::Unit, kLeft = tarnx::cblas::Left, kNoTrans = tarnx::cblas::NoTrans,
                  kTrans = tarnx::cblas::Trans, kConjTrans = tarnx::cblas::ConjTrans;
constexpr int32_t kSkip = 1;  // not run with checks off: the core would get the bad sizes

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
  return trans == kNoTrans ? a(i, j) : trans == kTrans ? a(j, i) : conj_of(a(j, i));
}
// Element (i, j) of the self-adjoint matrix whose `uplo` triangle A holds.
template <class T> T self_adjoint(const View<T>& a, int uplo, bool hermitian, int i, int j) {
  if (i == j && hermitian) return T(std::real(a(i, i)));
  if (uplo == kUpper ? i <= j : i >= j) return a(i, j);
  return hermitian ? conj_of(a(j, i)) : a(j, i);
}
// Element (i, j) of op(A) for the triangle that uplo and diag describe.
template <class T> T triangular(const View<T>& a, int uplo, int trans, int diag, int i, int j) {
  if (trans != kNoTrans) std::swap(i, j);
  const T v = i == j ? (diag == kUnit ? T(1) : a(i, i)) : (uplo == kUpper) == (i < j) ? a(i, j) : T(0);
  return trans == kConjTrans ? conj_of(v) : v;
}
// Logical element k of n taken `inc` apart; a negative increment walks back.
template <class T> T& strided(T* base, int inc, int n, int k) { return base[inc > 0 ? k * inc : (n - 1 - k) * -inc]; }

// out(i, j) <- alpha sum over l of lhs(i, l) rhs(l, j) + beta out(i, j).
template <class T, class Out, class L, class R>
void reference(int m, int n, int k, T alpha, T beta, Out out, L lhs, R rhs) {
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < n; ++j) {
      T sum{};
      for (int l = 0; l < k; ++l) sum += lhs(i, l) * rhs(l, j);
      out(i, j) = alpha * sum + beta * out(i, j);
    }
}
// n elements `inc` apart as an n x 1 operand.
template <class T> auto column(T* base, int inc, int n) {
  return [=](int i, int) -> T& { return strided(base, inc, n, i); };
}

template <class T> void expect_close(const std::vector<T>& got, const std::vector<T>& want, int terms) {
  ASSERT_EQ(got.size(), want.size());
  const double tol = 16.0 * (terms + 2) * epsilon<T>();
  for (std::size_t i = 0; i < got.size(); ++i)
    ASSERT_LE(std::abs(std::complex<double>(got[i]) - std::complex<double>(want[i])), tol) << "element " << i;
}

// A stored matrix (or, with one size, a vector); a negative size gets a bare header.
template <class T> ZwArrayHandle sized(Host& host, int32_t r, int32_t c) {
  if (r < 0 || c < 0) return host.matrix<T>(r, c, {});
  return host.matrix<T>(r, c, random_values<T>(static_cast<std::size_t>(r) * c, 7));
}
template <class T> ZwArrayHandle sized(Host& host, int32_t n) {
  return n < 0 ? host.matrix<T>(n, 0, {}) : host.vector<T>(random_values<T>(n, 8));
}
bool emptied(ZwArrayHandle h, bool matrix) { return rows(h) == 0 && (!matrix || cols(h) == 0); }

template <class T> class BlasTest : public ::testing::Test {
 protected:
  using B = Blas<T>;
  Host host;
  T alpha = scalar<T>(0.75, 0.25), beta = scalar<T>(-0.5, 0.5);
  static constexpr int S = 9;  // operands live inside 9 x 9 blocks, rows or columns 6 apart
  std::vector<T> av = random_values<T>(S * S, 1), bv = random_values<T>(S * S, 2), cv = random_values<T>(S * S, 3);
  // The operands that the offsets (1, 2) and (2, 1) select; C starts at (3, 0).
  View<T> a_at(int layout) { return {av.data() + S + 2, layout, 6}; }
  View<T> b_at(int layout) { return {bv.data() + 2 * S + 1, layout, 6}; }

  // A matrix-vector product from A's block and fresh x (seed) and y (seed + 1)
  // with offsets 1 and 2: `call(a, x, y)` makes it, `op_a` is the op(A) the
  // reference multiplies, nx and ny the lengths of op(A)'s rows and columns.
  template <class Call, class OpA>
  void expect_matrix_vector(unsigned seed, int incx, int incy, int nx, int ny, Call call, OpA op_a) {
    auto xv = random_values<T>(20, seed), yv = random_values<T>(20, seed + 1);
    ZwArrayHandle y = host.vector(yv);
    ASSERT_EQ(call(host.matrix(S, S, av), host.vector(xv), y), 0);
    reference(ny, 1, nx, alpha, beta, column(yv.data() + 2, incy, ny), op_a, column(xv.data() + 1, incx, nx));
    expect_close(vector_values<T>(y), yv, nx);
  }

  // One bad argument set: the status with checks on and off, and the output
  // operand emptied after every failure.
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

TYPED_TEST(BlasTest, GemmAndGemvMatchReferenceOnSelectedBlocks) {
  using T = TypeParam;
  constexpr int S = TestFixture::S, M = 3, N = 4, K = 2;
  for (int layout : {kRow, kCol})
    for (int ta : {kNoTrans, kTrans, kConjTrans})
      for (int check : {0, 1}) {
        const View<T> A = this->a_at(layout), Bm = this->b_at(layout);
        for (int tb : {kNoTrans, kTrans, kConjTrans}) {
          SCOPED_TRACE(::testing::Message() << "gemm layout " << layout << " trans " << ta << tb << " check " << check);
          auto want = this->cv;
          ZwArrayHandle c = this->host.matrix(S, S, this->cv);
          const int64_t resizes = ZwrtResizeCount();
          ASSERT_EQ(TestFixture::B::gemm(this->host.matrix(S, S, this->av), this->host.matrix(S, S, this->bv), c,
                                         c_ptr(&this->alpha), c_ptr(&this->beta), M, N, K, ta, tb, 1, 2, 2, 1, 3, 0,
                                         6, 6, 6, layout, check), 0);
          EXPECT_EQ(ZwrtResizeCount(), resizes) << "an output of the right shape is not resized";
          reference(M, N, K, this->alpha, this->beta, View<T>{want.data() + 3 * S, layout, 6},
                    [&](int i, int l) { return op(A, ta, i, l); }, [&](int l, int j) { return op(Bm, tb, l, j); });
          expect_close(matrix_values<T>(c), want, K);
        }
        for (auto [incx, incy] : {std::pair{2, 1}, {-1, -3}}) {  // A is now M x K, the stored block of op(A)
          SCOPED_TRACE(::testing::Message() << "gemv layout " << layout << " trans " << ta << " incx " << incx);
          this->expect_matrix_vector(
              5, incx, incy, ta == kNoTrans ? K : M, ta == kNoTrans ? M : K,
              [&](ZwArrayHandle a, ZwArrayHandle x, ZwArrayHandle y) {
                return TestFixture::B::gemv(a, x, y, c_ptr(&this->alpha), c_ptr(&this->beta), ta, incx, incy, M,
                                            K, 1, 2, 1, 2, 6, layout, check);
              },
              [&](int i, int l) { return op(A, ta, i, l); });
        }
      }
}

TYPED_TEST(BlasTest, SymmetricAndHermitianProductsReadOnlyTheirTriangle) {
  using T = TypeParam;
  using B = typename TestFixture::B;
  constexpr int S = TestFixture::S, M = 3, N = 4;
  for (bool hermitian : {false, true})
    for (int layout : {kRow, kCol})
      for (int uplo : {tarnx::cblas::Upper, tarnx::cblas::Lower})
        for (int check : {0, 1}) {
          if (hermitian && !is_complex<T>) continue;
          const View<T> A = this->a_at(layout), Bm = this->b_at(layout);
          auto sa = [&](int i, int j) { return self_adjoint(A, uplo, hermitian, i, j); };
          for (int side : {tarnx::cblas::Left, tarnx::cblas::Right}) {
            SCOPED_TRACE(::testing::Message() << "hermitian " << hermitian << " layout " << layout << " uplo " << uplo
                                              << " side " << side << " check " << check);
            auto mm = B::symm;
            if constexpr (is_complex<T>) mm = hermitian ? B::hemm : B::symm;
            auto want = this->cv;
            ZwArrayHandle c = this->host.matrix(S, S, this->cv);
            ASSERT_EQ(mm(this->host.matrix(S, S, this->av), this->host.matrix(S, S, this->bv), c, c_ptr(&this->alpha),
                         c_ptr(&this->beta), M, N, side, uplo, 1, 2, 2, 1, 3, 0, 6, 6, 6, layout, check), 0);
            const bool left = side == kLeft;
            reference(M, N, left ? M : N, this->alpha, this->beta, View<T>{want.data() + 3 * S, layout, 6},
                      [&](int i, int l) { return left ? sa(i, l) : Bm(i, l); },
                      [&](int l, int j) { return left ? Bm(l, j) : sa(l, j); });
            expect_close(matrix_values<T>(c), want, N);
          }
          if (hermitian != is_complex<T>) continue;  // symv is real, hemv complex
          for (auto [incx, incy] : {std::pair{1, 2}, {-2, -1}}) {
            SCOPED_TRACE(::testing::Message() << "layout " << layout << " uplo " << uplo << " incx " << incx);
            this->expect_matrix_vector(
                11, incx, incy, N, N,
                [&](ZwArrayHandle a, ZwArrayHandle x, ZwArrayHandle y) {
                  return B::symv(a, x, y, c_ptr(&this->alpha), c_ptr(&this->beta), uplo, incx, incy, N, 1, 2, 1, 2,
                                 6, layout, check);
                },
                sa);
          }
        }
}

TYPED_TEST(BlasTest, TriangularProductsOverwriteTheirOperand) {
  using T = TypeParam;
  using B = typename TestFixture::B;
  constexpr int S = TestFixture::S, M = 3, N = 4;
  for (int layout : {kRow, kCol})
    for (int uplo : {tarnx::cblas::Upper, tarnx::cblas::Lower})
      for (int trans : {kNoTrans, kTrans, kConjTrans})
        for (int diag : {tarnx::cblas::NonUnit, tarnx::cblas::Unit})
          for (int check : {0, 1}) {
            const View<T> A = this->a_at(layout), Bm = this->b_at(layout);
            auto ta = [&](int i, int j) { return triangular(A, uplo, trans, diag, i, j); };
            ZwArrayHandle a = this->host.matrix(S, S, this->av);
            for (int side : {tarnx::cblas::Left, tarnx::cblas::Right}) {
              SCOPED_TRACE(::testing::Message() << "trmm layout " << layout << " uplo " << uplo << " trans " << trans
                                                << " diag " << diag << " side " << side << " check " << check);
              auto want = this->bv;
              ZwArrayHandle b = this->host.matrix(S, S, this->bv);
              ASSERT_EQ(B::trmm(a, b, c_ptr(&this->alpha), M, N, side, uplo, trans, diag, 1, 2, 2, 1, 6, 6, layout, check), 0);
              const bool left = side == kLeft;
              reference(M, N, left ? M : N, this->alpha, T(0), View<T>{want.data() + 2 * S + 1, layout, 6},
                        [&](int i, int l) { return left ? ta(i, l) : Bm(i, l); },
                        [&](int l, int j) { return left ? Bm(l, j) : ta(l, j); });
              expect_close(matrix_values<T>(b), want, N);
            }
            for (int incx : {3, -2}) {
              SCOPED_TRACE(::testing::Message() << "trmv layout " << layout << " uplo " << uplo << " trans " << trans
                                                << " diag " << diag << " incx " << incx);
              auto xv = random_values<T>(20, 15), want = xv;
              ZwArrayHandle x = this->host.vector(xv);
              ASSERT_EQ(B::trmv(a, x, uplo, trans, diag, incx, N, 1, 2, 1, 6, layout, check), 0);
              reference(N, 1, N, T(1), T(0), column(want.data() + 1, incx, N), ta, column(xv.data() + 1, incx, N));
              expect_close(vector_values<T>(x), want, N);
            }
          }
}

// Valid argument sets that each check case spoils in one place.
struct GemmArgs {
  int32_t a[2]{3, 4}, b[2]{4, 5}, c[2]{3, 5}, m = 3, n = 5, k = 4, ta = kNoTrans, tb = kNoTrans;
  int32_t ar = 0, ac = 0, br = 0, bc = 0, cr = 0, cc = 0, lda = 4, ldb = 5, ldc = 5, layout = kRow;
};
struct GemvArgs {
  int32_t a[2]{3, 4}, x = 4, y = 3, trans = kNoTrans, incx = 1, incy = 1, m = 3, n = 4;
  int32_t ar = 0, ac = 0, xo = 0, yo = 0, lda = 4, layout = kRow;
};
struct SymmArgs {
  int32_t a[2]{3, 3}, b[2]{3, 5}, c[2]{3, 5}, m = 3, n = 5, side = kLeft, uplo = kUpper;
  int32_t ar = 0, ac = 0, br = 0, bc = 0, cr = 0, cc = 0, lda = 3, ldb = 5, ldc = 5, layout = kRow;
};
struct SymvArgs {
  int32_t a[2]{4, 4}, x = 4, y = 4, uplo = kUpper, incx = 1, incy = 1, n = 4, ar = 0, ac = 0, xo = 0, yo = 0, lda = 4;
};
struct TrmmArgs {
  int32_t a[2]{3, 3}, b[2]{3, 5}, m = 3, n = 5, side = kLeft, diag = tarnx::cblas::NonUnit, br = 0, lda = 3, ldb = 5;
};
struct TrmvArgs {
  int32_t a[2]{4, 4}, x = 4, trans = kNoTrans, incx = 1, n = 4, xo = 0, lda = 4;
};

// The first failing check decides; the checks that only checkArguments makes
// are skipped without it; the output operand is emptied after every failure,
// for trmm and trmv the caller's own input.
TYPED_TEST(BlasTest, ChecksComeInOrderAndEmptyTheOutput) {
  using T = TypeParam;
  using B = typename TestFixture::B;
  Host& h = this->host;
  T *al = &this->alpha, *be = &this->beta;
  this->template expect_cases<GemmArgs>(
      {{"C with a negative size", [](GemmArgs& g) { g.c[0] = -1; }, -20003, kSkip},
       {"M negative comes before transA", [](GemmArgs& g) { g.m = -1, g.ta = 114; }, -20059, -20061},
       {"K negative", [](GemmArgs& g) { g.k = -1; }, -20039, kSkip},
       {"C row offset into an empty C", [](GemmArgs& g) { g.c[0] = g.c[1] = 0, g.cr = 1; }, -20017, kSkip},
       {"C too short after its offset", [](GemmArgs& g) { g.cr = 1; }, -20058, kSkip},
       {"stored op(A) too long for A", [](GemmArgs& g) { g.ta = kTrans; }, -20058, kSkip},
       {"column-major lda still read by rows", [](GemmArgs& g) { g.layout = kCol, g.lda = 3; }, -20058, -20058},
       {"a bad transB reads B transposed first", [](GemmArgs& g) { g.tb = 110; }, -20058, -20061},
       {"layout not a CBLAS value", [](GemmArgs& g) { g.layout = 103; }, -20061, -20061}},
      [&](const GemmArgs& g, int check) {
        ZwArrayHandle c = sized<T>(h, g.c[0], g.c[1]);
        return std::pair{B::gemm(sized<T>(h, g.a[0], g.a[1]), sized<T>(h, g.b[0], g.b[1]), c, c_ptr(al), c_ptr(be), g.m,
                                 g.n, g.k, g.ta, g.tb, g.ar, g.ac, g.br, g.bc, g.cr, g.cc, g.lda, g.ldb, g.ldc, g.layout,
                                 check),
                         emptied(c, true)};
      });
  this->template expect_cases<GemvArgs>(
      {{"N negative comes before incx", [](GemvArgs& g) { g.n = -1, g.incx = 0; }, -20059, -20141},
       {"A empty", [](GemvArgs& g) { g.a[0] = 0; }, -20003, kSkip},
       {"x offset past x", [](GemvArgs& g) { g.xo = 4; }, -20017, kSkip},
       {"x too short for its increment", [](GemvArgs& g) { g.incx = 2; }, -20058, kSkip},
       {"y offset negative", [](GemvArgs& g) { g.yo = -1; }, -20017, kSkip},
       {"column-major lda still read by rows", [](GemvArgs& g) { g.layout = kCol, g.lda = 3; }, -20058, -20058},
       {"trans not a CBLAS value", [](GemvArgs& g) { g.trans = 114, g.y = 4; }, -20061, -20061}},
      [&](const GemvArgs& g, int check) {
        ZwArrayHandle y = sized<T>(h, g.y);
        return std::pair{B::gemv(sized<T>(h, g.a[0], g.a[1]), sized<T>(h, g.x), y, c_ptr(al), c_ptr(be), g.trans, g.incx,
                                 g.incy, g.m, g.n, g.ar, g.ac, g.xo, g.yo, g.lda, g.layout, check),
                         emptied(y, false)};
      });
  for (bool hermitian : {false, true}) {
    if (hermitian && !is_complex<T>) continue;
    auto mm = B::symm;
    if constexpr (is_complex<T>) mm = hermitian ? B::hemm : B::symm;
    this->template expect_cases<SymmArgs>(
        {{"B with a negative size", [](SymmArgs& g) { g.b[1] = -5; }, -20003, kSkip},
         {"A column offset past A", [](SymmArgs& g) { g.ac = 3; }, -20017, kSkip},
         {"a bad side makes A too small first", [](SymmArgs& g) { g.side = 143; }, -20058, -20061},
         {"uplo not a CBLAS value", [](SymmArgs& g) { g.uplo = 123; }, -20061, -20061}},
        [&](const SymmArgs& g, int check) {
          ZwArrayHandle c = sized<T>(h, g.c[0], g.c[1]);
          return std::pair{mm(sized<T>(h, g.a[0], g.a[1]), sized<T>(h, g.b[0], g.b[1]), c, c_ptr(al), c_ptr(be), g.m, g.n,
                              g.side, g.uplo, g.ar, g.ac, g.br, g.bc, g.cr, g.cc, g.lda, g.ldb, g.ldc, g.layout, check),
                           emptied(c, true)};
        });
  }
  this->template expect_cases<SymvArgs>(
      {{"incy zero", [](SymvArgs& g) { g.incy = 0; }, -20141, -20141},
       {"y too short", [](SymvArgs& g) { g.y = 3; }, -20058, kSkip},
       {"uplo not a CBLAS value", [](SymvArgs& g) { g.uplo = 120; }, -20061, -20061}},
      [&](const SymvArgs& g, int check) {
        ZwArrayHandle y = sized<T>(h, g.y);
        return std::pair{B::symv(sized<T>(h, g.a[0], g.a[1]), sized<T>(h, g.x), y, c_ptr(al), c_ptr(be), g.uplo, g.incx,
                                 g.incy, g.n, g.ar, g.ac, g.xo, g.yo, g.lda, kRow, check),
                         emptied(y, false)};
      });
  this->template expect_cases<TrmmArgs>(
      {{"M negative", [](TrmmArgs& g) { g.m = -1; }, -20059, kSkip},
       {"B row offset past B", [](TrmmArgs& g) { g.br = 3; }, -20017, kSkip},
       {"ldb below N", [](TrmmArgs& g) { g.ldb = 4; }, -20058, -20058},
       {"side not a CBLAS value", [](TrmmArgs& g) { g.side = 143, g.a[0] = g.a[1] = g.lda = 5; }, -20061, -20061},
       {"diag not a CBLAS value", [](TrmmArgs& g) { g.diag = 133; }, -20061, -20061}},
      [&](const TrmmArgs& g, int check) {
        ZwArrayHandle b = sized<T>(h, g.b[0], g.b[1]);
        return std::pair{B::trmm(sized<T>(h, g.a[0], g.a[1]), b, c_ptr(al), g.m, g.n, g.side, kUpper, kNoTrans, g.diag, 0, 0,
                                 g.br, 0, g.lda, g.ldb, kRow, check),
                         emptied(b, true)};
      });
  this->template expect_cases<TrmvArgs>(
      {{"incx zero", [](TrmvArgs& g) { g.incx = 0; }, -20141, -20141},
       {"x offset past x", [](TrmvArgs& g) { g.xo = 4; }, -20017, kSkip},
       {"x too short for its increment", [](TrmvArgs& g) { g.incx = -2; }, -20058, kSkip},
       {"lda below N", [](TrmvArgs& g) { g.lda = 3; }, -20058, -20058},
       {"trans not a CBLAS value", [](TrmvArgs& g) { g.trans = 114; }, -20061, -20061}},
      [&](const TrmvArgs& g, int check) {
        ZwArrayHandle x = sized<T>(h, g.x);
        return std::pair{B::trmv(sized<T>(h, g.a[0], g.a[1]), x, kUpper, g.trans, 131, g.incx, g.n, 0, 0, g.xo, g.lda,
                                 kRow, check),
                         emptied(x, false)};
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
  EXPECT_EQ(B::gemm(this->host.empty(), this->host.empty(), c, c_ptr(&this->alpha), c_ptr(&two), 2, 3, 0, 114, kNoTrans, 0, 0,
                    0, 0, 0, 0, 0, 3, 3, kRow, 1), 0);
  EXPECT_EQ(B::trmm(this->host.empty(), b, c_ptr(&this->alpha), 0, 3, 143, kUpper, kNoTrans, tarnx::cblas::NonUnit, 0, 0, 0, 0, 0, 3, kRow, 1), 0);
  const auto after_c = matrix_values<T>(c), after_b = matrix_values<T>(b);
  for (std::size_t i = 0; i < cv.size(); ++i) EXPECT_TRUE(same_bits(after_c[i], cv[i]) && same_bits(after_b[i], cv[i]));
}

// An empty C or y is created to hold the whole result at its offsets, and
// beta is not applied to what the new block happens to hold: a NaN beta
// leaves no trace.
TYPED_TEST(BlasTest, EmptyOutputsAreCreatedAndBetaIgnored) {
  using T = TypeParam;
  using B = typename TestFixture::B;
  constexpr int M = 3, N = 2, K = 4;
  T nan = scalar<T>(std::nan(""), std::nan("")), *al = &this->alpha;
  auto av = random_values<T>(M * K, 17), bv = random_values<T>(K * N, 18), xv = random_values<T>(K, 19);
  ZwArrayHandle a = this->host.matrix(M, K, av), b = this->host.matrix(K, N, bv), x = this->host.vector(xv);
  std::vector<T> ab(M * N), ax(M);
  for (int i = 0; i < M; ++i)
    for (int l = 0; l < K; ++l) {
      for (int j = 0; j < N; ++j) ab[i * N + j] += this->alpha * av[i * K + l] * bv[l * N + j];
      ax[i] += this->alpha * av[i * K + l] * xv[l];
    }
  // An empty dimension admits only offset 0, so the offsets widen the new
  // block only along a dimension that C already has.
  for (auto [shape, cr, cc, ldc] : {std::tuple{std::pair{0, 0}, 0, 0, 0}, {std::pair{0, 0}, 0, 0, 7},
                                    {std::pair{0, 5}, 0, 2, 0}, {std::pair{3, 0}, 2, 0, 0}}) {
    ZwArrayHandle c = sized<T>(this->host, shape.first, shape.second);
    ASSERT_EQ(B::gemm(a, b, c, c_ptr(al), c_ptr(&nan), M, N, K, kNoTrans, kNoTrans, 0, 0, 0, 0, cr, cc, K, N, ldc, kRow, 1), 0);
    const int width = ldc == 0 ? N + cc : ldc;
    ASSERT_EQ(rows(c), M + cr);
    ASSERT_EQ(cols(c), width);
    for (int i = 0; i < M; ++i)
      for (int j = 0; j < N; ++j) expect_close<T>({matrix_values<T>(c)[(i + cr) * width + cc + j]}, {ab[i * N + j]}, K);
  }
  ZwArrayHandle y = this->host.empty();
  ASSERT_EQ(B::gemv(a, x, y, c_ptr(al), c_ptr(&nan), kNoTrans, 1, -2, M, K, 0, 0, 0, 1, K, kRow, 1), 0);
  ASSERT_EQ(length(y), 2 * (M - 1) + 1 + 1);
  for (int i = 0; i < M; ++i) expect_close<T>({strided(vector_data<T>(y) + 1, -2, M, i)}, {ax[i]}, K);
  // The structured products create theirs the same way.
  ZwArrayHandle sq = this->host.matrix(2, 2, std::vector<T>{T(1), T(2), T(5), T(3)}), c = this->host.empty();
  ASSERT_EQ(B::symm(sq, this->host.matrix(2, 1, std::vector<T>{T(1), T(1)}), c, c_ptr(al), c_ptr(&nan), 2, 1, kLeft,
                    kUpper, 0, 0, 0, 0, 0, 0, 2, 1, 0, kRow, 1), 0);
  expect_close(matrix_values<T>(c), {this->alpha * T(3), this->alpha * T(5)}, 2);
  ASSERT_EQ(B::symv(sq, this->host.vector(std::vector<T>{T(1), T(1)}), y = this->host.empty(), c_ptr(al), c_ptr(&nan),
                    122, 1, 3, 2, 0, 0, 0, 0, 2, kRow, 1), 0);
  ASSERT_EQ(length(y), 4);
  expect_close<T>({vector_data<T>(y)[0], vector_data<T>(y)[3]}, {this->alpha * T(6), this->alpha * T(8)}, 2);
  // A creation that the host cannot serve.
  for (bool matrix : {true, false}) {
    ZwArrayHandle out = this->host.empty();
    FailNthResize fail(1);
    EXPECT_EQ(matrix ? B::gemm(a, b, out, c_ptr(al), c_ptr(&nan), M, N, K, kNoTrans, kNoTrans, 0, 0, 0, 0, 0, 0, K, N, 0, kRow, 1)
                     : B::gemv(a, x, out, c_ptr(al), c_ptr(&nan), 111, 1, 1, M, K, 0, 0, 0, 0, K, kRow, 1), -20001);
    EXPECT_TRUE(emptied(out, matrix));
  }
}

TEST(BlasExports, AllTwentySixAreDynamicSymbolsWithTheirArguments) {
  void* lib = os::loaded_library(os::kLibraryFile);
  ASSERT_NE(lib, nullptr);
  int found = 0;
  for (std::string t : {"s", "d", "c", "z"})
    for (const auto& [op, args] : {std::pair<std::string, std::size_t>{"gemm", 21}, {"gemv", 17}, {"symm", 20},
                                   {"hemm", 20}, {"symv", 16}, {"hemv", 16}, {"trmm", 17}, {"trmv", 13}}) {
      // hemm and hemv are complex only, symv real only.
      const bool complex = t == "c" || t == "z";
      const bool exists = op[0] == 'h' ? complex : op == "symv" ? !complex : true;
      const std::string name = "zwblas_" + t + op;
      const tarnx::ExportInfo* info = tarnx::find_export(name);
      EXPECT_EQ(os::symbol(lib, name.c_str()) != nullptr, exists) << name;
      EXPECT_EQ(info != nullptr ? info->args.size() : 0, exists ? args : 0) << name;
      found += exists;
    }
  EXPECT_EQ(found, 26);
  os::close_library(lib);
}

}  // namespace
