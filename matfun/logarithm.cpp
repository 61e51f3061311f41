// Principal matrix logarithm by inverse scaling and squaring on the complex
// Schur form A = Q T Q^H:
//   T is replaced by T^(1/2^s), repeated triangular square roots, until it is
//   close enough to I that log(I + M), M = T^(1/2^s) - I, is matched by a
//   diagonal Pade approximant of modest degree; then
//   log A = 2^s Q r_m(M) Q^H.
// The result is complex, like the square root's, since a real matrix may
// have a complex logarithm (a negative eigenvalue gives i pi).
#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>

#include "factor/schur.hpp"
#include "frame/core.hpp"
#include "frame/export.hpp"
#include "frame/layout.hpp"
#include "frame/workspace.hpp"
#include "matfun/balance.hpp"
#include "matfun/log_pade.hpp"
#include "matfun/schur_frame.hpp"
#include "matfun/triangular_sqrt.hpp"

namespace tarnx {
namespace {


// The argument in (-pi, pi]: a value on the negative real axis takes +pi,
// whatever the sign of its zero imaginary part.
template <class C> typename C::value_type principal_arg(C v) {
  using R = typename C::value_type;
  return std::atan2(v.imag() == R(0) ? R(0) : v.imag(), v.real());
}

// Principal logarithm of one complex number (the modulus is scaled, so no
// magnitude overflows on the way).
template <class C> C scalar_log(C v) { return C(std::log(std::abs(v)), principal_arg(v)); }

// log a - log b for the principal logarithms, without the plain difference's
// cancellation. Close values give log(a / b) = 2 atanh((a - b) / (a + b)),
// a small number computed as such, plus the multiple of 2 pi i that the
// arguments' own difference says the branch cut took away. Values apart in
// modulus or argument take the modulus ratio's logarithm (the difference of
// two large logarithms would lose it) and the difference of the arguments,
// then at least about ln 2 or 1 / 2 in size.
template <class C> C log_difference(C a, C b) {
  using R = typename C::value_type;
  constexpr R two_pi = 2 * std::numbers::pi_v<R>;
  const R arg_gap = principal_arg(a) - principal_arg(b);
  const R ma = std::abs(a), mb = std::abs(b);
  if (std::abs(a - b) <= std::min(ma, mb) / 2) {
    const C w = R(2) * std::atanh((a - b) / (a + b));
    return C(w.real(), w.imag() + two_pi * std::round((arg_gap - w.imag()) / two_pi));
  }
  const R ratio = ma / mb;
  const bool in_range = ratio >= std::numeric_limits<R>::min() && ratio <= std::numeric_limits<R>::max();
  return C(in_range ? std::log(ratio) : std::log(ma) - std::log(mb), arg_gap);
}

// (f(a) - f(b)) / (a - b) for f = log, the derivative 1 / a where a = b:
// the superdiagonal of log T for a 2 x 2 block is T12 times this.
template <class C> C log_divided_difference(C a, C b) {
  if (a == b) return C(1) / a;
  return log_difference(a, b) / (a - b);
}

// The same for f(z) = z^p, p = 2^-roots, the principal power: a^p - b^p is
// e^(p (log a + log b) / 2) 2 sinh(p (log a - log b) / 2), free of the
// cancellation between two powers that are both close to 1.
template <class C> C power_divided_difference(C a, C b, int roots) {
  using R = typename C::value_type;
  const R p = std::ldexp(R(1), -roots);
  if (a == b) return p * std::exp(p * scalar_log(a)) / a;
  const C mean = (scalar_log(a) + scalar_log(b)) / R(2);
  return std::exp(p * mean) * (R(2) * std::sinh(p * log_difference(a, b) / R(2))) / (a - b);
}

// a^(2^-roots) - 1 for the principal root, as e^w - 1 with w = log(a) / 2^roots:
// (e^u cos v - 1) + i e^u sin v, the real part rewritten as
// expm1(u) cos v - 2 sin^2(v / 2) so that nothing cancels when the root is
// close to 1. The repeated square roots have only the difference of two
// close numbers to offer here.
template <class C> C root_minus_one(C a, int roots) {
  using R = typename C::value_type;
  const C w = std::ldexp(R(1), -roots) * scalar_log(a);
  const R grown = std::expm1(w.real()), half_sine = std::sin(w.imag() / 2);
  return C(grown * std::cos(w.imag()) - 2 * half_sine * half_sine, (grown + 1) * std::sin(w.imag()));
}

// The status the spectrum decides, from T's diagonal. No logarithm exists
// for an eigenvalue 0. An eigenvalue on the negative real axis, or one so
// small that its logarithm is dominated by rounding, still gives a logarithm,
// returned under the warning. On the axis the principal branch is not
// defined and rounding decides the side an eigenvalue lies on: each one
// within rounding of the axis is put exactly on it, so that all take +i pi
// and no two roots cancel across the cut.
template <class C> int32_t check_spectrum(C* t, int32_t n) {
  using R = typename C::value_type;
  const R eps = Traits<R>::epsilon;
  R largest = 0;
  for (int32_t j = 0; j < n; ++j) largest = std::max(largest, std::abs(t[static_cast<std::size_t>(j) * n + j]));
  int32_t status = Ok;
  for (int32_t j = 0; j < n; ++j) {
    C& d = t[static_cast<std::size_t>(j) * n + j];
    if (d == C(0)) return Singular;
    if (std::norm(d) < eps) status = WarnNearlySingularRoot;
    if (d.real() < R(0) && std::abs(d.imag()) <= R(n) * eps * largest) {
      d = C(d.real(), R(0));
      status = WarnNearlySingularRoot;
    }
  }
  return status;
}

template <class C>
int32_t matrix_logarithm(C* x, int32_t n, Handle scale_factors, Handle workspace,
                         Handle balance_workspace, Handle schur_work, Handle schur_real_work) {
  using R = typename C::value_type;
  // Screened before balancing, which would take a NaN for an invalid argument.
  if (HasNonFinite(x, element_count(n, n))) return NotFinite;
  if (n == 1) {
    const int32_t status = check_spectrum(x, 1);
    if (status != Singular) x[0] = scalar_log(x[0]);
    return status;
  }
  // Not balanced: see SchurFrame::balance. The logarithm's condition is
  // what the Schur form sees, and a balancing spread of 1e10 cost exp(X) = A
  // six digits where the unbalanced form keeps it to rounding.
  SchurFrame<C> frame;
  frame.balance = false;
  if (int32_t status = frame.enter(x, n, 1, 3, scale_factors, workspace, balance_workspace,
                                   schur_work, schur_real_work);
      status != Ok)
    return status;
  // T's superdiagonal, kept for the recomputed superdiagonals below, and
  // three n x n blocks that the roots, the approximant and the
  // back-transformation share.
  const int64_t nn = static_cast<int64_t>(n) * n;
  const std::size_t step = static_cast<std::size_t>(n) + 1;
  C* values = frame.eigenvalues;
  C* coupling = frame.vectors;
  C* spare = frame.blocks;
  C* y = spare + nn;
  C* log_t = y + nn;
  const int32_t spectrum = check_spectrum(x, n);
  if (spectrum == Singular) return Singular;
  // The eigenvalues as the roots will see them, snapped to the axis where
  // they were: their logarithms replace the approximant's diagonal below.
  for (int32_t j = 0; j < n; ++j) values[j] = x[j * step];
  for (int32_t j = 0; j + 1 < n; ++j) coupling[j] = x[j * step + 1];

  C* t = x;
  const int roots = take_roots(t, spare, n, y, [n](const C* from, C* to) { triangular_square_root(from, n, to); });
  // M = T - I in place. After roots its diagonal, and the superdiagonal
  // that couples neighbouring eigenvalues, come from the eigenvalues
  // themselves: the roots have them only as differences of numbers close to
  // 1, which 2^s then magnifies. Without roots T - I is exact.
  for (int32_t j = 0; j < n; ++j) {
    C& d = t[j * step];
    if (roots == 0) {
      d -= C(1);
      continue;
    }
    d = root_minus_one(values[j], roots);
    if (j + 1 < n) t[j * step + 1] = coupling[j] * power_divided_difference(values[j], values[j + 1], roots);
  }
  // The degree from M as it now stands; y is free until the sum below.
  long double nodes[kMaxDegree], weights[kMaxDegree];
  const int degree = pade_degree<R>(power_bounds(t, n, C(0), y), nodes, weights);
  // log_t = sum w_j (I + t_j M)^-1 M. The core sees each row-major upper
  // triangular block as its lower triangular transpose, and
  // (I + t_j M^T)^-1 M^T is the transpose of the wanted term, since the two
  // factors commute.
  std::fill(log_t, log_t + nn, C(0));
  for (int k = 0; k < degree; ++k) {
    const R node = static_cast<R>(nodes[k]);
    for (int64_t i = 0; i < nn; ++i) spare[i] = node * t[i];
    for (int32_t j = 0; j < n; ++j) spare[static_cast<std::size_t>(j) * n + j] += C(1);
    std::copy(t, t + nn, y);
    int info = 0;
    Core<C>::trtrs("L", "N", "N", &n, &n, spare, &n, y, &n, &info);
    if (int32_t status = status_from_info(info, Singular); status != Ok) return status;
    const C weight(static_cast<R>(weights[k]));
    Core<C>::axpy(static_cast<int>(nn), &weight, y, 1, log_t, 1);
  }
  Core<C>::rscal(static_cast<int>(nn), std::ldexp(R(1), roots), log_t, 1);
  // The diagonal of log T is the eigenvalues' logarithms, and each element
  // of its superdiagonal is T's times their divided difference: both are
  // taken from those closed forms rather than from 2^s r_m(M).
  for (int32_t j = 0; j < n; ++j) {
    log_t[j * step] = scalar_log(values[j]);
    if (j + 1 < n) log_t[j * step + 1] = coupling[j] * log_divided_difference(values[j], values[j + 1]);
  }

  // log A = Q log_t Q^H, the second product written straight into X.
  if (int32_t status = frame.leave(log_t, y, x, n, balance_workspace); status != Ok) return status;
  return spectrum;
}

template <class T>
int32_t MatrixLogarithmFront(Handle a, Handle x, Handle scale_factors, Handle workspace,
                             Handle balance_workspace, Handle schur_work, Handle schur_real_work) {
  ComplexOf<T>* out = nullptr;
  int32_t n = 0;
  if (int32_t status = widen_square_into<T>(a, x, &out, &n); status != Ok) return status;
  // A negative status empties X at the export boundary.
  return matrix_logarithm<ComplexOf<T>>(out, n, scale_factors, workspace, balance_workspace, schur_work,
                            schur_real_work);
}

}  // namespace

#include "matfun/logarithm.exports"

}  // namespace tarnx
