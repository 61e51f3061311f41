// LU factorization with partial pivoting, P A = L U, handed back unpacked:
// unit lower-trapezoidal L, upper-trapezoidal U, the permutation matrix and
// the zero-based interchanges.
#include <algorithm>

#include "frame/export.hpp"
#include "frame/layout.hpp"
#include "frame/parallel.hpp"
#include "frame/workspace.hpp"

namespace tarnx {
namespace {

// Rows [r_begin, r_end) of L (m x k) and U (k x n), row-major, from the
// core's packed column-major m x n factor, in one pass: each tile of the
// factor wholly below the diagonal is L's, with zeros in U, each wholly above
// it U's, with zeros in L, and the tiles on the diagonal are split element by
// element. Whole tiles go through the layout copy's transposing kernel.
template <class T>
void unpack_rows(const T* lu, int64_t m, int64_t n, T* l, T* u, int64_t r_begin, int64_t r_end) {
  using Unit = detail::UnitOf<T>;
  constexpr int64_t w = detail::kTile<Unit>;
  const int64_t k = std::min(m, n);
  const auto tile = [](const T* src, int64_t lds, T* dst, int64_t ldd) {
    detail::transpose_tile<false>(reinterpret_cast<const Unit*>(src), lds, reinterpret_cast<Unit*>(dst), ldd, Unit{});
  };
  // A fixed count, so that the compiler writes it as a few vector stores
  // rather than a call.
  const auto zero_tile_row = [](T* row) {
    for (int64_t j = 0; j < w; ++j) row[j] = T(0);
  };
  for (int64_t i0 = r_begin; i0 < r_end; i0 += w) {
    const int64_t i1 = std::min(i0 + w, r_end);
    for (int64_t j0 = 0; j0 < n; j0 += w) {
      const int64_t j1 = std::min(j0 + w, n);
      const bool whole = i1 - i0 == w && j1 - j0 == w;
      if (whole && j1 <= i0) {
        tile(lu + j0 * m + i0, m, l + i0 * k + j0, k);
        for (int64_t i = i0; i < std::min(i1, k); ++i) zero_tile_row(u + i * n + j0);
      } else if (whole && i1 <= j0) {
        tile(lu + j0 * m + i0, m, u + i0 * n + j0, n);
        if (j1 <= k) {
          for (int64_t i = i0; i < i1; ++i) zero_tile_row(l + i * k + j0);
        } else {
          for (int64_t i = i0; i < i1; ++i) std::fill(l + i * k + std::min(j0, k), l + i * k + k, T(0));
        }
      } else {
        for (int64_t i = i0; i < i1; ++i)
          for (int64_t j = j0; j < j1; ++j) {
            const T v = lu[j * m + i];
            if (j < k) l[i * k + j] = j < i ? v : j == i ? T(1) : T(0);
            if (i < k) u[i * n + j] = j >= i ? v : T(0);
          }
      }
    }
  }
}

// Splits the core's packed factor into L and U and builds P (m x m) from the
// zero-based pivots. Every row of the outputs is written on its own, so large
// factors share the rows out over threads.
template <class T>
void unpack_lu(const T* lu, int32_t m, int32_t n, T* l, T* u, const int32_t* pivots, int32_t* p,
              int32_t* order) {
  const int64_t factor_bytes = 2 * static_cast<int64_t>(sizeof(T)) * element_count(m, n);
  parallel::split(m, detail::kTile<detail::UnitOf<T>>, parallel::threads_for(factor_bytes),
                  [&](int64_t begin, int64_t end) { unpack_rows(lu, m, n, l, u, begin, end); });
  // Apply the interchanges one at a time: `order[r]` is the row of A now
  // standing at position r. Position i is final once interchange i is done,
  // so it keeps the row of A that row i of P A is.
  for (int32_t i = 0; i < m; ++i) order[i] = i;
  for (int32_t i = 0; i < m; ++i) std::swap(order[i], order[pivots[i]]);
  parallel::split(m, 1, parallel::threads_for(static_cast<int64_t>(sizeof(int32_t)) * element_count(m, m)),
                  [&](int64_t begin, int64_t end) {
                    for (int64_t i = begin; i < end; ++i) {
                      int32_t* p_row = p + i * m;
                      std::fill(p_row, p_row + m, 0);
                      p_row[order[i]] = 1;
                    }
                  });
}

// Checks, sizes the outputs and both scratch handles, then factors. Every
// resize comes before the core is called, so a handle that cannot be had
// is refused before any work is done; the boundary empties the scratch.
template <class T>
int32_t LUFront(Handle a, Handle l, Handle u, Handle p, Handle pivots, Handle work,
                Handle permutation) {
  const int32_t m = rows(a), n = cols(a), k = std::min(m, n);
  if (m < 1 || n < 1) return EmptyInput;
  if (int32_t status = ResizeMatrix<T>(l, m, k); status != Ok) return status;
  if (int32_t status = ResizeMatrix<T>(u, k, n); status != Ok) return status;
  if (int32_t status = ResizeMatrix<int32_t>(p, m, m); status != Ok) return status;
  if (int32_t status = ResizeVector<int32_t>(pivots, m); status != Ok) return status;
  // The work handle receives the column-major copy the core factors, the
  // permutation handle the running row order of the unpacking.
  if (int32_t status = size_scratch<T>(work, element_count(m, n)); status != Ok) return status;
  if (int32_t status = size_scratch<int32_t>(permutation, m); status != Ok) return status;
  // Read after every resize: the blocks may have moved.
  T* const w = vector_data<T>(work);
  int32_t* const ipiv = vector_data<int32_t>(pivots);
  ToColumnMajor(matrix_data<T>(a), m, n, w);

  int rows_ = m, cols_ = n, info = 0;
  Core<T>::getrf(&rows_, &cols_, w, &rows_, ipiv, &info);
  // An exactly zero pivot still leaves a complete factorization: U is
  // singular, and that is reported as a warning with every output kept.
  const int32_t status = status_from_info(info, WarnSingularFactor);
  if (failed(status)) return status;

  for (int32_t i = 0; i < k; ++i) ipiv[i] -= 1;
  for (int32_t i = k; i < m; ++i) ipiv[i] = i;
  unpack_lu(w, m, n, matrix_data<T>(l), matrix_data<T>(u), ipiv, matrix_data<int32_t>(p),
           vector_data<int32_t>(permutation));
  return status;
}

}  // namespace

#include "factor/lu.exports"

}  // namespace tarnx
