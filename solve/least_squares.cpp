// Minimum-norm least squares, A X ~ B, by one of two methods:
//  - a truncated pseudo-inverse from the thin singular value decomposition,
//    applied as V S+ U^H R with optional refinement passes on the residual;
//  - the core's divide-and-conquer solver (?gelsd).
// Both discard singular values not above tolerance * s1 * max(m, n) and
// report a rank-deficient problem with a warning, keeping the solution.
#include <algorithm>
#include <array>
#include <cstring>

#include "factor/svd_kernel.hpp"
#include "frame/core.hpp"
#include "frame/export.hpp"
#include "frame/layout.hpp"
#include "frame/workspace.hpp"
#include "solve/kernels.hpp"

namespace tarnx {

namespace {

// A tolerance not above 0 stands for the machine epsilon.
template <class T> RealOf<T> relative_threshold(RealOf<T> tolerance) {
  return tolerance > 0 ? tolerance : Traits<T>::epsilon;
}

// The scratch handles of the singular value kernel, which the core's solver
// borrows as its work and integer work.
struct SVDScratch {
  Handle work, real_work, int_work;
};

// Both methods take m, n and k of at least 1, checked by their fronts; the
// boundary empties every scratch handle they size.
template <class T>
int32_t least_squares_by_pseudo_inverse(const T* a, int32_t m, int32_t n, const T* b, int32_t k,
                                        RealOf<T> tolerance, int32_t passes, T* x,
                                        Handle solve_workspace, Handle singular_values,
                                        const SVDScratch& svd) {
  using R = RealOf<T>;
  if (HasNonFinite(b, element_count(m, k))) return NotFinite;
  passes = std::clamp(passes, 1, 4);
  const int32_t r = std::min(m, n);
  // The workspace is sized before the singular values' handle is looked at:
  // a workspace that cannot be had is -20001 even when that handle is null.
  // Its blocks: U (m x r), V (n x r), the residual (m x k), the coefficients
  // (r x k), all row-major.
  std::array<T*, 4> parts{};
  if (int32_t status = carve_scratch<T>(solve_workspace, {element_count(m, r), element_count(n, r),
                                                          element_count(m, k), element_count(r, k)},
                                        parts);
      status != Ok)
    return status;
  R* s = nullptr;
  if (int32_t status = size_scratch<R>(singular_values, r, &s); status != Ok) return status;
  const auto [u, v, residual, coefficients] = parts;

  if (int32_t status = SingularValueKernel<T>(a, m, n, u, s, v, 'S', svd.work, svd.real_work,
                                              svd.int_work);
      status != Ok)
    return status;

  const R threshold = relative_threshold<T>(tolerance) * s[0] * static_cast<R>(std::max(m, n));
  int32_t rank = 0;
  for (int32_t i = 0; i < r; ++i) {
    if (s[i] > threshold) {
      s[i] = R(1) / s[i];
      ++rank;
    } else {
      s[i] = R(0);
    }
  }

  const T one(1), zero(0), minus_one(-1);
  const int conj_trans = is_complex_v<T> ? kConjTrans : kTrans;
  for (int32_t pass = 0; pass < passes; ++pass) {
    std::memcpy(residual, b, sizeof(T) * static_cast<std::size_t>(m) * k);
    // Later passes solve for the correction from what the current X leaves.
    if (pass > 0)
      Core<T>::gemm(kRowMajor, kNoTrans, kNoTrans, m, k, n, blas_scalar(minus_one), a, n, x, k,
                    blas_scalar(one), residual, k);
    Core<T>::gemm(kRowMajor, conj_trans, kNoTrans, r, k, m, blas_scalar(one), u, r, residual, k,
                  blas_scalar(zero), coefficients, k);
    for (int32_t i = 0; i < r; ++i) {
      T* row = coefficients + static_cast<std::size_t>(i) * k;
      for (int32_t j = 0; j < k; ++j) row[j] *= s[i];
    }
    // The first pass writes X outright (beta 0 reads nothing), so X needs no
    // clearing beforehand.
    const T& beta = pass == 0 ? zero : one;
    Core<T>::gemm(kRowMajor, kNoTrans, kNoTrans, n, k, r, blas_scalar(one), v, r, coefficients, k,
                  blas_scalar(beta), x, k);
  }
  return rank == r ? Ok : WarnRankDeficient;
}

// One call shape for the real and complex flavours of the core's solver.
template <class T>
void gelsd(int m, int n, int k, T* a, int lda, T* b, int ldb, RealOf<T>* s, RealOf<T> rcond,
           int* rank, T* work, int lwork, RealOf<T>* rwork, int* iwork, int* info) {
  if constexpr (is_complex_v<T>)
    Core<T>::gelsd(&m, &n, &k, a, &lda, b, &ldb, s, &rcond, rank, work, &lwork, rwork, iwork, info);
  else
    Core<T>::gelsd(&m, &n, &k, a, &lda, b, &ldb, s, &rcond, rank, work, &lwork, iwork, info);
  (void)rwork;
}

// The singular value kernel's real workspace is of no use here: it is left
// as passed.
template <class T>
int32_t least_squares_by_core_solver(const T* a, int32_t m, int32_t n, const T* b, int32_t k,
                                     RealOf<T> tolerance, T* x, const SVDScratch& svd) {
  using R = RealOf<T>;
  if (HasNonFinite(a, element_count(m, n)) || HasNonFinite(b, element_count(m, k))) return NotFinite;
  const R rcond = relative_threshold<T>(tolerance) * static_cast<R>(std::max(m, n));
  const int32_t ldb = std::max(m, n), r = std::min(m, n);

  int rank = 0, info = 0;
  // WORK, RWORK (complex types) and IWORK.
  std::array<int, 3> sizes{};
  static thread_local QueryAnswers<3, std::array<int, 3>> answers;
  info = answers.ask({m, n, k}, sizes, [&](std::array<int, 3>& answer) {
    T query{};
    R real_query{};
    int int_query = 0, query_info = 0;
    gelsd<T>(m, n, k, nullptr, m, nullptr, ldb, nullptr, rcond, &rank, &query, -1, &real_query,
             &int_query, &query_info);
    answer = {workspace_size(query), workspace_size(real_query), int_query};
    return query_info;
  });
  if (info != 0) return InternalError;
  const int64_t lwork = sizes[0], real_query = sizes[1];
  const int int_query = sizes[2];
  // The work handle: A column-major, the right-hand sides (k columns of
  // max(m, n)), the singular values, the core's workspace, and for complex
  // types the core's real workspace, two reals to an element.
  const int64_t real_elements =
      is_complex_v<T> ? (static_cast<int64_t>(real_query) + 1) / 2 : 0;
  std::array<T*, 5> parts{};
  if (int32_t status = carve_scratch<T>(svd.work, {element_count(m, n), element_count(ldb, k), r, lwork,
                                                   real_elements},
                                        parts);
      status != Ok)
    return status;
  int32_t* iwork = nullptr;
  if (int32_t status = size_scratch<int32_t>(svd.int_work, std::max(int_query, 1), &iwork); status != Ok)
    return status;
  const auto [ac, rhs, values, work, real_part] = parts;
  R* const rwork = reinterpret_cast<R*>(real_part);
  ToColumnMajor(a, m, n, ac);
  // Column j of the row-major B is every k-th element from b[j].
  for (int32_t j = 0; j < k; ++j)
    Core<T>::copy(m, b + j, k, rhs + static_cast<std::size_t>(j) * ldb, 1);

  gelsd<T>(m, n, k, ac, m, rhs, ldb, reinterpret_cast<R*>(values), rcond, &rank, work,
           static_cast<int>(lwork), rwork, iwork, &info);
  if (int32_t status = status_from_info(info, NoConvergence); status != Ok) return status;
  // The first n rows of each column are the solution; the rest of an
  // overdetermined column is the residual.
  for (int32_t j = 0; j < k; ++j)
    Core<T>::copy(n, rhs + static_cast<std::size_t>(j) * ldb, 1, x + j, k);
  return rank == r ? Ok : WarnRankDeficient;
}

template <class T>
int32_t LeastSquaresFront(Handle a, Handle b, RealOf<T> tolerance, Handle x, Handle work,
                          Handle real_work, Handle int_work, Handle solve_workspace,
                          Handle singular_values) {
  const int32_t m = rows(a), n = cols(a);
  if (m < 1 || n < 1) return EmptyInput;
  if (length(b) != m) return SizeMismatch;
  T* xd = nullptr;
  if (int32_t status = ResizeVector<T>(x, n, &xd); status != Ok) return status;
  const SVDScratch svd{work, real_work, int_work};
  if (tolerance == 0)
    return least_squares_by_pseudo_inverse<T>(matrix_data<T>(a), m, n, vector_data<T>(b), 1, tolerance,
                                              2, xd, solve_workspace, singular_values, svd);
  return least_squares_by_core_solver<T>(matrix_data<T>(a), m, n, vector_data<T>(b), 1, tolerance, xd,
                                         svd);
}

template <class T>
int32_t LeastSquaresSetFront(Handle a, Handle b, RealOf<T> tolerance, Handle x, Handle work,
                             Handle real_work, Handle int_work, Handle solve_workspace,
                             Handle singular_values) {
  const int32_t m = rows(a), n = cols(a), k = cols(b);
  if (m < 1 || n < 1 || k < 1) return EmptyInput;
  if (rows(b) != m) return SizeMismatch;
  T* xd = nullptr;
  if (int32_t status = ResizeMatrix<T>(x, n, k, &xd); status != Ok) return status;
  const SVDScratch svd{work, real_work, int_work};
  // Few right-hand sides against a large matrix: the core's solver. Many:
  // one decomposition reused by every column is cheaper.
  if (tolerance != 0 && 4 * static_cast<int64_t>(k) <= std::max(m, n))
    return least_squares_by_core_solver<T>(matrix_data<T>(a), m, n, matrix_data<T>(b), k, tolerance,
                                           xd, svd);
  return least_squares_by_pseudo_inverse<T>(matrix_data<T>(a), m, n, matrix_data<T>(b), k, tolerance,
                                            tolerance == 0 ? 2 : 1, xd, solve_workspace,
                                            singular_values, svd);
}

}  // namespace

#include "solve/least_squares.exports"

}  // namespace tarnx
