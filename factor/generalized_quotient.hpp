#pragma once
// The generalized eigenvalues alpha / beta, shared by the generalized
// eigenvalue and QZ operations so both give the same values bit for bit.
#include <cmath>
#include <complex>

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

}  // namespace tarnx
