// Pseudo-inverse from the thin singular value decomposition A = U S V^H:
// A+ = V S+ U^H, with S+ inverting only the singular values above the
// tolerance.
#include "solve/pseudo_inverse.hpp"

#include <algorithm>
#include <array>

#include "factor/svd_kernel.hpp"
#include "frame/core.hpp"
#include "frame/export.hpp"
#include "frame/workspace.hpp"
#include "solve/kernels.hpp"

namespace tarnx {

template <class T>
int32_t PseudoInverseKernel(T* a, int32_t m, int32_t n, RealOf<T> tolerance, T* out,
                            Handle singular_values, Handle factors, Handle work, Handle real_work,
                            Handle int_work) {
  using R = RealOf<T>;
  // Other operations call the kernel directly: it empties what it sizes.
  // Declared in this order so the singular values are emptied before the
  // factors.
  const ScratchRelease<T> release_factors(factors);
  const ScratchRelease<R> release_values(singular_values);

  if (singular_values == nullptr || factors == nullptr || a == nullptr) return InternalError;
  const int32_t k = std::min(m, n);
  // U then V. Refused before either handle is sized when it cannot be had.
  const std::array<int64_t, 2> factor_counts{element_count(m, k), element_count(n, k)};
  if (!handle_can_hold(ScratchLayout<2>(factor_counts).total)) return OutOfMemory;

  if (int32_t status = size_scratch<R>(singular_values, k); status != Ok) return status;
  std::array<T*, 2> parts{};
  if (int32_t status = carve_scratch<T>(factors, factor_counts, parts); status != Ok) return status;
  // Read only now: the second resize may have moved the first block.
  R* const s = vector_data<R>(singular_values);
  const auto [u, v] = parts;
  if (int32_t status = SingularValueKernel<T>(a, m, n, u, s, v, 'S', work, real_work, int_work);
      status != Ok)
    return status;

  if (tolerance < 0) tolerance = static_cast<R>(std::max(m, n)) * s[0] * Traits<T>::epsilon;
  // S+ replaces S in place, so V is scaled in one row-by-row pass instead of
  // one strided pass per column.
  for (int32_t i = 0; i < k; ++i) s[i] = s[i] > tolerance ? R(1) / s[i] : R(0);
  for (int32_t row = 0; row < n; ++row) {
    T* vr = v + static_cast<std::size_t>(row) * k;
    for (int32_t i = 0; i < k; ++i) vr[i] *= s[i];
  }

  // A+ (n x m) = (V S+) U^H; the plain transpose is the conjugate one for
  // real types.
  const T one(1), zero(0);
  Core<T>::gemm(kRowMajor, kNoTrans, is_complex_v<T> ? kConjTrans : kTrans, n, m, k,
                blas_scalar(one), v, k, u, k, blas_scalar(zero), out != nullptr ? out : a, m);
  return Ok;
}

namespace {

template <class T>
int32_t PseudoInverseFront(Handle a, RealOf<T> tolerance, Handle singular_values, Handle factors,
                           Handle work, Handle real_work, Handle int_work) {
  const int32_t m = rows(a), n = cols(a);
  if (m < 1 || n < 1) return EmptyInput;
  // The result has the same element count, so it stays in the same block;
  // only the stored shape turns round.
  sizes(a)[0] = n;
  sizes(a)[1] = m;
  return PseudoInverseKernel<T>(matrix_data<T>(a), m, n, tolerance, nullptr, singular_values,
                                factors, work, real_work, int_work);
}

}  // namespace

#define TARNX_INSTANTIATE(t, T)                                                                  \
  template int32_t PseudoInverseKernel<T>(T*, int32_t, int32_t, RealOf<T>, T*, Handle, Handle,   \
                                          Handle, Handle, Handle);
TARNX_FOR_SDCZ(TARNX_INSTANTIATE)
#undef TARNX_INSTANTIATE

#include "solve/pseudo_inverse.exports"

}  // namespace tarnx
