// The core's general products over host handles: C <- alpha op(A) op(B) + beta C
// and y <- alpha op(A) x + beta y, on operands that start at offsets inside
// the stored blocks. With checkArguments 1 every size, offset and extent is
// checked before the core sees a pointer; otherwise only the enumerations,
// leading dimensions and increments that the core itself would refuse.
#include "blas/arguments.hpp"
#include "frame/export.hpp"

namespace tarnx {
namespace {

using namespace blas;

template <class T> struct GemmArgs {
  Handle a, b, c;
  const T* alpha;
  T beta;  // a copy: an output created here forces it to 0
  int32_t m, n, k, transa, transb;
  int32_t ar, ac, br, bc, cr, cc;
  int32_t lda, ldb, ldc, layout;
};

template <class T> int32_t check_gemm(GemmArgs<T>& g) {
  if (negative_shape(g.a) || negative_shape(g.b) || negative_shape(g.c)) return EmptyInput;
  if (g.m < 0 || g.n < 0) return NegativeMN;
  if (g.k < 0) return InnerDimensionMismatch;
  if (int32_t status = check_output_matrix(g.c, g.m, g.n, g.cr, g.cc, g.ldc, g.beta); status != Ok)
    return status;
  // Nothing to add up: C is left exactly as it is, even when beta would
  // have scaled it.
  if (g.m == 0 || g.n == 0 || g.k == 0) return NothingToDo;
  if (empty_shape(g.a) || empty_shape(g.b)) return EmptyInput;
  if (!offsets_inside(g.a, g.ar, g.ac) || !offsets_inside(g.b, g.br, g.bc)) return OffsetOutOfRange;
  // op(A) is M x K; transposed, its stored block is K x M. Likewise B.
  const bool a_plain = g.transa == NoTrans, b_plain = g.transb == NoTrans;
  if (!holds(g.a, g.ar, g.ac, a_plain ? g.m : g.k, a_plain ? g.k : g.m, g.lda) ||
      !holds(g.b, g.br, g.bc, b_plain ? g.k : g.n, b_plain ? g.n : g.k, g.ldb))
    return LeadingDimensionTooSmall;
  return Ok;
}

template <class T> int32_t gemm_common(const GemmArgs<T>& g) {
  if (!is_transpose(g.transa) || !is_transpose(g.transb) || !is_layout(g.layout))
    return SelectorOutOfRange;
  if (g.n > g.ldc || g.lda < (g.transa == NoTrans ? g.k : g.m) ||
      g.ldb < (g.transb == NoTrans ? g.n : g.k))
    return LeadingDimensionTooSmall;
  Core<T>::gemm(g.layout, g.transa, g.transb, g.m, g.n, g.k, blas_scalar(*g.alpha),
                matrix_at<T>(g.a, g.ar, g.ac), g.lda, matrix_at<T>(g.b, g.br, g.bc), g.ldb,
                blas_scalar(g.beta), matrix_at<T>(g.c, g.cr, g.cc), g.ldc);
  return Ok;
}

template <class T>
int32_t GeneralMatrixProductFront(Handle a, Handle b, Handle c, const T* alpha, const T* beta,
                                  int32_t m, int32_t n, int32_t k, int32_t transa, int32_t transb,
                             int32_t ar, int32_t ac, int32_t br, int32_t bc, int32_t cr, int32_t cc,
                             int32_t lda, int32_t ldb, int32_t ldc, int32_t layout,
                             int32_t check_arguments) {
  GemmArgs<T> g{a,  b,  c,  alpha, *beta, m,  n,   k,   transa, transb,
                ar, ac, br, bc,    cr,    cc, lda, ldb, ldc,    layout};
  if (check_arguments == 1) {
    const int32_t status = check_gemm(g);
    if (status == NothingToDo) return Ok;
    if (status != Ok) return status;
  }
  return gemm_common(g);
}

template <class T> struct GemvArgs {
  Handle a, x, y;
  const T* alpha;
  T beta;
  int32_t trans, incx, incy, m, n, ar, ac, xo, yo, lda, layout;
};

template <class T> int32_t check_gemv(GemvArgs<T>& g) {
  if (negative_shape(g.a) || length(g.x) < 0 || length(g.y) < 0) return EmptyInput;
  if (g.m < 0 || g.n < 0) return NegativeMN;
  if (g.m == 0 || g.n == 0) return NothingToDo;
  if (empty_shape(g.a) || length(g.x) == 0) return EmptyInput;
  if (g.incx == 0 || g.incy == 0) return ZeroIncrement;
  if (g.xo < 0 || g.xo >= length(g.x) || !offsets_inside(g.a, g.ar, g.ac)) return OffsetOutOfRange;
  // A is always the stored M x N block; trans only decides which of its
  // sides x and y run along.
  const int32_t nx = g.trans == NoTrans ? g.n : g.m, ny = g.trans == NoTrans ? g.m : g.n;
  if (!strided_fits(length(g.x), g.xo, g.incx, nx) ||
      !extent_fits(g.a, g.ar, g.ac, g.m, g.n, g.lda))
    return LeadingDimensionTooSmall;
  return check_output_vector(g.y, ny, g.yo, g.incy, g.beta);
}

template <class T> int32_t gemv_common(const GemvArgs<T>& g) {
  if (!is_transpose(g.trans) || !is_layout(g.layout)) return SelectorOutOfRange;
  if (g.lda < g.n) return LeadingDimensionTooSmall;
  if (g.incx == 0 || g.incy == 0) return ZeroIncrement;
  Core<T>::gemv(g.layout, g.trans, g.m, g.n, blas_scalar(*g.alpha), matrix_at<T>(g.a, g.ar, g.ac),
                g.lda, vector_at<T>(g.x, g.xo), g.incx, blas_scalar(g.beta),
                vector_at<T>(g.y, g.yo), g.incy);
  return Ok;
}

template <class T>
int32_t GeneralMatrixVectorProductFront(Handle a, Handle x, Handle y, const T* alpha, const T* beta,
                                        int32_t trans, int32_t incx, int32_t incy, int32_t m, int32_t n,
                                   int32_t ar, int32_t ac, int32_t xo, int32_t yo, int32_t lda,
                                   int32_t layout, int32_t check_arguments) {
  GemvArgs<T> g{a, x, y, alpha, *beta, trans, incx, incy, m, n, ar, ac, xo, yo, lda, layout};
  if (check_arguments == 1) {
    const int32_t status = check_gemv(g);
    if (status == NothingToDo) return Ok;
    if (status != Ok) return status;
  }
  return gemv_common(g);
}

}  // namespace

#include "blas/general_products.exports"

}  // namespace tarnx
