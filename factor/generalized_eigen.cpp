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
#include "factor/pencil.hpp"
#include "frame/layout.hpp"

namespace tarnx {
namespace {

enum GenEigenOption : int32_t { ValuesOnly = 0, ValuesAndVectors = 1 };

template <class T>
int32_t generalized_eigen(const T* a, const T* b, int32_t n, ComplexOf<T>* values,
                         ComplexOf<T>* vectors, Handle work, Handle real_work) {
  using R = RealOf<T>;
  if (HasNonFinite(a, element_count(n, n)) || HasNonFinite(b, element_count(n, n))) return NotFinite;
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

  // Work layout: the copies of A and B, the eigenvalue parts, VL when
  // wanted, then the core's workspace.
  const int64_t nn = static_cast<int64_t>(n) * n;
  PencilWork<T> p;
  if (int32_t status = p.size(n, vectors != nullptr ? 1 : 0, lwork, work, real_work); status != Ok)
    return status;
  T* a_copy = p.a;
  T* b_copy = p.b;
  T* vl = p.vectors;
  std::copy(a, a + nn, a_copy);
  std::copy(b, b + nn, b_copy);
  if constexpr (is_complex_v<T>)
    Core<T>::ggev(jobvl, "N", &n, a_copy, &n, b_copy, &n, p.alpha, p.beta, vl, &n, nullptr, &n,
                  p.core_work, &lwork, p.rwork, &info);
  else
    Core<T>::ggev(jobvl, "N", &n, a_copy, &n, b_copy, &n, p.alphar, p.alphai, p.beta_r, vl, &n, nullptr,
                  &n, p.core_work, &lwork, &info);
  if (info < 0 || info > n) return InternalError;
  if (info > 0) return NoConvergence;

  p.eigenvalues(n, values);
  if (vectors != nullptr) {
    if constexpr (is_complex_v<T>) ToColumnMajorConj(vl, n, n, vectors);
    else paired_eigenvectors(vl, n, values, vectors);
  }
  return Ok;
}

template <class T>
int32_t GeneralizedEigenFront(Handle a, Handle b, int32_t option, Handle eigenvalues, Handle eigenvectors,
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
  // An output already empty needs no trip to the host.
  if (option == ValuesOnly) {
    if (rows(eigenvectors) != 0 || cols(eigenvectors) != 0) EmptyMatrix<C>(eigenvectors);
  } else if (ResizeMatrix<C>(eigenvectors, n, n, &vectors) != Ok) return OutOfMemory;
  // A negative status empties both outputs at the export boundary.
  return generalized_eigen<T>(matrix_data<T>(a), matrix_data<T>(b), n, values, vectors, work, real_work);
}

}  // namespace

#include "factor/generalized_eigen.exports"

}  // namespace tarnx
