#pragma once
// The tests' reference arithmetic: row-major matrices held in a precision
// above the one checked (complex double, or complex long double for the
// matrix functions), formed and compared by plain loops, so that nothing in
// a reference goes through the core the library calls.
#include <cmath>
#include <complex>
#include <cstddef>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/host.hpp"

namespace test {

// The values of `a` in the wide type W.
template <class W, class T> std::vector<W> widen_to(const std::vector<T>& a) {
  std::vector<W> w;
  w.reserve(a.size());
  for (const T& v : a) w.push_back(W(std::real(v), std::imag(v)));
  return w;
}

// Wide values back in the element type T, each rounded once.
template <class T, class W> std::vector<T> narrow(const std::vector<W>& w) {
  std::vector<T> a;
  a.reserve(w.size());
  for (const W& v : w) {
    if constexpr (is_complex<T>) a.push_back(T(RealOf<T>(v.real()), RealOf<T>(v.imag())));
    else a.push_back(T(v.real()));
  }
  return a;
}

template <class W> std::vector<W> identity_matrix(int n) {
  std::vector<W> e(static_cast<std::size_t>(n) * n);
  for (int i = 0; i < n; ++i) e[static_cast<std::size_t>(i) * n + i] = 1;
  return e;
}

// r x c times c x q, or with `adjoint_x` the conjugate transpose of x (then
// stored c x r) times y. Zeros of the first factor are passed over:
// triangles and permutations are mostly zero.
template <class W>
std::vector<W> multiply(const std::vector<W>& x, const std::vector<W>& y, int r, int c, int q,
                        bool adjoint_x = false) {
  std::vector<W> z(static_cast<std::size_t>(r) * q);
  for (int i = 0; i < r; ++i)
    for (int l = 0; l < c; ++l) {
      const W f = adjoint_x ? std::conj(x[l * r + i]) : x[i * c + l];
      if (f == W(0)) continue;
      for (int j = 0; j < q; ++j) z[i * q + j] += f * y[l * q + j];
    }
  return z;
}

// The product of two n x n matrices.
template <class W> std::vector<W> product(const std::vector<W>& x, const std::vector<W>& y, int n) {
  return multiply(x, y, n, n, n);
}

// Solves the r x r system M Z = Y (Y r x q) by Gauss-Jordan elimination with
// partial pivoting.
template <class W> std::vector<W> gauss_jordan_solve(std::vector<W> m, int r, std::vector<W> y, int q) {
  for (int c = 0; c < r; ++c) {
    int p = c;
    for (int i = c + 1; i < r; ++i)
      if (std::abs(m[i * r + c]) > std::abs(m[p * r + c])) p = i;
    for (int j = 0; j < r; ++j) std::swap(m[c * r + j], m[p * r + j]);
    for (int j = 0; j < q; ++j) std::swap(y[c * q + j], y[p * q + j]);
    for (int i = 0; i < r; ++i) {
      if (i == c) continue;
      const W f = m[i * r + c] / m[c * r + c];
      for (int j = 0; j < r; ++j) m[i * r + j] -= f * m[c * r + j];
      for (int j = 0; j < q; ++j) y[i * q + j] -= f * y[c * q + j];
    }
  }
  for (int i = 0; i < r; ++i)
    for (int j = 0; j < q; ++j) y[i * q + j] /= m[i * r + i];
  return y;
}

template <class W> std::vector<W> inverse_of(const std::vector<W>& a, int n) {
  return gauss_jordan_solve(a, n, identity_matrix<W>(n), n);
}

// The Frobenius norm, and the Frobenius distance of two matrices of one size.
template <class W> auto frobenius(const std::vector<W>& x) {
  typename W::value_type s = 0;
  for (const W& v : x) s += std::norm(v);
  return std::sqrt(s);
}
template <class W> auto distance(const std::vector<W>& x, const std::vector<W>& y) {
  typename W::value_type s = 0;
  for (std::size_t i = 0; i < x.size(); ++i) s += std::norm(x[i] - y[i]);
  return std::sqrt(s);
}

// sum |a - b| / sum |b|; infinite for matrices of different sizes.
template <class W>
auto relative_distance(const std::vector<W>& a, const std::type_identity_t<std::vector<W>>& b) {
  typename W::value_type d = 0, s = 0;
  for (std::size_t i = 0; i < a.size() && a.size() == b.size(); ++i) {
    d += std::abs(a[i] - b[i]);
    s += std::abs(b[i]);
  }
  return a.size() == b.size() ? d / s : INFINITY;
}

}  // namespace test
