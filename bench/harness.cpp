#include "bench/harness.hpp"

#include <complex>
#include <cstring>

#include "zwrt.h"

namespace bench {

// Room for two int32 sizes and the elements; no element type starts its
// elements later than byte 8.
ZwArrayHandle Arrays::block(std::size_t bytes) {
  ZwArrayHandle h = reinterpret_cast<ZwArrayHandle>(AZNewHandle(8 + bytes));
  owned_.push_back(h);
  return h;
}

Arrays::~Arrays() {
  for (ZwArrayHandle h : owned_) AZDisposeHandle(reinterpret_cast<void**>(h));
}

template <class T>
ZwArrayHandle Arrays::matrix(int32_t rows, int32_t cols, const T* row_major) {
  const std::size_t count = static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
  ZwArrayHandle h = block(count * sizeof(T));
  reinterpret_cast<int32_t*>(*h)[0] = rows;
  reinterpret_cast<int32_t*>(*h)[1] = cols;
  std::memcpy(static_cast<void*>(matrix_of<T>(h)), row_major, count * sizeof(T));
  return h;
}

template <class T> ZwArrayHandle Arrays::vector(int32_t n, const T* values) {
  ZwArrayHandle h = block(static_cast<std::size_t>(n) * sizeof(T));
  reinterpret_cast<int32_t*>(*h)[0] = n;
  std::memcpy(static_cast<void*>(vector_of<T>(h)), values, static_cast<std::size_t>(n) * sizeof(T));
  return h;
}

ZwArrayHandle Arrays::empty() { return block(0); }

ZwArrayHandle Arrays::scratch() {
  ZwArrayHandle h = empty();
  scratch_.push_back(h);
  return h;
}

bool Arrays::scratch_all_empty() const {
  for (ZwArrayHandle h : scratch_)
    if (dim(h, 0) != 0) return false;
  return true;
}

std::vector<double> random_values(std::size_t count, uint64_t seed) {
  std::vector<double> v(count);
  uint64_t state = seed * 0x9E3779B97F4A7C15ull + 1;
  for (double& x : v) {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    x = static_cast<double>(state >> 11) * 0x1.0p-52 - 1.0;
  }
  return v;
}

std::vector<double> general_matrix(int32_t n, uint64_t seed) { return general_of<double>(n, seed); }

std::vector<double> dominant_matrix(int32_t n, uint64_t seed) {
  std::vector<double> a = general_matrix(n, seed);
  for (int32_t i = 0; i < n; ++i) a[static_cast<std::size_t>(i) * (n + 1)] += n;
  return a;
}

std::vector<double> symmetric_matrix(int32_t n, uint64_t seed) {
  return hermitian_of<double>(n, seed, 0.0);
}

template <class T> std::vector<T> typed_values(std::size_t count, uint64_t seed) {
  const std::vector<double> re = random_values(count, seed);
  std::vector<T> v(count);
  if constexpr (tarnx::is_complex_v<T>) {
    using R = tarnx::RealOf<T>;
    const std::vector<double> im = random_values(count, seed + 1000);
    for (std::size_t i = 0; i < count; ++i) v[i] = T(static_cast<R>(re[i]), static_cast<R>(im[i]));
  } else {
    for (std::size_t i = 0; i < count; ++i) v[i] = static_cast<T>(re[i]);
  }
  return v;
}

template <class T> std::vector<T> general_of(int32_t n, uint64_t seed) {
  return typed_values<T>(static_cast<std::size_t>(n) * static_cast<std::size_t>(n), seed);
}

template <class T> std::vector<T> dominant_of(int32_t n, uint64_t seed) {
  std::vector<T> a = general_of<T>(n, seed);
  for (int32_t i = 0; i < n; ++i) a[static_cast<std::size_t>(i) * (n + 1)] += T(2 * n);
  return a;
}

template <class T> std::vector<T> hermitian_of(int32_t n, uint64_t seed, double shift) {
  std::vector<T> a = general_of<T>(n, seed);
  for (int32_t i = 0; i < n; ++i) {
    for (int32_t j = 0; j < i; ++j)
      a[static_cast<std::size_t>(j) * n + i] = tarnx::conj_if(a[static_cast<std::size_t>(i) * n + j]);
    T& d = a[static_cast<std::size_t>(i) * (n + 1)];
    d = T(std::real(d) + shift);
  }
  return a;
}

template <class T>
std::vector<T> transposed_of(const std::vector<T>& a, int32_t rows, int32_t cols) {
  std::vector<T> t(a.size());
  for (int32_t i = 0; i < rows; ++i)
    for (int32_t j = 0; j < cols; ++j)
      t[static_cast<std::size_t>(j) * rows + i] = a[static_cast<std::size_t>(i) * cols + j];
  return t;
}

#define BENCH_INSTANTIATE(T)                                                                   \
  template ZwArrayHandle Arrays::matrix<T>(int32_t, int32_t, const T*);                        \
  template ZwArrayHandle Arrays::vector<T>(int32_t, const T*);                                 \
  template std::vector<T> typed_values<T>(std::size_t, uint64_t);                              \
  template std::vector<T> general_of<T>(int32_t, uint64_t);                                    \
  template std::vector<T> dominant_of<T>(int32_t, uint64_t);                                   \
  template std::vector<T> hermitian_of<T>(int32_t, uint64_t, double);                          \
  template std::vector<T> transposed_of<T>(const std::vector<T>&, int32_t, int32_t);
BENCH_INSTANTIATE(float)
BENCH_INSTANTIATE(double)
BENCH_INSTANTIATE(std::complex<float>)
BENCH_INSTANTIATE(std::complex<double>)
#undef BENCH_INSTANTIATE
template ZwArrayHandle Arrays::vector<int32_t>(int32_t, const int32_t*);

}  // namespace bench
