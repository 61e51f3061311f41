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
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "frame/status.hpp"
#include "frame/traits.hpp"
#include "matfun/pade.hpp"

namespace tarnx {

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
    for (int32_t i = 1; i < s; ++i) {
      ops.multiply(n, f, f, other);
      std::swap(f, other);
    }
    ops.multiply(n, f, f, a);
  }
  return Ok;
}

}  // namespace tarnx
