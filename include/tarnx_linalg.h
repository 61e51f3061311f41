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

/* ---- determinant, inverse, linear systems ------------------------------------------ */

/* ---- condition number, rank, pseudo-inverse, least squares ------------------------- */

/* ---- matrix functions ------------------------------------------------------------- */

/* ---- linear fit ------------------------------------------------------------------- */

/* ---- QZ decomposition and matrix logarithm ---------------------------------------- */

#ifdef __cplusplus
}
#endif
#endif
