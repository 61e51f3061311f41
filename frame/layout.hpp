#pragma once
// Row-major host blocks against the column-major core, and the screen that
// refuses values the core cannot work with.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "frame/status.hpp"
#include "frame/traits.hpp"

namespace tarnx {

namespace detail {
#if defined(__SSE2__)
// The screens' unordered comparisons (true for NaN) four 16-byte lanes at a
// time. The compiler leaves such loops scalar for the baseline instruction
// set, and the scalar screen runs at a third of memory speed.
template <class R> struct Lanes;
// The same operations for both precisions; only the intrinsics' suffix differs.
#define TARNX_LANES(R, Vector, lanes, sfx)                                    \
template <> struct Lanes<R> {                                                 \
  using V = Vector;                                                           \
  static constexpr int64_t width = lanes;                                     \
  static V load(const R* p) { return _mm_loadu_##sfx(p); }                    \
  static V splat(R x) { return _mm_set1_##sfx(x); }                           \
  static V outside(V v, V low, V high) {                                      \
    return _mm_or_##sfx(_mm_cmpngt_##sfx(v, low), _mm_cmpnlt_##sfx(v, high)); \
  }                                                                           \
  static V nan(V v) { return _mm_cmpunord_##sfx(v, v); }                      \
  static V either(V a, V b) { return _mm_or_##sfx(a, b); }                    \
  static bool any(V v) { return _mm_movemask_##sfx(v) != 0; }                 \
};
TARNX_LANES(double, __m128d, 2, pd)
TARNX_LANES(float, __m128, 4, ps)
#undef TARNX_LANES
#endif

// 1 when `refused` holds for some real part of the n values (both parts of a
// complex value); `refused_lanes` is the same test on a vector of parts.
template <class T, class Refused, class RefusedLanes>
int32_t any_part(const T* values, int64_t n, Refused refused, [[maybe_unused]] RefusedLanes refused_lanes) {
  using R = RealOf<T>;
  if (n < 1) return 0;
  const R* parts = reinterpret_cast<const R*>(values);
  const int64_t count = n * (is_complex_v<T> ? 2 : 1);
  int64_t i = 0;
#if defined(__SSE2__)
  // One 64-byte step per test, so the early exit costs one branch a line.
  using L = Lanes<R>;
  constexpr int64_t w = L::width;
  for (; i + 4 * w <= count; i += 4 * w) {
    const auto r = L::either(L::either(refused_lanes(L::load(parts + i)), refused_lanes(L::load(parts + i + w))),
                             L::either(refused_lanes(L::load(parts + i + 2 * w)),
                                       refused_lanes(L::load(parts + i + 3 * w))));
    if (L::any(r)) return 1;
  }
#endif
  for (; i < count; ++i)
    if (refused(parts[i])) return 1;
  return 0;
}
}  // namespace detail

// 1 when some value is NaN, infinite, or at the extreme finite magnitudes
// (treated as already overflowed); complex values are screened part by part.
// A value passes only when it lies strictly between the two bounds, which
// NaN never does.
template <class T> int32_t HasNonFinite(const T* values, int64_t n) {
  using R = RealOf<T>;
  constexpr R low = Traits<R>::screen_low, high = Traits<R>::screen_high;
  return detail::any_part(
      values, n, [](R v) { return !(v > low) || !(v < high); },
      [](auto v) {
#if defined(__SSE2__)
        using L = detail::Lanes<R>;
        return L::outside(v, L::splat(low), L::splat(high));
#else
        return v;
#endif
      });
}

// 1 when some value (either part of a complex value) is NaN.
template <class T> int32_t HasNaN(const T* values, int64_t n) {
  using R = RealOf<T>;
  return detail::any_part(
      values, n, [](R v) { return v != v; },
      [](auto v) {
#if defined(__SSE2__)
        return detail::Lanes<R>::nan(v);
#else
        return v;
#endif
      });
}

namespace detail {
// Transposing copy in square tiles, so that neither side strides through
// memory a whole row or column at a time on large matrices; `op` is applied
// to every element on the way.
template <class T, class Op>
void transpose_copy(const T* src, int32_t m, int32_t n, T* dst, Op op) {
  constexpr int32_t tile = 32;
  for (int32_t i0 = 0; i0 < m; i0 += tile) {
    const int32_t i1 = i0 + tile < m ? i0 + tile : m;
    for (int32_t j0 = 0; j0 < n; j0 += tile) {
      const int32_t j1 = j0 + tile < n ? j0 + tile : n;
      for (int32_t j = j0; j < j1; ++j) {
        T* out = dst + static_cast<std::size_t>(j) * m;
        const T* in = src + j;
        int32_t i = i0;
        for (; i + 4 <= i1; i += 4) {
          out[i] = op(in[static_cast<std::size_t>(i) * n]);
          out[i + 1] = op(in[static_cast<std::size_t>(i + 1) * n]);
          out[i + 2] = op(in[static_cast<std::size_t>(i + 2) * n]);
          out[i + 3] = op(in[static_cast<std::size_t>(i + 3) * n]);
        }
        for (; i < i1; ++i) out[i] = op(in[static_cast<std::size_t>(i) * n]);
      }
    }
  }
}
}  // namespace detail

// Copies a row-major m x n matrix into column-major order. Called with the
// dimensions exchanged it turns a column-major result back into row-major,
// since the row-major layout of a matrix is the column-major layout of its
// transpose. The buffers must not overlap.
template <class T> int32_t ToColumnMajor(const T* src, int32_t m, int32_t n, T* dst) {
  if (m < 1 || n < 1) return EmptyInput;
  detail::transpose_copy(src, m, n, dst, [](const T& v) { return v; });
  return Ok;
}

// The same copy of the conjugate: every imaginary part changes sign, so a
// zero imaginary part becomes negative zero.
template <class T> int32_t ToColumnMajorConj(const T* src, int32_t m, int32_t n, T* dst) {
  static_assert(is_complex_v<T>);
  if (m < 1 || n < 1) return EmptyInput;
  detail::transpose_copy(src, m, n, dst, [](const T& v) { return T(v.real(), -v.imag()); });
  return Ok;
}

inline void ZeroFill(void* p, std::size_t bytes) { std::memset(p, 0, bytes); }

}  // namespace tarnx
