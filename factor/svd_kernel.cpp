// The singular-value kernel: one divide-and-conquer call of the core, with
// no transposition of A beforehand.
//
// The core reads the row-major m x n block as its transpose B = A^T (n x m,
// column-major). From B = U_B S V_B^H it follows that A = conj(V_B) S U_B^T:
// the core's right factor V_B^H, written column-major straight into the
// caller's U, reads row-major as conj(V_B), which is U of A; and V of A is
// conj(U_B), one conjugate-transposing copy of the core's left factor.
#include "factor/svd_kernel.hpp"

#include <algorithm>
#include <cstring>

#include "frame/core.hpp"
#include "frame/layout.hpp"
#include "frame/workspace.hpp"

namespace tarnx {

namespace {

// One call shape for the real and complex flavours of the core routine.
template <class T>
void gesdd(const char* job, int m, int n, T* a, int lda, RealOf<T>* s, T* u, int ldu, T* vt, int ldvt,
           T* work, int lwork, RealOf<T>* rwork, int* iwork, int* info) {
  if constexpr (is_complex_v<T>)
    Core<T>::gesdd(job, &m, &n, a, &lda, s, u, &ldu, vt, &ldvt, work, &lwork, rwork, iwork, info);
  else
    Core<T>::gesdd(job, &m, &n, a, &lda, s, u, &ldu, vt, &ldvt, work, &lwork, iwork, info);
  (void)rwork;
}

}  // namespace

template <class T>
int32_t SingularValueKernel(const T* a, int32_t m, int32_t n, T* u, RealOf<T>* s, T* v, char job,
                            Handle work, Handle real_work, Handle int_work) {
  using R = RealOf<T>;
  // Other operations call the kernel directly: it empties what it sizes.
  const ScratchRelease<T> release_work{work};
  const ScratchRelease<double> release_real_work{is_complex_v<T> ? real_work : nullptr};
  const ScratchRelease<int32_t> release_int_work{int_work};

  if (m < 1 || n < 1) return EmptyInput;
  const bool vectors = job != 'N';
  if ((job != 'N' && job != 'S' && job != 'A') || a == nullptr || s == nullptr ||
      (vectors && (u == nullptr || v == nullptr)))
    return InternalError;
  if (HasNonFinite(a, element_count(m, n))) return NotFinite;

  const int32_t k = std::min(m, n);
  // Columns of the core's left factor (rows of our V^T) and the leading
  // dimension of its right factor, which is our U seen column-major.
  const int32_t p = job == 'A' ? n : k;
  const int32_t ldvt = job == 'A' ? m : k;
  const char jobz[2] = {job, '\0'};

  int info = 0, lwork = 0;
  static thread_local QueryAnswers<3> answers;
  info = answers.ask({m, n, job}, lwork, [&](int& answer) {
    T query{};
    int query_info = 0;
    gesdd<T>(jobz, n, m, nullptr, n, s, v, n, u, ldvt, &query, -1, nullptr, nullptr, &query_info);
    answer = std::max(1, workspace_size(query));
    return query_info;
  });
  if (info != 0) return InternalError;

  if constexpr (is_complex_v<T>) {
    // The core's real workspace for vector jobs; asked for every job, since
    // it also covers the values-only need.
    const int64_t big = std::max(m, n);
    const int64_t real_count = int64_t{k} * std::max<int64_t>(5 * int64_t{k} + 7, 2 * (big + k) + 1);
    if (int32_t status = size_scratch<double>(real_work, real_count); status != Ok) return status;
  }
  // Layout: copy of A (m n), the core's workspace (lwork), then the left
  // factor (p n) when vectors are wanted.
  const int64_t a_count = element_count(m, n);
  const ScratchLayout<3> layout({a_count, lwork, vectors ? element_count(p, n) : 0});
  if (int32_t status = size_scratch<T>(work, layout.total); status != Ok) return status;
  if (int32_t status = size_scratch<int32_t>(int_work, 8 * int64_t{k}); status != Ok) return status;

  // Every resize is done: the blocks stay where they are from here on.
  const auto [w, core_work, left] = layout.parts(vector_data<T>(work));
  R* const rwork = is_complex_v<T> ? reinterpret_cast<R*>(vector_data<double>(real_work)) : nullptr;

  std::memcpy(static_cast<void*>(w), a, static_cast<std::size_t>(a_count) * sizeof(T));
  gesdd<T>(jobz, n, m, w, n, s, vectors ? left : nullptr, n, u, ldvt, core_work, lwork, rwork,
           vector_data<int32_t>(int_work), &info);
  if (info != 0) return NoConvergence;

  // The left factor U_B, n x p column-major, reads row-major as U_B^T (p x n);
  // V = conj(U_B) is its (conjugate) transpose.
  if (vectors) {
    if constexpr (is_complex_v<T>) ToColumnMajorConj(left, p, n, v);
    else ToColumnMajor(left, p, n, v);
  }
  return Ok;
}

#define TARNX_INSTANTIATE(t, T)                                                                  \
  template int32_t SingularValueKernel<T>(const T*, int32_t, int32_t, T*, RealOf<T>*, T*, char, \
                                          Handle, Handle, Handle);
TARNX_FOR_SDCZ(TARNX_INSTANTIATE)
#undef TARNX_INSTANTIATE

}  // namespace tarnx
