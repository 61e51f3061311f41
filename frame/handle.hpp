#pragma once
// The host's array handles and the helpers that size them.
//
// A handle is a pointer to a pointer to a movable block: int32 dimension
// sizes, then the elements row-major, starting at the sizes rounded up to the
// element's alignment. The block may move on every resize, so data pointers
// are always read afresh through the handle afterwards.
#include <cstdint>

#include "frame/handle_layout.hpp"
#include "frame/counts.hpp"
#include "frame/status.hpp"
#include "frame/traits.hpp"

struct ZwArrayBlock;

namespace tarnx {

using Handle = ZwArrayBlock**;

inline int32_t* sizes(Handle h) { return reinterpret_cast<int32_t*>(*h); }
inline int32_t rows(Handle h) { return sizes(h)[0]; }
inline int32_t cols(Handle h) { return sizes(h)[1]; }
inline int32_t length(Handle h) { return sizes(h)[0]; }

template <class T> inline T* vector_data(Handle h) {
  return reinterpret_cast<T*>(reinterpret_cast<char*>(*h) + layout::kVectorOffset<T>);
}
template <class T> inline T* matrix_data(Handle h) {
  return reinterpret_cast<T*>(reinterpret_cast<char*>(*h) + layout::kMatrixOffset);
}

// Number of significant bits of x - 1: the smallest b with 2^b >= x.
int32_t size_bits(int32_t x);

// Resize helpers. Each returns Ok or OutOfMemory; `out`, when given, receives
// the first element (null on failure). The host is called only when the shape
// differs, so reused outputs never allocate. Sizes come in as 64-bit counts
// so that a product formed by the caller reaches them unwrapped: a size a
// handle cannot hold (negative, or past int32) is refused before the host
// is asked, and the block is left as it was.
template <class T> int32_t ResizeVector(Handle h, int64_t n, T** out = nullptr);
template <class T> int32_t ResizeMatrix(Handle h, int64_t rows, int64_t cols, T** out = nullptr);
template <class T> int32_t EmptyVector(Handle h);
template <class T> int32_t EmptyMatrix(Handle h);

// Who empties a scratch handle, one rule for the whole library:
//  - a `Scratch` argument of an export is emptied by the export boundary
//    (`settle` in frame/export.hpp) on every return; the front and the code
//    below it leave that to the boundary;
//  - a `PathScratch` argument is emptied by the path that uses it, with a
//    ScratchRelease where that path starts; every other path leaves it as
//    the caller passed it;
//  - a kernel that other operations call (SchurKernel, SingularValueKernel,
//    GeneralSolveKernel, GeneralInverseKernel, PseudoInverseKernel,
//    MatrixNormKernel, BalanceKernel) empties the scratch it sizes with a
//    ScratchRelease, since no boundary need stand between it and its caller.
// Emptying an already empty block needs no trip to the host.
template <class T> inline void release_scratch(Handle h) {
  if (h != nullptr && *h != nullptr && length(h) != 0) EmptyVector<T>(h);
}

// Empties a scratch handle when the scope that sized it ends, on every path
// (see above for where one belongs).
template <class T> struct ScratchRelease {
  explicit ScratchRelease(Handle h) : handle(h) {}
  ScratchRelease(const ScratchRelease&) = delete;
  ScratchRelease& operator=(const ScratchRelease&) = delete;
  ~ScratchRelease() { release_scratch<T>(handle); }
  Handle handle;
};

}  // namespace tarnx
