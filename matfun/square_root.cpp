// Principal matrix square root: balance, complex Schur form A = Q T Q^H, the
// triangular root R of T, and X = Q R Q^H, always complex since a real matrix
// may have only complex roots.
#include <cstddef>

#include "factor/schur.hpp"
#include "frame/export.hpp"
#include "matfun/balance.hpp"
#include "matfun/schur_frame.hpp"
#include "matfun/triangular_sqrt.hpp"

namespace tarnx {
namespace {

// X (row-major n x n, complex) is replaced by its principal square root.
// Two or more eigenvalues within rounding of zero make the root unreliable
// (a zero eigenvalue of higher multiplicity may have no root at all): the
// result is kept and the warning returned.
template <class C>
int32_t matrix_square_root(C* x, int32_t n, Handle scale_factors, Handle workspace,
                           Handle balance_workspace, Handle schur_work, Handle schur_real_work) {
  using R = RealOf<C>;
  if (n == 1) {
    x[0] = principal_square_root(x[0]);
    return Ok;
  }

  SchurFrame<C> frame;
  if (int32_t status = frame.enter(x, n, 0, 1, scale_factors, workspace, balance_workspace, schur_work,
                                   schur_real_work);
      status != Ok)
    return status;

  int32_t near_zero = 0;
  for (int32_t i = 0; i < n; ++i) {
    const R re = frame.eigenvalues[i].real(), im = frame.eigenvalues[i].imag();
    if (re * re + im * im < Traits<R>::epsilon) ++near_zero;
  }

  C* root = frame.blocks;
  triangular_square_root(x, n, root);
  if (int32_t status = frame.leave(root, x, root, n, balance_workspace); status != Ok) return status;
  Core<C>::copy(n * n, root, 1, x, 1);
  return near_zero >= 2 ? WarnNearlySingularRoot : Ok;
}

template <class T>
int32_t MatrixSquareRootFront(Handle a, Handle x, Handle scale_factors, Handle workspace,
                              Handle balance_workspace, Handle schur_work, Handle schur_real_work) {
  ComplexOf<T>* out = nullptr;
  int32_t n = 0;
  if (int32_t status = widen_square_into<T>(a, x, &out, &n); status != Ok) return status;
  // A failure leaves X emptied by the export.
  return matrix_square_root(out, n, scale_factors, workspace, balance_workspace, schur_work,
                          schur_real_work);
}

}  // namespace

#include "matfun/square_root.exports"

}  // namespace tarnx
