#pragma once
// The singular-value kernel behind the SVD export and every operation that
// needs singular values (2-norm, condition number, rank, pseudo-inverse,
// least squares).
#include <cstdint>

#include "frame/handle.hpp"
#include "frame/traits.hpp"

namespace tarnx {

// Singular values, and on request the singular vectors, of the row-major
// m x n matrix `a`: A = U * diag(s) * V^H.
//
//   job 'N'  values only; `u` and `v` are not touched and may be null.
//   job 'S'  economy: `u` is m x k, `v` is n x k (k = min(m, n)).
//   job 'A'  full:    `u` is m x m, `v` is n x n.
//
// The caller sizes `u`, `s` (k real values, non-increasing) and `v`, all
// row-major; `a` is only read. The kernel sizes the three scratch handles
// itself and leaves them empty on every return: `work` of the element type,
// `real_work` of float64 (complex types only; ignored and may be null for
// real ones) and `int_work` of int32. None of the pointers may point into a
// scratch handle, since the kernel resizes those.
//
// Returns Ok, EmptyInput (m or n below 1), NotFinite (a NaN, an infinity or a
// value at the extreme finite magnitudes, real and imaginary parts alike),
// OutOfMemory (a scratch resize failed), InternalError (a null scratch
// handle or pointer, an unknown job, a failed workspace query) or
// NoConvergence (the core's factorization failed).
template <class T>
int32_t SingularValueKernel(const T* a, int32_t m, int32_t n, T* u, RealOf<T>* s, T* v, char job,
                            Handle work, Handle real_work, Handle int_work);

}  // namespace tarnx
