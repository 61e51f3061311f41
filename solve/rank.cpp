// Numerical rank: the number of singular values above a tolerance.
#include <algorithm>

#include "factor/svd_kernel.hpp"
#include "frame/export.hpp"
#include "frame/workspace.hpp"
#include "solve/kernels.hpp"

namespace tarnx {

namespace {

template <class T>
int32_t RankFront(Handle a, RealOf<T> tolerance, int32_t* rank, Handle singular_values, Handle work,
                  Handle real_work, Handle int_work) {
  using R = RealOf<T>;
  if (rank == nullptr) return InternalError;
  // -1 until a count exists: the boundary leaves integer results alone.
  *rank = -1;
  const int32_t m = rows(a), n = cols(a);
  if (m < 1 || n < 1) return EmptyInput;
  const int32_t k = std::min(m, n);
  R* s = nullptr;
  if (int32_t status = size_scratch<R>(singular_values, k, &s); status != Ok) return status;
  if (int32_t status = SingularValueKernel<T>(matrix_data<T>(a), m, n, nullptr, s, nullptr, 'N',
                                              work, real_work, int_work);
      status != Ok)
    return status;
  // Formed in the working precision, so float variants round as float does.
  if (tolerance < 0) tolerance = static_cast<R>(std::max(m, n)) * s[0] * Traits<T>::epsilon;
  // Non-increasing values: the count stops at the first one not above it.
  int32_t count = 0;
  while (count < k && s[count] > tolerance) ++count;
  *rank = count;
  return Ok;
}

}  // namespace

#include "solve/rank.exports"

}  // namespace tarnx
