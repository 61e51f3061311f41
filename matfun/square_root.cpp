// Principal matrix square root: balance, complex Schur form A = Q T Q^H, the
// triangular root R of T, and X = Q R Q^H, always complex since a real matrix
// may have only complex roots.
#include <cstddef>

#include "factor/schur.hpp"
#include "frame/export.hpp"
#include "matfun/balance.hpp"
#include "matfun/triangular_sqrt.hpp"

namespace tarnx {
namespace {

constexpr int kRowMajor = 101;
constexpr int kNoTrans = 111;
constexpr int kConjTrans = 113;

// X (row-major n x n, complex) is replaced by its principal square root.
// Two or more eigenvalues within rounding of zero make the root unreliable
// (a zero eigenvalue of higher multiplicity may have no root at all): the
// result is kept and the warning returned. `scale_factors` and `workspace`
// come back empty; the Schur scratch is emptied by the kernel.
template <class C>
int32_t matrixSquareRoot(C* x, int32_t n, Handle scale_factors, Handle workspace,
                         Handle balance_workspace, Handle schur_work, Handle schur_real_work) {
  using R = RealOf<C>;
  ScratchRelease<R> release_scale(scale_factors);
  ScratchRelease<C> release_work(workspace);
  if (n < 1) return EmptyInput;
  if (n == 1) {
    x[0] = principalSquareRoot(x[0]);
    return Ok;
  }

  if (workspace == nullptr) return InternalError;
  const int32_t count = square_count(n, 2, n);
  if (count < 0) return OutOfMemory;
  C* w = nullptr;
  if (ResizeVector<C>(workspace, count, &w) != Ok) return OutOfMemory;
  if (scale_factors == nullptr) return InternalError;
  R* scale = nullptr;
  if (ResizeVector<R>(scale_factors, n, &scale) != Ok) return OutOfMemory;
  const std::size_t nn = static_cast<std::size_t>(n) * n;
  C* root = w;
  C* q = w + nn;
  C* eigenvalues = q + nn;

  BalancedRange range;
  if (int32_t status = balanceMatrix(x, n, scale, balance_workspace, &range); status != Ok)
    return status;
  if (int32_t status = SchurKernel<C>(x, n, 0, q, eigenvalues, schur_work, schur_real_work, nullptr);
      status != Ok)
    return status;

  int32_t near_zero = 0;
  for (int32_t i = 0; i < n; ++i) {
    const R re = eigenvalues[i].real(), im = eigenvalues[i].imag();
    if (re * re + im * im < Traits<R>::epsilon) ++near_zero;
  }

  triangularSquareRoot(x, n, root);
  const C one(1), zero(0);
  Core<C>::gemm(kRowMajor, kNoTrans, kNoTrans, n, n, n, blas_scalar(one), q, n, root, n,
                blas_scalar(zero), x, n);
  Core<C>::gemm(kRowMajor, kNoTrans, kConjTrans, n, n, n, blas_scalar(one), x, n, q, n,
                blas_scalar(zero), root, n);
  Core<C>::copy(static_cast<int>(nn), root, 1, x, 1);

  if (int32_t status = unbalanceMatrix(x, n, scale, range, balance_workspace); status != Ok)
    return status;
  return near_zero >= 2 ? WarnNearlySingularRoot : Ok;
}

template <class T>
int32_t MatrixSquareRoot(Handle a, Handle x, Handle scale_factors, Handle workspace,
                         Handle balance_workspace, Handle schur_work, Handle schur_real_work) {
  using C = ComplexOf<T>;
  const int32_t n = rows(a);
  if (n < 1) return EmptyInput;
  if (cols(a) != n) return NotSquare;
  // n x n complex elements must be countable in 32 bits.
  if (2 * size_bits(n) >= 31) return OutOfMemory;
  C* out = nullptr;
  if (ResizeMatrix<C>(x, n, n, &out) != Ok) return OutOfMemory;
  const T* in = matrix_data<T>(a);
  const std::size_t nn = static_cast<std::size_t>(n) * n;
  for (std::size_t i = 0; i < nn; ++i) out[i] = C(in[i]);
  // A failure leaves X emptied by the export.
  return matrixSquareRoot(out, n, scale_factors, workspace, balance_workspace, schur_work,
                          schur_real_work);
}

}  // namespace

#include "matfun/square_root.exports"

}  // namespace tarnx
