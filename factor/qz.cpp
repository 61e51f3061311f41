// QZ decomposition of a pair: A = Q S Z^H and B = Q T Z^H with Q and Z
// unitary (orthogonal for real types), S and T upper triangular (S
// quasi-upper-triangular for real types, its 2 x 2 blocks holding conjugate
// pairs). S and T overwrite A and B, as T overwrites A in the Schur form.
//
// Unlike the generalized eigenvalues, the factors themselves are wanted, so
// the row-major blocks cannot go to the core unchanged (the core would
// factor the transposed pair, whose triangular factors are our lower ones):
// they are copied to column-major and back.
#include <cmath>

#include "factor/schur.hpp"
#include "frame/core.hpp"
#include "frame/export.hpp"
#include "factor/pencil.hpp"
#include "frame/layout.hpp"

namespace tarnx {
namespace {

int32_t gges_status(int info, int n) {
  if (info < 0) return InternalError;
  if (info == 0) return Ok;
  if (info <= n) return NoConvergence;
  // n + 1 is a failure inside the core other than the iteration; n + 2 and
  // n + 3 are its own reordering failures, which selection "N" never asks for.
  if (info == n + 2) return ReorderFailedAfterSort;
  if (info == n + 3) return ReorderFailed;
  return InternalError;
}

template <class T>
int32_t generalized_schur(T* a, T* b, int32_t n, T* q, T* z, ComplexOf<T>* eigenvalues, Handle work,
                          Handle real_work) {
  using R = RealOf<T>;
  if (HasNonFinite(a, element_count(n, n)) || HasNonFinite(b, element_count(n, n))) return NotFinite;
  const bool vectors = q != nullptr;
  const char* job = vectors ? "V" : "N";
  int sdim = 0, info = 0, lwork = -1;
  T query{};
  R rwork_query{};  // some cores write the first RWORK entry during a query
  if constexpr (is_complex_v<T>)
    Core<T>::gges(job, job, "N", nullptr, &n, nullptr, &n, nullptr, &n, &sdim, nullptr, nullptr,
                  nullptr, &n, nullptr, &n, &query, &lwork, &rwork_query, nullptr, &info);
  else
    Core<T>::gges(job, job, "N", nullptr, &n, nullptr, &n, nullptr, &n, &sdim, nullptr, nullptr,
                  nullptr, nullptr, &n, nullptr, &n, &query, &lwork, nullptr, &info);
  if (info < 0) return InternalError;
  lwork = workspace_size(query);

  // Work layout: the column-major copies of A and B (they become S and T),
  // the eigenvalue parts, Q and Z when wanted, then the core's workspace.
  const int64_t nn = static_cast<int64_t>(n) * n;
  PencilWork<T> p;
  if (int32_t status = p.size(n, vectors ? 2 : 0, lwork, work, real_work); status != Ok) return status;
  T* s = p.a;
  T* t = p.b;
  T* vsl = vectors ? p.vectors : nullptr;
  T* vsr = vectors ? p.vectors + nn : nullptr;

  ToColumnMajor(a, n, n, s);
  ToColumnMajor(b, n, n, t);
  if constexpr (is_complex_v<T>)
    Core<T>::gges(job, job, "N", nullptr, &n, s, &n, t, &n, &sdim, p.alpha, p.beta, vsl, &n, vsr, &n,
                  p.core_work, &lwork, p.rwork, nullptr, &info);
  else
    Core<T>::gges(job, job, "N", nullptr, &n, s, &n, t, &n, &sdim, p.alphar, p.alphai, p.beta_r, vsl,
                  &n, vsr, &n, p.core_work, &lwork, nullptr, &info);
  if (int32_t status = gges_status(info, n); status != Ok) return status;

  p.eigenvalues(n, eigenvalues);
  ToColumnMajor(s, n, n, a);
  ToColumnMajor(t, n, n, b);
  if (vectors) {
    ToColumnMajor(vsl, n, n, q);
    ToColumnMajor(vsr, n, n, z);
  }
  return Ok;
}

template <class T>
int32_t QZFront(Handle a, Handle b, int32_t compute_vectors, Handle q, Handle z, Handle eigenvalues,
                Handle work, Handle real_work) {
  using C = ComplexOf<T>;
  if (rows(a) < 1 || cols(a) < 1 || rows(b) < 1 || cols(b) < 1) return EmptyInput;
  if (rows(a) != cols(a) || rows(b) != cols(b)) return NotSquare;
  if (rows(a) != rows(b)) return GeneralizedSizeMismatch;
  const int32_t n = rows(a);
  T* left = nullptr;
  T* right = nullptr;
  if (compute_vectors == 0) {
    // An output already empty needs no trip to the host.
    if (rows(q) != 0 || cols(q) != 0) EmptyMatrix<T>(q);
    if (rows(z) != 0 || cols(z) != 0) EmptyMatrix<T>(z);
  } else if (ResizeMatrix<T>(q, n, n, &left) != Ok || ResizeMatrix<T>(z, n, n, &right) != Ok) {
    return OutOfMemory;
  }
  C* values = nullptr;
  if (ResizeVector<C>(eigenvalues, n, &values) != Ok) return OutOfMemory;
  // On failure the export empties A, B, Q, Z and the eigenvalues: the
  // caller's pair is lost, as the Schur form loses A.
  return generalized_schur<T>(matrix_data<T>(a), matrix_data<T>(b), n, left, right, values, work,
                             real_work);
}

}  // namespace

#include "factor/qz.exports"

}  // namespace tarnx
