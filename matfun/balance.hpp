#pragma once
// Diagonal balancing shared by the matrix functions: B = D^-1 A D with D a
// diagonal of powers of the radix chosen by the core (?gebal, scaling only),
// and the way back, f(A) = D f(B) D^-1 (?gebak). Balancing only evens out the
// row and column norms; it never permutes, so a triangular matrix stays
// triangular and the scaling commutes with every matrix function.
#include <cstdint>

#include "frame/core.hpp"
#include "frame/handle.hpp"
#include "frame/layout.hpp"

namespace tarnx {

// Element count of an n x n block, or -1 when it does not fit a handle.
inline int32_t square_count(int32_t n, int32_t blocks = 1, int32_t extra = 0) {
  return handle_count(element_count(n, n) * blocks + extra);
}

// The indices of the balanced range that ?gebal reports; with scaling only
// they span the whole matrix, but ?gebak wants them back as they were given.
struct BalancedRange {
  int ilo = 1;
  int ihi = 1;
};

// Sizes `workspace` to n x n and copies the row-major `a` into it
// column-major, for the core's balancing routines.
template <class T> int32_t column_major_copy(const T* a, int32_t n, Handle workspace, T** w) {
  if (workspace == nullptr) return InternalError;
  const int32_t count = square_count(n);
  if (count < 0) return OutOfMemory;
  if (ResizeVector<T>(workspace, count, w) != Ok) return OutOfMemory;
  ToColumnMajor(a, n, n, *w);
  return Ok;
}

// Balances the row-major n x n matrix `a` in place. `scale` (n values)
// receives the factors; `workspace` holds the column-major copy the core works
// on and comes back empty.
template <class T>
int32_t balanceMatrix(T* a, int32_t n, RealOf<T>* scale, Handle workspace, BalancedRange* range) {
  ScratchRelease<T> release(workspace);
  T* w = nullptr;
  if (int32_t status = column_major_copy(a, n, workspace, &w); status != Ok) return status;
  // The core's balancing refuses a NaN (info -3) only when its scan meets it
  // before its scaling loop does: a NaN in a row or column that also holds an
  // infinity can keep that loop rescaling forever. Refusing it here gives the
  // same status without handing the matrix over.
  if (HasNaN(w, square_count(n))) return InternalError;
  int info = 0;
  Core<T>::gebal("S", &n, w, &n, &range->ilo, &range->ihi, scale, &info);
  if (info != 0) return InternalError;
  ToColumnMajor(w, n, n, a);
  return Ok;
}

// Undoes balanceMatrix on a function of the balanced matrix: `a` becomes
// D a D^-1. The row scaling runs on a column-major copy; the column scaling
// then runs on `a` itself, whose row-major block the core reads as the
// transpose, so scaling "rows" of that view by 1/d scales our columns.
template <class T>
int32_t unbalanceMatrix(T* a, int32_t n, const RealOf<T>* scale, BalancedRange range,
                        Handle workspace) {
  ScratchRelease<T> release(workspace);
  T* w = nullptr;
  if (int32_t status = column_major_copy(a, n, workspace, &w); status != Ok) return status;
  int info = 0;
  Core<T>::gebak("S", "R", &n, &range.ilo, &range.ihi, scale, &n, w, &n, &info);
  if (info != 0) return InternalError;
  ToColumnMajor(w, n, n, a);
  Core<T>::gebak("S", "L", &n, &range.ilo, &range.ihi, scale, &n, a, &n, &info);
  if (info != 0) return InternalError;
  return Ok;
}

}  // namespace tarnx
