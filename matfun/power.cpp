// Integer matrix power in place: binary exponentiation for positive powers,
// the powers of the pseudo-inverse for negative ones, so that a singular
// matrix has negative powers too.
#include <array>
#include <cstddef>
#include <cstring>

#include "frame/export.hpp"
#include "frame/workspace.hpp"
#include "matfun/balance.hpp"
#include "matfun/binary_power.hpp"
#include "solve/pseudo_inverse.hpp"

namespace tarnx {
namespace {

template <class T> void set_identity(int32_t n, T* a) {
  const std::size_t nn = static_cast<std::size_t>(n) * n;
  for (std::size_t i = 0; i < nn; ++i) a[i] = T(0);
  for (std::size_t i = 0; i < nn; i += static_cast<std::size_t>(n) + 1) a[i] = T(1);
}

// The scratch of the pseudo-inverse kernel in the order the export takes
// it: the factors come before the singular values there, the other way
// round in the kernel.
struct PinvScratch {
  Handle factors, singular_values, work, real_work, int_work;
};

template <class T> int32_t pseudo_inverse(T* a, int32_t n, T* out, const PinvScratch& s) {
  return PseudoInverseKernel<T>(a, n, n, RealOf<T>(-1), out, s.singular_values, s.factors, s.work,
                                s.real_work, s.int_work);
}

// A^p of the row-major n x n matrix `a`, in place.
template <class T>
int32_t matrix_power(T* a, int32_t n, int32_t p, Handle power_workspace, const PinvScratch& pinv) {
  if (p == 0) {
    set_identity(n, a);
    return Ok;
  }
  if (p == 1) return Ok;
  if (p == -1) return pseudo_inverse<T>(a, n, nullptr, pinv);

  // |p| as an unsigned number: -2^31 has a magnitude of its own, 2^31.
  const uint32_t m = p < 0 ? 0u - static_cast<uint32_t>(p) : static_cast<uint32_t>(p);
  // The base, then two blocks that the binary powering alternates between;
  // a square needs the base alone.
  const int64_t square = element_count(n, n), extra = m == 2 ? 0 : square;
  std::array<T*, 3> blocks{};
  if (int32_t status = carve_scratch<T>(power_workspace, {square, extra, extra}, blocks); status != Ok)
    return status;
  const std::size_t nn = static_cast<std::size_t>(square);
  const auto [base, first, second] = blocks;

  if (p < 0) {
    if (int32_t status = pseudo_inverse<T>(a, n, base, pinv); status != Ok) return status;
  } else {
    std::memcpy(base, a, sizeof(T) * nn);
  }

  const T one(1), zero(0);
  auto multiply = [&](const T* x, const T* y, T* out) {
    Core<T>::gemm(kRowMajor, kNoTrans, kNoTrans, n, n, n, blas_scalar(one), x, n, y, n,
                  blas_scalar(zero), out, n);
  };
  if (m == 2) {
    multiply(base, base, a);
    return Ok;
  }
  auto copy = [&](const T* from, T* to) { std::memcpy(to, from, sizeof(T) * nn); };
  const T* result = binary_power<T*>(base, first, second, m, multiply, copy);
  copy(result, a);
  return Ok;
}

template <class T>
int32_t MatrixPowerFront(Handle a, int32_t p, Handle power_workspace, Handle pinv_factors,
                         Handle pinv_singular_values, Handle pinv_work, Handle pinv_real_work,
                    Handle pinv_int_work) {
  // The shape is checked before the size here: a 0 x 3 matrix is not square.
  const int32_t n = rows(a);
  if (cols(a) != n) return NotSquare;
  if (n < 1) return EmptyInput;
  // A failure leaves A emptied by the export: its contents are lost.
  return matrix_power(matrix_data<T>(a), n, p, power_workspace,
                     PinvScratch{pinv_factors, pinv_singular_values, pinv_work, pinv_real_work,
                                 pinv_int_work});
}

}  // namespace

#include "matfun/power.exports"

}  // namespace tarnx
