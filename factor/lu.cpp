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

// Splits the core's packed column-major m x n factor `lu` into L (m x k) and
// U (k x n), row-major, and builds P (m x m) from the zero-based pivots. The
// packed factor is read column by column, so it is first turned row-major in
// one tiled pass, into whichever of L and U has its m x n shape; a pass along
// the rows then moves the other triangle across and sets the unit diagonal
// and the zeros. Both passes over rows touch each row on its own, so large
// factors share them out over threads.
template <class T>
void unpack_lu(const T* lu, int32_t m, int32_t n, T* l, T* u, const int32_t* pivots, int32_t* p,
              int32_t* order) {
  const int32_t k = std::min(m, n);
  // Column-major m x n is the row-major n x m block, whose column-major copy
  // is row-major m x n.
  T* packed = m >= n ? l : u;
  ToColumnMajor(lu, n, m, packed);
  const auto split_rows = [](int32_t count, int64_t bytes, auto row) {
    parallel::split(count, 1, parallel::threads_for(bytes), [&](int64_t begin, int64_t end) {
      for (int64_t i = begin; i < end; ++i) row(static_cast<int32_t>(i));
    });
  };
  split_rows(k, static_cast<int64_t>(sizeof(T)) * element_count(k, std::max(m, n)), [&](int32_t i) {
    T* l_row = l + static_cast<std::size_t>(i) * k;
    T* u_row = u + static_cast<std::size_t>(i) * n;
    if (m >= n) {
      std::copy(l_row + i, l_row + n, u_row + i);
    } else {
      std::copy(u_row, u_row + i, l_row);
    }
    std::fill(u_row, u_row + i, T(0));
    l_row[i] = T(1);
    std::fill(l_row + i + 1, l_row + k, T(0));
  });
  // Apply the interchanges one at a time: `order[r]` is the row of A now
  // standing at position r. Position i is final once interchange i is done,
  // so it keeps the row of A that row i of P A is.
  for (int32_t i = 0; i < m; ++i) order[i] = i;
  for (int32_t i = 0; i < m; ++i) std::swap(order[i], order[pivots[i]]);
  split_rows(m, static_cast<int64_t>(sizeof(int32_t)) * element_count(m, m), [&](int32_t i) {
    int32_t* p_row = p + static_cast<std::size_t>(i) * m;
    std::fill(p_row, p_row + m, 0);
    p_row[order[i]] = 1;
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
