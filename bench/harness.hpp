#pragma once
// The benchmark's table of families. Each entry pairs one export with the
// core call or calls it wraps, on the same data: the time of the first minus
// the time of the second is what the library costs on top of the core.
//
// Adding a family is one entry in cases.cpp: a name, a group (one plot per
// group), what it is held to, its sizes, and a maker that builds the inputs
// for a size and returns the two sides.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "frame/handle_layout.hpp"
#include "frame/traits.hpp"
#include "include/tarnx_linalg.h"

namespace bench {

// What the export is held to.
enum class Target {
  Product,  // a BLAS product: at most 100 ns over the core at n = 4
  Lapack,   // a LAPACK-backed export: 250 ns at n = 4, 1.05x from n = 512
  Copy,     // a layout copy, timed against memcpy of the same bytes
};

// Host handles made through the host stand-in, disposed of with the owner.
class Arrays {
 public:
  Arrays() = default;
  Arrays(const Arrays&) = delete;
  Arrays& operator=(const Arrays&) = delete;
  ~Arrays();

  // Blocks of any element type: two int32 sizes, then the elements, which a
  // matrix starts at byte 8 and a vector at the type's own offset.
  template <class T> ZwArrayHandle matrix(int32_t rows, int32_t cols, const T* row_major);
  template <class T> ZwArrayHandle vector(int32_t n, const T* values);
  ZwArrayHandle empty();
  // An empty handle the export uses as workspace; it must come back empty.
  ZwArrayHandle scratch();
  // Each of the given handles made empty (outputs) or empty scratch.
  template <class... H> void empties(H&... h) { ((h = empty()), ...); }
  template <class... H> void scratches(H&... h) { ((h = scratch()), ...); }
  bool scratch_all_empty() const;
  std::size_t scratch_count() const { return scratch_.size(); }

 private:
  ZwArrayHandle block(std::size_t bytes);
  std::vector<ZwArrayHandle> owned_;
  std::vector<ZwArrayHandle> scratch_;
};

inline double* matrix_values(ZwArrayHandle h) {
  return reinterpret_cast<double*>(reinterpret_cast<char*>(*h) + tarnx::layout::kMatrixOffset);
}
inline double* vector_values(ZwArrayHandle h) { return matrix_values(h); }
template <class T> T* matrix_of(ZwArrayHandle h) {
  return reinterpret_cast<T*>(reinterpret_cast<char*>(*h) + tarnx::layout::kMatrixOffset);
}
template <class T> T* vector_of(ZwArrayHandle h) {
  return reinterpret_cast<T*>(reinterpret_cast<char*>(*h) + tarnx::layout::kVectorOffset<T>);
}
inline int32_t dim(ZwArrayHandle h, int i) { return reinterpret_cast<int32_t*>(*h)[i]; }

// One family at one size: both sides, and how far their results are apart.
class Work {
 public:
  virtual ~Work() = default;
  virtual int32_t ours() = 0;  // one call of the export; its status
  virtual void raw() = 0;      // the core calls the export wraps
  // Relative distance between the two sides' results, each run once from
  // the freshly made inputs. Benchmarks that do different work are worthless.
  virtual double disagreement() = 0;
  // Floating-point operations of one call, for GFLOP/s; 0 when not counted.
  virtual double flops() const { return 0; }
  // Host resizes per call beyond one grow and one emptying per scratch
  // handle, for an export that cycles a scratch handle more than once.
  virtual int64_t extra_resizes() const { return 0; }
  Arrays arrays;
};

struct Case {
  std::string name;   // the export's name
  std::string group;  // one plot per group
  Target target;
  std::vector<int32_t> sizes;
  std::function<std::unique_ptr<Work>(int32_t n)> make;
};

const std::vector<Case>& cases();

// Deterministic test data: uniform in [-1, 1), the same for both sides.
std::vector<double> random_values(std::size_t count, uint64_t seed);
// Row-major n x n matrices with the properties the families want.
std::vector<double> general_matrix(int32_t n, uint64_t seed);
std::vector<double> dominant_matrix(int32_t n, uint64_t seed);  // well conditioned
std::vector<double> symmetric_matrix(int32_t n, uint64_t seed);

// The same in any element type: a complex matrix takes its imaginary parts
// from a second seed, a float one rounds the float64 values.
template <class T> std::vector<T> typed_values(std::size_t count, uint64_t seed);
template <class T> std::vector<T> general_of(int32_t n, uint64_t seed);
template <class T> std::vector<T> dominant_of(int32_t n, uint64_t seed);
// Hermitian (symmetric when real); `shift` is added to the diagonal, and a
// shift of 2n makes it positive definite.
template <class T> std::vector<T> hermitian_of(int32_t n, uint64_t seed, double shift = 0);
template <class T> std::vector<T> transposed_of(const std::vector<T>& a, int32_t rows, int32_t cols);

}  // namespace bench
