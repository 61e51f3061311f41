#pragma once
// The plain sums behind the mean, the RMS and the norms.
//
// None of them rescales against overflow: a sum of squares of values near the
// square root of the largest finite value is infinite, and so is everything
// formed from it. float32 sums run in four lanes whose grouping is part of
// the result's bits, so it is written out here once and every caller shares
// it.
#include <array>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "frame/traits.hpp"

namespace tarnx::internal {

// Sums term(v) over n float32 elements of P parts each (P = 2 for the two
// parts of a complex element), per part: four running lanes over groups of
// four elements, combined as (lane0 + lane2) + (lane1 + lane3); the one to
// three elements left over are summed as (r1 + r0) + r2 and added last.
template <int P, class Term>
std::array<float, P> lane_sums(const float* v, int64_t n, Term term) {
  float lane[P][4] = {};
  int64_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const float* g = v + i * P;
    for (int p = 0; p < P; ++p) {
      lane[p][0] += term(g[p]);
      lane[p][1] += term(g[P + p]);
      lane[p][2] += term(g[2 * P + p]);
      lane[p][3] += term(g[3 * P + p]);
    }
  }
  const int64_t rest = n - i;
  std::array<float, P> sum{};
  for (int p = 0; p < P; ++p) {
    const float* r = v + i * P + p;
    float tail = 0.0f;
    if (rest == 1) tail = term(r[0]);
    else if (rest == 2) tail = term(r[P]) + term(r[0]);
    else if (rest == 3) tail = (term(r[P]) + term(r[0])) + term(r[2 * P]);
    // With no full group the lanes still hold their starting +0, and the
    // tail is added to it: one to three negative zeros sum to +0.
    const float grouped = (lane[p][0] + lane[p][2]) + (lane[p][1] + lane[p][3]);
    sum[p] = rest > 0 ? grouped + tail : grouped;
  }
  return sum;
}

inline float square(float v) { return v * v; }
inline double square(double v) { return v * v; }

// The plain sum of squares of every real component of n elements (both parts
// of a complex element). float32 data goes through the lanes; float64 data
// adds each pair of components as (c(2k+1)^2 + c(2k)^2), then an odd last
// one.
template <class T> RealOf<T> sum_of_squares(const T* x, int64_t n) {
  using R = RealOf<T>;
  const R* c = reinterpret_cast<const R*>(x);
  const int64_t count = is_complex_v<T> ? 2 * n : n;
  if constexpr (std::is_same_v<R, float>) {
    return lane_sums<1>(c, count, [](float v) { return v * v; })[0];
  } else {
    double sum = 0.0;
    int64_t k = 0;
    for (; k + 2 <= count; k += 2) sum += square(c[k + 1]) + square(c[k]);
    if (k < count) sum += square(c[k]);
    return sum;
  }
}

// |v|: the modulus sqrt(re^2 + im^2) for complex values, in the working
// precision and without the scaling of std::abs.
template <class T> inline RealOf<T> magnitude(const T& v) {
  if constexpr (is_complex_v<T>) return std::sqrt(v.real() * v.real() + v.imag() * v.imag());
  else return std::fabs(v);
}

}  // namespace tarnx::internal
