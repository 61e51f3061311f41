// Matrix, matrix-vector, vector-matrix, dot, outer and Kronecker products.
// The three general products hand the host's blocks to the core's row-major
// BLAS in place; the others are the library's own loops.
#include <array>

#include "frame/export.hpp"

namespace tarnx {
namespace {

template <class T> void fill_nan(T* data, int64_t count) {
  for (int64_t i = 0; i < count; ++i) data[i] = failure_nan<T>();
}

template <class T> int32_t MatrixProductFront(Handle a, Handle b, Handle c) {
  const int32_t m = rows(a), k = cols(a), n = cols(b);
  if (rows(b) != k) return InnerDimensionMismatch;
  if (m < 0 || k < 0 || n < 0) return NegativeSize;
  T* out = nullptr;
  if (int32_t status = ResizeMatrix<T>(c, m, n, &out); status != Ok) return status;
  if (m == 0 || n == 0) return Ok;
  // An empty inner dimension gives NaN, not the zero matrix: there is no
  // product to speak of.
  if (k == 0) {
    fill_nan(out, static_cast<int64_t>(m) * n);
    return Ok;
  }
  const T one(1), zero(0);
  Core<T>::gemm(kRowMajor, kNoTrans, kNoTrans, m, n, k, blas_scalar(one), matrix_data<T>(a), k,
                matrix_data<T>(b), n, blas_scalar(zero), out, n);
  return Ok;
}

// y = op(A) x with A m x n; `x_length` must be n for A x and m for x A.
template <class T> int32_t MatrixVectorProduct(Handle a, Handle x, Handle y, int trans) {
  const int32_t m = rows(a), n = cols(a);
  const int32_t needed = trans == kNoTrans ? n : m;
  const int32_t produced = trans == kNoTrans ? m : n;
  if (length(x) != needed) return InnerDimensionMismatch;
  if (m < 0 || n < 0) return NegativeSize;
  // A with rows but no columns gives an empty y, unlike the matrix product.
  if (m == 0 || n == 0) return length(y) != 0 ? ResizeVector<T>(y, 0) : Ok;
  T* out = nullptr;
  if (int32_t status = ResizeVector<T>(y, produced, &out); status != Ok) return status;
  const T one(1), zero(0);
  Core<T>::gemv(kRowMajor, trans, m, n, blas_scalar(one), matrix_data<T>(a), n,
                vector_data<T>(x), 1, blas_scalar(zero), out, 1);
  return Ok;
}

template <class T> int32_t MatrixTimesVectorFront(Handle a, Handle x, Handle y) {
  return MatrixVectorProduct<T>(a, x, y, kNoTrans);
}

// x A is A-transpose x; for complex types the transpose is plain, not
// conjugating.
template <class T> int32_t VectorTimesMatrixFront(Handle x, Handle a, Handle y) {
  return MatrixVectorProduct<T>(a, x, y, kTrans);
}

// sum of x(i) conj(y(i)) in float32: two elements a step into two sets of
// four running sums, an odd last element into the first lanes.
cfloat complex_float_dot(const cfloat* x, const cfloat* y, int32_t n) {
  std::array<float, 4> re{}, im{};
  int32_t i = 0;
  for (; i + 2 <= n; i += 2) {
    for (int e = 0; e < 2; ++e) {
      const float xr = x[i + e].real(), xi = x[i + e].imag();
      const float yr = y[i + e].real(), yi = y[i + e].imag();
      re[2 * e] += xr * yr;
      re[2 * e + 1] += xi * yi;
      im[2 * e] += xi * yr;
      im[2 * e + 1] += xr * yi;
    }
  }
  if (i < n) {
    const float xr = x[i].real(), xi = x[i].imag();
    const float yr = y[i].real(), yi = y[i].imag();
    re[0] += xr * yr;
    re[1] += xi * yi;
    im[0] += xi * yr;
    im[1] += xr * yi;
  }
  return cfloat((re[0] + re[2]) + (re[1] + re[3]), (im[0] + im[2]) - (im[1] + im[3]));
}

template <class T> int32_t DotProductFront(Handle x, Handle y, T* result) {
  const int32_t n = length(x);
  if (length(y) != n) return SizeMismatch;
  if (n < 1) return EmptyInput;
  const T* xd = vector_data<T>(x);
  const T* yd = vector_data<T>(y);
  if constexpr (std::is_same_v<T, cfloat>) {
    *result = complex_float_dot(xd, yd, n);
  } else if constexpr (is_complex_v<T>) {
    // The conjugated operand is y: the result is sum x(i) conj(y(i)).
    Core<T>::dotc_sub(n, yd, 1, xd, 1, result);
  } else {
    *result = Core<T>::dot(n, yd, 1, xd, 1);
  }
  return Ok;
}

// Plain complex product without the special-value handling of operator*:
// real = xr yr - xi yi, imaginary = xi yr + xr yi.
template <class T> inline T times(const T& a, const T& b) {
  if constexpr (is_complex_v<T>)
    return T(a.real() * b.real() - a.imag() * b.imag(), a.imag() * b.real() + a.real() * b.imag());
  else return a * b;
}

template <class T> int32_t OuterProductFront(Handle x, Handle y, Handle c) {
  const int32_t m = length(x), n = length(y);
  if (m < 1 || n < 1) return EmptyInput;
  T* out = nullptr;
  if (int32_t status = ResizeMatrix<T>(c, m, n, &out); status != Ok) return status;
  const T* xd = vector_data<T>(x);
  const T* yd = vector_data<T>(y);
  for (int32_t i = 0; i < m; ++i) {
    T* row = out + static_cast<std::size_t>(i) * n;
    if constexpr (is_complex_v<T>) {
      for (int32_t j = 0; j < n; ++j) row[j] = times(xd[i], yd[j]);
    } else {
      Core<T>::copy(n, yd, 1, row, 1);
      Core<T>::scal(n, xd[i], row, 1);
    }
  }
  return Ok;
}

// C(i r + k, j s + l) = A(i, j) B(k, l), written in C's row-major order.
//
// C's size is formed in 64 bits: p r and q s each wrap in 32 (65536 x 65537
// gives 65536), which would size C far too small for the loop below, so a
// side a handle cannot hold is refused by the resize before it touches C.
//
// The loop writes through a pointer read from the handle after the resize,
// never through the one the resize fills in. GCC 12.2 at -O3 miscompiles a
// loop that advances a pointer whose address has escaped while storing
// complex float32 values formed by an add and a subtract (as a complex
// product is): store motion keeps the pointer in a register and re-stores
// the last element after the loop, and the vectorizer takes that element
// from the wrong lane, so with an even trip count the last element repeats
// the one before it. The code is valid and has no aliasing in it (clang and
// gcc -O2 get it right); the smallest case, in C:
//   void give(_Complex float** p);
//   void f(const _Complex float* b, int n) {
//     _Complex float* out; give(&out);
//     for (int l = 0; l < n; ++l) {
//       _Complex float v;
//       __real__ v = __real__ b[l] - __imag__ b[l];
//       __imag__ v = __imag__ b[l] + __real__ b[l];
//       *out++ = v; } }
// gives v(b[0]) twice for n = 2. A pointer whose address was never taken
// is not moved that way, so the fault cannot reach this loop.
template <class T> int32_t KroneckerProductFront(Handle a, Handle b, Handle c) {
  const int32_t p = rows(a), q = cols(a), r = rows(b), s = cols(b);
  if (p < 1 || q < 1 || r < 1 || s < 1) return EmptyInput;
  if (int32_t status = ResizeMatrix<T>(c, element_count(p, r), element_count(q, s)); status != Ok)
    return status;
  const T* ad = matrix_data<T>(a);
  const T* bd = matrix_data<T>(b);
  T* out = matrix_data<T>(c);
  for (int32_t i = 0; i < p; ++i)
    for (int32_t k = 0; k < r; ++k)
      for (int32_t j = 0; j < q; ++j) {
        const T aij = ad[static_cast<std::size_t>(i) * q + j];
        const T* brow = bd + static_cast<std::size_t>(k) * s;
        int32_t l = 0;
        for (; l + 4 <= s; l += 4) {
          out[0] = times(brow[l], aij);
          out[1] = times(brow[l + 1], aij);
          out[2] = times(brow[l + 2], aij);
          out[3] = times(brow[l + 3], aij);
          out += 4;
        }
        for (; l < s; ++l) *out++ = times(brow[l], aij);
      }
  return Ok;
}

}  // namespace

#include "elementary/products.exports"

}  // namespace tarnx
