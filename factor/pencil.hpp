#pragma once
// What the generalized eigenvalue and QZ operations share: the layout of
// their work handle around the core's pencil routines, and the eigenvalues
// alpha / beta, formed the same way so both give the same values bit for bit.
#include <cmath>
#include <complex>
#include <tuple>

#include "factor/schur.hpp"
#include "frame/handle.hpp"
#include "frame/workspace.hpp"

namespace tarnx {

// Scaled division with no special case for beta = 0: an infinite eigenvalue
// comes out as infinities or NaN.
template <class R> std::complex<R> scaled_quotient(std::complex<R> a, std::complex<R> b) {
  if (std::abs(b.real()) >= std::abs(b.imag())) {
    const R r = b.imag() / b.real(), d = b.imag() * r + b.real();
    return {(a.real() + r * a.imag()) / d, (a.imag() - r * a.real()) / d};
  }
  const R r = b.real() / b.imag(), d = b.real() * r + b.imag();
  return {(r * a.real() + a.imag()) / d, (r * a.imag() - a.real()) / d};
}

// The work handle of a pencil routine: the column-major copies of A and B,
// ALPHAR ALPHAI BETA (complex: ALPHA BETA), `vector_blocks` n x n blocks of
// vectors, then the core's own workspace of `lwork` elements. Complex types
// also size the real workspace (8 n). Returns the status of the sizing.
template <class T> struct PencilWork {
  using R = RealOf<T>;
  T* a = nullptr;
  T* b = nullptr;
  T* alpha = nullptr;  // complex types
  T* beta = nullptr;
  R* alphar = nullptr;  // real types
  R* alphai = nullptr;
  R* beta_r = nullptr;
  T* vectors = nullptr;
  T* core_work = nullptr;
  R* rwork = nullptr;

  int32_t size(int32_t n, int32_t vector_blocks, int lwork, Handle work, Handle real_work) {
    const int64_t nn = element_count(n, n);
    // ALPHA and BETA, or ALPHAR ALPHAI BETA: each n elements of T.
    const int64_t third = is_complex_v<T> ? 0 : n;
    const ScratchLayout<7> layout({nn, nn, n, n, third, vector_blocks * nn, lwork});
    T* w = nullptr;
    if (int32_t status = size_scratch<T>(work, layout.total, &w); status != Ok) return status;
    if constexpr (is_complex_v<T>) {
      if (int32_t status = size_scratch<R>(real_work, 8 * int64_t{n}, &rwork); status != Ok) return status;
    }
    T* third_part = nullptr;
    std::tie(a, b, alpha, beta, third_part, vectors, core_work) = std::tuple_cat(layout.parts(w));
    alphar = reinterpret_cast<R*>(alpha);
    alphai = reinterpret_cast<R*>(beta);
    beta_r = reinterpret_cast<R*>(third_part);
    return Ok;
  }

  // The eigenvalues alpha / beta from what the core left in the layout.
  void eigenvalues(int32_t n, ComplexOf<T>* out) const {
    if constexpr (is_complex_v<T>) {
      for (int32_t k = 0; k < n; ++k) out[k] = scaled_quotient(alpha[k], beta[k]);
    } else {
      // A real eigenvalue keeps an imaginary part of exactly 0 even when
      // BETA is 0: only the real part becomes infinite or NaN.
      for (int32_t k = 0; k < n; ++k) {
        const R im = alphai[k] != R(0) || std::isnan(alphai[k]) ? alphai[k] / beta_r[k] : alphai[k];
        out[k] = ComplexOf<T>(alphar[k] / beta_r[k], im);
      }
    }
  }
};

}  // namespace tarnx
