// Schur decomposition A = Z T Z^H with the library's own eigenvalue ordering.
//
// The core computes the Schur form without selection; the ordering is ours:
// a bubble sort over the diagonal blocks of T, each exchange of two adjacent
// blocks done by ?trexc so that T stays a Schur form of A and Z follows.
#include "factor/schur.hpp"

#include <algorithm>
#include <cmath>

#include "frame/core.hpp"
#include "frame/export.hpp"
#include "frame/layout.hpp"
#include "frame/workspace.hpp"

namespace tarnx {
namespace {

// The block map of a real Schur form: one entry per diagonal position.
constexpr int32_t kSingle = 1;     // a 1 x 1 block
constexpr int32_t kPairFirst = 2;  // first row of a 2 x 2 block
constexpr int32_t kPairSecond = 0; // second row of a 2 x 2 block

template <class R> R sort_key(std::complex<R> v, SchurOrder order) {
  const bool by_real_part = order == SchurOrder::RealAscending || order == SchurOrder::RealDescending;
  return by_real_part ? v.real() : v.real() * v.real() + v.imag() * v.imag();
}

// Strict comparisons: equal keys never move, so the sort is stable and a
// conjugate pair (equal keys in every order) is never taken apart.
template <class R> bool out_of_order(R first, R second, SchurOrder order) {
  const bool ascending = order == SchurOrder::RealAscending || order == SchurOrder::ModulusAscending;
  return ascending ? first > second : second > first;
}

// Complex Schur forms have only 1 x 1 blocks: a plain bubble sort whose
// passes end at their last exchange.
template <class T>
int32_t sort_complex_schur(T* t, int n, SchurOrder order, T* z, T* eigenvalues, RealOf<T>* key) {
  for (int j = 0; j < n; ++j) key[j] = sort_key(eigenvalues[j], order);
  const char* compq = z != nullptr ? "V" : "N";
  for (int last = n - 1; last > 0;) {
    int last_exchange = 0;
    for (int j = 0; j < last; ++j) {
      if (!out_of_order(key[j], key[j + 1], order)) continue;
      const int ifst = j + 2, ilst = j + 1;  // one-based: move j + 1 up to j
      int info = 0;
      Core<T>::trexc(compq, &n, t, &n, z, &n, &ifst, &ilst, &info);
      if (info < 0) return InternalError;  // the complex exchange cannot be refused
      std::swap(eigenvalues[j], eigenvalues[j + 1]);
      std::swap(key[j], key[j + 1]);
      last_exchange = j;
    }
    last = last_exchange;
  }
  return Ok;
}

template <class R> struct RealSchurForm {
  R* t;  // column-major n x n
  int n;
  R& at(int i, int j) { return t[i + static_cast<std::size_t>(j) * n]; }
};

// After an exchange a 2 x 2 block is standardized again and may come out
// with a zero sub-diagonal: its eigenvalues are real after all. They are
// taken from T's diagonal so that the eigenvalue vector stays T's diagonal.
template <class R>
bool split_if_real(RealSchurForm<R>& form, int p, std::complex<R>* eigenvalues, R* key,
                   int32_t* map, SchurOrder order) {
  if (map[p] != kPairFirst || form.at(p + 1, p) != R(0)) return false;
  for (int i = p; i < p + 2; ++i) {
    eigenvalues[i] = std::complex<R>(form.at(i, i), R(0));
    key[i] = sort_key(eigenvalues[i], order);
    map[i] = kSingle;
  }
  return true;
}

template <class R>
int32_t sort_real_schur(R* t, int n, SchurOrder order, R* z, std::complex<R>* eigenvalues, R* key,
                      int32_t* map, R* trexc_work) {
  RealSchurForm<R> form{t, n};
  // Near-real pairs are snapped to two real eigenvalues before sorting, so
  // that rounding noise in a pair does not decide where it goes.
  const R eps = Traits<R>::epsilon;
  const R asum = Core<R>::asum(2 * n, reinterpret_cast<const R*>(eigenvalues), 1);
  for (int j = 0; j < n;) {
    const R re = eigenvalues[j].real(), im = eigenvalues[j].imag();
    if (im == R(0)) {
      key[j] = sort_key(eigenvalues[j], order);
      map[j++] = kSingle;
      continue;
    }
    if (j + 1 >= n) return InternalError;
    if (re != R(0) && std::abs(im / re) <= R(n) * eps && std::abs(im) <= asum * eps) {
      form.at(j + 1, j) = R(0);
      form.at(j, j + 1) = R(0);
      for (int i = j; i < j + 2; ++i) {
        eigenvalues[i] = std::complex<R>(eigenvalues[i].real(), R(0));
        key[i] = sort_key(eigenvalues[i], order);
        map[i] = kSingle;
      }
    } else {
      key[j] = key[j + 1] = sort_key(eigenvalues[j], order);
      map[j] = kPairFirst;
      map[j + 1] = kPairSecond;
    }
    j += 2;
  }

  // Bubble sort over blocks. After each pass the last block of the range is
  // in its place, so the next pass ends one block earlier. A block that
  // splits changes the block structure of the range: the pass starts over.
  const char* compq = z != nullptr ? "V" : "N";
  auto block_size = [&](int p) { return map[p] == kPairFirst ? 2 : 1; };
  for (int end = n;;) {
    int j = 0, last = 0;
    bool split = false;
    for (;;) {
      const int s1 = block_size(j), k = j + s1;
      if (k >= end) {
        last = j;
        break;
      }
      const int s2 = block_size(k);
      if (!out_of_order(key[j], key[k], order)) {
        j = k;
        continue;
      }
      int ifst = k + 1, ilst = j + 1, info = 0;  // one-based first rows
      Core<R>::trexc(compq, &n, t, &n, z, &n, &ifst, &ilst, trexc_work, &info);
      if (info < 0) return InternalError;
      if (info > 0) {
        // The exchange was refused as too ill-conditioned; T and Z are
        // unchanged, so the two blocks simply stay where they are.
        j = k;
        continue;
      }
      // The second block now starts at j, the first at j + s2; a moved pair
      // keeps its conjugate order.
      std::rotate(eigenvalues + j, eigenvalues + k, eigenvalues + k + s2);
      std::rotate(key + j, key + k, key + k + s2);
      std::rotate(map + j, map + k, map + k + s2);
      const bool first_split = split_if_real(form, j, eigenvalues, key, map, order);
      const bool second_split = split_if_real(form, j + s2, eigenvalues, key, map, order);
      if (first_split || second_split) {
        split = true;
        break;
      }
      j += s2;
    }
    if (split) continue;
    if (last == 0) break;
    end = last;
  }
  return Ok;
}

int32_t gees_status(int info, int n) {
  if (info < 0) return InternalError;
  if (info == 0) return Ok;
  if (info <= n) return NoConvergence;
  return info == n + 1 ? ReorderFailed : ReorderFailedAfterSort;
}

}  // namespace

template <class T>
int32_t SchurKernel(T* a, int32_t n, SchurOrder sort_order, T* z, ComplexOf<T>* eigenvalues,
                    Handle work, Handle real_work, Handle int_work) {
  using R = RealOf<T>;
  // The matrix functions call the kernel directly, without an export around
  // it: it empties what it sizes, on every way out.
  const ScratchRelease<T> release_work(work);
  const ScratchRelease<double> release_real_work(is_complex_v<T> ? real_work : nullptr);
  const ScratchRelease<int32_t> release_int_work(is_complex_v<T> ? nullptr : int_work);
  if (HasNonFinite(a, element_count(n, n))) return NotFinite;

  const char* jobvs = z != nullptr ? "V" : "N";
  int sdim = 0, info = 0, lwork = 0;
  static thread_local QueryAnswers<2> answers;
  info = answers.ask({n, z != nullptr}, lwork, [&](int& answer) {
    int query_info = 0, query_size = -1;
    T query{};
    if constexpr (is_complex_v<T>)
      Core<T>::gees(jobvs, "N", nullptr, &n, nullptr, &n, &sdim, nullptr, nullptr, &n, &query,
                    &query_size, nullptr, nullptr, &query_info);
    else
      Core<T>::gees(jobvs, "N", nullptr, &n, nullptr, &n, &sdim, nullptr, nullptr, nullptr, &n,
                    &query, &query_size, nullptr, &query_info);
    answer = workspace_size(query);
    return query_info;
  });
  if (info != 0) return InternalError;

  // Work layout: the column-major copy (becomes T), for real types WR and WI
  // (one element of T each), the core's workspace, then the Schur vectors
  // when wanted.
  const int64_t nn = element_count(n, n);
  const int64_t eigen_parts = is_complex_v<T> ? 0 : n;
  const ScratchLayout<5> layout({nn, eigen_parts, eigen_parts, lwork, z != nullptr ? nn : 0});
  if (work == nullptr || (is_complex_v<T> && real_work == nullptr)) return InternalError;
  T* w = nullptr;
  if (size_scratch<T>(work, layout.total, &w) != Ok) return OutOfMemory;
  double* rwork = nullptr;
  if constexpr (is_complex_v<T>)
    if (size_scratch<double>(real_work, n, &rwork) != Ok) return OutOfMemory;
  const auto [t, wr_part, wi_part, core_work, vectors_part] = layout.parts(w);
  R* const wr = reinterpret_cast<R*>(wr_part);  // real types only
  R* const wi = reinterpret_cast<R*>(wi_part);
  T* const vs = z != nullptr ? vectors_part : nullptr;

  ToColumnMajor(a, n, n, t);
  if constexpr (is_complex_v<T>)
    Core<T>::gees(jobvs, "N", nullptr, &n, t, &n, &sdim, eigenvalues, vs, &n, core_work, &lwork,
                  reinterpret_cast<R*>(rwork), nullptr, &info);
  else
    Core<T>::gees(jobvs, "N", nullptr, &n, t, &n, &sdim, wr, wi, vs, &n, core_work, &lwork, nullptr,
                  &info);
  if (int32_t status = gees_status(info, n); status != Ok) return status;

  if constexpr (!is_complex_v<T>)
    for (int32_t k = 0; k < n; ++k) eigenvalues[k] = ComplexOf<T>(wr[k], wi[k]);

  if (sort_order != SchurOrder::AsComputed) {
    int32_t status;
    if constexpr (is_complex_v<T>) {
      // The core is done with RWORK: it holds the sort keys.
      status = sort_complex_schur(t, n, sort_order, vs, eigenvalues, reinterpret_cast<R*>(rwork));
    } else {
      int32_t* map = nullptr;
      if (int32_t status = size_scratch<int32_t>(int_work, n, &map); status != Ok) return status;
      // WR holds the sort keys now; ?trexc needs n elements of workspace,
      // which the core's workspace (at least 3n) provides.
      status = sort_real_schur(t, n, sort_order, vs, eigenvalues, wr, map, core_work);
    }
    if (status != Ok) return status;
  }

  ToColumnMajor(t, n, n, a);
  if (z != nullptr) ToColumnMajor(vs, n, n, z);
  return Ok;
}

namespace {

template <class T>
int32_t SchurFront(Handle a, int32_t compute_vectors, int32_t sort_order_bits, Handle z,
                   Handle eigenvalues, Handle work, Handle real_work, Handle int_work) {
  // The order crosses the boundary as an unsigned number.
  const uint32_t sort_order = static_cast<uint32_t>(sort_order_bits);
  const int32_t n = rows(a);
  if (n < 1) return EmptyInput;
  if (cols(a) != n) return NotSquare;
  if (sort_order >= kSchurOrderCount) return SelectorOutOfRange;
  T* vectors = nullptr;
  // An output already empty needs no trip to the host.
  if (compute_vectors == 0) {
    if (rows(z) != 0 || cols(z) != 0) EmptyMatrix<T>(z);
  } else if (ResizeMatrix<T>(z, n, n, &vectors) != Ok) return OutOfMemory;
  ComplexOf<T>* values = nullptr;
  if (ResizeVector<ComplexOf<T>>(eigenvalues, n, &values) != Ok) return OutOfMemory;
  // On failure the export empties A, Z and the eigenvalues: A is lost.
  return SchurKernel<T>(matrix_data<T>(a), n, static_cast<SchurOrder>(sort_order), vectors, values,
                        work, real_work, int_work);
}

}  // namespace

#define TARNX_INSTANTIATE_SCHUR(t, T)                                                          \
  template int32_t SchurKernel<T>(T*, int32_t, SchurOrder, T*, ComplexOf<T>*, Handle, Handle, Handle);
TARNX_FOR_SDCZ(TARNX_INSTANTIATE_SCHUR)
#undef TARNX_INSTANTIATE_SCHUR

#include "factor/schur.exports"

}  // namespace tarnx
