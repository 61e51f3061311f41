#pragma once
// The matrix-norm kernel, shared with the condition number.
#include <cstdint>

#include "frame/handle.hpp"

namespace tarnx {

enum MatrixNormType : int32_t {
  TwoNorm = 0,        // largest singular value
  OneNorm = 1,        // largest column sum of absolute values
  FrobeniusNorm = 2,  // square root of the plain sum of squares
  InfinityNorm = 3,   // largest row sum of absolute values
};

// The chosen norm of the row-major m x n matrix `a` (m, n >= 1; the caller
// checks). Only the 2-norm uses the handles: `singular_values` (real, may be
// null for the other norms) holds the min(m, n) singular values during the
// call; `work`, `real_work` and `int_work` are the singular-value kernel's
// own scratch handles. All four come back empty.
// `result` receives the norm, or the failure NaN with a negative status.
template <class T>
int32_t MatrixNormKernel(const T* a, int32_t m, int32_t n, int32_t type, RealOf<T>* result,
                         Handle singular_values, Handle work, Handle real_work, Handle int_work);

}  // namespace tarnx
