// Special matrices built from a size or from one or two vectors: identity,
// diagonal, Toeplitz, Vandermonde, companion and Hankel.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "frame/export.hpp"

namespace tarnx {
namespace {

enum SpecialMatrixType : int32_t {
  Identity = 0,
  Diagonal = 1,
  Toeplitz = 2,
  Vandermonde = 3,
  Companion = 4,
  Hankel = 5,
};

// The Toeplitz and Hankel builders only move elements, so they work on raw
// elements of a given size: float64 and complex float32 share one instance.
// Each row is the element of x that starts it followed by the neighbouring
// row shifted right by one; with constant diagonals (Toeplitz) the neighbour
// is the row above, with constant anti-diagonals (Hankel) the row below.
template <std::size_t Bytes>
void build_shifted_rows(const char* x, int32_t m, const char* y, int32_t c, char* out, bool hankel) {
  const std::size_t row_bytes = Bytes * static_cast<std::size_t>(c);
  const int32_t first = hankel ? m - 1 : 0;
  char* seed = out + first * row_bytes;
  std::memcpy(seed, x + first * Bytes, Bytes);
  std::memcpy(seed + Bytes, y + Bytes, row_bytes - Bytes);  // y(0) is not used
  const int32_t step = hankel ? -1 : 1;
  for (int32_t i = first + step; i >= 0 && i < m; i += step) {
    char* row = out + i * row_bytes;
    std::memcpy(row, x + i * Bytes, Bytes);
    std::memcpy(row + Bytes, row - step * static_cast<std::ptrdiff_t>(row_bytes), row_bytes - Bytes);
  }
}

template <class T> void build_identity(T* out, int32_t n) {
  std::fill_n(out, static_cast<std::size_t>(n) * n, T(0));
  for (int32_t i = 0; i < n; ++i) out[static_cast<std::size_t>(i) * (n + 1)] = T(1);
}

template <class T> void build_diagonal(const T* x, int32_t n, T* out) {
  std::fill_n(out, static_cast<std::size_t>(n) * n, T(0));
  for (int32_t i = 0; i < n; ++i) out[static_cast<std::size_t>(i) * (n + 1)] = x[i];
}

// Row i is (x(i)^(n-1), ..., x(i), 1), built right to left by repeated
// multiplication.
template <class T> void build_vandermonde(const T* x, int32_t n, T* out) {
  for (int32_t i = 0; i < n; ++i) {
    T* row = out + static_cast<std::size_t>(i) * n;
    row[n - 1] = T(1);
    for (int32_t j = n - 2; j >= 0; --j) row[j] = row[j + 1] * x[i];
  }
}

// The companion of x(0) s^(n-1) + ... + x(n-1): the first row holds
// -x(1..n-1) / x(0), the first subdiagonal ones. A zero x(0) is not refused;
// it gives infinities or NaNs in the first row.
template <class T> void build_companion(const T* x, int32_t n, T* out) {
  const int32_t k = n - 1;
  std::fill_n(out, static_cast<std::size_t>(k) * k, T(0));
  for (int32_t i = 1; i < k; ++i) out[static_cast<std::size_t>(i) * k + i - 1] = T(1);
  std::copy(x + 1, x + n, out);
  const T scale = T(-1) / x[0];
  Core<T>::scal(k, blas_scalar(scale), out, 1);
}

template <class T>
int32_t SpecialMatrixFront(int32_t type, int32_t size, Handle x, Handle y, Handle out) {
  const int32_t nx = length(x), ny = length(y);
  int32_t r = size, c = size;  // an unknown type is refused only after the resize
  switch (type) {
    case Diagonal:
    case Vandermonde:
      r = c = nx;
      break;
    case Toeplitz:
    case Hankel:
      r = nx;
      c = ny;
      break;
    case Companion:
      r = c = nx - 1;
      break;
    default:
      break;
  }
  if (r < 1 || c < 1) return type == Companion ? TooFewPoints : EmptyInput;
  T* d = nullptr;
  if (int32_t status = ResizeMatrix<T>(out, r, c, &d); status != Ok) return status;
  const T* xd = vector_data<T>(x);
  const T* yd = vector_data<T>(y);
  switch (type) {
    case Identity:
      build_identity(d, r);
      break;
    case Diagonal:
      build_diagonal(xd, r, d);
      break;
    case Toeplitz:
    case Hankel:
      build_shifted_rows<sizeof(T)>(reinterpret_cast<const char*>(xd), r,
                                    reinterpret_cast<const char*>(yd), c, reinterpret_cast<char*>(d),
                                    type == Hankel);
      break;
    case Vandermonde:
      build_vandermonde(xd, r, d);
      break;
    case Companion:
      build_companion(xd, nx, d);
      break;
    default:
      return SelectorOutOfRange;  // the export empties the output just resized
  }
  return Ok;
}

}  // namespace

#include "elementary/special.exports"

}  // namespace tarnx
