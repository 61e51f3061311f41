#pragma once
// Row-major host blocks against the column-major core, and the screen that
// refuses values the core cannot work with.
#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "frame/parallel.hpp"
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

// 1 when `refused` holds for one of the `count` real parts; `refused_lanes`
// is the same test on a vector of parts.
template <class R, class Refused, class RefusedLanes>
int32_t any_of_parts(const R* parts, int64_t count, Refused refused, [[maybe_unused]] RefusedLanes refused_lanes) {
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

// The same over the n values of a T (both parts of a complex value), on
// `threads` threads. Each part only ever raises the flag, so the answer does
// not depend on the split.
template <class T, class Refused, class RefusedLanes>
int32_t any_part(const T* values, int64_t n, int threads, Refused refused, RefusedLanes refused_lanes) {
  using R = RealOf<T>;
  if (n < 1) return 0;
  const R* parts = reinterpret_cast<const R*>(values);
  const int64_t count = n * (is_complex_v<T> ? 2 : 1);
  if (threads <= 1) return any_of_parts(parts, count, refused, refused_lanes);
  std::atomic<int32_t> found{0};
  parallel::split(count, 64 / static_cast<int64_t>(sizeof(R)), threads, [&](int64_t begin, int64_t end) {
    if (any_of_parts(parts + begin, end - begin, refused, refused_lanes) != 0)
      found.store(1, std::memory_order_relaxed);
  });
  return found.load(std::memory_order_relaxed);
}

template <class T> int threads_for_screen(int64_t n) {
  return parallel::threads_for(static_cast<int64_t>(sizeof(T)) * n);
}

// The screens' tests, element by element and a vector of parts at a time.
template <class R> struct NonFiniteTest {
  static constexpr R low = Traits<R>::screen_low, high = Traits<R>::screen_high;
  bool operator()(R v) const { return !(v > low) || !(v < high); }
  template <class V> V operator()(V v) const {
#if defined(__SSE2__)
    return Lanes<R>::outside(v, Lanes<R>::splat(low), Lanes<R>::splat(high));
#else
    return v;
#endif
  }
};
template <class R> struct NaNTest {
  bool operator()(R v) const { return v != v; }
  template <class V> V operator()(V v) const {
#if defined(__SSE2__)
    return Lanes<R>::nan(v);
#else
    return v;
#endif
  }
};
}  // namespace detail

// 1 when some value is NaN, infinite, or at the extreme finite magnitudes
// (treated as already overflowed); complex values are screened part by part.
// A value passes only when it lies strictly between the two bounds, which
// NaN never does. `threads` is for tests; calls leave it to the size.
template <class T> int32_t HasNonFinite(const T* values, int64_t n, int threads = 0) {
  const detail::NonFiniteTest<RealOf<T>> test;
  return detail::any_part(values, n, threads > 0 ? threads : detail::threads_for_screen<T>(n), test, test);
}

// 1 when some value (either part of a complex value) is NaN.
template <class T> int32_t HasNaN(const T* values, int64_t n, int threads = 0) {
  const detail::NaNTest<RealOf<T>> test;
  return detail::any_part(values, n, threads > 0 ? threads : detail::threads_for_screen<T>(n), test, test);
}

namespace detail {
// Transposing copy in square tiles, so that neither side strides through
// memory a whole row or column at a time on large matrices; `op` is applied
// to every element on the way. This is the route for an arbitrary `op`; the
// layout copies below move bits and take the faster route.
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
        for (int32_t i = i0; i < i1; ++i) out[i] = op(in[static_cast<std::size_t>(i) * n]);
      }
    }
  }
}

// The layout copies move each element as an opaque unit of its size, with
// the conjugate's sign flip as an exclusive-or on the way, so one kernel
// serves every element type: 4-byte units for float, 8-byte for double and
// single complex, 16-byte for double complex. The units may alias the
// elements they stand for, so the compiler keeps every access in order with
// the typed ones around it.
struct __attribute__((__may_alias__)) Unit4 {
  uint32_t bits;
};
// Two halves rather than one 64-bit word: an 8-byte unit also stands for a
// single complex, whose parts are floats, so it may lie on any 4-byte
// boundary and must not ask for more.
struct __attribute__((__may_alias__)) Unit8 {
  uint32_t low, high;
};
struct __attribute__((__may_alias__)) Unit16 {
  uint64_t low, high;
};
inline Unit4 operator^(Unit4 a, Unit4 b) { return {a.bits ^ b.bits}; }
inline Unit8 operator^(Unit8 a, Unit8 b) { return {a.low ^ b.low, a.high ^ b.high}; }
inline Unit16 operator^(Unit16 a, Unit16 b) { return {a.low ^ b.low, a.high ^ b.high}; }

// A tile is one 64-byte cache line of units on a side: every line read is
// used whole, every line written is written whole, whatever the row length.
template <class U> inline constexpr int64_t kTile = 64 / static_cast<int64_t>(sizeof(U));

// dst[j * ldd + i] = src[i * lds + j] ^ flip for i, j in [0, kTile).
// `stream` writes past the caches; every store address must then be 16-byte
// aligned.
template <bool stream, class U>
inline void transpose_tile(const U* src, int64_t lds, U* dst, int64_t ldd, U flip) {
  constexpr int64_t w = kTile<U>;
#if defined(__SSE2__)
  const auto load = [](const U* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
  const auto store = [](U* p, __m128i v) {
    if constexpr (stream) _mm_stream_si128(reinterpret_cast<__m128i*>(p), v);
    else _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
  };
  if constexpr (sizeof(U) == 16) {
    const __m128i x = load(&flip);
    for (int64_t i = 0; i < w; ++i)
      for (int64_t j = 0; j < w; ++j) store(dst + j * ldd + i, _mm_xor_si128(load(src + i * lds + j), x));
  } else if constexpr (sizeof(U) == 8) {
    // 2 x 2 blocks: two rows' pairs become two columns' pairs.
    const __m128i x = _mm_set_epi32(static_cast<int>(flip.high), static_cast<int>(flip.low),
                                     static_cast<int>(flip.high), static_cast<int>(flip.low));
    for (int64_t i = 0; i < w; i += 2)
      for (int64_t j = 0; j < w; j += 2) {
        const __m128i r0 = _mm_xor_si128(load(src + i * lds + j), x);
        const __m128i r1 = _mm_xor_si128(load(src + (i + 1) * lds + j), x);
        store(dst + j * ldd + i, _mm_unpacklo_epi64(r0, r1));
        store(dst + (j + 1) * ldd + i, _mm_unpackhi_epi64(r0, r1));
      }
  } else {
    static_assert(sizeof(U) == 4);
    // 4 x 4 blocks, the usual two rounds of interleaving.
    const __m128i x = _mm_set1_epi32(static_cast<int>(flip.bits));
    for (int64_t i = 0; i < w; i += 4)
      for (int64_t j = 0; j < w; j += 4) {
        const __m128i r0 = _mm_xor_si128(load(src + i * lds + j), x);
        const __m128i r1 = _mm_xor_si128(load(src + (i + 1) * lds + j), x);
        const __m128i r2 = _mm_xor_si128(load(src + (i + 2) * lds + j), x);
        const __m128i r3 = _mm_xor_si128(load(src + (i + 3) * lds + j), x);
        const __m128i t0 = _mm_unpacklo_epi32(r0, r1), t1 = _mm_unpacklo_epi32(r2, r3);
        const __m128i t2 = _mm_unpackhi_epi32(r0, r1), t3 = _mm_unpackhi_epi32(r2, r3);
        store(dst + j * ldd + i, _mm_unpacklo_epi64(t0, t1));
        store(dst + (j + 1) * ldd + i, _mm_unpackhi_epi64(t0, t1));
        store(dst + (j + 2) * ldd + i, _mm_unpacklo_epi64(t2, t3));
        store(dst + (j + 3) * ldd + i, _mm_unpackhi_epi64(t2, t3));
      }
  }
#else
  for (int64_t j = 0; j < w; ++j)
    for (int64_t i = 0; i < w; ++i) dst[j * ldd + i] = src[i * lds + j] ^ flip;
#endif
}

// Beyond this many bytes a copy's result cannot stay in the caches for the
// core anyway; writing it past them saves reading every line before it is
// overwritten.
inline constexpr int64_t kStreamBytes = int64_t{24} << 20;

// Columns [j_begin, j_end) of the column-major result, that is rows
// [j_begin, j_end) of the m x n source's transpose: the part one thread
// writes. It goes one tile-wide band of result rows at a time, each band
// top to bottom, so that its writes stream along the rows of the result.
template <class U>
void transpose_band_cached(const U* src, int64_t m, int64_t n, U* dst, U flip, int64_t j_begin, int64_t j_end) {
  constexpr int64_t w = kTile<U>;
  const int64_t whole_i = m / w * w;
  for (int64_t j0 = j_begin; j0 < j_end; j0 += w) {
    if (j0 + w <= j_end) {
      for (int64_t i0 = 0; i0 < whole_i; i0 += w) {
        transpose_tile<false>(src + i0 * n + j0, n, dst + j0 * m + i0, m, flip);
      }
    } else {
      for (int64_t j = j0; j < j_end; ++j)
        for (int64_t i = 0; i < whole_i; ++i) dst[j * m + i] = src[i * n + j] ^ flip;
    }
    const int64_t j1 = j0 + w < j_end ? j0 + w : j_end;
    for (int64_t j = j0; j < j1; ++j)
      for (int64_t i = whole_i; i < m; ++i) dst[j * m + i] = src[i * n + j] ^ flip;
  }
}

#if defined(__SSE2__)
// The same part when the result is streamed past the caches. Only the source
// side then needs them, and there the danger is the tall walk with one line
// per source row: each line is on a fresh page, and on power-of-two rows
// every line falls in the same cache set. A band `kStreamBandTiles` tiles
// wide reads a few adjacent lines per row, and the tile some tiles further
// down is fetched ahead as each tile is moved (spread out like this rather
// than a row of tiles at once, the fetches overlap the moves better).
inline constexpr int64_t kStreamBandTiles = 4;
inline constexpr int64_t kPrefetchTilesAhead = 4;

// Units before the first 64-byte line boundary at `p`, when units can sit
// on one; else 0.
template <class U> int64_t units_to_line(const U* p) {
  const auto address = reinterpret_cast<uintptr_t>(p);
  if (address % sizeof(U) != 0) return 0;
  return static_cast<int64_t>((64 - address % 64) % 64 / sizeof(U));
}

template <class U>
void transpose_band_streamed(const U* src, int64_t m, int64_t n, U* dst, U flip, int64_t j_begin, int64_t j_end) {
  constexpr int64_t w = kTile<U>;
  constexpr int64_t band = kStreamBandTiles * w;
  // The tiles start where the result's first column meets a line boundary,
  // so that when every column does (rows of whole lines) each tile writes
  // whole lines: a streamed store to part of a line costs a read of the
  // rest, and that more than halves the speed.
  const int64_t lead = units_to_line(dst);
  const int64_t i_first = lead < m ? lead : m;
  const int64_t i_last = i_first + (m - i_first) / w * w;
  for (int64_t jb = j_begin; jb < j_end; jb += band) {
    const int64_t je = jb + band < j_end ? jb + band : j_end;
    const int64_t whole_je = jb + (je - jb) / w * w;
    for (int64_t i0 = i_first; i0 < i_last; i0 += w) {
      const int64_t ahead = i0 + kPrefetchTilesAhead * w;
      for (int64_t j0 = jb; j0 < whole_je; j0 += w) {
        if (ahead < i_last)
          for (int64_t i = ahead; i < ahead + w; ++i) {
            // Both ends: a row of the tile straddles two lines unless the
            // source rows start on line boundaries.
            _mm_prefetch(reinterpret_cast<const char*>(src + i * n + j0), _MM_HINT_T0);
            _mm_prefetch(reinterpret_cast<const char*>(src + i * n + j0 + w) - 1, _MM_HINT_T0);
          }
        transpose_tile<true>(src + i0 * n + j0, n, dst + j0 * m + i0, m, flip);
      }
    }
    for (int64_t j = whole_je; j < je; ++j)
      for (int64_t i = i_first; i < i_last; ++i) dst[j * m + i] = src[i * n + j] ^ flip;
    for (int64_t j = jb; j < je; ++j) {
      for (int64_t i = 0; i < i_first; ++i) dst[j * m + i] = src[i * n + j] ^ flip;
      for (int64_t i = i_last; i < m; ++i) dst[j * m + i] = src[i * n + j] ^ flip;
    }
  }
}
#endif

template <class U>
void transpose_part(const U* src, int64_t m, int64_t n, U* dst, U flip, int64_t j_begin, int64_t j_end) {
#if defined(__SSE2__)
  const bool aligned = reinterpret_cast<uintptr_t>(dst) % 16 == 0 && m * static_cast<int64_t>(sizeof(U)) % 16 == 0;
  if (aligned && 2 * m * n * static_cast<int64_t>(sizeof(U)) >= kStreamBytes) {
    transpose_band_streamed(src, m, n, dst, flip, j_begin, j_end);
    // Streamed stores are weakly ordered: they must be out before the part
    // counts as done.
    _mm_sfence();
    return;
  }
#endif
  transpose_band_cached(src, m, n, dst, flip, j_begin, j_end);
}

// Blocks smaller than a tile on a side have no whole tile to move: one
// plain walk, with the flip only when there is one, costs a few
// instructions an element where the tiled route's edge loops cost tens.
template <class U> bool is_zero_unit(U u) {
  const U zero{};
  return std::memcmp(&u, &zero, sizeof(U)) == 0;
}
template <class U> void transpose_small(const U* src, int64_t m, int64_t n, U* dst, U flip) {
  if (is_zero_unit(flip)) {
    for (int64_t i = 0; i < m; ++i)
      for (int64_t j = 0; j < n; ++j) dst[j * m + i] = src[i * n + j];
  } else {
    for (int64_t i = 0; i < m; ++i)
      for (int64_t j = 0; j < n; ++j) dst[j * m + i] = src[i * n + j] ^ flip;
  }
}

// The whole copy on `threads` threads, each writing its own band of the
// result's columns. The result does not depend on the split.
template <class U> void transpose_units(const U* src, int64_t m, int64_t n, U* dst, U flip, int threads) {
  if ((m < kTile<U> || n < kTile<U>) && threads <= 1) {
    transpose_small(src, m, n, dst, flip);
    return;
  }
  parallel::split(n, kTile<U>, threads,
                  [&](int64_t j_begin, int64_t j_end) { transpose_part(src, m, n, dst, flip, j_begin, j_end); });
}

// The unit of a T and the mask that conjugates one: the sign bit of the
// imaginary part, which is the upper half of the unit.
template <class T>
using UnitOf = std::conditional_t<sizeof(T) == 4, Unit4, std::conditional_t<sizeof(T) == 8, Unit8, Unit16>>;
template <class T> constexpr UnitOf<T> conjugating_flip() {
  if constexpr (sizeof(T) == 8) return Unit8{0, uint32_t{1} << 31};
  else return Unit16{0, uint64_t{1} << 63};
}

template <class T> void layout_copy(const T* src, int32_t m, int32_t n, T* dst, UnitOf<T> flip, int threads) {
  static_assert(sizeof(UnitOf<T>) == sizeof(T) && alignof(UnitOf<T>) <= alignof(T));
  // A small plain copy moves whole elements: a unit of two halves costs
  // twice the moves.
  if (m < kTile<UnitOf<T>> && n < kTile<UnitOf<T>> && is_zero_unit(flip)) {
    for (int32_t i = 0; i < m; ++i)
      for (int32_t j = 0; j < n; ++j)
        dst[static_cast<std::size_t>(j) * m + i] = src[static_cast<std::size_t>(i) * n + j];
    return;
  }
  transpose_units(reinterpret_cast<const UnitOf<T>*>(src), m, n, reinterpret_cast<UnitOf<T>*>(dst), flip, threads);
}

template <class T> int threads_for_copy(int32_t m, int32_t n) {
  return parallel::threads_for(2 * static_cast<int64_t>(sizeof(T)) * m * n);
}
}  // namespace detail

// Copies a row-major m x n matrix into column-major order. Called with the
// dimensions exchanged it turns a column-major result back into row-major,
// since the row-major layout of a matrix is the column-major layout of its
// transpose. The buffers must not overlap.
template <class T> int32_t ToColumnMajor(const T* src, int32_t m, int32_t n, T* dst) {
  if (m < 1 || n < 1) return EmptyInput;
  detail::layout_copy(src, m, n, dst, detail::UnitOf<T>{}, detail::threads_for_copy<T>(m, n));
  return Ok;
}

// The same copy of the conjugate: every imaginary part changes sign, so a
// zero imaginary part becomes negative zero.
template <class T> int32_t ToColumnMajorConj(const T* src, int32_t m, int32_t n, T* dst) {
  static_assert(is_complex_v<T>);
  if (m < 1 || n < 1) return EmptyInput;
  detail::layout_copy(src, m, n, dst, detail::conjugating_flip<T>(), detail::threads_for_copy<T>(m, n));
  return Ok;
}

// A plain copy of n values, split over threads when it is large.
template <class T> void copy_values(const T* src, int64_t n, T* dst) {
  constexpr int64_t line = sizeof(T) < 64 ? 64 / static_cast<int64_t>(sizeof(T)) : 1;
  parallel::split(n, line, parallel::threads_for(2 * static_cast<int64_t>(sizeof(T)) * n),
                  [&](int64_t begin, int64_t end) {
                    std::memcpy(static_cast<void*>(dst + begin), static_cast<const void*>(src + begin),
                                sizeof(T) * static_cast<std::size_t>(end - begin));
                  });
}

inline void ZeroFill(void* p, std::size_t bytes) { std::memset(p, 0, bytes); }

}  // namespace tarnx
