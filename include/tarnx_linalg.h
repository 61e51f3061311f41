/*
 * TARNX_LINALG: dense linear algebra over host array handles.
 *
 * Every matrix and vector is a host array handle: a pointer to a pointer to a
 * movable block that holds int32 dimension sizes followed by the elements in
 * row-major order. A 1-D block is (int32 n, elements); a 2-D block is
 * (int32 rows, int32 cols, elements). The elements start after the sizes,
 * rounded up to the element's alignment: float64 and complex float64 vectors
 * start at block + 8, float32 and complex float32 vectors at block + 4, every
 * matrix at block + 8.
 *
 * Every operation returns an int32 status: 0 for success, a negative code for
 * a failure (array outputs emptied, scalar outputs NaN), or one of the three
 * warnings +20001, +20003, +20006 whose results are kept.
 */
#ifndef TARNX_LINALG_H
#define TARNX_LINALG_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct ZwArrayBlock ZwArrayBlock;
typedef ZwArrayBlock **ZwArrayHandle;

typedef struct { float re, im; } ZwComplex64;   /* complex float32 */
typedef struct { double re, im; } ZwComplex128; /* complex float64 */

#if defined(_WIN32)
#define TARNX_API __declspec(dllexport)
#else
#define TARNX_API __attribute__((visibility("default")))
#endif

/* ---- host linkage ----------------------------------------------------------- */
/* The module that serves NumericArrayResize and QSort: a dlopen handle. */
TARNX_API void SetZWRTModule(void *module);
/* A pthread key whose per-thread value is the module serving that thread. */
TARNX_API void SetZWRTTLSIndex(uint32_t tlsIndex);
TARNX_API void SetZWRTModuleHook(void);
TARNX_API void SetZWRTTLSIndexHook(void);

/* ---- products ---------------------------------------------------------------- */
#define TARNX_DECLARE_PRODUCTS(t, T)                                                         \
  TARNX_API int32_t t##MtrxMulH(ZwArrayHandle A, ZwArrayHandle B, ZwArrayHandle C);         \
  TARNX_API int32_t t##MtrxVecMulH(ZwArrayHandle A, ZwArrayHandle x, ZwArrayHandle y);      \
  TARNX_API int32_t t##VecMtrxMulH(ZwArrayHandle x, ZwArrayHandle A, ZwArrayHandle y);      \
  TARNX_API int32_t t##DotProdH(ZwArrayHandle x, ZwArrayHandle y, T *result);               \
  TARNX_API int32_t t##OuterProdH(ZwArrayHandle x, ZwArrayHandle y, ZwArrayHandle C);       \
  TARNX_API int32_t t##KronProdH(ZwArrayHandle A, ZwArrayHandle B, ZwArrayHandle C);
TARNX_DECLARE_PRODUCTS(s, float)
TARNX_DECLARE_PRODUCTS(d, double)
TARNX_DECLARE_PRODUCTS(c, ZwComplex64)
TARNX_DECLARE_PRODUCTS(z, ZwComplex128)
#undef TARNX_DECLARE_PRODUCTS

/* ---- BLAS entry points ---------------------------------------------------------- */
/* The core's products over handles. Operands start at (row, column) offsets
 * into the stored blocks; enumerations take the CBLAS values (layout 101/102,
 * transpose 111/112/113, uplo 121/122, diag 131/132, side 141/142). With
 * checkArguments 1 every size, offset and extent is checked first; an empty
 * C or y is then created to fit and beta ignored. On failure the output
 * operand (C, y, or B and x of trmm and trmv) is emptied. */
#define TARNX_DECLARE_BLAS(t, T)                                                              \
  TARNX_API int32_t zwblas_##t##gemm(ZwArrayHandle A, ZwArrayHandle B, ZwArrayHandle C,       \
      const T *alpha, const T *beta, int32_t M, int32_t N, int32_t K, int32_t transA,         \
      int32_t transB, int32_t aRowOffset, int32_t aColOffset, int32_t bRowOffset,             \
      int32_t bColOffset, int32_t cRowOffset, int32_t cColOffset, int32_t lda, int32_t ldb,   \
      int32_t ldc, int32_t layout, int32_t checkArguments);                                   \
  TARNX_API int32_t zwblas_##t##gemv(ZwArrayHandle A, ZwArrayHandle x, ZwArrayHandle y,       \
      const T *alpha, const T *beta, int32_t trans, int32_t incx, int32_t incy, int32_t M,    \
      int32_t N, int32_t aRowOffset, int32_t aColOffset, int32_t xOffset, int32_t yOffset,    \
      int32_t lda, int32_t layout, int32_t checkArguments);                                   \
  TARNX_API int32_t zwblas_##t##symm(ZwArrayHandle A, ZwArrayHandle B, ZwArrayHandle C,       \
      const T *alpha, const T *beta, int32_t M, int32_t N, int32_t side, int32_t uplo,        \
      int32_t aRowOffset, int32_t aColOffset, int32_t bRowOffset, int32_t bColOffset,         \
      int32_t cRowOffset, int32_t cColOffset, int32_t lda, int32_t ldb, int32_t ldc,          \
      int32_t layout, int32_t checkArguments);                                                \
  TARNX_API int32_t zwblas_##t##trmm(ZwArrayHandle A, ZwArrayHandle B, const T *alpha,        \
      int32_t M, int32_t N, int32_t side, int32_t uplo, int32_t transA, int32_t diag,         \
      int32_t aRowOffset, int32_t aColOffset, int32_t bRowOffset, int32_t bColOffset,         \
      int32_t lda, int32_t ldb, int32_t layout, int32_t checkArguments);                      \
  TARNX_API int32_t zwblas_##t##trmv(ZwArrayHandle A, ZwArrayHandle x, int32_t uplo,          \
      int32_t trans, int32_t diag, int32_t incx, int32_t N, int32_t aRowOffset,               \
      int32_t aColOffset, int32_t xOffset, int32_t lda, int32_t layout, int32_t checkArguments);
/* symv for the real types, hemv for the complex ones; hemm for complex only. */
#define TARNX_DECLARE_BLAS_SYMV(t, T, name)                                                   \
  TARNX_API int32_t zwblas_##t##name(ZwArrayHandle A, ZwArrayHandle x, ZwArrayHandle y,       \
      const T *alpha, const T *beta, int32_t uplo, int32_t incx, int32_t incy, int32_t N,     \
      int32_t aRowOffset, int32_t aColOffset, int32_t xOffset, int32_t yOffset, int32_t lda,  \
      int32_t layout, int32_t checkArguments);
#define TARNX_DECLARE_BLAS_HEMM(t, T)                                                         \
  TARNX_API int32_t zwblas_##t##hemm(ZwArrayHandle A, ZwArrayHandle B, ZwArrayHandle C,       \
      const T *alpha, const T *beta, int32_t M, int32_t N, int32_t side, int32_t uplo,        \
      int32_t aRowOffset, int32_t aColOffset, int32_t bRowOffset, int32_t bColOffset,         \
      int32_t cRowOffset, int32_t cColOffset, int32_t lda, int32_t ldb, int32_t ldc,          \
      int32_t layout, int32_t checkArguments);
TARNX_DECLARE_BLAS(s, float)
TARNX_DECLARE_BLAS(d, double)
TARNX_DECLARE_BLAS(c, ZwComplex64)
TARNX_DECLARE_BLAS(z, ZwComplex128)
TARNX_DECLARE_BLAS_SYMV(s, float, symv)
TARNX_DECLARE_BLAS_SYMV(d, double, symv)
TARNX_DECLARE_BLAS_SYMV(c, ZwComplex64, hemv)
TARNX_DECLARE_BLAS_SYMV(z, ZwComplex128, hemv)
TARNX_DECLARE_BLAS_HEMM(c, ZwComplex64)
TARNX_DECLARE_BLAS_HEMM(z, ZwComplex128)
#undef TARNX_DECLARE_BLAS
#undef TARNX_DECLARE_BLAS_SYMV
#undef TARNX_DECLARE_BLAS_HEMM

/* ---- transpose, trace, mean, RMS, norms, special matrices -------------------------- */

/* ---- factorizations: Cholesky, LU, QR, SVD ---------------------------------------- */

/* ---- eigen-decompositions: Schur, eigenvalues, generalized eigenvalues ------------- */

/* ---- determinant, inverse, linear systems ------------------------------------------ */

/* ---- condition number, rank, pseudo-inverse, least squares ------------------------- */

/* ---- matrix functions ------------------------------------------------------------- */

/* ---- linear fit ------------------------------------------------------------------- */

/* ---- QZ decomposition and matrix logarithm ---------------------------------------- */

#ifdef __cplusplus
}
#endif
#endif
