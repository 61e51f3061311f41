#pragma once
// Diagonal balancing shared by the matrix functions: B = D^-1 A D with D a
// diagonal of powers of two chosen by the core (?gebal, scaling only), and
// the way back, f(A) = D f(B) D^-1. Balancing only evens out the
// row and column norms; it never permutes, so a triangular matrix stays
// triangular and the scaling commutes with every matrix function.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "frame/core.hpp"
#include "frame/handle.hpp"
#include "frame/layout.hpp"
#include "frame/workspace.hpp"

namespace tarnx {

// The indices of the balanced range that ?gebal reports; with scaling only
// they span the whole matrix, but ?gebak wants them back as they were given.
struct BalancedRange {
  int ilo = 1;
  int ihi = 1;
};

// Sizes `workspace` to n x n and copies the row-major `a` into it
// column-major, for the core's balancing routines.
template <class T> int32_t column_major_copy(const T* a, int32_t n, Handle workspace, T** w) {
  if (int32_t status = size_scratch<T>(workspace, element_count(n, n), w); status != Ok) return status;
  ToColumnMajor(a, n, n, *w);
  return Ok;
}

namespace balance {

template <class R> using BitsOf = std::conditional_t<sizeof(R) == 4, uint32_t, uint64_t>;
template <class R> inline constexpr int kMantissaBits = std::numeric_limits<R>::digits - 1;
template <class R> inline constexpr int kBias = std::numeric_limits<R>::max_exponent - 1;

// The binary exponent of d, read from its bits: the factors are normal
// powers of two, and ilogb through the library costs tens of instructions
// where this costs two. A zero, subnormal or non-finite d goes to ilogb.
template <class R> int exponent_of(R d) {
  const auto field = static_cast<int>((std::bit_cast<BitsOf<R>>(d) >> kMantissaBits<R>) & (2 * kBias<R> + 1));
  if (field == 0 || field == 2 * kBias<R> + 1) return std::ilogb(d);
  return field - kBias<R>;
}

// 2^k, built from its bits, for k whose power is a normal number.
template <class R> R power_of_two(int k) {
  return std::bit_cast<R>(static_cast<BitsOf<R>>(k + kBias<R>) << kMantissaBits<R>);
}

// a(i, j) * 2^(e(j) - e(i)) over the row-major n x n `a`, e(i) the binary
// exponent of the power of two d(i): one exact scaling of each element,
// where scaling its row and then its column may overflow or underflow
// between the two although the result does neither.
template <class T> void scale_two_sided(T* a, int32_t n, const RealOf<T>* d, int sign) {
  using R = RealOf<T>;
  // A matrix the core found balanced already is left as it is.
  if (std::all_of(d, d + n, [](R v) { return v == R(1); })) return;
  // With every exponent within this many binaries of 1, each factor
  // d(j) / d(i) and its parts are normal numbers, formed exactly; the
  // element then takes one rounding, the same as scaling it by 2^k.
  constexpr int kNear = 50;
  const auto near = [](R v) {
    const int e = exponent_of(v);
    return e > -kNear && e < kNear;
  };
  if (std::all_of(d, d + n, near)) {
    for (int32_t i = 0; i < n; ++i) {
      T* row = a + static_cast<std::size_t>(i) * n;
      if (sign > 0) {
        const R inverse = R(1) / d[i];
        for (int32_t j = 0; j < n; ++j) row[j] *= d[j] * inverse;
      } else {
        for (int32_t j = 0; j < n; ++j) row[j] *= d[i] / d[j];
      }
    }
    return;
  }
  // Farther apart, 2^k itself may not be a normal number.
  constexpr int kDirect = 100;
  for (int32_t i = 0; i < n; ++i) {
    T* row = a + static_cast<std::size_t>(i) * n;
    const int ei = exponent_of(d[i]);
    for (int32_t j = 0; j < n; ++j) {
      const int k = sign * (exponent_of(d[j]) - ei);
      if (k == 0) continue;
      if (k > -kDirect && k < kDirect) {
        row[j] *= power_of_two<R>(k);
      } else if constexpr (is_complex_v<T>) {
        row[j] = T(std::scalbn(row[j].real(), k), std::scalbn(row[j].imag(), k));
      } else {
        row[j] = std::scalbn(row[j], k);
      }
    }
  }
}

}  // namespace balance

// Balances the row-major n x n matrix `a` in place: B = D^-1 A D. `scale`
// (n values) receives the factors; `workspace` holds the column-major copy
// the core chooses them on and comes back empty. The core's own balanced
// copy is not used: it scales a row and then a column, and an element that
// the first scaling underflows (a tiny diagonal element beside a large row)
// is lost although D^-1 A D keeps it. The factors are powers of two, so B is
// formed again from A, each element scaled once and exactly. Called by the
// matrix functions directly, it empties the workspace itself.
template <class T>
int32_t BalanceKernel(T* a, int32_t n, RealOf<T>* scale, Handle workspace, BalancedRange* range) {
  const ScratchRelease<T> release(workspace);
  T* w = nullptr;
  if (int32_t status = column_major_copy(a, n, workspace, &w); status != Ok) return status;
  // The core's balancing refuses a NaN (info -3) only when its scan meets it
  // before its scaling loop does: a NaN in a row or column that also holds an
  // infinity can keep that loop rescaling forever. Refusing it here gives the
  // same status without handing the matrix over.
  if (HasNaN(w, element_count(n, n))) return InternalError;
  int info = 0;
  Core<T>::gebal("S", &n, w, &n, &range->ilo, &range->ihi, scale, &info);
  if (info != 0) return InternalError;
  balance::scale_two_sided(a, n, scale, 1);
  return Ok;
}

// Undoes BalanceKernel on a function of the balanced matrix: `a` becomes
// D a D^-1, each element scaled once by the power of two d(i) / d(j), for
// the reason given above. `workspace` is not needed on the way back and is
// handed back empty.
template <class T>
int32_t UnbalanceKernel(T* a, int32_t n, const RealOf<T>* scale, BalancedRange, Handle workspace) {
  const ScratchRelease<T> release(workspace);
  if (workspace == nullptr) return InternalError;
  balance::scale_two_sided(a, n, scale, -1);
  return Ok;
}

}  // namespace tarnx
