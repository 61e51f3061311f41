#include "frame/handle.hpp"

#include "frame/host_link.hpp"

namespace tarnx {

int32_t size_bits(int32_t x) {
  if (x <= 1) return 0;
  int32_t bits = 0;
  for (uint32_t v = static_cast<uint32_t>(x) - 1; v != 0; v >>= 1) ++bits;
  return bits;
}

template <class T> int32_t ResizeVector(Handle h, int64_t n, T** out) {
  int32_t status = Ok;
  T* data = nullptr;
  if (!handle_can_hold(n)) {
    status = OutOfMemory;
  } else if (length(h) == n) {
    data = vector_data<T>(h);
  } else {
    Handle copy = h;  // the host may replace the handle it is given
    if (host::NumericArrayResize(Traits<T>::type_code, 1, &copy, static_cast<std::size_t>(n)) != 0) {
      status = OutOfMemory;
    } else {
      sizes(h)[0] = static_cast<int32_t>(n);
      data = vector_data<T>(h);
    }
  }
  if (out != nullptr) *out = data;
  return status;
}

template <class T> int32_t ResizeMatrix(Handle h, int64_t r, int64_t c, T** out) {
  int32_t status = Ok;
  T* data = nullptr;
  // Each size must be one a block can store; then the guard keeps rows *
  // cols within a signed 32-bit count, deliberately conservative (32769 x
  // 32768 is refused, 32768 x 32768 accepted).
  if (!handle_can_hold(r) || !handle_can_hold(c) ||
      size_bits(static_cast<int32_t>(r)) + size_bits(static_cast<int32_t>(c)) >= 31) {
    status = OutOfMemory;
  } else if (rows(h) == r && cols(h) == c) {
    data = matrix_data<T>(h);
  } else {
    Handle copy = h;
    // Past the guard the product fits 32 bits, so forming it in 64 changes
    // nothing.
    if (host::NumericArrayResize(Traits<T>::type_code, 2, &copy,
                                 static_cast<std::size_t>(element_count(r, c))) != 0) {
      status = OutOfMemory;
    } else {
      sizes(h)[0] = static_cast<int32_t>(r);
      sizes(h)[1] = static_cast<int32_t>(c);
      data = matrix_data<T>(h);
    }
  }
  if (out != nullptr) *out = data;
  return status;
}

template <class T> int32_t EmptyVector(Handle h) {
  Handle copy = h;
  host::NumericArrayResize(Traits<T>::type_code, 1, &copy, 0);
  sizes(h)[0] = 0;
  return Ok;
}

template <class T> int32_t EmptyMatrix(Handle h) {
  Handle copy = h;
  host::NumericArrayResize(Traits<T>::type_code, 2, &copy, 0);
  sizes(h)[0] = 0;
  sizes(h)[1] = 0;
  return Ok;
}

#define TARNX_INSTANTIATE(T)                                   \
  template int32_t ResizeVector<T>(Handle, int64_t, T**);      \
  template int32_t ResizeMatrix<T>(Handle, int64_t, int64_t, T**); \
  template int32_t EmptyVector<T>(Handle);                     \
  template int32_t EmptyMatrix<T>(Handle);
TARNX_INSTANTIATE(float)
TARNX_INSTANTIATE(double)
TARNX_INSTANTIATE(cfloat)
TARNX_INSTANTIATE(cdouble)
TARNX_INSTANTIATE(int32_t)
#undef TARNX_INSTANTIATE

}  // namespace tarnx
