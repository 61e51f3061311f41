#pragma once
// The heart of the matrix exponential: scaling by 2^-s, the diagonal Padé
// sums, D^-1 N and the s squarings, on a balanced n x n matrix. The matrix
// work goes through a policy, so that the library runs it on its core and a
// caller (the benchmark's raw side) on its own products and solver while
// both share one order of operations:
//   ops.multiply(n, x, y, out)        out = x y
//   ops.add_scaled(count, c, x, y)    y += c x over `count` elements
//   ops.scale(count, factor, x)       x *= factor over `count` elements
//   ops.solve(den, n, num, f)         f = den^-1 num, a status back
// The steps index the diagonal as element i (n + 1) and take every product
// in the policy's layout, so they hold row-major and column-major alike.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <complex>
#include <limits>
#include <numbers>
#include <utility>

#include "frame/status.hpp"
#include "frame/traits.hpp"
#include "matfun/pade.hpp"

namespace tarnx {

namespace exponential {

// An upper bound of the largest eigenvalue of the Hermitian part
// (A + A^H) / 2, by Gershgorin's discs: ||e^(tA)||_2 <= e^(t mu) for t >= 0.
// Symmetric in i and j, so it holds in either layout.
template <class T> double hermitian_part_bound(const T* a, int32_t n) {
  double best = -std::numeric_limits<double>::infinity();
  for (int32_t i = 0; i < n; ++i) {
    double row = static_cast<double>(std::real(a[static_cast<std::size_t>(i) * n + i]));
    for (int32_t j = 0; j < n; ++j) {
      if (j == i) continue;
      const T upper = a[static_cast<std::size_t>(i) * n + j], lower = a[static_cast<std::size_t>(j) * n + i];
      if constexpr (is_complex_v<T>) row += std::abs(std::complex<double>(upper + std::conj(lower))) / 2;
      else row += std::abs(static_cast<double>(upper) + static_cast<double>(lower)) / 2;
    }
    best = std::max(best, row);
  }
  return best;
}

// Keeps the power F ~ e^(2^k A) within what the true power can be: no
// element above ||e^(2^k A)||_2 <= e^(2^k mu), `log_bound` = 2^k mu. Each
// squaring doubles F's relative rounding, so after s of them F's modulus
// is off by a factor e^(2^s eps) that nothing in the true result limits:
// past ||A|| ~ 1 / eps (65 squarings of a rotation by 2e19 in float32) a
// bounded result would overflow to infinity and NaN. A power more than
// twice the bound is scaled back onto it; rounding alone of a well-scaled
// problem never comes near that, so ordinary results keep their bits.
// The largest part of any element stands in for the largest modulus: at
// most a factor sqrt(2) below it, so a power is scaled back by the time it
// passes 2 sqrt(2) times the bound, still far from overflow. One pass of
// comparisons costs little beside the squaring; a modulus per element would
// not.
template <class T, class Ops> void keep_within(T* f, int32_t count, double log_bound, Ops& ops) {
  using R = RealOf<T>;
  const R* parts = reinterpret_cast<const R*>(f);
  const int64_t part_count = static_cast<int64_t>(count) * (is_complex_v<T> ? 2 : 1);
  R largest_part = 0;
  for (int64_t i = 0; i < part_count; ++i) largest_part = std::max(largest_part, std::abs(parts[i]));
  const double largest = static_cast<double>(largest_part);
  if (!(largest > 0) || !std::isfinite(largest)) return;
  const double excess = std::log(largest) - log_bound;
  if (excess > std::numbers::ln2) ops.scale(count, static_cast<R>(std::exp(-excess)), f);
}

}  // namespace exponential

// e^A in place of `a`, whose infinity norm is `norm`. The four blocks of
// n x n elements are the numerator, the denominator, the running power and
// a spare for the products; all four are overwritten.
template <class T, class Ops>
int32_t scaled_pade_exponential(T* a, int32_t n, double norm, const std::array<T*, 4>& blocks, Ops& ops) {
  using R = RealOf<T>;
  const std::size_t stride = static_cast<std::size_t>(n) + 1;

  // Scale A so that its norm is below 1; the squarings give the factor back.
  const int32_t nn = static_cast<int32_t>(static_cast<int64_t>(n) * n);
  const int32_t s = scaling_power(norm);
  const double factor = std::pow(0.5, s);
  if (s > 0) ops.scale(nn, static_cast<R>(factor), a);
  const double scaled_norm = norm * factor;
  // The bound on the scaled A's exponential that the squarings must keep.
  const double log_bound = exponential::hermitian_part_bound(a, n);

  auto [num, den, power, spare] = blocks;

  // The k = 0 and k = 1 terms, c_0 = 1 and c_1 = 1/2, in one pass.
  for (int32_t i = 0; i < nn; ++i) {
    num[i] = a[i] * R(0.5);
    den[i] = a[i] * R(-0.5);
  }
  for (int32_t i = 0; i < n; ++i) {
    num[i * stride] += R(1);
    den[i * stride] += R(1);
  }

  // N = sum c_k A^k, D = sum (-1)^k c_k A^k with the coefficients of the
  // diagonal approximant of degree q, built from one another.
  ops.multiply(n, a, a, power);
  const int32_t q = select_pade_degree(kExponentialTolerance, scaled_norm);
  double c = 0.5, sign = 1.0;
  for (int32_t k = 2; k <= q; ++k) {
    c = c * (q - k + 1) / (static_cast<double>(2 * q - k + 1) * k);
    ops.add_scaled(nn, c, power, num);
    ops.add_scaled(nn, sign * c, power, den);
    if (k == q) break;
    ops.multiply(n, power, a, spare);
    std::swap(power, spare);
    sign = -sign;
  }

  // F = D^-1 N, written where the first squaring wants it.
  T* f = s == 0 ? a : spare;
  if (int32_t status = ops.solve(den, n, num, f); status != Ok) return status;
  if (s > 0) {
    // N and D are spent: N serves as the second buffer of the squarings.
    T* other = num;
    for (int32_t i = 1; i <= s; ++i) {
      T* out = i == s ? a : other;
      ops.multiply(n, f, f, out);
      exponential::keep_within(out, nn, std::ldexp(log_bound, i), ops);
      if (i < s) std::swap(f, other);
    }
  }
  return Ok;
}

}  // namespace tarnx
