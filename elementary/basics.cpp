// Transpose, trace, mean and RMS: the library's own loops, no core calls.
#include <cmath>
#include <cstddef>

#include "elementary/sums.hpp"
#include "frame/export.hpp"
#include "frame/layout.hpp"

namespace tarnx {
namespace {

template <class T> int32_t TransposeFront(Handle a, Handle b) {
  const int32_t m = rows(a), n = cols(a);
  T* out = nullptr;
  if (int32_t status = ResizeMatrix<T>(b, n, m, &out); status != Ok) return status;
  // The column-major form of A is exactly the row-major form of its
  // transpose, so the layout copy is the whole job for real types.
  if constexpr (!is_complex_v<T>) {
    return ToColumnMajor(matrix_data<T>(a), m, n, out);
  } else {
    // The imaginary part is subtracted from negative zero rather than
    // sign-flipped: a zero imaginary part comes out as a zero of the
    // opposite sign, and a NaN keeps its own sign.
    if (m < 1 || n < 1) return EmptyInput;
    detail::transpose_copy(matrix_data<T>(a), m, n, out,
                           [](const T& v) { return T(v.real(), RealOf<T>(-0.0) - v.imag()); });
    return Ok;
  }
}

// A non-square matrix is allowed: the shorter side bounds the diagonal.
template <class T> int32_t TraceFront(Handle a, T* result) {
  const int32_t m = rows(a), n = cols(a);
  if (m < 1 || n < 1) return EmptyInput;
  const T* d = matrix_data<T>(a);
  const int32_t k = m < n ? m : n;
  T sum(0);
  for (int32_t i = 0; i < k; ++i) sum += d[static_cast<std::size_t>(i) * n + i];
  *result = sum;
  return Ok;
}

template <class T> int32_t MeanFront(Handle x, T* result) {
  const int32_t n = length(x);
  if (n < 1) return EmptyInput;
  const T* d = vector_data<T>(x);
  if constexpr (std::is_same_v<RealOf<T>, float>) {
    constexpr int parts = is_complex_v<T> ? 2 : 1;
    const auto sum = internal::lane_sums<parts>(reinterpret_cast<const float*>(d), n,
                                                [](float v) { return v; });
    const float count = static_cast<float>(n);
    if constexpr (is_complex_v<T>) *result = T(sum[0] / count, sum[1] / count);
    else *result = sum[0] / count;
  } else {
    T sum(0);
    for (int32_t i = 0; i < n; ++i) sum += d[i];
    const double count = static_cast<double>(n);
    if constexpr (is_complex_v<T>) *result = T(sum.real() / count, sum.imag() / count);
    else *result = sum / count;
  }
  return Ok;
}

// The Euclidean norm over sqrt(n), both square roots taken without any
// rescaling; the division happens in float64 and float32 results are rounded
// once at the end.
template <class T> int32_t RootMeanSquareFront(Handle x, RealOf<T>* result) {
  using R = RealOf<T>;
  const int32_t n = length(x);
  if (n < 1) return EmptyInput;
  const R norm = std::sqrt(internal::sum_of_squares(vector_data<T>(x), n));
  *result = static_cast<R>(static_cast<double>(norm) / std::sqrt(static_cast<double>(n)));
  return Ok;
}

}  // namespace

#include "elementary/basics.exports"

}  // namespace tarnx
