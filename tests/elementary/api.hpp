#pragma once
// The elementary exports of one element type, for typed suites.
#include "support/host.hpp"

namespace test {

template <class T> struct Api;
#define TARNX_TEST_API(t, T)                      \
  template <> struct Api<T> {                     \
    static constexpr auto mul = t##MtrxMulH;      \
    static constexpr auto mv = t##MtrxVecMulH;    \
    static constexpr auto vm = t##VecMtrxMulH;    \
    static constexpr auto dot = t##DotProdH;      \
    static constexpr auto outer = t##OuterProdH;  \
    static constexpr auto kron = t##KronProdH;    \
    static constexpr auto transpose = t##TransposeH; \
    static constexpr auto trace = t##TraceH;      \
    static constexpr auto mean = t##MeanH;        \
    static constexpr auto rms = t##RMSH;          \
    static constexpr auto vnorm = t##VectorNormH; \
    static constexpr auto mnorm = t##MtrxNormH;   \
    static constexpr auto special = t##SpecialMtrxH; \
  };
TARNX_TEST_API(s, float)
TARNX_TEST_API(d, double)
TARNX_TEST_API(c, cfloat)
TARNX_TEST_API(z, cdouble)
#undef TARNX_TEST_API

}  // namespace test
