// Eigenvalues and eigenvectors of general, real symmetric and complex
// Hermitian matrices.
//
// The caller's row-major block is handed to the core unchanged: the core sees
// the transpose. For a general matrix the left eigenvectors of the transpose
// are the right eigenvectors of the matrix, so those are the ones asked for;
// for a symmetric or Hermitian one the upper triangle of the transpose is our
// lower triangle.
#include <algorithm>

#include "factor/schur.hpp"
#include "frame/core.hpp"
#include "frame/export.hpp"
#include "frame/layout.hpp"

namespace tarnx {
namespace {

enum EigenOption : int32_t { ValuesOnly = 0, ValuesAndVectors = 1 };

// Checks, output sizing and the emptying on failure shared by every driver.
// `Values` and `Vectors` are the element types of the two outputs.
template <class Values, class Vectors, class Driver>
int32_t EigenFront(Handle a, int32_t option, Handle eigenvalues, Handle eigenvectors, Driver driver) {
  const int32_t n = rows(a);
  if (n < 1) return EmptyInput;
  if (cols(a) != n) return NotSquare;
  if (option != ValuesOnly && option != ValuesAndVectors) return SelectorOutOfRange;
  Values* values = nullptr;
  if (ResizeVector<Values>(eigenvalues, n, &values) != Ok) return OutOfMemory;
  Vectors* vectors = nullptr;
  const int32_t size = option == ValuesAndVectors ? n : 0;
  if (ResizeMatrix<Vectors>(eigenvectors, size, size, &vectors) != Ok) return OutOfMemory;
  // A negative status empties both outputs at the export boundary.
  return driver(n, option == ValuesAndVectors ? vectors : nullptr, values);
}

// ---- general matrices ---------------------------------------------------------------------

template <class T>
int32_t GeneralEigen(const T* a, int32_t n, ComplexOf<T>* values, ComplexOf<T>* vectors,
                     Handle work, Handle real_work) {
  using R = RealOf<T>;
  if (HasNonFinite(a, element_count(n, n))) return NotFinite;
  const char* jobvl = vectors != nullptr ? "V" : "N";
  int info = 0, lwork = -1;
  T query{};
  R rwork_query{};  // the core's query writes the first RWORK entry
  if constexpr (is_complex_v<T>)
    Core<T>::geev(jobvl, "N", &n, nullptr, &n, values, nullptr, &n, nullptr, &n, &query, &lwork,
                  &rwork_query, &info);
  else
    Core<T>::geev(jobvl, "N", &n, nullptr, &n, nullptr, nullptr, nullptr, &n, nullptr, &n, &query,
                  &lwork, &info);
  if (info < 0) return InternalError;
  lwork = workspace_size(query);

  const int64_t nn = static_cast<int64_t>(n) * n;
  const int64_t vl_size = vectors != nullptr ? nn : 0;
  R* rwork = nullptr;
  if constexpr (is_complex_v<T>) {
    if (real_work == nullptr) return InternalError;
    if (ResizeVector<R>(real_work, 2 * int64_t{n}, &rwork) != Ok) return OutOfMemory;
  }
  // Work layout: the copy, for real types WR and WI, VL when wanted, WORK.
  const int64_t wr_wi = is_complex_v<T> ? 0 : 2 * static_cast<int64_t>(n);
  const int32_t count = handle_count(nn + wr_wi + vl_size + lwork);
  if (work == nullptr) return InternalError;
  if (count < 0) return OutOfMemory;
  T* w = nullptr;
  if (ResizeVector<T>(work, count, &w) != Ok) return OutOfMemory;
  T* copy = w;
  R* wr = reinterpret_cast<R*>(copy + nn);  // real types only
  R* wi = wr + n;
  T* vl = is_complex_v<T> ? copy + nn : reinterpret_cast<T*>(wi + n);
  T* core_work = vl + vl_size;

  std::copy(a, a + nn, copy);
  if constexpr (is_complex_v<T>)
    Core<T>::geev(jobvl, "N", &n, copy, &n, values, vl, &n, nullptr, &n, core_work, &lwork, rwork,
                  &info);
  else
    Core<T>::geev(jobvl, "N", &n, copy, &n, wr, wi, vl, &n, nullptr, &n, core_work, &lwork, &info);
  if (info < 0) return InternalError;
  if (info > 0) return NoConvergence;

  if constexpr (is_complex_v<T>) {
    // The conjugates of the left vectors of the transpose are the right
    // vectors of the matrix.
    if (vectors != nullptr) ToColumnMajorConj(vl, n, n, vectors);
  } else {
    for (int32_t k = 0; k < n; ++k) values[k] = ComplexOf<T>(wr[k], wi[k]);
    if (vectors != nullptr) PairedEigenvectors(vl, n, values, vectors);
  }
  return Ok;
}

template <class T>
int32_t EigenVWorker(Handle a, int32_t option, Handle eigenvalues, Handle eigenvectors, Handle work,
                     Handle real_work) {
  using C = ComplexOf<T>;
  return EigenFront<C, C>(a, option, eigenvalues, eigenvectors, [&](int32_t n, C* vectors, C* values) {
    return GeneralEigen<T>(matrix_data<T>(a), n, values, vectors, work, real_work);
  });
}

// ---- symmetric and Hermitian matrices -----------------------------------------------------

template <class T>
int32_t SelfAdjointEigen(const T* a, int32_t n, RealOf<T>* values, T* vectors, Handle work,
                         Handle real_work, Handle int_work) {
  using R = RealOf<T>;
  if (HasNonFinite(a, element_count(n, n))) return NotFinite;
  const char* jobz = vectors != nullptr ? "V" : "N";
  const R abstol = 0;
  int found = 0, info = 0, lwork = -1, lrwork = -1, liwork = -1, iquery = 0;
  T query{};
  R rquery{};
  if constexpr (is_complex_v<T>)
    Core<T>::heevr(jobz, "A", "U", &n, nullptr, &n, nullptr, nullptr, nullptr, nullptr, &abstol, &found,
                   values, nullptr, &n, nullptr, &query, &lwork, &rquery, &lrwork, &iquery, &liwork,
                   &info);
  else
    Core<T>::syevr(jobz, "A", "U", &n, nullptr, &n, nullptr, nullptr, nullptr, nullptr, &abstol, &found,
                   values, nullptr, &n, nullptr, &query, &lwork, &iquery, &liwork, &info);
  if (info < 0) return InternalError;
  lwork = workspace_size(query);
  liwork = iquery;

  // Work layout: the copy, Z, WORK; integer work: ISUPPZ (2n), IWORK.
  const int64_t nn = static_cast<int64_t>(n) * n;
  const int32_t count = handle_count(2 * nn + lwork);
  const int32_t int_count = handle_count(2 * static_cast<int64_t>(n) + liwork);
  R* rwork = nullptr;
  if constexpr (is_complex_v<T>) {
    lrwork = workspace_size(rquery);
    if (real_work == nullptr) return InternalError;
    if (ResizeVector<R>(real_work, lrwork, &rwork) != Ok) return OutOfMemory;
  }
  if (work == nullptr) return InternalError;
  if (count < 0) return OutOfMemory;
  T* w = nullptr;
  if (ResizeVector<T>(work, count, &w) != Ok) return OutOfMemory;
  if (int_work == nullptr) return InternalError;
  if (int_count < 0) return OutOfMemory;
  int32_t* iw = nullptr;
  if (ResizeVector<int32_t>(int_work, int_count, &iw) != Ok) return OutOfMemory;
  T* copy = w;
  T* z = copy + nn;
  T* core_work = z + nn;
  int* isuppz = iw;
  int* core_iwork = iw + 2 * n;

  std::copy(a, a + nn, copy);
  if constexpr (is_complex_v<T>)
    Core<T>::heevr(jobz, "A", "U", &n, copy, &n, nullptr, nullptr, nullptr, nullptr, &abstol, &found,
                   values, z, &n, isuppz, core_work, &lwork, rwork, &lrwork, core_iwork, &liwork,
                   &info);
  else
    Core<T>::syevr(jobz, "A", "U", &n, copy, &n, nullptr, nullptr, nullptr, nullptr, &abstol, &found,
                   values, z, &n, isuppz, core_work, &lwork, core_iwork, &liwork, &info);
  if (info != 0) return InternalError;

  if (vectors != nullptr) {
    // The core diagonalized the transpose, which for a Hermitian matrix is
    // its conjugate: the vectors come back conjugated.
    if constexpr (is_complex_v<T>) ToColumnMajorConj(z, n, n, vectors);
    else ToColumnMajor(z, n, n, vectors);
  }
  return Ok;
}

template <class T>
int32_t SymEigenVWorker(Handle a, int32_t option, Handle eigenvalues, Handle eigenvectors,
                        Handle work, Handle int_work) {
  using R = RealOf<T>;
  return EigenFront<R, T>(a, option, eigenvalues, eigenvectors, [&](int32_t n, T* vectors, R* values) {
    return SelfAdjointEigen<T>(matrix_data<T>(a), n, values, vectors, work, nullptr, int_work);
  });
}

template <class T>
int32_t HermEigenVWorker(Handle a, int32_t option, Handle eigenvalues, Handle eigenvectors,
                         Handle work, Handle real_work, Handle int_work) {
  using R = RealOf<T>;
  return EigenFront<R, T>(a, option, eigenvalues, eigenvectors, [&](int32_t n, T* vectors, R* values) {
    return SelfAdjointEigen<T>(matrix_data<T>(a), n, values, vectors, work, real_work, int_work);
  });
}

}  // namespace

#include "factor/eigen.exports"

}  // namespace tarnx
