// QR factorization A = Q R, or A P = Q R with column pivoting, in three
// output modes: full, economy, or R only.
//
// Without pivoting A is never transposed: the core reads the row-major block
// as A^T and factors it as L Q_l (an LQ factorization), so A = Q_l^T L^T, and
// the core's column-major results read row-major are Q and R directly. Column
// pivoting has no LQ counterpart in the core, so that route copies A to
// column-major and copies Q back.
#include <algorithm>
#include <array>
#include <cstring>

#include "frame/export.hpp"
#include "frame/layout.hpp"
#include "frame/workspace.hpp"

namespace tarnx {
namespace {

// The mode selector's values, fixed by the export's contract.
enum class QRMode : int32_t { Full = 0, Economy = 1, ROnly = 2 };

// Output shapes of a mode: Q is m x q_cols, R is r_rows x n.
struct QRShape {
  int32_t q_cols, r_rows;
};
inline bool shape_of(QRMode mode, int32_t m, int32_t n, QRShape* shape) {
  const int32_t k = std::min(m, n);
  switch (mode) {
    case QRMode::Full: *shape = {m, m}; return true;
    case QRMode::Economy: *shape = {k, k}; return true;
    case QRMode::ROnly: *shape = {0, k}; return true;
    default: return false;
  }
}

// One work handle holds the factor's buffer, tau (k) and the core's own
// workspace, in that order. The buffer has m columns (or rows) of `room`
// elements: n, or max(m, n) in full mode, where the m x m Q overwrites it.
// The core's part is the larger of two queries, the factorization's and,
// when Q is wanted, its builder's, each called as query(&answer, &info).
template <class T> struct FactorWork {
  int32_t k;
  bool want_q;
  int room;
  T* buffer = nullptr;
  T* tau = nullptr;
  T* core = nullptr;
  int lwork = -1;

  FactorWork(int32_t m, int32_t n, QRMode mode)
      : k(std::min(m, n)), want_q(mode != QRMode::ROnly), room(mode == QRMode::Full ? std::max(m, n) : n) {}

  template <class FactorQuery, class BuildQuery>
  int32_t carve(Handle work, int32_t m, FactorQuery factor_query, BuildQuery build_query) {
    // The queries read only sizes, which m, k, room and want_q fix.
    static thread_local QueryAnswers<4> answers;
    int32_t needed = 0;
    const int info = answers.ask({m, k, room, want_q}, needed, [&](int& answer) {
      T query{};
      int query_info = 0;
      factor_query(&query, &query_info);
      if (query_info != 0) return query_info;
      answer = std::max(1, workspace_size(query));
      if (want_q) {
        build_query(&query, &query_info);
        answer = std::max(answer, workspace_size(query));
      }
      return query_info;
    });
    if (info != 0) return InternalError;
    std::array<T*, 3> parts{};
    if (int32_t status = carve_scratch<T>(work, {element_count(room, m), k, needed}, parts); status != Ok)
      return status;
    buffer = parts[0];
    tau = parts[1];
    core = parts[2];
    lwork = needed;
    return Ok;
  }
};

// The route without pivoting, on checked input and sized outputs.
template <class T>
int32_t qr_no_pivot(const T* a, int32_t m, int32_t n, T* q, T* r, QRMode mode, QRShape shape,
                    Handle work) {
  // B = A^T, n x m column-major, with leading dimension `room`.
  FactorWork<T> fw(m, n, mode);
  int bm = n, bn = m, ld = fw.room, qk = fw.k, qrows = shape.q_cols, info = 0;
  if (int32_t status = fw.carve(
          work, m,
          [&](T* query, int* query_info) {
            Core<T>::gelqf(&bm, &bn, nullptr, &ld, nullptr, query, &fw.lwork, query_info);
          },
          [&](T* query, int* query_info) {
            Core<T>::unglq(&qrows, &bn, &qk, nullptr, &ld, nullptr, query, &fw.lwork, query_info);
          });
      status != Ok)
    return status;

  // Row i of A is column i of B: the block is copied as it stands.
  for (int32_t i = 0; i < m; ++i)
    std::memcpy(static_cast<void*>(fw.buffer + static_cast<std::size_t>(i) * ld), a + static_cast<std::size_t>(i) * n,
                sizeof(T) * n);
  Core<T>::gelqf(&bm, &bn, fw.buffer, &ld, fw.tau, fw.core, &fw.lwork, &info);
  if (info != 0) return InternalError;

  // R = L^T: row i of R is column i of L, from the diagonal down.
  for (int32_t i = 0; i < shape.r_rows; ++i) {
    T* r_row = r + static_cast<std::size_t>(i) * n;
    if (i < fw.k) {
      std::fill(r_row, r_row + i, T(0));
      std::memcpy(static_cast<void*>(r_row + i), fw.buffer + static_cast<std::size_t>(i) * ld + i, sizeof(T) * (n - i));
    } else {
      std::fill(r_row, r_row + n, T(0));
    }
  }
  if (!fw.want_q) return Ok;

  // Q = Q_l^T: row i of Q is the head of column i of the generated Q_l. No
  // conjugation: Q_l has orthonormal rows, so its plain transpose has
  // orthonormal columns.
  Core<T>::unglq(&qrows, &bn, &qk, fw.buffer, &ld, fw.tau, fw.core, &fw.lwork, &info);
  if (info != 0) return InternalError;
  for (int32_t i = 0; i < m; ++i)
    std::memcpy(static_cast<void*>(q + static_cast<std::size_t>(i) * qrows), fw.buffer + static_cast<std::size_t>(i) * ld,
                sizeof(T) * qrows);
  return Ok;
}

// R from the column-major factor (leading dimension m), and P from the
// core's one-based pivot list, which is made zero-based on the way.
template <class T>
void unpack_pivoted_qr(const T* factor, int32_t m, int32_t n, T* r, int32_t r_rows, int32_t* pivots,
                   int32_t* p) {
  const int32_t k = std::min(m, n);
  for (int32_t i = 0; i < r_rows; ++i) {
    T* r_row = r + static_cast<std::size_t>(i) * n;
    if (i >= k) {
      std::fill(r_row, r_row + n, T(0));
      continue;
    }
    std::fill(r_row, r_row + i, T(0));
    for (int32_t j = i; j < n; ++j) r_row[j] = factor[static_cast<std::size_t>(j) * m + i];
  }
  std::fill(p, p + static_cast<std::size_t>(n) * n, 0);
  for (int32_t j = 0; j < n; ++j) {
    pivots[j] -= 1;
    p[static_cast<std::size_t>(pivots[j]) * n + j] = 1;
  }
}

// The route with column pivoting, on checked input and sized outputs.
template <class T>
int32_t qr_pivot(const T* a, int32_t m, int32_t n, T* q, T* r, int32_t* p, int32_t* pivots,
                 QRMode mode, QRShape shape, Handle work, Handle real_work) {
  // Column-major copy with leading dimension m.
  FactorWork<T> fw(m, n, mode);
  int rm = m, rn = n, qk = fw.k, qcols = shape.q_cols, info = 0;
  if (int32_t status = fw.carve(
          work, m,
          [&](T* query, int* query_info) {
            if constexpr (is_complex_v<T>)
              Core<T>::geqp3(&rm, &rn, nullptr, &rm, nullptr, nullptr, query, &fw.lwork, nullptr, query_info);
            else
              Core<T>::geqp3(&rm, &rn, nullptr, &rm, nullptr, nullptr, query, &fw.lwork, query_info);
          },
          [&](T* query, int* query_info) {
            Core<T>::ungqr(&rm, &qcols, &qk, nullptr, &rm, nullptr, query, &fw.lwork, query_info);
          });
      status != Ok)
    return status;
  if constexpr (is_complex_v<T>) {
    if (int32_t status = size_scratch<double>(real_work, 2 * int64_t{n}); status != Ok) return status;
  }

  ToColumnMajor(a, m, n, fw.buffer);
  // Zero marks every column as free to move.
  std::fill(pivots, pivots + n, 0);
  if constexpr (is_complex_v<T>) {
    auto* rwork = reinterpret_cast<RealOf<T>*>(vector_data<double>(real_work));
    Core<T>::geqp3(&rm, &rn, fw.buffer, &rm, pivots, fw.tau, fw.core, &fw.lwork, rwork, &info);
  } else {
    Core<T>::geqp3(&rm, &rn, fw.buffer, &rm, pivots, fw.tau, fw.core, &fw.lwork, &info);
  }
  if (info != 0) return InternalError;
  unpack_pivoted_qr(fw.buffer, m, n, r, shape.r_rows, pivots, p);
  if (!fw.want_q) return Ok;

  Core<T>::ungqr(&rm, &qcols, &qk, fw.buffer, &rm, fw.tau, fw.core, &fw.lwork, &info);
  if (info != 0) return InternalError;
  // The column-major m x q result is the row-major layout of Q^T.
  ToColumnMajor(fw.buffer, qcols, m, q);
  return Ok;
}

// The checks shared by both routes, in their order: an empty A, the mode,
// the outputs (Q and R, then P and the pivots, which the route without
// pivoting empties), and only then the values of A.
template <class T>
int32_t QRFront(Handle a, Handle q, Handle r, Handle p, Handle pivots, int32_t pivoting,
                int32_t mode_value, Handle work, Handle real_work) {
  // The real workspace belongs to the complex pivoting route alone: there it
  // comes back empty on every way out, elsewhere exactly as it was passed.
  const ScratchRelease<double> release_real_work(is_complex_v<T> && pivoting != 0 ? real_work : nullptr);
  const int32_t m = rows(a), n = cols(a);
  if (m < 1 || n < 1) return EmptyInput;
  const QRMode mode = static_cast<QRMode>(mode_value);
  QRShape shape{};
  if (!shape_of(mode, m, n, &shape)) return SelectorOutOfRange;
  // R only: Q is 0 x 0, not m x 0.
  if (int32_t status = ResizeMatrix<T>(q, shape.q_cols == 0 ? 0 : m, shape.q_cols); status != Ok) return status;
  if (int32_t status = ResizeMatrix<T>(r, shape.r_rows, n); status != Ok) return status;
  if (pivoting == 0) {
    if (rows(p) != 0 || cols(p) != 0) EmptyMatrix<int32_t>(p);
    if (length(pivots) != 0) EmptyVector<int32_t>(pivots);
  } else {
    if (int32_t status = ResizeMatrix<int32_t>(p, n, n); status != Ok) return status;
    if (int32_t status = ResizeVector<int32_t>(pivots, n); status != Ok) return status;
  }
  const T* const data = matrix_data<T>(a);
  if (HasNonFinite(data, element_count(m, n))) return NotFinite;

  // Read after every resize: the blocks may have moved.
  if (pivoting == 0)
    return qr_no_pivot<T>(data, m, n, matrix_data<T>(q), matrix_data<T>(r), mode, shape, work);
  return qr_pivot<T>(data, m, n, matrix_data<T>(q), matrix_data<T>(r), matrix_data<int32_t>(p),
                     vector_data<int32_t>(pivots), mode, shape, work, real_work);
}

}  // namespace

#include "factor/qr.exports"

}  // namespace tarnx
