// LU factorization with partial pivoting, P A = L U, handed back unpacked:
// unit lower-trapezoidal L, upper-trapezoidal U, the permutation matrix and
// the zero-based interchanges.
#include <algorithm>

#include "frame/export.hpp"
#include "frame/layout.hpp"

namespace tarnx {
namespace {

// Splits the core's packed column-major m x n factor `lu` into L (m x k) and
// U (k x n), row-major, and builds P (m x m) from the zero-based pivots. Every
// output element is written exactly once.
template <class T>
void LUUnpack(const T* lu, int32_t m, int32_t n, T* l, T* u, const int32_t* pivots, int32_t* p,
              int32_t* order) {
  const int32_t k = std::min(m, n);
  auto at = [&](int32_t i, int32_t j) { return lu[static_cast<std::size_t>(j) * m + i]; };
  for (int32_t i = 0; i < m; ++i) order[i] = i;
  for (int32_t i = 0; i < m; ++i) {
    const int32_t c = std::min(i, n);
    T* l_row = l + static_cast<std::size_t>(i) * k;
    for (int32_t j = 0; j < c; ++j) l_row[j] = at(i, j);
    for (int32_t j = c; j < k; ++j) l_row[j] = j == i ? T(1) : T(0);
    if (i < k) {
      T* u_row = u + static_cast<std::size_t>(i) * n;
      std::fill(u_row, u_row + i, T(0));
      for (int32_t j = i; j < n; ++j) u_row[j] = at(i, j);
    }
    // Apply the interchanges one at a time and retire row i once it is
    // final: `order[r]` is the row of A now standing at position r, so row i
    // of P A is row order[pivots[i]] of A.
    int32_t* p_row = p + static_cast<std::size_t>(i) * m;
    std::fill(p_row, p_row + m, 0);
    const int32_t r = pivots[i];
    p_row[order[r]] = 1;
    if (r != i) order[r] = order[i];
  }
}

// Factors the row-major m x n `a` into the sized outputs. The work handle
// receives the column-major copy the core factors; the permutation scratch
// the running row order. Both come back empty.
template <class T>
int32_t LUKernel(const T* a, int32_t m, int32_t n, T* l, T* u, int32_t* p, int32_t* pivots,
                 Handle work, Handle permutation) {
  const ScratchRelease<T> release_work(work);
  const ScratchRelease<int32_t> release_permutation(permutation);
  if (m < 1 || n < 1) return EmptyInput;
  if (work == nullptr) return InternalError;
  T* w = nullptr;
  if (ResizeVector<T>(work, m * n, &w) != Ok) return OutOfMemory;
  ToColumnMajor(a, m, n, w);

  int rows_ = m, cols_ = n, info = 0;
  Core<T>::getrf(&rows_, &cols_, w, &rows_, pivots, &info);
  if (info < 0) return InternalError;
  // An exactly zero pivot still leaves a complete factorization: U is
  // singular, and that is reported as a warning with every output kept.
  const int32_t status = info > 0 ? WarnSingularFactor : Ok;

  const int32_t k = std::min(m, n);
  for (int32_t i = 0; i < k; ++i) pivots[i] -= 1;
  for (int32_t i = k; i < m; ++i) pivots[i] = i;

  if (permutation == nullptr) return InternalError;
  int32_t* order = nullptr;
  if (ResizeVector<int32_t>(permutation, m, &order) != Ok) return OutOfMemory;
  LUUnpack(vector_data<T>(work), m, n, l, u, pivots, p, order);
  return status;
}

template <class T>
int32_t LUWorker(Handle a, Handle l, Handle u, Handle p, Handle pivots, Handle work,
                 Handle permutation) {
  const int32_t m = rows(a), n = cols(a), k = std::min(m, n);
  if (m < 1 || n < 1) return EmptyInput;
  if (int32_t status = ResizeMatrix<T>(l, m, k); status != Ok) return status;
  if (int32_t status = ResizeMatrix<T>(u, k, n); status != Ok) return status;
  if (int32_t status = ResizeMatrix<int32_t>(p, m, m); status != Ok) return status;
  if (int32_t status = ResizeVector<int32_t>(pivots, m); status != Ok) return status;
  // Read after every resize: the blocks may have moved.
  return LUKernel<T>(matrix_data<T>(a), m, n, matrix_data<T>(l), matrix_data<T>(u),
                     matrix_data<int32_t>(p), vector_data<int32_t>(pivots), work, permutation);
}

}  // namespace

#include "factor/lu.exports"

}  // namespace tarnx
