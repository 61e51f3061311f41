// Vector norms of any order and the four matrix norms, formed from plain sums
// with no rescaling against overflow. Only the sums of absolute values of
// real data come from the core.
#include "elementary/norms.hpp"

#include <cmath>
#include <cstddef>

#include "elementary/sums.hpp"
#include "factor/svd_kernel.hpp"
#include "frame/export.hpp"
#include "frame/workspace.hpp"

namespace tarnx {
namespace {

// Sum of |x(k * stride)| over `count` elements: the core's asum for real
// data; for complex data the moduli, since the core's complex asum adds
// |re| + |im| instead.
template <class T> RealOf<T> magnitude_sum(const T* x, int32_t count, int32_t stride) {
  if constexpr (!is_complex_v<T>) {
    return Core<T>::asum(count, x, stride);
  } else {
    RealOf<T> sum(0);
    for (int32_t k = 0; k < count; ++k) sum += internal::magnitude(x[static_cast<std::size_t>(k) * stride]);
    return sum;
  }
}

// The smallest or largest |x(i)|. Complex values are compared by their
// squared moduli, so only the winner pays for a square root.
template <class T> RealOf<T> extreme_magnitude(const T* x, int32_t n, bool largest) {
  auto key = [](const T& v) {
    if constexpr (is_complex_v<T>) return v.real() * v.real() + v.imag() * v.imag();
    else return std::fabs(v);
  };
  RealOf<T> best = key(x[0]);
  for (int32_t i = 1; i < n; ++i) {
    const RealOf<T> k = key(x[i]);
    if (largest ? k > best : k < best) best = k;
  }
  if constexpr (is_complex_v<T>) return std::sqrt(best);
  else return best;
}

// (sum |x(i)|^p)^(1/p) for any other order, negative ones included; the sum
// is kept in float64 whatever the element type.
template <class T> RealOf<T> general_norm(const T* x, int32_t n, double p) {
  double sum = 0.0;
  for (int32_t i = 0; i < n; ++i) sum += std::pow(static_cast<double>(internal::magnitude(x[i])), p);
  return static_cast<RealOf<T>>(std::pow(sum, 1.0 / p));
}

template <class T> int32_t VectorNormFront(Handle h, double p, RealOf<T>* result) {
  const T* const x = vector_data<T>(h);
  const int32_t n = length(h);
  if (n < 1) return EmptyInput;
  if (std::isnan(p)) return NormOrderNaN;
  if (p == 0.0) return ZeroIncrement;
  if (std::isinf(p)) *result = extreme_magnitude(x, n, p > 0);
  else if (p == 1.0) *result = magnitude_sum(x, n, 1);
  else if (p == 2.0) *result = std::sqrt(internal::sum_of_squares(x, n));
  else *result = general_norm(x, n, p);
  return Ok;
}


// The largest of `count` magnitude sums of `len` elements each; sum k starts
// at a + k * step and walks with `stride`. Starts from 0, and a NaN sum never
// wins the comparison.
template <class T>
RealOf<T> largest_magnitude_sum(const T* a, int32_t count, int32_t len, int32_t step, int32_t stride) {
  RealOf<T> best(0);
  for (int32_t k = 0; k < count; ++k) {
    const RealOf<T> s = magnitude_sum(a + static_cast<std::size_t>(k) * step, len, stride);
    if (s > best) best = s;
  }
  return best;
}

// The largest singular value. `singular_values` holds all min(m, n) of them
// for the length of the call; the kernel is called by other operations too,
// so it empties them again on every way out.
template <class T>
int32_t two_norm(const T* a, int32_t m, int32_t n, RealOf<T>* result, Handle singular_values,
                 Handle work, Handle real_work, Handle int_work) {
  using R = RealOf<T>;
  if (singular_values == nullptr) return InternalError;
  const ScratchRelease<R> release_values(singular_values);
  R* s = nullptr;
  if (int32_t status = size_scratch<R>(singular_values, m < n ? m : n, &s); status != Ok) return status;
  if (int32_t status = SingularValueKernel<T>(a, m, n, nullptr, s, nullptr, 'N', work, real_work, int_work);
      status != Ok)
    return status;
  *result = s[0];  // the values come back non-increasing
  return Ok;
}

template <class T> int32_t MatrixNormFront(Handle a, int32_t type, RealOf<T>* result, Handle singular_values,
                                           Handle work, Handle real_work, Handle int_work) {
  const int32_t m = rows(a), n = cols(a);
  if (m < 1 || n < 1) return EmptyInput;
  return MatrixNormKernel(matrix_data<T>(a), m, n, type, result, singular_values, work, real_work,
                          int_work);
}

}  // namespace

template <class T>
int32_t MatrixNormKernel(const T* a, int32_t m, int32_t n, int32_t type, RealOf<T>* result,
                         Handle singular_values, Handle work, Handle real_work, Handle int_work) {
  int32_t status = Ok;
  switch (type) {
    case TwoNorm:
      status = two_norm(a, m, n, result, singular_values, work, real_work, int_work);
      break;
    case OneNorm:  // columns: m elements apart by n, one starting at each of the first n
      *result = largest_magnitude_sum(a, n, m, 1, n);
      break;
    case FrobeniusNorm:
      *result = std::sqrt(internal::sum_of_squares(a, static_cast<int64_t>(m) * n));
      break;
    case InfinityNorm:
      *result = largest_magnitude_sum(a, m, n, n, 1);
      break;
    default:
      status = SelectorOutOfRange;
  }
  if (failed(status)) *result = failure_nan<RealOf<T>>();
  return status;
}

#define TARNX_INSTANTIATE(t, T)                                                                    \
  template int32_t MatrixNormKernel<T>(const T*, int32_t, int32_t, int32_t, RealOf<T>*, Handle,    \
                                       Handle, Handle, Handle);
TARNX_FOR_SDCZ(TARNX_INSTANTIATE)
#undef TARNX_INSTANTIATE

#include "elementary/norms.exports"

}  // namespace tarnx
