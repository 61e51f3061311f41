// Square linear systems A X = B by matrix type: LU with partial pivoting for
// a general A, Cholesky for a positive definite one, substitution for a
// triangular one. The library's part is the checks, the screen of the values
// the core will read, the copies between the host's row-major blocks and the
// core's column-major workspace, and the mapping of the core's info.
#include <cstring>
#include <limits>

#include "frame/export.hpp"
#include "frame/layout.hpp"
#include "solve/kernels.hpp"

namespace tarnx {
namespace {

// n (n + k) and n k elements in one scratch handle; a count past the int32
// range cannot be asked of the host.
bool fits_in_handle(int64_t count) { return count <= std::numeric_limits<int32_t>::max(); }

// The core sees the row-major n x k block as its k x n transpose; copying it
// with the dimensions exchanged turns a column-major solution back into
// row-major.
template <class T> void solution_to_row_major(const T* column_major, int32_t n, int32_t k, T* x) {
  ToColumnMajor(column_major, k, n, x);
}

// Sizes the workspace for a copy of A followed by the k right-hand sides.
template <class T> int32_t size_system_workspace(Handle workspace, int32_t n, int32_t k, T** w) {
  if (workspace == nullptr) return InternalError;
  const int64_t count = static_cast<int64_t>(n) * (static_cast<int64_t>(n) + k);
  if (!fits_in_handle(count)) return OutOfMemory;
  return ResizeVector<T>(workspace, static_cast<int32_t>(count), w);
}

}  // namespace

template <class T>
int32_t solveGeneral(const T* a, int32_t n, const T* b, int32_t k, T* x, Handle workspace,
                     Handle pivots) {
  if (n < 1 || k < 1) return EmptyInput;
  ScratchRelease<T> release_work(workspace);
  ScratchRelease<int32_t> release_pivots(pivots);
  if (HasNonFinite(a, element_count(n, n)) != 0 || HasNonFinite(b, element_count(n, k)) != 0) return NotFinite;
  T* w = nullptr;
  if (int32_t status = size_system_workspace(workspace, n, k, &w); status != Ok) return status;
  if (pivots == nullptr) return InternalError;
  int32_t* ipiv = nullptr;
  if (int32_t status = ResizeVector<int32_t>(pivots, n, &ipiv); status != Ok) return status;
  T* rhs = w + static_cast<std::size_t>(n) * n;
  ToColumnMajor(a, n, n, w);
  ToColumnMajor(b, n, k, rhs);
  int info = 0;
  Core<T>::gesv(&n, &k, w, &n, ipiv, rhs, &n, &info);
  if (info < 0) return InternalError;
  if (info > 0) return Singular;
  solution_to_row_major(rhs, n, k, x);
  return Ok;
}

namespace {

template <class T>
int32_t solve_positive_definite(const T* a, int32_t n, const T* b, int32_t k, T* x, Handle workspace) {
  if (n < 1 || k < 1) return EmptyInput;
  ScratchRelease<T> release_work(workspace);
  if (HasNonFinite(a, element_count(n, n)) != 0 || HasNonFinite(b, element_count(n, k)) != 0) return NotFinite;
  T* w = nullptr;
  if (int32_t status = size_system_workspace(workspace, n, k, &w); status != Ok) return status;
  T* rhs = w + static_cast<std::size_t>(n) * n;
  // A symmetric matrix is its own transpose, so A goes in unchanged. For a
  // Hermitian A the core then sees conj(A); giving it conj(B) makes it
  // return conj(X), and the conjugating copy back undoes that.
  std::memcpy(w, a, sizeof(T) * static_cast<std::size_t>(n) * n);
  if constexpr (is_complex_v<T>) ToColumnMajorConj(b, n, k, rhs);
  else ToColumnMajor(b, n, k, rhs);
  // "U" of the core's column-major view is our lower triangle with the
  // diagonal; the caller's strict upper triangle is never read.
  int info = 0;
  Core<T>::posv("U", &n, &k, w, &n, rhs, &n, &info);
  if (info < 0) return InternalError;
  if (info > 0) return NotPositiveDefinite;
  if constexpr (is_complex_v<T>) ToColumnMajorConj(rhs, k, n, x);
  else solution_to_row_major(rhs, n, k, x);
  return Ok;
}

// Only the named triangle, diagonal included, is screened or read.
template <class T> bool triangle_has_non_finite(const T* a, int32_t n, bool lower) {
  for (int32_t r = 0; r < n; ++r) {
    const T* row = a + static_cast<std::size_t>(r) * n;
    if (lower ? HasNonFinite(row, r + 1) != 0 : HasNonFinite(row + r, n - r) != 0) return true;
  }
  return false;
}

// flag 0: A is lower triangular, 1: upper triangular.
template <class T>
int32_t solve_triangular(const T* a, int32_t n, int32_t flag, const T* b, int32_t k, T* x,
                         Handle workspace) {
  if (n < 1 || k < 1) return EmptyInput;
  ScratchRelease<T> release_work(workspace);
  if (flag != 0 && flag != 1) return SelectorOutOfRange;
  const bool lower = flag == 0;
  if (triangle_has_non_finite(a, n, lower) || HasNonFinite(b, element_count(n, k)) != 0) return NotFinite;
  if (workspace == nullptr) return InternalError;
  T* w = nullptr;
  if (int32_t status = ResizeVector<T>(workspace, element_count(n, k), &w); status != Ok) return status;
  ToColumnMajor(b, n, k, w);
  // A is handed over as it lies: the core sees its transpose and is asked to
  // solve with the transpose of that, which is A X = B. So our lower
  // triangle is "U" in its view. The plain transpose holds for complex types
  // too; nothing is conjugated.
  int info = 0;
  Core<T>::trtrs(lower ? "U" : "L", "T", "N", &n, &k, a, &n, w, &n, &info);
  if (info < 0) return InternalError;
  if (info > 0) return Singular;
  solution_to_row_major(w, n, k, x);
  return Ok;
}

// Each solver empties the scratch handles it uses; the positive definite and
// triangular ones leave the pivots as passed, and a matrix type out of range
// leaves both.
template <class T>
int32_t solveByMatrixType(const T* a, int32_t n, const T* b, int32_t k, int32_t matrix_type, T* x,
                          Handle workspace, Handle pivots) {
  switch (matrix_type) {
    case matrix_type::General: return solveGeneral(a, n, b, k, x, workspace, pivots);
    case matrix_type::PositiveDefinite: return solve_positive_definite(a, n, b, k, x, workspace);
    case matrix_type::Lower: return solve_triangular(a, n, 0, b, k, x, workspace);
    case matrix_type::Upper: return solve_triangular(a, n, 1, b, k, x, workspace);
    default: return SelectorOutOfRange;
  }
}

// X is sized before the solve, so a failure empties it rather than leaving
// stale values (the export boundary does the emptying).
template <class T>
int32_t LinearSystem(Handle a, Handle b, int32_t matrix_type, Handle x, Handle workspace, Handle pivots) {
  const int32_t n = rows(a);
  if (n < 1) return refuse_before_path<T>(EmptyInput, workspace, pivots);
  if (cols(a) != n) return refuse_before_path<T>(NotSquare, workspace, pivots);
  if (length(b) != n) return refuse_before_path<T>(SizeMismatch, workspace, pivots);
  T* out = nullptr;
  if (int32_t status = ResizeVector<T>(x, n, &out); status != Ok)
    return refuse_before_path<T>(status, workspace, pivots);
  return solveByMatrixType(matrix_data<T>(a), n, vector_data<T>(b), 1, matrix_type, out, workspace,
                           pivots);
}

template <class T>
int32_t LinearSystemSet(Handle a, Handle b, int32_t matrix_type, Handle x, Handle workspace,
                        Handle pivots) {
  const int32_t n = rows(a), k = cols(b);
  if (n < 1 || k < 1) return refuse_before_path<T>(EmptyInput, workspace, pivots);
  if (cols(a) != n) return refuse_before_path<T>(NotSquare, workspace, pivots);
  if (rows(b) != n) return refuse_before_path<T>(SizeMismatch, workspace, pivots);
  T* out = nullptr;
  if (int32_t status = ResizeMatrix<T>(x, n, k, &out); status != Ok)
    return refuse_before_path<T>(status, workspace, pivots);
  return solveByMatrixType(matrix_data<T>(a), n, matrix_data<T>(b), k, matrix_type, out, workspace,
                           pivots);
}

}  // namespace

#define TARNX_INSTANTIATE(t, T) \
  template int32_t solveGeneral<T>(const T*, int32_t, const T*, int32_t, T*, Handle, Handle);
TARNX_FOR_SDCZ(TARNX_INSTANTIATE)
#undef TARNX_INSTANTIATE

#include "solve/linear_systems.exports"

}  // namespace tarnx
