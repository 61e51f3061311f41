#pragma once
// Square root of an upper-triangular complex matrix: R upper triangular with
// R R = T, the principal root on every diagonal element.
//
// Column by column, R(i,j) (R(i,i) + R(j,j)) = T(i,j) - sum R(i,k) R(k,j) over
// i < k < j. Taken element by element that is n^3 / 6 scalar products read a
// column at a time, at memory speed rather than at the speed of the core's
// matrix products. The same recurrence is therefore summed in another
// order: the matrix is split in halves, the two
// diagonal roots are taken recursively, and the coupling block solves the
// triangular Sylvester equation R11 X + X R22 = T12, itself split in halves
// with the cross terms subtracted by one matrix product each. Only small
// blocks go through the element recurrence; almost all the arithmetic lands
// in the core's products.
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>

#include "frame/core.hpp"
#include "frame/traits.hpp"
#include "matfun/complex_scalar.hpp"

namespace tarnx {

namespace triangular_sqrt {

constexpr int32_t kLeaf = 32;  // blocks of at most this order use the element recurrence

// s / d by Smith's method, except that 0 / 0 gives 0: two equal zero
// eigenvalues with nothing coupling them, where any value would do and 0
// keeps the root finite. Only exact zeros take that way. Two roots that
// merely cancel to within rounding (a conjugate pair close to the negative
// real axis) have a true, possibly large quotient, and a coupling within
// rounding of zero is still what T holds. A small d against a larger s is
// divided as it stands.
template <class R> std::complex<R> divide(R sr, R si, std::complex<R> d) {
  const R dr = d.real(), di = d.imag();
  if (sr == R(0) && si == R(0) && dr == R(0) && di == R(0)) return std::complex<R>(R(0), R(0));
  if (std::abs(dr) >= std::abs(di)) {
    const R rho = di / dr, q = dr + rho * di;
    return std::complex<R>((sr + rho * si) / q, (si - rho * sr) / q);
  }
  const R rho = dr / di, q = di + rho * dr;
  return std::complex<R>((rho * sr + si) / q, (rho * si - sr) / q);
}

// s -= x y, in plain real arithmetic.
template <class R> inline void subtract_product(R& sr, R& si, std::complex<R> x, std::complex<R> y) {
  sr -= x.real() * y.real() - x.imag() * y.imag();
  si -= x.real() * y.imag() + x.imag() * y.real();
}

// The element recurrence on a diagonal block of order m (leading dimension
// ld), in place: the upper triangle holds T on entry and R on return.
template <class R> void leaf_root(std::complex<R>* r, int32_t m, std::size_t ld) {
  for (int32_t j = 0; j < m; ++j) {
    r[j * ld + j] = principal_square_root(r[j * ld + j]);
    for (int32_t i = j - 1; i >= 0; --i) {
      R sr = r[i * ld + j].real(), si = r[i * ld + j].imag();
      for (int32_t k = i + 1; k < j; ++k) subtract_product(sr, si, r[i * ld + k], r[k * ld + j]);
      r[i * ld + j] = divide<R>(sr, si, r[i * ld + i] + r[j * ld + j]);
    }
  }
}

// A X + X B = C for X in place of C (m x p), A (m x m) and B (p x p) upper
// triangular roots: element (i, j) couples R(i,i) and R(j,j) exactly as in
// the recurrence, rows from the bottom up, columns left to right.
template <class R>
void leaf_sylvester(const std::complex<R>* a, int32_t m, const std::complex<R>* b, int32_t p,
                    std::complex<R>* c, std::size_t ld) {
  for (int32_t j = 0; j < p; ++j) {
    for (int32_t i = m - 1; i >= 0; --i) {
      R sr = c[i * ld + j].real(), si = c[i * ld + j].imag();
      for (int32_t k = i + 1; k < m; ++k) subtract_product(sr, si, a[i * ld + k], c[k * ld + j]);
      for (int32_t k = 0; k < j; ++k) subtract_product(sr, si, c[i * ld + k], b[k * ld + j]);
      c[i * ld + j] = divide<R>(sr, si, a[i * ld + i] + b[j * ld + j]);
    }
  }
}

// The product the recursion subtracts with, c -= x y for x (m x k) and
// y (k x p), all inside one row-major matrix of leading dimension ld: the
// core's, unless a caller (a test, a benchmark) brings its own.
template <class R> struct CoreProduct {
  static void subtract(int32_t m, int32_t p, int32_t k, const std::complex<R>* x,
                       const std::complex<R>* y, std::complex<R>* c, std::size_t ld) {
    using C = std::complex<R>;
    const C minus_one(-1), one(1);
    const int l = static_cast<int>(ld);
    Core<C>::gemm(kRowMajor, kNoTrans, kNoTrans, m, p, k, blas_scalar(minus_one), x, l, y, l,
                  blas_scalar(one), c, l);
  }
};

template <class R, class Product>
void sylvester(const std::complex<R>* a, int32_t m, const std::complex<R>* b, int32_t p,
               std::complex<R>* c, std::size_t ld) {
  if (m <= kLeaf && p <= kLeaf) {
    leaf_sylvester<R>(a, m, b, p, c, ld);
  } else if (m >= p) {
    // [A11 A12; 0 A22] [X1; X2] + [X1; X2] B = [C1; C2]: the bottom half
    // first, then its share of the top half's sums.
    const int32_t m1 = m / 2, m2 = m - m1;
    std::complex<R>* c2 = c + m1 * ld;
    sylvester<R, Product>(a + m1 * ld + m1, m2, b, p, c2, ld);
    Product::subtract(m1, p, m2, a + m1, c2, c, ld);
    sylvester<R, Product>(a, m1, b, p, c, ld);
  } else {
    // A [X1 X2] + [X1 X2] [B11 B12; 0 B22] = [C1 C2]: the left half first.
    const int32_t p1 = p / 2, p2 = p - p1;
    sylvester<R, Product>(a, m, b, p1, c, ld);
    Product::subtract(m, p2, p1, c, b + p1, c + p1, ld);
    sylvester<R, Product>(a, m, b + p1 * ld + p1, p2, c + p1, ld);
  }
}

template <class R, class Product> void root(std::complex<R>* r, int32_t m, std::size_t ld) {
  if (m <= kLeaf) {
    leaf_root<R>(r, m, ld);
    return;
  }
  // [R11 R12; 0 R22]^2 = [T11 T12; 0 T22]: both diagonal roots, then
  // R11 R12 + R12 R22 = T12.
  const int32_t m1 = m / 2, m2 = m - m1;
  std::complex<R>* r22 = r + m1 * ld + m1;
  root<R, Product>(r, m1, ld);
  root<R, Product>(r22, m2, ld);
  sylvester<R, Product>(r, m1, r22, m2, r + m1, ld);
}

}  // namespace triangular_sqrt

// R (row-major n x n) = the square root of the upper triangle of T (row-major
// n x n; its strict lower triangle is not read). R's strict lower triangle
// is zero. Where two diagonal roots are both exactly zero and so is the
// coupling term, the element is 0 (see divide).
template <class R, class Product = triangular_sqrt::CoreProduct<R>>
void triangular_square_root(const std::complex<R>* t, int32_t n, std::complex<R>* r) {
  const std::size_t ld = static_cast<std::size_t>(n);
  for (int32_t i = 0; i < n; ++i)
    for (int32_t j = 0; j < n; ++j)
      r[i * ld + j] = j >= i ? t[i * ld + j] : std::complex<R>(R(0), R(0));
  triangular_sqrt::root<R, Product>(r, n, ld);
}

}  // namespace tarnx
