#pragma once
// The logarithm's Pade side: log(1 + x) as the m-point Gauss-Legendre rule
// applied to its integral, the smallest degree that meets the working
// precision, and the distance of the triangular T from I that decides how
// many roots are taken.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numbers>

#include "frame/traits.hpp"

namespace tarnx {

// The highest degree tried; past it roots are cheaper than degree.
constexpr int kMaxDegree = 16;

// Nodes (on [0, 1]) and weights of the m-point Gauss-Legendre rule. The
// [m/m] Pade approximant of log(1 + x) is that rule applied to
// log(1 + x) = integral over [0, 1] of x / (1 + t x) dt, so it is evaluated
// as m shifted triangular solves that are summed.
inline void gauss_legendre(int m, long double* nodes, long double* weights) {
  for (int i = 0; i < m; ++i) {
    long double x = std::cos(std::numbers::pi_v<long double> * (i + 0.75L) / (m + 0.5L));
    long double derivative = 1;
    for (int iteration = 0; iteration < 100; ++iteration) {
      long double p0 = 1, p1 = x;
      for (int k = 2; k <= m; ++k) {
        const long double p2 = ((2 * k - 1) * x * p1 - (k - 1) * p0) / k;
        p0 = p1;
        p1 = p2;
      }
      derivative = m * (x * p1 - p0) / (x * x - 1);
      const long double step = p1 / derivative;
      x -= step;
      if (std::abs(step) <= 1e-19L) break;
    }
    nodes[i] = (1 - x) / 2;
    weights[i] = 1 / ((1 - x * x) * derivative * derivative);
  }
}

inline long double pade_log(int m, const long double* nodes, const long double* weights, long double x) {
  long double sum = 0;
  for (int j = 0; j < m; ++j) sum += weights[j] * x / (1 + nodes[j] * x);
  return sum;
}

// The smallest degree whose approximant meets the working precision for
// every M with ||M|| <= rho: the error of r_m(M) is bounded by the scalar
// error at -rho, |r_m(-rho) - log(1 - rho)|, in any consistent norm.
template <class R> int pade_degree(double rho, long double* nodes, long double* weights) {
  const long double target = 0.5L * Traits<R>::epsilon * std::max(rho, 1e-3);
  const long double exact = std::log1p(-static_cast<long double>(rho));
  for (int m = 1;; ++m) {
    gauss_legendre(m, nodes, weights);
    if (m == kMaxDegree || std::abs(pade_log(m, nodes, weights, -rho) - exact) <= target) return m;
  }
}

// ||T - I||_1 of the upper triangular T (row-major).
template <class C> double distance_to_identity(const C* t, int32_t n) {
  double largest = 0;
  for (int32_t j = 0; j < n; ++j) {
    double column = std::abs(t[static_cast<std::size_t>(j) * n + j] - C(1));
    for (int32_t i = 0; i < j; ++i) column += std::abs(t[static_cast<std::size_t>(i) * n + j]);
    largest = std::max(largest, column);
  }
  return largest;
}

}  // namespace tarnx
