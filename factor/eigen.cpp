// Eigenvalues and eigenvectors of general, real symmetric and complex
// Hermitian matrices.
//
// The caller's row-major block is handed to the core unchanged: the core sees
// the transpose. For a general matrix the left eigenvectors of the transpose
// are the right eigenvectors of the matrix, so those are the ones asked for;
// for a symmetric or Hermitian one the upper triangle of the transpose is our
// lower triangle.
#include <algorithm>
#include <array>

#include "factor/schur.hpp"
#include "frame/core.hpp"
#include "frame/export.hpp"
#include "frame/layout.hpp"
#include "frame/workspace.hpp"

namespace tarnx {
namespace {

enum EigenOption : int32_t { ValuesOnly = 0, ValuesAndVectors = 1 };

// Checks, output sizing and the emptying on failure shared by every driver.
// `Values` and `Vectors` are the element types of the two outputs.
template <class Values, class Vectors, class Driver>
int32_t square_eigen_front(Handle a, int32_t option, Handle eigenvalues, Handle eigenvectors, Driver driver) {
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
int32_t general_eigen(const T* a, int32_t n, ComplexOf<T>* values, ComplexOf<T>* vectors,
                      Handle work, Handle real_work) {
  using R = RealOf<T>;
  if (HasNonFinite(a, element_count(n, n))) return NotFinite;
  const char* jobvl = vectors != nullptr ? "V" : "N";
  int info = 0, lwork = 0;
  static thread_local QueryAnswers<2> answers;
  info = answers.ask({n, vectors != nullptr}, lwork, [&](int& answer) {
    int query_info = 0, query_size = -1;
    T query{};
    R rwork_query{};  // the core's query writes the first RWORK entry
    if constexpr (is_complex_v<T>)
      Core<T>::geev(jobvl, "N", &n, nullptr, &n, values, nullptr, &n, nullptr, &n, &query,
                    &query_size, &rwork_query, &query_info);
    else
      Core<T>::geev(jobvl, "N", &n, nullptr, &n, nullptr, nullptr, nullptr, &n, nullptr, &n, &query,
                    &query_size, &query_info);
    answer = workspace_size(query);
    return query_info;
  });
  if (info < 0) return InternalError;

  const int64_t nn = element_count(n, n);
  R* rwork = nullptr;
  if constexpr (is_complex_v<T>) {
    if (int32_t status = size_scratch<R>(real_work, 2 * int64_t{n}, &rwork); status != Ok) return status;
  }
  // Work layout: the copy, for real types WR and WI (one element of T each),
  // VL when wanted, WORK.
  const int64_t eigen_part = is_complex_v<T> ? 0 : n;
  const ScratchLayout<5> layout({nn, eigen_part, eigen_part, vectors != nullptr ? nn : 0, lwork});
  T* w = nullptr;
  if (int32_t status = size_scratch<T>(work, layout.total, &w); status != Ok) return status;
  const auto [copy, wr_part, wi_part, vl, core_work] = layout.parts(w);
  R* const wr = reinterpret_cast<R*>(wr_part);  // real types only
  R* const wi = reinterpret_cast<R*>(wi_part);

  std::copy(a, a + nn, copy);
  if constexpr (is_complex_v<T>)
    Core<T>::geev(jobvl, "N", &n, copy, &n, values, vl, &n, nullptr, &n, core_work, &lwork, rwork,
                  &info);
  else
    Core<T>::geev(jobvl, "N", &n, copy, &n, wr, wi, vl, &n, nullptr, &n, core_work, &lwork, &info);
  if (int32_t status = status_from_info(info, NoConvergence); status != Ok) return status;

  if constexpr (is_complex_v<T>) {
    // The conjugates of the left vectors of the transpose are the right
    // vectors of the matrix.
    if (vectors != nullptr) ToColumnMajorConj(vl, n, n, vectors);
  } else {
    for (int32_t k = 0; k < n; ++k) values[k] = ComplexOf<T>(wr[k], wi[k]);
    if (vectors != nullptr) paired_eigenvectors(vl, n, values, vectors);
  }
  return Ok;
}

template <class T>
int32_t GeneralEigenFront(Handle a, int32_t option, Handle eigenvalues, Handle eigenvectors,
                          Handle work, Handle real_work) {
  using C = ComplexOf<T>;
  return square_eigen_front<C, C>(a, option, eigenvalues, eigenvectors, [&](int32_t n, C* vectors, C* values) {
    return general_eigen<T>(matrix_data<T>(a), n, values, vectors, work, real_work);
  });
}

// ---- symmetric and Hermitian matrices -----------------------------------------------------

template <class T>
int32_t self_adjoint_eigen(const T* a, int32_t n, RealOf<T>* values, T* vectors, Handle work,
                           Handle real_work, Handle int_work) {
  using R = RealOf<T>;
  if (HasNonFinite(a, element_count(n, n))) return NotFinite;
  const char* jobz = vectors != nullptr ? "V" : "N";
  const R abstol = 0;
  int found = 0, info = 0;
  // WORK, RWORK (complex types) and IWORK.
  std::array<int, 3> sizes{};
  static thread_local QueryAnswers<2, std::array<int, 3>> answers;
  info = answers.ask({n, vectors != nullptr}, sizes, [&](std::array<int, 3>& answer) {
    int query_info = 0, lq = -1, lrq = -1, liq = -1, iquery = 0;
    T query{};
    R rquery{};
    if constexpr (is_complex_v<T>)
      Core<T>::heevr(jobz, "A", "U", &n, nullptr, &n, nullptr, nullptr, nullptr, nullptr, &abstol,
                     &found, values, nullptr, &n, nullptr, &query, &lq, &rquery, &lrq, &iquery, &liq,
                     &query_info);
    else
      Core<T>::syevr(jobz, "A", "U", &n, nullptr, &n, nullptr, nullptr, nullptr, nullptr, &abstol,
                     &found, values, nullptr, &n, nullptr, &query, &lq, &iquery, &liq, &query_info);
    answer = {workspace_size(query), workspace_size(rquery), iquery};
    return query_info;
  });
  if (info < 0) return InternalError;
  int lwork = sizes[0], lrwork = sizes[1], liwork = sizes[2];

  // Work layout: the copy, Z, WORK; integer work: ISUPPZ (2n), IWORK.
  const int64_t nn = element_count(n, n);
  R* rwork = nullptr;
  if constexpr (is_complex_v<T>) {
    if (int32_t status = size_scratch<R>(real_work, lrwork, &rwork); status != Ok) return status;
  }
  std::array<T*, 3> parts{};
  if (int32_t status = carve_scratch<T>(work, {nn, nn, lwork}, parts); status != Ok) return status;
  std::array<int32_t*, 2> int_parts{};
  if (int32_t status = carve_scratch<int32_t>(int_work, {2 * int64_t{n}, liwork}, int_parts); status != Ok)
    return status;
  const auto [copy, z, core_work] = parts;
  const auto [isuppz, core_iwork] = int_parts;

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
int32_t SymmetricEigenFront(Handle a, int32_t option, Handle eigenvalues, Handle eigenvectors,
                            Handle work, Handle int_work) {
  using R = RealOf<T>;
  return square_eigen_front<R, T>(a, option, eigenvalues, eigenvectors, [&](int32_t n, T* vectors, R* values) {
    return self_adjoint_eigen<T>(matrix_data<T>(a), n, values, vectors, work, nullptr, int_work);
  });
}

template <class T>
int32_t HermitianEigenFront(Handle a, int32_t option, Handle eigenvalues, Handle eigenvectors,
                            Handle work, Handle real_work, Handle int_work) {
  using R = RealOf<T>;
  return square_eigen_front<R, T>(a, option, eigenvalues, eigenvectors, [&](int32_t n, T* vectors, R* values) {
    return self_adjoint_eigen<T>(matrix_data<T>(a), n, values, vectors, work, real_work, int_work);
  });
}

}  // namespace

#include "factor/eigen.exports"

}  // namespace tarnx
