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

}  // namespace
