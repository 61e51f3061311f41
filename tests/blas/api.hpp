#pragma once
// The BLAS entry points of one element type, for typed suites.
#include "support/host.hpp"

namespace test {

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

}  // namespace test
