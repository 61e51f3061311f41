#pragma once
// A function of a matrix through its balanced complex Schur form:
// f(A) = D Q f(T) Q^H D^-1. The square root and the logarithm share this
// frame and differ only in what they do to the triangular T.
#include <algorithm>
#include <array>
#include <cstdint>
#include <tuple>

#include "factor/schur.hpp"
#include "frame/core.hpp"
#include "frame/handle.hpp"
#include "matfun/balance.hpp"
#include "frame/workspace.hpp"

namespace tarnx {

// What the fronts of the square root and the logarithm share: A square and
// not empty, X sized to n x n complex elements (the resize's size guard
// refuses an n past 32768, whose n^2 would not fit a 32-bit count), and A
// copied into X, widened to complex for the real types.
template <class T> int32_t widen_square_into(Handle a, Handle x, ComplexOf<T>** out, int32_t* n_out) {
  using C = ComplexOf<T>;
  const int32_t n = rows(a);
  if (n < 1) return EmptyInput;
  if (cols(a) != n) return NotSquare;
  C* data = nullptr;
  if (ResizeMatrix<C>(x, n, n, &data) != Ok) return OutOfMemory;
  const T* in = matrix_data<T>(a);
  const std::size_t nn = static_cast<std::size_t>(n) * n;
  for (std::size_t i = 0; i < nn; ++i) data[i] = C(in[i]);
  *out = data;
  *n_out = n;
  return Ok;
}

template <class C> struct SchurFrame {
  using R = RealOf<C>;
  C* q = nullptr;            // the unitary Schur vectors
  C* eigenvalues = nullptr;  // T's diagonal as the Schur kernel found it
  C* vectors = nullptr;      // the caller's own vectors of n
  C* blocks = nullptr;       // the caller's own n x n blocks
  R* scale = nullptr;
  BalancedRange range;
  // Whether A is balanced first. f(D^-1 A D) = D^-1 f(A) D holds exactly,
  // but the errors of f(B) come back multiplied by up to ||D|| ||D^-1||,
  // which the core lets grow past 1e10 for a spectrum spread over many
  // orders of magnitude. Without it the scale factors are 1 and the
  // balancing workspace is sized and handed back all the same, so that the
  // handles keep their contract.
  bool balance = true;

  // Sizes `workspace` to Q, the eigenvalues, `extra_vectors` vectors of n
  // and `extra_blocks` n x n blocks, and `scale_factors` to n, then balances
  // the row-major `x` and replaces it with its triangular Schur factor T.
  int32_t enter(C* x, int32_t n, int32_t extra_vectors, int32_t extra_blocks,
                Handle scale_factors, Handle workspace, Handle balance_workspace,
                Handle schur_work, Handle schur_real_work) {
    const int64_t nn = element_count(n, n);
    std::array<C*, 4> parts{};
    if (int32_t status = carve_scratch<C>(workspace, {nn, n, element_count(n, extra_vectors),
                                                      element_count(nn, extra_blocks)},
                                          parts);
        status != Ok)
      return status;
    if (int32_t status = size_scratch<R>(scale_factors, n, &scale); status != Ok) return status;
    std::tie(q, eigenvalues, vectors, blocks) = std::tuple_cat(parts);
    if (balance) {
      if (int32_t status = BalanceKernel(x, n, scale, balance_workspace, &range); status != Ok) return status;
    } else {
      const ScratchRelease<C> release(balance_workspace);
      if (int32_t status = size_scratch<C>(balance_workspace, nn); status != Ok) return status;
      std::fill(scale, scale + n, R(1));
    }
    return SchurKernel<C>(x, n, SchurOrder::AsComputed, q, eigenvalues, schur_work, schur_real_work, nullptr);
  }

  // out = D Q f Q^H D^-1, with `temp` holding Q f on the way; `out` may be
  // `f` but neither may be `temp`.
  int32_t leave(const C* f, C* temp, C* out, int32_t n, Handle balance_workspace) const {
    const C one(1), zero(0);
    Core<C>::gemm(kRowMajor, kNoTrans, kNoTrans, n, n, n, blas_scalar(one), q, n, f, n,
                  blas_scalar(zero), temp, n);
    Core<C>::gemm(kRowMajor, kNoTrans, kConjTrans, n, n, n, blas_scalar(one), temp, n, q,
                  n, blas_scalar(zero), out, n);
    return UnbalanceKernel(out, n, scale, range, balance_workspace);
  }
};

}  // namespace tarnx
