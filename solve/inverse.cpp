// Inverse of a square matrix, in place in the caller's handle, by matrix
// type: LU for a general matrix, Cholesky for a positive definite one,
// triangular inversion for a triangular one.
//
// Every core call works on the caller's row-major block with leading
// dimension n. The core reads it as the transpose, and the inverse of the
// transpose is the transpose of the inverse, so what comes back is the
// row-major inverse with no conversion either way.
#include "frame/export.hpp"
#include "frame/workspace.hpp"
#include "solve/kernels.hpp"

namespace tarnx {

template <class T> int32_t GeneralInverseKernel(T* a, int32_t n, Handle work, Handle pivots) {
  const ScratchRelease<T> release_work(work);
  const ScratchRelease<int32_t> release_pivots(pivots);
  int32_t* ipiv = nullptr;
  if (int32_t status = size_scratch<int32_t>(pivots, n, &ipiv); status != Ok) return status;
  int info = 0;
  Core<T>::getrf(&n, &n, a, &n, ipiv, &info);
  if (int32_t status = status_from_info(info, Singular); status != Ok) return status;
  // The size query reads neither the matrix nor the pivots. A float32 query
  // result is exact here: the size guard keeps n far below where n times the
  // block size would lose digits, so truncation loses nothing.
  T query{};
  int lwork = -1;
  Core<T>::getri(&n, nullptr, &n, nullptr, &query, &lwork, &info);
  if (info < 0) return InternalError;
  lwork = workspace_size(query);
  T* w = nullptr;
  if (int32_t status = size_scratch<T>(work, lwork, &w); status != Ok) return status;
  Core<T>::getri(&n, a, &n, ipiv, w, &lwork, &info);
  return status_from_info(info, Singular);
}

namespace {

template <class T> int32_t invert_positive_definite(T* a, int32_t n) {
  // "U" of the core's column-major view is our lower triangle with the
  // diagonal; the caller's strict upper triangle is never read.
  int info = 0;
  Core<T>::potrf("U", &n, a, &n, &info);
  if (int32_t status = status_from_info(info, NotPositiveDefinite); status != Ok) return status;
  Core<T>::potri("U", &n, a, &n, &info);
  if (int32_t status = status_from_info(info, Singular); status != Ok) return status;
  // The inverse is in our lower triangle; mirror it (conjugated for complex
  // types) so the result is exactly symmetric or Hermitian.
  for (int32_t i = 0; i < n; ++i) {
    T* row = a + static_cast<std::size_t>(i) * n;
    for (int32_t j = i + 1; j < n; ++j) row[j] = conj_if(a[static_cast<std::size_t>(j) * n + i]);
  }
  return Ok;
}

// The other triangle is left exactly as it was, not zeroed: a full matrix
// given as lower triangular gets its lower triangle inverted and its upper
// triangle back untouched.
template <class T> int32_t invert_triangular(T* a, int32_t n, bool lower) {
  // In the core's view our lower triangle is its upper one.
  int info = 0;
  Core<T>::trtri(lower ? "U" : "L", "N", &n, a, &n, &info);
  // Only a zero on the diagonal is reported; the core refuses none of these
  // arguments, and any other info is taken as success.
  return info > 0 ? Singular : Ok;
}

template <class T> int32_t InverseFront(Handle a, int32_t matrix_type, Handle work, Handle pivots) {
  const int32_t n = rows(a);
  // Only the row count is tested against 1: a matrix with rows but no
  // columns is not square rather than empty.
  if (n < 1) return refuse_before_path<T>(EmptyInput, work, pivots);
  if (cols(a) != n) return refuse_before_path<T>(NotSquare, work, pivots);
  // Past here the general path empties the scratch handles itself; the
  // others, a bad selector included, leave them as passed.
  T* data = matrix_data<T>(a);
  switch (matrix_type) {
    case matrix_type::General: return GeneralInverseKernel(data, n, work, pivots);
    case matrix_type::PositiveDefinite: return invert_positive_definite(data, n);
    case matrix_type::Lower: return invert_triangular(data, n, true);
    case matrix_type::Upper: return invert_triangular(data, n, false);
    default: return SelectorOutOfRange;
  }
}

}  // namespace

#define TARNX_INSTANTIATE(t, T) template int32_t GeneralInverseKernel<T>(T*, int32_t, Handle, Handle);
TARNX_FOR_SDCZ(TARNX_INSTANTIATE)
#undef TARNX_INSTANTIATE

#include "solve/inverse.exports"

}  // namespace tarnx
