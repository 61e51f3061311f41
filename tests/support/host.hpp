#pragma once
// Test-side host: makes and reads array handles through zwrt.so exactly as
// the host lays them out, and owns them for the length of a test.
#include <gtest/gtest.h>

#include <bit>
#include <complex>
#include <cstdint>
#include <cstring>
#include <random>
#include <type_traits>
#include <vector>

#include "frame/handle_layout.hpp"
#include "tarnx_linalg.h"
#include "zwrt.h"

namespace test {

using cfloat = std::complex<float>;
using cdouble = std::complex<double>;

template <class T> struct Real { using type = T; };
template <class R> struct Real<std::complex<R>> { using type = R; };
template <class T> using RealOf = typename Real<T>::type;
template <class T> inline constexpr bool is_complex = !std::is_same_v<T, RealOf<T>>;

// The C type an export takes for a scalar of element type T.
template <class T> struct CScalar { using type = T; };
template <> struct CScalar<cfloat> { using type = ZwComplex64; };
template <> struct CScalar<cdouble> { using type = ZwComplex128; };
template <class T> using CScalarOf = typename CScalar<T>::type;
template <class T> CScalarOf<T>* c_ptr(T* p) { return reinterpret_cast<CScalarOf<T>*>(p); }

template <class T> constexpr std::size_t vector_offset() { return tarnx::layout::kVectorOffset<T>; }

inline int32_t* dims(ZwArrayHandle h) { return reinterpret_cast<int32_t*>(*h); }
inline int32_t rows(ZwArrayHandle h) { return dims(h)[0]; }
inline int32_t cols(ZwArrayHandle h) { return dims(h)[1]; }
inline int32_t length(ZwArrayHandle h) { return dims(h)[0]; }

template <class T> T* matrix_data(ZwArrayHandle h) {
  return reinterpret_cast<T*>(reinterpret_cast<char*>(*h) + tarnx::layout::kMatrixOffset);
}
template <class T> T* vector_data(ZwArrayHandle h) {
  return reinterpret_cast<T*>(reinterpret_cast<char*>(*h) + vector_offset<T>());
}

// Owns every handle it makes and disposes of them when the test ends; it
// also checks that the library left no handle of its own behind.
class Host {
 public:
  // `check_leaks` compares the process's live handle count at the end with
  // the count at the start; only meaningful when no other thread makes handles.
  explicit Host(bool check_leaks = true);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // An empty handle: 0 x 0 as a matrix, length 0 as a vector.
  ZwArrayHandle empty();
  template <class T> ZwArrayHandle matrix(int32_t r, int32_t c, const std::vector<T>& values) {
    ZwArrayHandle h = raw(8 + sizeof(T) * values.size());
    dims(h)[0] = r;
    dims(h)[1] = c;
    if (!values.empty()) std::memcpy(matrix_data<T>(h), values.data(), sizeof(T) * values.size());
    return h;
  }
  template <class T> ZwArrayHandle vector(const std::vector<T>& values) {
    ZwArrayHandle h = raw(vector_offset<T>() + sizeof(T) * values.size());
    dims(h)[0] = static_cast<int32_t>(values.size());
    if (!values.empty()) std::memcpy(vector_data<T>(h), values.data(), sizeof(T) * values.size());
    return h;
  }
  // A matrix handle of the given shape whose elements are NaN (as a block
  // the library never wrote would be).
  template <class T> ZwArrayHandle filled(int32_t r, int32_t c, T value) {
    return matrix<T>(r, c, std::vector<T>(static_cast<std::size_t>(r) * c, value));
  }

 private:
  ZwArrayHandle raw(std::size_t bytes);
  std::vector<ZwArrayHandle> owned_;
  int64_t handles_before_;
  bool check_leaks_;
};

template <class T> std::vector<T> matrix_values(ZwArrayHandle h) {
  const T* d = matrix_data<T>(h);
  return std::vector<T>(d, d + static_cast<std::size_t>(rows(h)) * cols(h));
}
template <class T> std::vector<T> vector_values(ZwArrayHandle h) {
  const T* d = vector_data<T>(h);
  return std::vector<T>(d, d + length(h));
}

// Random values in [-1, 1] (both parts for complex types), reproducible.
template <class T> std::vector<T> random_values(std::size_t n, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> dist(-1.0, 1.0);
  std::vector<T> v(n);
  for (auto& x : v) {
    if constexpr (is_complex<T>) x = T(RealOf<T>(dist(gen)), RealOf<T>(dist(gen)));
    else x = T(dist(gen));
  }
  return v;
}

template <class T> constexpr RealOf<T> epsilon() { return std::numeric_limits<RealOf<T>>::epsilon(); }

template <class T> bool is_failure_nan(T v) {
  if constexpr (is_complex<T>) return is_failure_nan(v.real()) && is_failure_nan(v.imag());
  else if constexpr (std::is_same_v<T, float>) return std::bit_cast<uint32_t>(v) == 0x7FC00000u;
  else return std::bit_cast<uint64_t>(v) == 0x7FF8000000000000ull;
}

// Bitwise equality that treats every NaN pattern as itself.
template <class T> bool same_bits(T a, T b) { return std::memcmp(&a, &b, sizeof(T)) == 0; }

// Makes the n-th resize from now fail, and turns that off at scope end.
struct FailNthResize {
  explicit FailNthResize(int64_t n) { ZwrtFailNthResize(n); }
  ~FailNthResize() { ZwrtFailNthResize(0); }
};

using ElementTypes = ::testing::Types<float, double, cfloat, cdouble>;

// The singular value kernel's real workspace after a call that was given one
// of length `passed`: the complex types empty it, the real types have no use
// for it and leave it exactly as passed.
template <class T> void expect_kernel_real_work_settled(ZwArrayHandle h, int32_t passed) {
  if constexpr (is_complex<T>) EXPECT_EQ(length(h), 0);
  else EXPECT_EQ(length(h), passed);
}

}  // namespace test
