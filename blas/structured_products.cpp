// The core's structured products over host handles: symmetric and Hermitian
// C <- alpha A B + beta C (or alpha B A + beta C) and y <- alpha A x + beta y,
// and the triangular B <- alpha op(A) B (or alpha B op(A)) and x <- op(A) x,
// which overwrite their right-hand operand. Offsets, the checkArguments
// switch and the creation of an empty output work as in the general
// products; only the triangle that uplo names is ever read.
#include "blas/arguments.hpp"
#include "frame/export.hpp"

namespace tarnx {
namespace {

using namespace blas;

// The checks symm, hemm and trmm share once the output is settled: A holds
// a ka x ka operand and B an M x N one, each inside its array.
template <class Args> int32_t check_square_and_general_operands(const Args& g) {
  if (empty_shape(g.a) || empty_shape(g.b)) return EmptyInput;
  if (!offsets_inside(g.a, g.ar, g.ac) || !offsets_inside(g.b, g.br, g.bc)) return OffsetOutOfRange;
  const int32_t ka = g.order();
  if (!holds(g.a, g.ar, g.ac, ka, ka, g.lda) || !holds(g.b, g.br, g.bc, g.m, g.n, g.ldb))
    return LeadingDimensionTooSmall;
  return Ok;
}

template <class T> struct SymmArgs {
  Handle a, b, c;
  const T* alpha;
  T beta;  // a copy: an output created here forces it to 0
  int32_t m, n, side, uplo, ar, ac, br, bc, cr, cc, lda, ldb, ldc, layout;
  // A stands on the side of B that it multiplies.
  int32_t order() const { return side == Left ? m : n; }
};

template <class T> int32_t check_symm(SymmArgs<T>& g) {
  if (negative_shape(g.a) || negative_shape(g.b) || negative_shape(g.c)) return EmptyInput;
  if (g.m < 0 || g.n < 0) return NegativeMN;
  if (int32_t status = check_output_matrix(g.c, g.m, g.n, g.cr, g.cc, g.ldc, g.beta); status != Ok)
    return status;
  if (g.m == 0 || g.n == 0) return NothingToDo;
  return check_square_and_general_operands(g);
}

template <class T, bool Hermitian> int32_t symm_common(const SymmArgs<T>& g) {
  if (!is_side(g.side) || !is_uplo(g.uplo) || !is_layout(g.layout)) return SelectorOutOfRange;
  if (g.ldc < g.n || g.lda < g.order() || g.ldb < g.n) return LeadingDimensionTooSmall;
  const T* a = matrix_at<T>(g.a, g.ar, g.ac);
  const T* b = matrix_at<T>(g.b, g.br, g.bc);
  T* c = matrix_at<T>(g.c, g.cr, g.cc);
  if constexpr (Hermitian)
    Core<T>::hemm(g.layout, g.side, g.uplo, g.m, g.n, g.alpha, a, g.lda, b, g.ldb, &g.beta, c,
                  g.ldc);
  else
    Core<T>::symm(g.layout, g.side, g.uplo, g.m, g.n, blas_scalar(*g.alpha), a, g.lda, b, g.ldb,
                  blas_scalar(g.beta), c, g.ldc);
  return Ok;
}

template <class T, bool Hermitian>
int32_t symm_front(Handle a, Handle b, Handle c, const T* alpha, const T* beta, int32_t m,
                   int32_t n, int32_t side, int32_t uplo, int32_t ar, int32_t ac, int32_t br,
                   int32_t bc, int32_t cr, int32_t cc, int32_t lda, int32_t ldb, int32_t ldc,
                   int32_t layout, int32_t check_arguments) {
  SymmArgs<T> g{a,  b,  c,  alpha, *beta, m,   n,   side, uplo,
                ar, ac, br, bc,    cr,    cc,  lda, ldb, ldc,  layout};
  if (check_arguments == 1) {
    const int32_t status = check_symm(g);
    if (status == NothingToDo) return Ok;
    if (status != Ok) return status;
  }
  return symm_common<T, Hermitian>(g);
}

// One name per export: symm and hemm differ only in the core routine.
template <class T> constexpr auto SymmetricMatrixProductFront = &symm_front<T, false>;
template <class T> constexpr auto HermitianMatrixProductFront = &symm_front<T, true>;

template <class T> struct SymvArgs {
  Handle a, x, y;
  const T* alpha;
  T beta;
  int32_t uplo, incx, incy, n, ar, ac, xo, yo, lda, layout;
};

template <class T> int32_t check_symv(SymvArgs<T>& g) {
  if (negative_shape(g.a) || length(g.x) < 0 || length(g.y) < 0) return EmptyInput;
  if (g.n < 0) return NegativeMN;
  if (g.n == 0) return NothingToDo;
  if (empty_shape(g.a) || length(g.x) == 0) return EmptyInput;
  if (g.incx == 0 || g.incy == 0) return ZeroIncrement;
  if (g.xo < 0 || g.xo >= length(g.x) || !offsets_inside(g.a, g.ar, g.ac)) return OffsetOutOfRange;
  if (!strided_fits(length(g.x), g.xo, g.incx, g.n) ||
      !extent_fits(g.a, g.ar, g.ac, g.n, g.n, g.lda))
    return LeadingDimensionTooSmall;
  return check_output_vector(g.y, g.n, g.yo, g.incy, g.beta);
}

template <class T> int32_t symv_common(const SymvArgs<T>& g) {
  if (!is_uplo(g.uplo) || !is_layout(g.layout)) return SelectorOutOfRange;
  if (g.lda < g.n) return LeadingDimensionTooSmall;
  if (g.incx == 0 || g.incy == 0) return ZeroIncrement;
  const T* a = matrix_at<T>(g.a, g.ar, g.ac);
  const T* x = vector_at<T>(g.x, g.xo);
  T* y = vector_at<T>(g.y, g.yo);
  if constexpr (is_complex_v<T>)
    Core<T>::hemv(g.layout, g.uplo, g.n, g.alpha, a, g.lda, x, g.incx, &g.beta, y, g.incy);
  else
    Core<T>::symv(g.layout, g.uplo, g.n, *g.alpha, a, g.lda, x, g.incx, g.beta, y, g.incy);
  return Ok;
}

// symv for the real types, hemv for the complex ones: the same product on
// the one kind of self-adjoint matrix that each element type has.
template <class T>
int32_t SelfAdjointMatrixVectorProductFront(Handle a, Handle x, Handle y, const T* alpha,
                                            const T* beta, int32_t uplo, int32_t incx, int32_t incy,
                                       int32_t n, int32_t ar, int32_t ac, int32_t xo, int32_t yo,
                                       int32_t lda, int32_t layout, int32_t check_arguments) {
  SymvArgs<T> g{a, x, y, alpha, *beta, uplo, incx, incy, n, ar, ac, xo, yo, lda, layout};
  if (check_arguments == 1) {
    const int32_t status = check_symv(g);
    if (status == NothingToDo) return Ok;
    if (status != Ok) return status;
  }
  return symv_common(g);
}

struct TrmmArgs {
  Handle a, b;
  int32_t m, n, side, uplo, transa, diag, ar, ac, br, bc, lda, ldb, layout;
  int32_t order() const { return side == Left ? m : n; }
};

// B is the input and the result; there is nothing to create.
inline int32_t check_trmm(const TrmmArgs& g) {
  if (negative_shape(g.a) || negative_shape(g.b)) return EmptyInput;
  if (g.m < 0 || g.n < 0) return NegativeMN;
  if (g.m == 0 || g.n == 0) return NothingToDo;
  return check_square_and_general_operands(g);
}

template <class T> int32_t trmm_common(const TrmmArgs& g, const T* alpha) {
  if (!is_side(g.side) || !is_uplo(g.uplo) || !is_transpose(g.transa) || !is_diag(g.diag) ||
      !is_layout(g.layout))
    return SelectorOutOfRange;
  if (g.lda < g.order() || g.ldb < g.n) return LeadingDimensionTooSmall;
  Core<T>::trmm(g.layout, g.side, g.uplo, g.transa, g.diag, g.m, g.n, blas_scalar(*alpha),
                matrix_at<T>(g.a, g.ar, g.ac), g.lda, matrix_at<T>(g.b, g.br, g.bc), g.ldb);
  return Ok;
}

template <class T>
int32_t TriangularMatrixProductFront(Handle a, Handle b, const T* alpha, int32_t m, int32_t n,
                                     int32_t side, int32_t uplo, int32_t transa, int32_t diag,
                                int32_t ar, int32_t ac, int32_t br, int32_t bc, int32_t lda,
                                int32_t ldb, int32_t layout, int32_t check_arguments) {
  const TrmmArgs g{a, b, m, n, side, uplo, transa, diag, ar, ac, br, bc, lda, ldb, layout};
  if (check_arguments == 1) {
    const int32_t status = check_trmm(g);
    if (status == NothingToDo) return Ok;
    if (status != Ok) return status;
  }
  return trmm_common<T>(g, alpha);
}

struct TrmvArgs {
  Handle a, x;
  int32_t uplo, trans, diag, incx, n, ar, ac, xo, lda, layout;
};

inline int32_t check_trmv(const TrmvArgs& g) {
  if (negative_shape(g.a) || length(g.x) < 0) return EmptyInput;
  if (g.n < 0) return NegativeMN;
  if (g.n == 0) return NothingToDo;
  if (empty_shape(g.a) || length(g.x) == 0) return EmptyInput;
  if (g.incx == 0) return ZeroIncrement;
  if (g.xo < 0 || g.xo >= length(g.x) || !offsets_inside(g.a, g.ar, g.ac)) return OffsetOutOfRange;
  if (!strided_fits(length(g.x), g.xo, g.incx, g.n) || !holds(g.a, g.ar, g.ac, g.n, g.n, g.lda))
    return LeadingDimensionTooSmall;
  return Ok;
}

template <class T> int32_t trmv_common(const TrmvArgs& g) {
  if (!is_uplo(g.uplo) || !is_transpose(g.trans) || !is_diag(g.diag) || !is_layout(g.layout))
    return SelectorOutOfRange;
  if (g.lda < g.n) return LeadingDimensionTooSmall;
  if (g.incx == 0) return ZeroIncrement;
  Core<T>::trmv(g.layout, g.uplo, g.trans, g.diag, g.n, matrix_at<T>(g.a, g.ar, g.ac), g.lda,
                vector_at<T>(g.x, g.xo), g.incx);
  return Ok;
}

template <class T>
int32_t TriangularMatrixVectorProductFront(Handle a, Handle x, int32_t uplo, int32_t trans, int32_t diag,
                                           int32_t incx, int32_t n, int32_t ar, int32_t ac, int32_t xo,
                                      int32_t lda, int32_t layout, int32_t check_arguments) {
  const TrmvArgs g{a, x, uplo, trans, diag, incx, n, ar, ac, xo, lda, layout};
  if (check_arguments == 1) {
    const int32_t status = check_trmv(g);
    if (status == NothingToDo) return Ok;
    if (status != Ok) return status;
  }
  return trmv_common<T>(g);
}

}  // namespace

#include "blas/structured_products.exports"

}  // namespace tarnx
