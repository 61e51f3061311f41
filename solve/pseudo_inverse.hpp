#pragma once
// The pseudo-inverse kernel, shared by the pseudo-inverse export and the
// matrix power (negative powers of singular matrices).
#include <cstdint>

#include "frame/handle.hpp"
#include "frame/traits.hpp"

namespace tarnx {

// Moore-Penrose pseudo-inverse of the row-major m x n matrix `a` (m and n at
// least 1, checked by the caller), from its
// thin singular value decomposition: singular values not above `tolerance`
// are discarded, a negative tolerance standing for max(m, n) * s1 * epsilon.
// The n x m result, row-major, goes to `out`, or over `a` itself when `out`
// is null (the decomposition works on its own copy of `a`).
//
// `singular_values` (real, min(m, n) values) and `factors` (element type,
// U then V: (m + n) * min(m, n) elements) are sized here and come back
// empty on every return; `work`, `real_work` and `int_work` are the
// singular-value kernel's own scratch handles, passed through.
//
// Returns Ok, InternalError (a null handle),
// OutOfMemory (a resize failed) or the singular-value kernel's status.
template <class T>
int32_t PseudoInverseKernel(T* a, int32_t m, int32_t n, RealOf<T> tolerance, T* out,
                            Handle singular_values, Handle factors, Handle work, Handle real_work,
                            Handle int_work);

}  // namespace tarnx
