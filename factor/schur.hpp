#pragma once
// Internal kernels of the eigen family, shared with the matrix functions.
#include <complex>
#include <cstddef>
#include <cstdint>

#include "frame/handle.hpp"
#include "frame/traits.hpp"

namespace tarnx {

// Eigenvalue orders of the Schur form.
enum class SchurOrder : uint32_t {
  AsComputed = 0,
  RealAscending = 1,
  RealDescending = 2,
  ModulusAscending = 3,
  ModulusDescending = 4,
};
inline constexpr uint32_t kSchurOrderCount = 5;

// Schur form of the row-major n x n matrix `a` (n at least 1), in place: on success `a`
// holds T (quasi-upper-triangular for real types) and `z`, when not null, the
// Schur vectors, so that A = Z T Z^H. `eigenvalues` receives n complex values
// equal to T's diagonal (2 x 2 blocks included), ordered by `sort_order`.
//
// Workspace comes from the caller's handles: `work` of the element type,
// `real_work` of float64 (complex types only), `int_work` of int32 (real
// types, only when sorting). All three are empty again when it returns.
// A matrix holding a NaN or an infinity gives NotFinite.
template <class T>
int32_t SchurKernel(T* a, int32_t n, SchurOrder sort_order, T* z, ComplexOf<T>* eigenvalues,
                    Handle work, Handle real_work, Handle int_work);

// Complex eigenvectors from the real eigenvector matrix of a real problem
// (column-major, leading dimension n), in which a conjugate pair occupies
// columns j and j + 1 as real and imaginary part. The core returned the left
// vectors u of the transposed problem, whose conjugates are the right vectors
// of the caller's matrix: column j becomes vl(j) - i vl(j + 1) and column
// j + 1 its conjugate. The result is row-major, column j for eigenvalue j.
template <class R>
void paired_eigenvectors(const R* vl, int32_t n, const std::complex<R>* eigenvalues,
                        std::complex<R>* out) {
  const std::size_t ld = static_cast<std::size_t>(n);
  for (int32_t j = 0; j < n; ++j) {
    const R* re = vl + j * ld;
    if (eigenvalues[j].imag() == R(0) || j + 1 == n) {
      for (int32_t k = 0; k < n; ++k) out[k * ld + j] = std::complex<R>(re[k], R(0));
      continue;
    }
    const R* im = re + ld;
    for (int32_t k = 0; k < n; ++k) {
      out[k * ld + j] = std::complex<R>(re[k], -im[k]);
      out[k * ld + j + 1] = std::complex<R>(re[k], im[k]);
    }
    ++j;
  }
}

}  // namespace tarnx
