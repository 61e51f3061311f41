#pragma once
// The two scalar decisions of the matrix exponential: how far to scale the
// matrix down, and which diagonal Padé degree then meets the tolerance. Both
// are plain float64 arithmetic, kept apart from the matrix work so that
// they can be checked on their own.
#include <cmath>
#include <cstdint>

namespace tarnx {

// The relative error the exponential aims for, whatever the precision.
inline constexpr double kExponentialTolerance = 1e-8;

// Number of halvings s for a matrix of infinity norm `norm`. Norms of 1 and
// more are brought into [0.5, 1) by s = trunc(log2 norm + 1); norms in
// [0.5, 1) are left as they are although they would also take a halving, so
// the scaled norm of a scaled matrix is always below 1. A norm that is not
// finite takes no scaling: the values that caused it are refused later.
inline int32_t scaling_power(double norm) {
  if (!(norm >= 0.5) || !std::isfinite(norm)) return 0;
  return static_cast<int32_t>(std::trunc(std::log(norm) / std::log(2.0) + 1.0));
}

// Smallest diagonal Padé degree q whose error term e_q exp(e_q), with
// e_q = 2^(3-2q) (q!)^2 / ((2q)! (2q+1)!), stays within tolerance / (exp(norm)
// norm). e_q is built up factor by factor so that no factorial is formed.
inline int32_t select_pade_degree(double tolerance, double norm) {
  const double target = tolerance / (std::exp(norm) * norm);
  int32_t q = 1;
  double e = 1.0 / 6.0, a = 3.0;
  int32_t m = 2;
  if (!(std::exp(e) * e > target)) return q;
  do {
    ++q;
    e *= a;
    m += 2;
    int32_t j = static_cast<int32_t>(a);
    e *= static_cast<double>(q) * q;
    for (; m >= j; ++j) e /= static_cast<double>(j) * j;
    a = m + 1;
    e = e * 0.25 / a;
  } while (std::exp(e) * e > target);
  return q;
}

}  // namespace tarnx
