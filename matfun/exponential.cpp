// Matrix exponential in place: e^A by balancing, scaling and squaring around
// a diagonal Padé approximant whose degree follows from the scaled norm.
#include <array>
#include <cmath>
#include <cstddef>

#include "frame/export.hpp"
#include "frame/workspace.hpp"
#include "matfun/balance.hpp"
#include "matfun/complex_scalar.hpp"
#include "matfun/exponential_kernel.hpp"
#include "solve/kernels.hpp"

namespace tarnx {
namespace {

// Nonzero as the shortcut sees it: a NaN compares false and so does not
// stop a matrix from counting as diagonal.
template <class T> bool nonzero(T v) {
  if constexpr (is_complex_v<T>) return std::abs(v.real()) > 0 || std::abs(v.imag()) > 0;
  else return std::abs(v) > 0;
}

template <class T> bool is_diagonal(const T* a, int32_t n) {
  for (int32_t i = 0; i < n; ++i) {
    const T* row = a + static_cast<std::size_t>(i) * n;
    for (int32_t j = 0; j < n; ++j)
      if (j != i && nonzero(row[j])) return false;
  }
  return true;
}

// e^(x + iy). A zero y gives an exact zero imaginary part: e^x sin 0 would
// be NaN once e^x overflows. Where e^x alone overflows but e^x cos y or
// e^x sin y does not, the factor is applied as two halves, e^(x/2) each.
template <class T> T scalar_exp(T v) {
  if constexpr (is_complex_v<T>) {
    using R = RealOf<T>;
    const R magnitude = std::exp(v.real());
    if (v.imag() == R(0)) return T(magnitude, R(0));
    if (std::isinf(magnitude) && std::isfinite(v.real())) {
      const R half = std::exp(v.real() / 2);
      return T(half * std::cos(v.imag()) * half, half * std::sin(v.imag()) * half);
    }
    return T(magnitude * std::cos(v.imag()), magnitude * std::sin(v.imag()));
  } else {
    return std::exp(v);
  }
}

// Infinity norm, in the working precision; complex elements count with
// their modulus, scaled where the squares of its parts would overflow
// (from 1.8e19 in float32) or underflow.
template <class T> RealOf<T> infinity_norm(const T* a, int32_t n) {
  using R = RealOf<T>;
  R best = 0;
  for (int32_t i = 0; i < n; ++i) {
    const T* row = a + static_cast<std::size_t>(i) * n;
    R sum = 0;
    if constexpr (is_complex_v<T>) {
      for (int32_t j = 0; j < n; ++j)
        sum += modulus(row[j]);
    } else {
      sum = Core<T>::asum(n, row, 1);
    }
    if (sum > best) best = sum;
  }
  return best;
}

// The exponential's matrix steps on the core, row-major; the Padé system is
// solved by the general solver with the export's scratch handles.
template <class T> struct CoreExponentialSteps {
  using R = RealOf<T>;
  Handle solve_workspace, pivots;

  static void multiply(int32_t n, const T* x, const T* y, T* out) {
    const T one(1), zero(0);
    Core<T>::gemm(kRowMajor, kNoTrans, kNoTrans, n, n, n, blas_scalar(one), x, n, y, n,
                  blas_scalar(zero), out, n);
  }
  // y += c x over `count` elements; the coefficients are real, so a complex
  // block is simply twice as many real numbers.
  static void add_scaled(int32_t count, double c, const T* x, T* y) {
    const int32_t parts = is_complex_v<T> ? 2 * count : count;
    Core<R>::axpy(parts, static_cast<R>(c), reinterpret_cast<const R*>(x), 1, reinterpret_cast<R*>(y), 1);
  }
  static void scale(int32_t count, R factor, T* x) { Core<T>::rscal(count, factor, x, 1); }
  int32_t solve(const T* den, int32_t n, const T* num, T* f) const {
    return GeneralSolveKernel(den, n, num, n, f, solve_workspace, pivots);
  }
};

// e^A of the row-major n x n matrix `a`, in place.
template <class T>
int32_t matrix_exponential(T* a, int32_t n, Handle workspace, Handle scale_factors,
                           Handle balance_workspace, Handle solve_workspace, Handle pivots) {
  using R = RealOf<T>;
  const std::size_t stride = static_cast<std::size_t>(n) + 1;

  if (is_diagonal(a, n)) {
    for (int32_t i = 0; i < n; ++i) a[i * stride] = scalar_exp(a[i * stride]);
    return Ok;
  }

  // Four n x n blocks: the numerator, the denominator, the running power and
  // a spare for the products.
  const int64_t square = element_count(n, n);
  std::array<T*, 4> blocks{};
  if (int32_t status = carve_scratch<T>(workspace, {square, square, square, square}, blocks); status != Ok)
    return status;
  R* scale = nullptr;
  if (int32_t status = size_scratch<R>(scale_factors, n, &scale); status != Ok) return status;

  BalancedRange range;
  if (int32_t status = BalanceKernel(a, n, scale, balance_workspace, &range); status != Ok)
    return status;

  const double norm = static_cast<double>(infinity_norm(a, n));
  CoreExponentialSteps<T> steps{solve_workspace, pivots};
  if (int32_t status = scaled_pade_exponential(a, n, norm, blocks, steps); status != Ok) return status;

  return UnbalanceKernel(a, n, scale, range, balance_workspace);
}

template <class T>
int32_t MatrixExponentialFront(Handle a, Handle workspace, Handle scale_factors, Handle balance_workspace,
                               Handle solve_workspace, Handle pivots) {
  const int32_t n = rows(a);
  if (n < 1) return EmptyInput;
  if (cols(a) != n) return NotSquare;
  // A failure leaves A emptied by the export: its contents are lost.
  return matrix_exponential(matrix_data<T>(a), n, workspace, scale_factors, balance_workspace,
                           solve_workspace, pivots);
}

}  // namespace

#include "matfun/exponential.exports"

}  // namespace tarnx
