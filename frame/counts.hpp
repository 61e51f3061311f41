#pragma once
// Element counts. A block's sizes are int32, but the number of elements they
// describe is not: 46341 x 46341 already passes 2^31, and 65536 x 65537
// wraps to 65536 in 32 bits. Every count is formed here in 64 bits, where a
// product of two int32 sizes cannot wrap, and a count that a handle cannot
// hold is refused like memory the host cannot give (OutOfMemory), before any
// block is sized from it.
#include <cstdint>
#include <limits>

namespace tarnx {

// The most elements a handle describes: its int32 length, or the int32
// count a matrix's rows times columns must stay within.
inline constexpr int64_t kMaxHandleCount = std::numeric_limits<int32_t>::max();

// The elements of a rows x cols block (or any product of two sizes).
constexpr int64_t element_count(int64_t rows, int64_t cols) { return rows * cols; }

constexpr bool handle_can_hold(int64_t count) { return count >= 0 && count <= kMaxHandleCount; }

}  // namespace tarnx
