#pragma once
// The logarithm's Pade side: log(1 + x) as the m-point Gauss-Legendre rule
// applied to its integral, the smallest degree that meets the working
// precision, and the distance of the triangular T from I that decides how
// many roots are taken.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <complex>
#include <cstdint>
#include <limits>
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

// The error of r_m(M) - log(I + M) is a power series in M whose terms
// start at M^(2m+1) and, taken at -x, all have one sign. Its norm is
// therefore bounded by the scalar error at -alpha, |r_m(-alpha) -
// log(1 - alpha)|, for alpha = alpha_p(M) = max(d_p, d_(p+1)),
// d_p = ||M^p||^(1/p), and any p with p (p - 1) <= 2m + 1 (Al-Mohy and
// Higham, 2012). alpha_1 is ||M|| itself. For a far from normal M, whose
// large superdiagonal dominates ||M|| but whose powers shrink at the rate
// of its small diagonal, alpha_p with p > 1 is much the smaller: fewer roots
// are needed, and each root taken adds rounding that 2^s magnifies.
struct PowerBounds {
  double alpha2 = 0;  // max(d2, d3): any degree
  double alpha3 = 0;  // max(d3, d4): degree 3 and above
  double smallest() const { return std::min(alpha2, alpha3); }
};

namespace log_pade {

inline long double scalar_error(int m, const long double* nodes, const long double* weights, double alpha) {
  return std::abs(pade_log(m, nodes, weights, -static_cast<long double>(alpha)) -
                  std::log1p(-static_cast<long double>(alpha)));
}

// v = (T - shift I)^p v for the upper triangular T (row-major), v scaled
// back to a largest modulus of 1 after every product so that no power of a
// large T overflows: the logarithm of the factors taken out is returned.
// The adjoint runs the columns from the last, the product the rows from the
// first, both in place. Sums are formed in float64 whatever the precision.
template <class C> double apply_power(const C* t, int32_t n, C shift, int p, bool adjoint, C* v) {
  using W = std::complex<double>;
  double log_scale = 0;
  for (int k = 0; k < p; ++k) {
    double largest = 0;
    for (int32_t step = 0; step < n; ++step) {
      const int32_t i = adjoint ? n - 1 - step : step;
      W sum = -W(shift) * W(v[i]);
      if (adjoint)
        for (int32_t r = 0; r <= i; ++r) sum += std::conj(W(t[static_cast<std::size_t>(r) * n + i])) * W(v[r]);
      else
        for (int32_t c = i; c < n; ++c) sum += W(t[static_cast<std::size_t>(i) * n + c]) * W(v[c]);
      v[i] = C(sum);
      largest = std::max(largest, std::abs(sum));
    }
    if (largest == 0) return log_scale;
    const double inverse = 1 / largest;
    for (int32_t i = 0; i < n; ++i) v[i] = C(W(v[i]) * inverse);
    log_scale += std::log(largest);
  }
  return log_scale;
}

// log ||(T - shift I)^p||_1, by Hager's estimator (a lower bound, almost
// always the norm itself or close to it) on two vectors of n: O(p n^2) a
// step where forming the power would cost O(n^3). -infinity for a zero power.
template <class C> double log_power_norm(const C* t, int32_t n, C shift, int p, C* x, C* v) {
  using R = typename C::value_type;
  std::fill(x, x + n, C(R(1) / R(n)));
  double best = -std::numeric_limits<double>::infinity();
  for (int iteration = 0; iteration < 5; ++iteration) {
    std::copy(x, x + n, v);
    const double log_scale = apply_power(t, n, shift, p, false, v);
    double sum = 0;
    for (int32_t i = 0; i < n; ++i) sum += std::abs(std::complex<double>(v[i]));
    const double estimate = std::log(sum) + log_scale;
    if (iteration > 0 && !(estimate > best)) break;
    best = estimate;
    // The gradient: the power's adjoint on the signs of the image. The unit
    // vector at its largest element is the next trial, unless no element
    // beats the current trial's own value.
    for (int32_t i = 0; i < n; ++i) v[i] = v[i] == C(0) ? C(1) : v[i] / std::abs(v[i]);
    apply_power(t, n, shift, p, true, v);
    int32_t largest = 0;
    double along = 0;
    for (int32_t i = 0; i < n; ++i) {
      if (std::abs(v[i]) > std::abs(v[largest])) largest = i;
      along += std::real(std::conj(std::complex<double>(v[i])) * std::complex<double>(x[i]));
    }
    if (iteration > 0 && std::abs(std::complex<double>(v[largest])) <= along) break;
    std::fill(x, x + n, C(0));
    x[largest] = C(1);
  }
  return best;
}

}  // namespace log_pade

// alpha_2 and alpha_3 of M = T - shift I (T upper triangular, row-major),
// from estimates of ||M^2||, ||M^3|| and ||M^4||; `vectors` holds 2n
// elements. Neither exceeds ||M||_1, which bounds every d_p.
template <class C> PowerBounds power_bounds(const C* t, int32_t n, C shift, C* vectors) {
  double d[5] = {};
  for (int p = 2; p <= 4; ++p) d[p] = std::exp(log_pade::log_power_norm(t, n, shift, p, vectors, vectors + n) / p);
  return {std::max(d[2], d[3]), std::max(d[3], d[4])};
}

// The smallest degree whose approximant meets the working precision for
// M with these bounds (see PowerBounds), the nodes and weights of that
// degree left behind.
template <class R> int pade_degree(PowerBounds bounds, long double* nodes, long double* weights) {
  auto target = [](double alpha) { return 0.5L * Traits<R>::epsilon * std::max(alpha, 1e-3); };
  for (int m = 1;; ++m) {
    gauss_legendre(m, nodes, weights);
    if (m == kMaxDegree) return m;
    if (log_pade::scalar_error(m, nodes, weights, bounds.alpha2) <= target(bounds.alpha2)) return m;
    if (m >= 3 && log_pade::scalar_error(m, nodes, weights, bounds.alpha3) <= target(bounds.alpha3)) return m;
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

// Square roots are taken until T is this close to I. Past it the degree the
// approximant needs grows faster than one root costs; below it each root
// buys little and doubles the rounding error of M.
constexpr double kRootTarget = 0.25;
// Each root halves log T; after this many the remaining distance to I is
// rounding, whatever T was.
constexpr int kMaxRoots = 64;

// Replaces the upper triangular T by T^(1/2^s), s the number of roots
// returned, until alpha_p(T - I) (or, cheaper, ||T - I||_1, which bounds
// it) is at most kRootTarget. `root(from, to)` writes the square root of
// the triangular `from` into `to`; `t` and `spare` trade places with every
// root, and `vectors` holds 2n elements.
template <class C, class Root> int take_roots(C*& t, C*& spare, int32_t n, C* vectors, Root root) {
  int roots = 0;
  for (; roots < kMaxRoots; ++roots) {
    if (distance_to_identity(t, n) <= kRootTarget) break;
    // Every d_p is at least the spectral radius of T - I, the largest
    // |t_jj - 1|: while that is past the target a root is due, and the
    // estimates, a few dozen products with T, are spared.
    double radius = 0;
    for (int32_t j = 0; j < n; ++j) radius = std::max(radius, static_cast<double>(std::abs(t[static_cast<std::size_t>(j) * n + j] - C(1))));
    if (radius <= kRootTarget && power_bounds(t, n, C(1), vectors).smallest() <= kRootTarget) break;
    root(t, spare);
    std::swap(t, spare);
  }
  return roots;
}

}  // namespace tarnx
