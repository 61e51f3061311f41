#pragma once
// The solve kernels that other operations call directly, below the exports:
// the matrix exponential solves its Padé system with GeneralSolveKernel, and
// the condition number inverts its copy with GeneralInverseKernel. Both hand
// their scratch handles back empty themselves, since no export boundary
// stands between them and their caller.
#include <cstdint>

#include "frame/handle.hpp"

namespace tarnx {

// The caller's matrix-type selector. Lower and upper are meant in the
// caller's row-major view.
namespace matrix_type {
enum : int32_t { General = 0, PositiveDefinite = 1, Lower = 2, Upper = 3 };
}

// Solves A X = B by LU with partial pivoting. `a` is n x n and `b` n x k
// (n and k at least 1), both row-major and only read; the row-major n x k solution goes to `x`,
// which may be the same memory as `a` or `b` (both are copied into the
// workspace before anything is written). Rejected values in A or B give
// NotFinite before any workspace is looked at; a zero pivot gives Singular.
template <class T>
int32_t GeneralSolveKernel(const T* a, int32_t n, const T* b, int32_t k, T* x, Handle workspace,
                           Handle pivots);

// Inverts the row-major n x n matrix `a` (n at least 1) in place by LU. The core sees the
// transpose, whose inverse is the transpose of the inverse, so no layout
// conversion is needed. A zero pivot gives Singular; `a` is then partly
// overwritten.
template <class T> int32_t GeneralInverseKernel(T* a, int32_t n, Handle work, Handle pivots);

// The inverse, the determinant and the linear systems own their work and
// pivot handles path by path: a path that uses them empties them, a path
// that does not leaves them exactly as passed. A call refused before any
// path is chosen empties both, like every failed call.
template <class T> int32_t refuse_before_path(int32_t status, Handle work, Handle pivots) {
  release_scratch<T>(work);
  release_scratch<int32_t>(pivots);
  return status;
}

}  // namespace tarnx
