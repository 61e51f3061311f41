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

/* ---- transpose, trace, mean, RMS, norms, special matrices -------------------------- */

/* ---- factorizations: Cholesky, LU, QR, SVD ---------------------------------------- */

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

/* ---- condition number, rank, pseudo-inverse, least squares ------------------------- */

/* ---- matrix functions ------------------------------------------------------------- */

/* ---- linear fit ------------------------------------------------------------------- */

/* ---- QZ decomposition and matrix logarithm ---------------------------------------- */

#ifdef __cplusplus
}
#endif
#endif
