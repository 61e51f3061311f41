#pragma once
// What the BLAS entry points share: the CBLAS enumeration values, where an
// operand starts inside its stored block, whether it fits there, and the
// creation of an empty output.
//
// An operand is described as the core sees it: a start element, a shape and
// a leading dimension. The extent tests read that description row by row
// (each row of the operand must fit its leading dimension, the rows follow
// one another ld elements apart) whatever layout the caller names; the
// column-major caller is held to the same rule.
#include <cstddef>
#include <cstdint>

#include "frame/cblas_values.hpp"
#include "frame/handle.hpp"

namespace tarnx::blas {

// The callers' layout, transpose, triangle, diagonal and side arguments are
// the CBLAS values themselves.
using namespace tarnx::cblas;

inline bool is_layout(int32_t v) { return v == RowMajor || v == ColMajor; }
inline bool is_transpose(int32_t v) { return v == NoTrans || v == Trans || v == ConjTrans; }
inline bool is_uplo(int32_t v) { return v == Upper || v == Lower; }
inline bool is_diag(int32_t v) { return v == NonUnit || v == Unit; }
inline bool is_side(int32_t v) { return v == Left || v == Right; }

// Not a status the host ever sees: the checks found nothing to compute, so
// the entry point returns Ok without calling the core.
inline constexpr int32_t NothingToDo = 1;

inline bool negative_shape(Handle matrix) { return rows(matrix) < 0 || cols(matrix) < 0; }
inline bool empty_shape(Handle matrix) { return rows(matrix) == 0 || cols(matrix) == 0; }

// Element (r, c) of the stored row-major block: where an operand starts.
template <class T> inline T* matrix_at(Handle h, int32_t r, int32_t c) {
  return matrix_data<T>(h) + (static_cast<std::ptrdiff_t>(r) * cols(h) + c);
}
template <class T> inline T* vector_at(Handle h, int32_t offset) {
  return vector_data<T>(h) + offset;
}

// Offsets into a non-empty input: inside both stored dimensions.
inline bool offsets_inside(Handle h, int32_t r, int32_t c) {
  return r >= 0 && c >= 0 && r < rows(h) && c < cols(h);
}

// An output may still be empty and is then created from the offsets, so an
// empty dimension admits the offset 0.
inline bool output_offset_inside(int32_t offset, int32_t extent) {
  return offset >= 0 && (offset < extent || (extent == 0 && offset == 0));
}

// Whether an r x c operand read row by row, ld elements apart, from stored
// element (ro, co) on ends inside the block. In double, so that no product of
// two int32 values can wrap.
inline bool extent_fits(Handle h, int32_t ro, int32_t co, int32_t r, int32_t c, int32_t ld) {
  const double stored_rows = rows(h), stored_cols = cols(h);
  const double after_offset = stored_rows * stored_cols - stored_cols * ro - co;
  return (static_cast<double>(r) - 1.0) * ld + c <= after_offset;
}

// The operand's rows also fit its leading dimension.
inline bool holds(Handle h, int32_t ro, int32_t co, int32_t r, int32_t c, int32_t ld) {
  return c <= ld && extent_fits(h, ro, co, r, c, ld);
}

inline int64_t magnitude(int32_t inc) { return inc < 0 ? -static_cast<int64_t>(inc) : inc; }

// Whether n elements |inc| apart, starting at an offset inside the vector,
// stay inside it. A negative increment walks the same elements backwards.
inline bool strided_fits(int32_t length, int32_t offset, int32_t inc, int32_t n) {
  return (static_cast<int64_t>(length) - offset - 1) / magnitude(inc) >=
         static_cast<int64_t>(n) - 1;
}

// The output of a matrix product, checked once M and N are known good: its
// offsets, its creation when empty (sized to hold the M x N result at the
// offsets; beta then scales nothing and is forced to 0, ldc becomes the
// created width), and the result inside it. Sizes past int32 are refused by
// the resize like any other size the host cannot give.
template <class T>
int32_t check_output_matrix(Handle c, int32_t m, int32_t n, int32_t cr, int32_t cc, int32_t& ldc,
                            T& beta) {
  if (!output_offset_inside(cr, rows(c)) || !output_offset_inside(cc, cols(c)))
    return OffsetOutOfRange;
  if (empty_shape(c)) {
    const int64_t width = ldc >= 1 ? ldc : static_cast<int64_t>(n) + cc;
    if (int32_t status = ResizeMatrix<T>(c, int64_t{m} + cr, width); status != Ok)
      return status;
    ldc = cols(c);
    beta = T(0);
  }
  if (!holds(c, cr, cc, m, n, ldc)) return LeadingDimensionTooSmall;
  return Ok;
}

// The output of a matrix-vector product of length n (at least 1, incy not
// 0), created when empty exactly as long as the strided result needs.
template <class T>
int32_t check_output_vector(Handle y, int32_t n, int32_t yo, int32_t incy, T& beta) {
  if (yo < 0) return OffsetOutOfRange;
  if (length(y) == 0) {
    if (int32_t status = ResizeVector<T>(y, magnitude(incy) * (n - 1) + 1 + yo); status != Ok)
      return status;
    beta = T(0);
  }
  if (yo >= length(y)) return OffsetOutOfRange;
  if (!strided_fits(length(y), yo, incy, n)) return LeadingDimensionTooSmall;
  return Ok;
}

}  // namespace tarnx::blas
