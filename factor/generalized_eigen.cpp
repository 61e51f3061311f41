// Generalized eigenvalues and eigenvectors of the pencil A x = lambda B x.
//
// As for a single matrix, the row-major blocks go to the core unchanged, so
// the core sees the transposed pencil; its left eigenvectors are the right
// eigenvectors of the caller's pencil.
#include <algorithm>
#include <cmath>

#include "factor/schur.hpp"
#include "frame/core.hpp"
#include "frame/export.hpp"
#include "factor/generalized_quotient.hpp"
#include "frame/layout.hpp"

namespace tarnx {
namespace {

enum GenEigenOption : int32_t { ValuesOnly = 0, ValuesAndVectors = 1 };

template <class T>
int32_t GeneralizedEigen(const T* a, const T* b, int32_t n, ComplexOf<T>* values,
                         ComplexOf<T>* vectors, Handle work, Handle real_work) {
  using R = RealOf<T>;
  if (HasNonFinite(a, n * n) || HasNonFinite(b, n * n)) return NotFinite;
  const char* jobvl = vectors != nullptr ? "V" : "N";
  int info = 0, lwork = -1;
  T query{};
  R rwork_query{};  // never null, as for the single-matrix query
  if constexpr (is_complex_v<T>)
    Core<T>::ggev(jobvl, "N", &n, nullptr, &n, nullptr, &n, nullptr, nullptr, nullptr, &n, nullptr,
                  &n, &query, &lwork, &rwork_query, &info);
  else
    Core<T>::ggev(jobvl, "N", &n, nullptr, &n, nullptr, &n, nullptr, nullptr, nullptr, nullptr, &n,
                  nullptr, &n, &query, &lwork, &info);
  if (info < 0) return InternalError;
  lwork = workspace_size(query);

  // Work layout: the copies of A and B, ALPHAR ALPHAI BETA (complex: ALPHA
  // BETA), VL when wanted, WORK.
  const int64_t nn = static_cast<int64_t>(n) * n;
  const int64_t scalars = is_complex_v<T> ? 2 * static_cast<int64_t>(n) : 3 * static_cast<int64_t>(n);
  const int64_t vl_size = vectors != nullptr ? nn : 0;
  const int32_t count = handle_count(2 * nn + scalars + vl_size + lwork);
  if (work == nullptr) return InternalError;
  if (count < 0) return OutOfMemory;
  T* w = nullptr;
  if (ResizeVector<T>(work, count, &w) != Ok) return OutOfMemory;
  R* rwork = nullptr;
  if constexpr (is_complex_v<T>) {
    if (real_work == nullptr) return InternalError;
    if (ResizeVector<R>(real_work, 8 * n, &rwork) != Ok) return OutOfMemory;
  }
  T* a_copy = w;
  T* b_copy = a_copy + nn;
  T* alpha = b_copy + nn;  // complex types
  T* beta = alpha + n;
  R* alphar = reinterpret_cast<R*>(b_copy + nn);  // real types
  R* alphai = alphar + n;
  R* beta_r = alphai + n;
  T* vl = is_complex_v<T> ? beta + n : reinterpret_cast<T*>(beta_r + n);
  T* core_work = vl + vl_size;

  std::copy(a, a + nn, a_copy);
  std::copy(b, b + nn, b_copy);
  if constexpr (is_complex_v<T>)
    Core<T>::ggev(jobvl, "N", &n, a_copy, &n, b_copy, &n, alpha, beta, vl, &n, nullptr, &n, core_work,
                  &lwork, rwork, &info);
  else
    Core<T>::ggev(jobvl, "N", &n, a_copy, &n, b_copy, &n, alphar, alphai, beta_r, vl, &n, nullptr, &n,
                  core_work, &lwork, &info);
  if (info < 0 || info > n) return InternalError;
  if (info > 0) return NoConvergence;

  if constexpr (is_complex_v<T>) {
    for (int32_t k = 0; k < n; ++k) values[k] = scaled_quotient(alpha[k], beta[k]);
    if (vectors != nullptr) ToColumnMajorConj(vl, n, n, vectors);
  } else {
    // A real eigenvalue keeps an imaginary part of exactly 0 even when BETA
    // is 0: only the real part becomes infinite or NaN.
    for (int32_t k = 0; k < n; ++k) {
      const R im = alphai[k] != R(0) || std::isnan(alphai[k]) ? alphai[k] / beta_r[k] : alphai[k];
      values[k] = ComplexOf<T>(alphar[k] / beta_r[k], im);
    }
    if (vectors != nullptr) PairedEigenvectors(vl, n, values, vectors);
  }
  return Ok;
}

template <class T>
int32_t GenEigenVWorker(Handle a, Handle b, int32_t option, Handle eigenvalues, Handle eigenvectors,
                        Handle work, Handle real_work) {
  using C = ComplexOf<T>;
  if (rows(a) < 1 || cols(a) < 1 || rows(b) < 1 || cols(b) < 1) return EmptyInput;
  if (rows(a) != cols(a) || rows(b) != cols(b)) return NotSquare;
  if (rows(a) != rows(b)) return GeneralizedSizeMismatch;
  if (option != ValuesOnly && option != ValuesAndVectors) return SelectorOutOfRange;
  const int32_t n = rows(a);
  C* values = nullptr;
  if (ResizeVector<C>(eigenvalues, n, &values) != Ok) return OutOfMemory;
  C* vectors = nullptr;
  if (option == ValuesOnly) EmptyMatrix<C>(eigenvectors);
  else if (ResizeMatrix<C>(eigenvectors, n, n, &vectors) != Ok) return OutOfMemory;
  // A negative status empties both outputs at the export boundary.
  return GeneralizedEigen<T>(matrix_data<T>(a), matrix_data<T>(b), n, values, vectors, work, real_work);
}

}  // namespace

#include "factor/generalized_eigen.exports"

}  // namespace tarnx
