// Condition number in one of four norms: s1 / sk for the 2-norm (any shape),
// ||A|| * ||A^-1|| for the others (square only). A singular matrix has an
// infinite condition number, which is a result and not a failure.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "elementary/norms.hpp"
#include "factor/svd_kernel.hpp"
#include "frame/export.hpp"
#include "frame/workspace.hpp"
#include "solve/kernels.hpp"

namespace tarnx {

namespace {

template <class T>
int32_t two_norm_condition(const T* a, int32_t m, int32_t n, RealOf<T>* result,
                           Handle singular_values, Handle work, Handle real_work, Handle int_work) {
  using R = RealOf<T>;
  const int32_t k = std::min(m, n);
  R* s = nullptr;
  if (int32_t status = size_scratch<R>(singular_values, k, &s); status != Ok) return status;
  if (int32_t status = SingularValueKernel<T>(a, m, n, nullptr, s, nullptr, 'N', work, real_work,
                                              int_work);
      status != Ok)
    return status;
  // A quotient past the largest value overflows to +infinity like any other
  // product of the working precision: the condition number is not representable.
  *result = s[k - 1] == R(0) ? std::numeric_limits<R>::infinity() : s[0] / s[k - 1];
  return Ok;
}

template <class T>
int32_t inverse_norm_condition(const T* a, int32_t n, int32_t type, RealOf<T>* result, Handle copy,
                               Handle inverse_work, Handle pivots) {
  using R = RealOf<T>;
  T* c = nullptr;
  if (int32_t status = size_scratch<T>(copy, element_count(n, n), &c); status != Ok) return status;
  std::memcpy(c, a, sizeof(T) * static_cast<std::size_t>(n) * n);
  // The norms of types 1 to 3 need no singular values, so no handles.
  const auto norm_of = [n, type](const T* p, R* out) {
    return MatrixNormKernel<T>(p, n, n, type, out, nullptr, nullptr, nullptr, nullptr);
  };
  R norm = 0, inverse_norm = 0;
  if (int32_t status = norm_of(c, &norm); status != Ok) return status;
  if (int32_t status = GeneralInverseKernel<T>(c, n, inverse_work, pivots); status != Ok) {
    if (status != Singular) return status;
    *result = std::numeric_limits<R>::infinity();
    return Ok;
  }
  if (int32_t status = norm_of(c, &inverse_norm); status != Ok) return status;
  *result = norm * inverse_norm;
  return Ok;
}

template <class T>
int32_t ConditionNumberFront(Handle a, int32_t type, RealOf<T>* result, Handle singular_values,
                             Handle copy, Handle work, Handle real_work, Handle int_work,
                             Handle inverse_work, Handle pivots) {
  const int32_t m = rows(a), n = cols(a);
  if (m < 1 || n < 1) return EmptyInput;
  // The host passes the norm type unsigned: a negative value is a huge one.
  if (type < TwoNorm || type > InfinityNorm) return SelectorOutOfRange;
  if (type == TwoNorm)
    return two_norm_condition<T>(matrix_data<T>(a), m, n, result, singular_values, work,
                                 real_work, int_work);
  if (m != n) return NotSquare;
  return inverse_norm_condition<T>(matrix_data<T>(a), n, type, result, copy, inverse_work, pivots);
}

}  // namespace

#include "solve/condition_number.exports"

}  // namespace tarnx
