// Square linear systems A X = B by matrix type: LU with partial pivoting for
// a general A, Cholesky for a positive definite one, substitution for a
// triangular one. The library's part is the checks, the screen of the values
// the core will read, the copies between the host's row-major blocks and the
// core's column-major workspace, and the mapping of the core's info.
#include <array>

#include "frame/export.hpp"
#include "frame/layout.hpp"
#include "frame/workspace.hpp"
#include "solve/kernels.hpp"

namespace tarnx {
namespace {

// The core sees the row-major n x k block as its k x n transpose; copying it
// with the dimensions exchanged turns a column-major solution back into
// row-major.
template <class T> void solution_to_row_major(const T* column_major, int32_t n, int32_t k, T* x) {
  ToColumnMajor(column_major, k, n, x);
}

// The workspace of a factoring solver: a copy of A, then the k right-hand
// sides.
template <class T>
int32_t carve_system_workspace(Handle workspace, int32_t n, int32_t k, std::array<T*, 2>& parts) {
  return carve_scratch<T>(workspace, {element_count(n, n), element_count(n, k)}, parts);
}

}  // namespace

template <class T>
int32_t GeneralSolveKernel(const T* a, int32_t n, const T* b, int32_t k, T* x, Handle workspace,
                           Handle pivots) {
  const ScratchRelease<T> release_work(workspace);
  const ScratchRelease<int32_t> release_pivots(pivots);
  if (HasNonFinite(a, element_count(n, n)) != 0 || HasNonFinite(b, element_count(n, k)) != 0) return NotFinite;
  std::array<T*, 2> parts{};
  if (int32_t status = carve_system_workspace(workspace, n, k, parts); status != Ok) return status;
  int32_t* ipiv = nullptr;
  if (int32_t status = size_scratch<int32_t>(pivots, n, &ipiv); status != Ok) return status;
  const auto [w, rhs] = parts;
  // The core factors A itself, so A goes in transposed, like B; the plain
  // transpose holds for complex types too, nothing is conjugated.
  ToColumnMajor(a, n, n, w);
  ToColumnMajor(b, n, k, rhs);
  int info = 0;
  Core<T>::gesv(&n, &k, w, &n, ipiv, rhs, &n, &info);
  if (int32_t status = status_from_info(info, Singular); status != Ok) return status;
  solution_to_row_major(rhs, n, k, x);
  return Ok;
}

namespace {

// Every solver below takes n and k of at least 1, checked by its front.
template <class T>
int32_t solve_positive_definite(const T* a, int32_t n, const T* b, int32_t k, T* x, Handle workspace) {
  const ScratchRelease<T> release_work(workspace);
  if (HasNonFinite(a, element_count(n, n)) != 0 || HasNonFinite(b, element_count(n, k)) != 0) return NotFinite;
  std::array<T*, 2> parts{};
  if (int32_t status = carve_system_workspace(workspace, n, k, parts); status != Ok) return status;
  const auto [w, rhs] = parts;
  // A symmetric matrix is its own transpose, so A goes in unchanged. For a
  // Hermitian A the core then sees conj(A); giving it conj(B) makes it
  // return conj(X), and the conjugating copy back undoes that.
  copy_values(a, element_count(n, n), w);
  if constexpr (is_complex_v<T>) ToColumnMajorConj(b, n, k, rhs);
  else ToColumnMajor(b, n, k, rhs);
  // "U" of the core's column-major view is our lower triangle with the
  // diagonal; the caller's strict upper triangle is never read.
  int info = 0;
  Core<T>::posv("U", &n, &k, w, &n, rhs, &n, &info);
  if (int32_t status = status_from_info(info, NotPositiveDefinite); status != Ok) return status;
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
  const ScratchRelease<T> release_work(workspace);
  if (flag != 0 && flag != 1) return SelectorOutOfRange;
  const bool lower = flag == 0;
  if (triangle_has_non_finite(a, n, lower) || HasNonFinite(b, element_count(n, k)) != 0) return NotFinite;
  T* w = nullptr;
  if (int32_t status = size_scratch<T>(workspace, element_count(n, k), &w); status != Ok) return status;
  ToColumnMajor(b, n, k, w);
  // A is handed over as it lies: the core sees its transpose and is asked to
  // solve with the transpose of that, which is A X = B. So our lower
  // triangle is "U" in its view. The plain transpose holds for complex types
  // too; nothing is conjugated.
  int info = 0;
  Core<T>::trtrs(lower ? "U" : "L", "T", "N", &n, &k, a, &n, w, &n, &info);
  if (int32_t status = status_from_info(info, Singular); status != Ok) return status;
  solution_to_row_major(w, n, k, x);
  return Ok;
}

// Each solver empties the scratch handles it uses; the positive definite and
// triangular ones leave the pivots as passed, and a matrix type out of range
// leaves both.
template <class T>
int32_t solve_by_matrix_type(const T* a, int32_t n, const T* b, int32_t k, int32_t matrix_type, T* x,
                             Handle workspace, Handle pivots) {
  switch (matrix_type) {
    case matrix_type::General: return GeneralSolveKernel(a, n, b, k, x, workspace, pivots);
    case matrix_type::PositiveDefinite: return solve_positive_definite(a, n, b, k, x, workspace);
    case matrix_type::Lower: return solve_triangular(a, n, 0, b, k, x, workspace);
    case matrix_type::Upper: return solve_triangular(a, n, 1, b, k, x, workspace);
    default: return SelectorOutOfRange;
  }
}

// X is sized before the solve, so a failure empties it rather than leaving
// stale values (the export boundary does the emptying).
template <class T>
int32_t LinearSystemFront(Handle a, Handle b, int32_t matrix_type, Handle x, Handle workspace, Handle pivots) {
  const int32_t n = rows(a);
  if (n < 1) return refuse_before_path<T>(EmptyInput, workspace, pivots);
  if (cols(a) != n) return refuse_before_path<T>(NotSquare, workspace, pivots);
  if (length(b) != n) return refuse_before_path<T>(SizeMismatch, workspace, pivots);
  T* out = nullptr;
  if (int32_t status = ResizeVector<T>(x, n, &out); status != Ok)
    return refuse_before_path<T>(status, workspace, pivots);
  return solve_by_matrix_type(matrix_data<T>(a), n, vector_data<T>(b), 1, matrix_type, out, workspace,
                           pivots);
}

template <class T>
int32_t LinearSystemSetFront(Handle a, Handle b, int32_t matrix_type, Handle x, Handle workspace,
                             Handle pivots) {
  const int32_t n = rows(a), k = cols(b);
  if (n < 1 || k < 1) return refuse_before_path<T>(EmptyInput, workspace, pivots);
  if (cols(a) != n) return refuse_before_path<T>(NotSquare, workspace, pivots);
  if (rows(b) != n) return refuse_before_path<T>(SizeMismatch, workspace, pivots);
  T* out = nullptr;
  if (int32_t status = ResizeMatrix<T>(x, n, k, &out); status != Ok)
    return refuse_before_path<T>(status, workspace, pivots);
  return solve_by_matrix_type(matrix_data<T>(a), n, matrix_data<T>(b), k, matrix_type, out, workspace,
                           pivots);
}

}  // namespace

#define TARNX_INSTANTIATE(t, T) \
  template int32_t GeneralSolveKernel<T>(const T*, int32_t, const T*, int32_t, T*, Handle, Handle);
TARNX_FOR_SDCZ(TARNX_INSTANTIATE)
#undef TARNX_INSTANTIATE

#include "solve/linear_systems.exports"

}  // namespace tarnx
