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

/* The library's version; the build takes its own version from these lines.
 * TARNX_LINALG_VERSION orders releases: major * 10000 + minor * 100 + patch. */
#define TARNX_LINALG_VERSION_MAJOR 1
#define TARNX_LINALG_VERSION_MINOR 0
#define TARNX_LINALG_VERSION_PATCH 0
#define TARNX_LINALG_VERSION_STRING "1.0.0"
#define TARNX_LINALG_VERSION \
  (TARNX_LINALG_VERSION_MAJOR * 10000 + TARNX_LINALG_VERSION_MINOR * 100 + TARNX_LINALG_VERSION_PATCH)

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
/* Scalar results of RMS and the norms are real: float for s and c, double for d and z.
 * The matrix norm's scratch handles serve only the 2-norm (type 0): the singular values
 * (real), then the singular-value kernel's work (element type), real work (double) and
 * integer work (int32). */
#define TARNX_DECLARE_ELEMENTARY(t, T, R)                                                     \
  TARNX_API int32_t t##TransposeH(ZwArrayHandle A, ZwArrayHandle B);                          \
  TARNX_API int32_t t##TraceH(ZwArrayHandle A, T *result);                                    \
  TARNX_API int32_t t##MeanH(ZwArrayHandle x, T *result);                                     \
  TARNX_API int32_t t##RMSH(ZwArrayHandle x, R *result);                                      \
  TARNX_API int32_t t##VectorNormH(ZwArrayHandle x, double p, R *result);                     \
  TARNX_API int32_t t##MtrxNormH(ZwArrayHandle A, int32_t type, R *result,                    \
                                 ZwArrayHandle singularValues, ZwArrayHandle work,            \
                                 ZwArrayHandle realWork, ZwArrayHandle intWork);              \
  TARNX_API int32_t t##SpecialMtrxH(int32_t type, int32_t size, ZwArrayHandle x,              \
                                    ZwArrayHandle y, ZwArrayHandle B);
TARNX_DECLARE_ELEMENTARY(s, float, float)
TARNX_DECLARE_ELEMENTARY(d, double, double)
TARNX_DECLARE_ELEMENTARY(c, ZwComplex64, float)
TARNX_DECLARE_ELEMENTARY(z, ZwComplex128, double)
#undef TARNX_DECLARE_ELEMENTARY

/* ---- factorizations: Cholesky, LU, QR, SVD ---------------------------------------- */
/* Scratch handles (work, permutation, realWork, intWork) are sized by the call
 * and come back empty; a null one where it is needed gives -20999. */
#define TARNX_DECLARE_FACTORIZATIONS(t)                                                      \
  TARNX_API int32_t t##CholeskyH(ZwArrayHandle A, int32_t factorKind);                      \
  TARNX_API int32_t t##LUH(ZwArrayHandle A, ZwArrayHandle L, ZwArrayHandle U, ZwArrayHandle P, \
                           ZwArrayHandle pivots, ZwArrayHandle work, ZwArrayHandle permutation); \
  TARNX_API int32_t t##QRH(ZwArrayHandle A, ZwArrayHandle Q, ZwArrayHandle R, ZwArrayHandle P, \
                           ZwArrayHandle pivots, int32_t pivoting, int32_t mode,             \
                           ZwArrayHandle work, ZwArrayHandle realWork);                      \
  TARNX_API int32_t t##SVDH(ZwArrayHandle A, int32_t valuesOnly, int32_t mode, ZwArrayHandle U, \
                            ZwArrayHandle S, ZwArrayHandle V, ZwArrayHandle work,            \
                            ZwArrayHandle realWork, ZwArrayHandle intWork);
TARNX_DECLARE_FACTORIZATIONS(s)
TARNX_DECLARE_FACTORIZATIONS(d)
TARNX_DECLARE_FACTORIZATIONS(c)
TARNX_DECLARE_FACTORIZATIONS(z)
#undef TARNX_DECLARE_FACTORIZATIONS

/* ---- eigen-decompositions: Schur, eigenvalues, generalized eigenvalues ------------- */
/* Schur form A = Z T Z^H: T overwrites A; sortOrder (read as unsigned) 0 as
 * computed, 1/2 real part ascending/descending, 3/4 modulus ascending/descending.
 * Eigenvalues are complex of A's precision. realWork (float64) is read by the
 * complex types only, intWork (int32) by the real types only. */
#define TARNX_DECLARE_SCHUR(t)                                                                  \
  TARNX_API int32_t t##SchurH(ZwArrayHandle A, int32_t computeVectors, int32_t sortOrder,       \
                              ZwArrayHandle Z, ZwArrayHandle eigenvalues, ZwArrayHandle work,   \
                              ZwArrayHandle realWork, ZwArrayHandle intWork);
/* Eigenvalues (complex) and, with option 1, eigenvectors (complex columns) of a
 * general matrix; realWork is read by the complex types only. */
#define TARNX_DECLARE_EIGENV(t)                                                                 \
  TARNX_API int32_t t##EigenVH(ZwArrayHandle A, int32_t option, ZwArrayHandle eigenvalues,      \
                               ZwArrayHandle eigenvectors, ZwArrayHandle work,                  \
                               ZwArrayHandle realWork);
/* Generalized eigenvalues A x = lambda B x; realWork is read by the complex types only. */
#define TARNX_DECLARE_GENEIGENV(t)                                                              \
  TARNX_API int32_t t##GenEigenVH(ZwArrayHandle A, ZwArrayHandle B, int32_t option,             \
                                  ZwArrayHandle eigenvalues, ZwArrayHandle eigenvectors,        \
                                  ZwArrayHandle work, ZwArrayHandle realWork);
#define TARNX_DECLARE_EIGEN(t) TARNX_DECLARE_SCHUR(t) TARNX_DECLARE_EIGENV(t) TARNX_DECLARE_GENEIGENV(t)
TARNX_DECLARE_EIGEN(s)
TARNX_DECLARE_EIGEN(d)
TARNX_DECLARE_EIGEN(c)
TARNX_DECLARE_EIGEN(z)
#undef TARNX_DECLARE_EIGEN
#undef TARNX_DECLARE_SCHUR
#undef TARNX_DECLARE_EIGENV
#undef TARNX_DECLARE_GENEIGENV
/* Real symmetric / complex Hermitian eigenvalues, ascending; only the lower
 * triangle of A is read. */
TARNX_API int32_t sSymEigenVH(ZwArrayHandle A, int32_t option, ZwArrayHandle eigenvalues,
                              ZwArrayHandle eigenvectors, ZwArrayHandle work, ZwArrayHandle intWork);
TARNX_API int32_t dSymEigenVH(ZwArrayHandle A, int32_t option, ZwArrayHandle eigenvalues,
                              ZwArrayHandle eigenvectors, ZwArrayHandle work, ZwArrayHandle intWork);
TARNX_API int32_t cHermEigenVH(ZwArrayHandle A, int32_t option, ZwArrayHandle eigenvalues,
                               ZwArrayHandle eigenvectors, ZwArrayHandle work,
                               ZwArrayHandle realWork, ZwArrayHandle intWork);
TARNX_API int32_t zHermEigenVH(ZwArrayHandle A, int32_t option, ZwArrayHandle eigenvalues,
                               ZwArrayHandle eigenvectors, ZwArrayHandle work,
                               ZwArrayHandle realWork, ZwArrayHandle intWork);

/* ---- determinant, inverse, linear systems ------------------------------------------ */
/* matrixType: 0 general, 1 positive definite (its lower triangle is
 * read), 2 lower triangular, 3 upper triangular. work, workspace and pivots
 * are scratch handles (pivots of int32) that come back empty. */
#define TARNX_DECLARE_SOLVE(t, T)                                                            \
  TARNX_API int32_t t##DeterminantH(ZwArrayHandle A, int32_t matrixType, T *determinant,    \
                                    ZwArrayHandle work, ZwArrayHandle pivots);              \
  TARNX_API int32_t t##InvMtrxH(ZwArrayHandle A, int32_t matrixType, ZwArrayHandle work,    \
                                ZwArrayHandle pivots);                                      \
  TARNX_API int32_t t##LinEqH(ZwArrayHandle A, ZwArrayHandle B, int32_t matrixType,         \
                              ZwArrayHandle X, ZwArrayHandle workspace, ZwArrayHandle pivots); \
  TARNX_API int32_t t##LinEqSetH(ZwArrayHandle A, ZwArrayHandle B, int32_t matrixType,      \
                                 ZwArrayHandle X, ZwArrayHandle workspace,                  \
                                 ZwArrayHandle pivots);
TARNX_DECLARE_SOLVE(s, float)
TARNX_DECLARE_SOLVE(d, double)
TARNX_DECLARE_SOLVE(c, ZwComplex64)
TARNX_DECLARE_SOLVE(z, ZwComplex128)
#undef TARNX_DECLARE_SOLVE

/* ---- condition number, rank, pseudo-inverse, least squares ------------------------- */
/* Tolerances and the condition number are real: float for s and c, double for d and z.
 * normType: 0 two-norm, 1 one-norm, 2 Frobenius, 3 infinity-norm. A negative tolerance
 * selects the default max(m, n) * s1 * epsilon (rank, pseudo-inverse); for least squares
 * a tolerance of 0 selects the pseudo-inverse method, any other the core's solver. Every
 * scratch handle comes back empty; realWork is double for both complex precisions. */
#define TARNX_DECLARE_CHARACTERISTICS(t, R)                                                  \
  TARNX_API int32_t t##CondNumberH(ZwArrayHandle A, int32_t normType, R *result,              \
                                   ZwArrayHandle singularValues, ZwArrayHandle copy,         \
                                   ZwArrayHandle work, ZwArrayHandle realWork,               \
                                   ZwArrayHandle intWork, ZwArrayHandle inverseWork,         \
                                   ZwArrayHandle pivots);                                    \
  TARNX_API int32_t t##RankH(ZwArrayHandle A, R tolerance, int32_t *rank,                    \
                             ZwArrayHandle singularValues, ZwArrayHandle work,               \
                             ZwArrayHandle realWork, ZwArrayHandle intWork);                 \
  TARNX_API int32_t t##PseudoInvMtrxH(ZwArrayHandle A, R tolerance,                          \
                                      ZwArrayHandle singularValues, ZwArrayHandle factors,   \
                                      ZwArrayHandle work, ZwArrayHandle realWork,            \
                                      ZwArrayHandle intWork);                                \
  TARNX_API int32_t t##LSEqH(ZwArrayHandle A, ZwArrayHandle B, R tolerance, ZwArrayHandle X, \
                             ZwArrayHandle svdScratch1, ZwArrayHandle svdScratch2,           \
                             ZwArrayHandle svdScratch3, ZwArrayHandle solveWorkspace,        \
                             ZwArrayHandle singularValues);                                  \
  TARNX_API int32_t t##LSEqSetH(ZwArrayHandle A, ZwArrayHandle B, R tolerance,               \
                                ZwArrayHandle X, ZwArrayHandle svdScratch1,                  \
                                ZwArrayHandle svdScratch2, ZwArrayHandle svdScratch3,        \
                                ZwArrayHandle solveWorkspace, ZwArrayHandle singularValues);
TARNX_DECLARE_CHARACTERISTICS(s, float)
TARNX_DECLARE_CHARACTERISTICS(d, double)
TARNX_DECLARE_CHARACTERISTICS(c, float)
TARNX_DECLARE_CHARACTERISTICS(z, double)
#undef TARNX_DECLARE_CHARACTERISTICS

/* ---- matrix functions ------------------------------------------------------------- */
/* Exponential in place, principal square root into a complex X, integer power
 * in place. Every array after A (and X) is a scratch handle that comes back
 * empty; scaleFactors is real (float for s and c, double for d and z),
 * pivots int32, schurScratch2 double, pinvScratch2 real, pinvScratch4 double
 * and pinvScratch5 int32; the rest take the element type (complex for the
 * square root's workspace, balanceWorkspace and schurScratch1). */
#define TARNX_DECLARE_MATFUN(t)                                                               \
  TARNX_API int32_t t##MtrxExpH(ZwArrayHandle A, ZwArrayHandle workspace,                     \
                                ZwArrayHandle scaleFactors, ZwArrayHandle balanceWorkspace,   \
                                ZwArrayHandle solveWorkspace, ZwArrayHandle pivots);          \
  TARNX_API int32_t t##MtrxSqrtH(ZwArrayHandle A, ZwArrayHandle X,                            \
                                 ZwArrayHandle scaleFactors, ZwArrayHandle workspace,         \
                                 ZwArrayHandle balanceWorkspace, ZwArrayHandle schurScratch1, \
                                 ZwArrayHandle schurScratch2);                                \
  TARNX_API int32_t t##MtrxPowH(ZwArrayHandle A, int32_t p, ZwArrayHandle powerWorkspace,     \
                                ZwArrayHandle pinvScratch1, ZwArrayHandle pinvScratch2,       \
                                ZwArrayHandle pinvScratch3, ZwArrayHandle pinvScratch4,       \
                                ZwArrayHandle pinvScratch5);
TARNX_DECLARE_MATFUN(s)
TARNX_DECLARE_MATFUN(d)
TARNX_DECLARE_MATFUN(c)
TARNX_DECLARE_MATFUN(z)
#undef TARNX_DECLARE_MATFUN

/* ---- linear fit ------------------------------------------------------------------- */
/* Fits y = slope*x + intercept by method 0 (least squares), 1 (least absolute
 * residual) or 2 (bisquare); Y is overwritten with the fitted values. weights
 * may be empty; iterations brings in the limit and returns the count. */
#define TARNX_DECLARE_LINEAR_FIT(t)                                                          \
  TARNX_API int32_t t##LinearFitH(ZwArrayHandle Y, ZwArrayHandle X, ZwArrayHandle weights,   \
                                  double *slope, double *intercept, double *residue,         \
                                  int32_t method, double tolerance, double residueFloor,     \
                                  int32_t *iterations, ZwArrayHandle work);
TARNX_DECLARE_LINEAR_FIT(s)
TARNX_DECLARE_LINEAR_FIT(d)
#undef TARNX_DECLARE_LINEAR_FIT

/* ---- QZ decomposition and matrix logarithm ---------------------------------------- */
/* QZ decomposition A = Q S Z^H, B = Q T Z^H: S overwrites A and T overwrites B
 * (T upper triangular; S upper triangular for complex types, quasi-upper-
 * triangular with 2 x 2 blocks for conjugate pairs for real types). With
 * computeVectors 0, Q and Z are emptied; otherwise both are n x n of A's type.
 * eigenvalues: n complex values alpha/beta of A's precision, infinite or NaN
 * where beta is 0. realWork (real of the precision) is read by the complex
 * types only. */
#define TARNX_DECLARE_QZ(t)                                                                     \
  TARNX_API int32_t t##QZH(ZwArrayHandle A, ZwArrayHandle B, int32_t computeVectors,            \
                           ZwArrayHandle Q, ZwArrayHandle Z, ZwArrayHandle eigenvalues,         \
                           ZwArrayHandle work, ZwArrayHandle realWork);
TARNX_DECLARE_QZ(s)
TARNX_DECLARE_QZ(d)
TARNX_DECLARE_QZ(c)
TARNX_DECLARE_QZ(z)
#undef TARNX_DECLARE_QZ
/* Principal logarithm X = log A, complex of A's precision for every type (a
 * real matrix may have a complex logarithm); the arguments are the square
 * root's: scaleFactors real of the precision, workspace, balanceWorkspace and
 * schurScratch1 complex of the precision, schurScratch2 float64, all scratch
 * handles that come back empty and may be null for n = 1. Status -20041 when
 * A has an eigenvalue 0; +20006 (X kept) when an eigenvalue lies on the
 * negative real axis (it takes +i*pi) or has a squared modulus below the
 * machine epsilon. */
#define TARNX_DECLARE_MTRXLN(t)                                                                 \
  TARNX_API int32_t t##MtrxLnH(ZwArrayHandle A, ZwArrayHandle X, ZwArrayHandle scaleFactors,    \
                               ZwArrayHandle workspace, ZwArrayHandle balanceWorkspace,         \
                               ZwArrayHandle schurScratch1, ZwArrayHandle schurScratch2);
TARNX_DECLARE_MTRXLN(s)
TARNX_DECLARE_MTRXLN(d)
TARNX_DECLARE_MTRXLN(c)
TARNX_DECLARE_MTRXLN(z)
#undef TARNX_DECLARE_MTRXLN

#ifdef __cplusplus
}
#endif
#endif
