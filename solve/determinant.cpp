// Determinant of a square matrix by matrix type: LU for a general matrix,
// Cholesky for a positive definite one, the diagonal alone for a triangular
// one. Sizes 1 and 2 use their closed forms and never reach the core.
#include <cstring>

#include "frame/export.hpp"
#include "frame/workspace.hpp"
#include "solve/kernels.hpp"

namespace tarnx {
namespace {

// Products are accumulated in the double precision of the element's kind and
// rounded once at the end; float64 and complex float64 stay in their own type.
template <class T> using Accumulator = std::conditional_t<is_complex_v<T>, cdouble, double>;

// Plain complex product, without the special-value recovery of operator*:
// an overflowing product stays infinite or NaN as the arithmetic makes it.
template <class T> inline T times(const T& a, const T& b) {
  if constexpr (is_complex_v<T>)
    return T(a.real() * b.real() - a.imag() * b.imag(), a.imag() * b.real() + a.real() * b.imag());
  else return a * b;
}

// The product of the diagonal, first to last, with no scaling: a large matrix
// may give an infinite or zero determinant, and that is the answer. The
// diagonal sits at the same places in row-major and column-major order.
template <class T> T diagonal_product(const T* a, int32_t n) {
  using A = Accumulator<T>;
  const std::size_t step = static_cast<std::size_t>(n) + 1;
  A p(1);
  int32_t i = 0;
  for (; i + 4 <= n; i += 4) {
    const std::size_t at = static_cast<std::size_t>(i) * step;
    p = times(p, A(a[at]));
    p = times(p, A(a[at + step]));
    p = times(p, A(a[at + 2 * step]));
    p = times(p, A(a[at + 3 * step]));
  }
  for (; i < n; ++i) p = times(p, A(a[static_cast<std::size_t>(i) * step]));
  return T(p);
}

// n = 1 or 2; no test of positive definiteness is made for these sizes.
template <class T> T closed_form(const T* a, int32_t n) {
  if (n == 1) return a[0];
  return times(a[3], a[0]) - times(a[2], a[1]);
}

template <class T> int32_t general_determinant(const T* a, int32_t n, T* det, Handle work, Handle pivots) {
  if (n <= 2) {
    *det = closed_form(a, n);
    return Ok;
  }
  T* copy = nullptr;
  if (int32_t status = size_scratch<T>(work, element_count(n, n), &copy); status != Ok) return status;
  int32_t* ipiv = nullptr;
  if (int32_t status = size_scratch<int32_t>(pivots, n, &ipiv); status != Ok) return status;
  // The core reads the row-major copy as the transpose, which has the same
  // determinant, so the copy is made unchanged.
  std::memcpy(copy, a, sizeof(T) * static_cast<std::size_t>(n) * n);
  int info = 0;
  Core<T>::getrf(&n, &n, copy, &n, ipiv, &info);
  if (info < 0) return InternalError;
  if (info > 0) {
    *det = T(0);  // an exactly zero pivot: singular, which is a result
    return Ok;
  }
  int32_t swaps = 0;
  for (int32_t i = 0; i < n; ++i) swaps += ipiv[i] != i + 1;
  const T p = diagonal_product(copy, n);
  *det = swaps % 2 != 0 ? -p : p;
  return Ok;
}

template <class T> int32_t positive_definite_determinant(const T* a, int32_t n, T* det, Handle work) {
  if (n <= 2) {
    *det = closed_form(a, n);
    return Ok;
  }
  T* copy = nullptr;
  if (int32_t status = size_scratch<T>(work, element_count(n, n), &copy); status != Ok) return status;
  std::memcpy(copy, a, sizeof(T) * static_cast<std::size_t>(n) * n);
  // "U" of the core's column-major view is our lower triangle with the
  // diagonal; the caller's upper triangle is never read.
  int info = 0;
  Core<T>::potrf("U", &n, copy, &n, &info);
  if (int32_t status = status_from_info(info, NotPositiveDefinite); status != Ok) return status;
  // det A = (product of the factor's diagonal)^2; that diagonal is real.
  const std::size_t step = static_cast<std::size_t>(n) + 1;
  double p = 1.0;
  for (int32_t i = 0; i < n; ++i) p *= static_cast<double>(std::real(copy[static_cast<std::size_t>(i) * step]));
  *det = T(static_cast<RealOf<T>>(p * p));
  return Ok;
}

// Only ever reached through the export, whose boundary writes the failure NaN
// on every failure and empties the work handle. The positive definite path
// never touches the pivots; every other way out empties them.
template <class T> int32_t DeterminantFront(Handle a, int32_t matrix_type, T* det, Handle work, Handle pivots) {
  const ScratchRelease<int32_t> release_pivots(
      matrix_type == matrix_type::PositiveDefinite ? nullptr : pivots);
  const int32_t n = rows(a);
  if (n < 1 || cols(a) < 1) return EmptyInput;
  if (cols(a) != n) return NotSquare;
  const T* data = matrix_data<T>(a);
  switch (matrix_type) {
    case matrix_type::General: return general_determinant(data, n, det, work, pivots);
    case matrix_type::PositiveDefinite: return positive_definite_determinant(data, n, det, work);
    case matrix_type::Lower:
    case matrix_type::Upper:
      // Only the diagonal counts; the rest of the matrix is not looked at.
      *det = diagonal_product(data, n);
      return Ok;
    default: return SelectorOutOfRange;
  }
}

}  // namespace

#include "solve/determinant.exports"

}  // namespace tarnx
