#pragma once
// Where the elements of a host array block start, for every element type.
// The library, the host stand-in's users (tests, benchmarks, command-line
// host, fuzzer) all read blocks through these numbers; the header needs
// nothing else, so any of them can include it.
//
// A block is the int32 sizes (one for a vector, rows then columns for a
// matrix) followed by the elements, row-major, starting at the sizes rounded
// up to the element's alignment: every matrix at +8, float64 and complex
// float64 vectors at +8, float32, complex float32 and int32 vectors at +4.
#include <cstddef>

namespace tarnx::layout {

inline constexpr std::size_t kMatrixOffset = 8;

// The alignment of a complex element is that of its parts.
inline constexpr std::size_t vector_offset_for_alignment(std::size_t alignment) {
  return alignment < 4 ? 4 : alignment;
}
template <class T> inline constexpr std::size_t kVectorOffset = vector_offset_for_alignment(alignof(T));

}  // namespace tarnx::layout
