#include "bench/harness.hpp"

#include <cstring>

#include "zwrt.h"

namespace bench {

namespace {
// Room for two int32 sizes, then the elements: every float64 block starts
// its elements at block + 8, vector or matrix.
ZwArrayHandle make_block(std::size_t elements) {
  return reinterpret_cast<ZwArrayHandle>(AZNewHandle(8 + elements * sizeof(double)));
}
}  // namespace

Arrays::~Arrays() {
  for (ZwArrayHandle h : owned_) AZDisposeHandle(reinterpret_cast<void**>(h));
}

ZwArrayHandle Arrays::matrix(int32_t rows, int32_t cols, const double* row_major) {
  const std::size_t count = static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
  ZwArrayHandle h = make_block(count);
  reinterpret_cast<int32_t*>(*h)[0] = rows;
  reinterpret_cast<int32_t*>(*h)[1] = cols;
  std::memcpy(matrix_values(h), row_major, count * sizeof(double));
  owned_.push_back(h);
  return h;
}

ZwArrayHandle Arrays::vector(int32_t n, const double* values) {
  ZwArrayHandle h = make_block(static_cast<std::size_t>(n));
  reinterpret_cast<int32_t*>(*h)[0] = n;
  std::memcpy(vector_values(h), values, static_cast<std::size_t>(n) * sizeof(double));
  owned_.push_back(h);
  return h;
}

ZwArrayHandle Arrays::empty() {
  ZwArrayHandle h = make_block(0);
  owned_.push_back(h);
  return h;
}

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

std::vector<double> general_matrix(int32_t n, uint64_t seed) {
  return random_values(static_cast<std::size_t>(n) * static_cast<std::size_t>(n), seed);
}

std::vector<double> dominant_matrix(int32_t n, uint64_t seed) {
  std::vector<double> a = general_matrix(n, seed);
  for (int32_t i = 0; i < n; ++i) a[static_cast<std::size_t>(i) * (n + 1)] += n;
  return a;
}

std::vector<double> symmetric_matrix(int32_t n, uint64_t seed) {
  std::vector<double> a = general_matrix(n, seed);
  for (int32_t i = 0; i < n; ++i)
    for (int32_t j = 0; j < i; ++j)
      a[static_cast<std::size_t>(j) * n + i] = a[static_cast<std::size_t>(i) * n + j];
  return a;
}

std::vector<double> transposed(const std::vector<double>& a, int32_t rows, int32_t cols) {
  std::vector<double> t(a.size());
  for (int32_t i = 0; i < rows; ++i)
    for (int32_t j = 0; j < cols; ++j)
      t[static_cast<std::size_t>(j) * rows + i] = a[static_cast<std::size_t>(i) * cols + j];
  return t;
}

}  // namespace bench
