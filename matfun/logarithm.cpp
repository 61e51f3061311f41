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
#include <numbers>

#include "factor/schur.hpp"
#include "frame/core.hpp"
#include "frame/export.hpp"
#include "frame/layout.hpp"
#include "matfun/balance.hpp"
#include "matfun/log_pade.hpp"
#include "matfun/schur_frame.hpp"
#include "matfun/triangular_sqrt.hpp"

namespace tarnx {
namespace {


// Square roots are taken until ||T - I||_1 is at most this. Past it the
// degree the approximant needs grows faster than one root costs; below it
// each root buys little and doubles the rounding error of M.
constexpr double kRootTarget = 0.25;
// Each root halves log T; after this many the remaining distance to I is
// rounding, whatever T was.
constexpr int kMaxRoots = 64;

// Principal logarithm of one complex number. A value on the negative real
// axis takes +i pi, whatever the sign of its zero imaginary part.
template <class C> C scalar_log(C v) {
  using R = typename C::value_type;
  const R im = v.imag() == R(0) ? R(0) : v.imag();
  return C(std::log(std::abs(v)), std::atan2(im, v.real()));
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
int32_t MatrixLogarithm(C* x, int32_t n, Handle scale_factors, Handle workspace,
                        Handle balance_workspace, Handle schur_work, Handle schur_real_work) {
  using R = typename C::value_type;
  ScratchRelease<R> release_scale(scale_factors);
  ScratchRelease<C> release_work(workspace);
  // Screened before balancing, which would take a NaN for an invalid argument.
  if (HasNonFinite(x, element_count(n, n))) return NotFinite;
  if (n == 1) {
    const int32_t status = check_spectrum(x, 1);
    if (status != Singular) x[0] = scalar_log(x[0]);
    return status;
  }
  // log(D^-1 A D) = D^-1 log(A) D: balancing costs two copies and keeps the
  // Schur form and the roots away from badly scaled rows.
  SchurFrame<C> frame;
  if (int32_t status = frame.enter(x, n, 3, scale_factors, workspace, balance_workspace, schur_work,
                                   schur_real_work);
      status != Ok)
    return status;
  // Three n x n blocks that the roots, the approximant and the
  // back-transformation share.
  const int64_t nn = static_cast<int64_t>(n) * n;
  C* values = frame.eigenvalues;
  C* spare = frame.blocks;
  C* y = spare + nn;
  C* log_t = y + nn;
  const int32_t spectrum = check_spectrum(x, n);
  if (spectrum == Singular) return Singular;
  // The eigenvalues as the roots will see them, snapped to the axis where
  // they were: their logarithms replace the approximant's diagonal below.
  for (int32_t j = 0; j < n; ++j) values[j] = x[static_cast<std::size_t>(j) * n + j];

  C* t = x;
  int roots = 0;
  double rho = distance_to_identity(t, n);
  for (; rho > kRootTarget && roots < kMaxRoots; ++roots) {
    triangularSquareRoot(t, n, spare);
    std::swap(t, spare);
    rho = distance_to_identity(t, n);
  }

  long double nodes[kMaxDegree], weights[kMaxDegree];
  const int degree = pade_degree<R>(rho, nodes, weights);
  // M = T - I in place; then log_t = sum w_j (I + t_j M)^-1 M. The core sees
  // each row-major upper triangular block as its lower triangular transpose,
  // and (I + t_j M^T)^-1 M^T is the transpose of the wanted term, since the
  // two factors commute.
  for (int32_t j = 0; j < n; ++j) t[static_cast<std::size_t>(j) * n + j] -= C(1);
  std::fill(log_t, log_t + nn, C(0));
  for (int k = 0; k < degree; ++k) {
    const R node = static_cast<R>(nodes[k]);
    for (int64_t i = 0; i < nn; ++i) spare[i] = node * t[i];
    for (int32_t j = 0; j < n; ++j) spare[static_cast<std::size_t>(j) * n + j] += C(1);
    std::copy(t, t + nn, y);
    int info = 0;
    Core<C>::trtrs("L", "N", "N", &n, &n, spare, &n, y, &n, &info);
    if (info < 0) return InternalError;
    if (info > 0) return Singular;
    const C weight(static_cast<R>(weights[k]));
    Core<C>::axpy(static_cast<int>(nn), &weight, y, 1, log_t, 1);
  }
  Core<C>::rscal(static_cast<int>(nn), std::ldexp(R(1), roots), log_t, 1);
  // T^(1/2^s) - I loses the diagonal's small differences to cancellation,
  // and 2^s magnifies what is lost; the diagonal of log T is known exactly.
  for (int32_t j = 0; j < n; ++j) log_t[static_cast<std::size_t>(j) * n + j] = scalar_log(values[j]);

  // log A = Q log_t Q^H, the second product written straight into X.
  if (int32_t status = frame.leave(log_t, y, x, n, balance_workspace); status != Ok) return status;
  return spectrum;
}

template <class T>
int32_t LogarithmWorker(Handle a, Handle x, Handle scale_factors, Handle workspace,
                        Handle balance_workspace, Handle schur_work, Handle schur_real_work) {
  using C = ComplexOf<T>;
  const int32_t n = rows(a);
  if (n < 1) return EmptyInput;
  if (cols(a) != n) return NotSquare;
  C* out = nullptr;
  if (ResizeMatrix<C>(x, n, n, &out) != Ok) return OutOfMemory;
  const T* in = matrix_data<T>(a);
  std::copy(in, in + static_cast<std::size_t>(n) * n, out);
  // A negative status empties X at the export boundary.
  return MatrixLogarithm<C>(out, n, scale_factors, workspace, balance_workspace, schur_work,
                            schur_real_work);
}

}  // namespace

#include "matfun/logarithm.exports"

}  // namespace tarnx
