#pragma once
// The elementary exports of one element type, for typed suites.
#include "support/host.hpp"

namespace test {

// Each member is the export of that operation for the type letter t.
#define TARNX_TEST_API_MEMBERS(M, t)                                                      \
  M(t, mul, MtrxMulH) M(t, mv, MtrxVecMulH) M(t, vm, VecMtrxMulH) M(t, dot, DotProdH)     \
  M(t, outer, OuterProdH) M(t, kron, KronProdH) M(t, transpose, TransposeH)               \
  M(t, trace, TraceH) M(t, mean, MeanH) M(t, rms, RMSH) M(t, vnorm, VectorNormH)          \
  M(t, mnorm, MtrxNormH) M(t, special, SpecialMtrxH)
#define TARNX_TEST_API_MEMBER(t, member, Operation) static constexpr auto member = t##Operation;

template <class T> struct Api;
#define TARNX_TEST_API(t, T) \
  template <> struct Api<T> { TARNX_TEST_API_MEMBERS(TARNX_TEST_API_MEMBER, t) };
TARNX_TEST_API(s, float)
TARNX_TEST_API(d, double)
TARNX_TEST_API(c, cfloat)
TARNX_TEST_API(z, cdouble)
#undef TARNX_TEST_API
#undef TARNX_TEST_API_MEMBER
#undef TARNX_TEST_API_MEMBERS

}  // namespace test
