#pragma once
// Row-major host blocks against the column-major core, and the screen that
// refuses values the core cannot work with.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "frame/status.hpp"
#include "frame/traits.hpp"

namespace tarnx {

namespace detail {
// 1 when `refused` holds for some real part of the n values (both parts of a
// complex value). Testing a block of parts without an early exit lets the
// compiler vectorize the scan.
template <class T, class Refused> int32_t any_part(const T* values, int32_t n, Refused refused) {
  using R = RealOf<T>;
  if (n < 1) return 0;
  const R* parts = reinterpret_cast<const R*>(values);
  const int64_t count = static_cast<int64_t>(n) * (is_complex_v<T> ? 2 : 1);
  constexpr int64_t block = 64;
  for (int64_t start = 0; start < count; start += block) {
    const int64_t end = start + block < count ? start + block : count;
    bool any = false;
    for (int64_t i = start; i < end; ++i) any |= refused(parts[i]);
    if (any) return 1;
  }
  return 0;
}
}  // namespace detail

// 1 when some value is NaN, infinite, or at the extreme finite magnitudes
// (treated as already overflowed); complex values are screened part by part.
// A value passes only when it lies strictly between the two bounds, which
// NaN never does.
template <class T> int32_t HasNonFinite(const T* values, int32_t n) {
  using R = RealOf<T>;
  return detail::any_part(values, n, [](R v) {
    return !(v > Traits<R>::screen_low) | !(v < Traits<R>::screen_high);
  });
}

// 1 when some value (either part of a complex value) is NaN.
template <class T> int32_t HasNaN(const T* values, int32_t n) {
  return detail::any_part(values, n, [](RealOf<T> v) { return v != v; });
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
