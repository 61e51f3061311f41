#pragma once
// The frame's own passes over large blocks (layout copies, screens) split
// over threads that the call starts for itself and joins before it returns.
// With the core on many threads, a single-threaded O(n^2) pass would be what
// is left of a call's time at large n. Nothing is pooled or shared between
// calls, so two calls on different threads stay independent and lock-free.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <exception>
#include <thread>

namespace tarnx::parallel {

// The core's own thread-count query (OpenBLAS's openblas_get_num_threads),
// when the loaded core has one. Written once when the library loads the core;
// code built from these headers outside the library (the tests, the
// benchmarks) leaves it null and gets the machine's count.
using CountQuery = int (*)();
inline std::atomic<CountQuery> core_count_query{nullptr};

// Bytes a pass must move on each thread before another thread pays for
// itself: starting and joining one costs some tens of microseconds, which a
// thread copying at a few GB/s earns back at about this size.
inline constexpr int64_t kBytesPerThread = int64_t{2} << 20;

// The most parts one pass is cut into: the threads' records live on the
// calling thread's stack, not in memory the call would have to allocate.
inline constexpr int kMostParts = 64;

// How many threads the core itself works with: the core's own answer, else
// the machine's.
inline int core_threads() {
  int count = 0;
  if (CountQuery query = core_count_query.load(std::memory_order_acquire); query != nullptr) count = query();
  if (count < 1) count = static_cast<int>(std::thread::hardware_concurrency());
  return count < 1 ? 1 : count;
}

// Threads for a pass over `bytes`: one below the break-even size, else the
// core's count, but never so many that a thread gets less than its share.
inline int threads_for(int64_t bytes) {
  if (bytes < 2 * kBytesPerThread) return 1;
  const int64_t most = bytes / kBytesPerThread;
  return static_cast<int>(std::min<int64_t>(core_threads(), most));
}

// Runs body(begin, end) over [0, count) cut into at most `threads` parts of
// whole multiples of `grain` (the last part takes the rest). The calling
// thread takes the first part; the others run on threads started here and
// are joined before this returns. When the system refuses a thread, that
// part and those after it run on the calling thread instead: the split
// changes the schedule, never the result, since every part writes only its
// own range. `body` must not throw.
template <class Body> void split(int64_t count, int64_t grain, int threads, Body body) {
  const int64_t grains = (count + grain - 1) / grain;
  const int64_t parts = std::min<int64_t>(std::clamp(threads, 1, kMostParts), grains);
  if (parts <= 1) {
    if (count > 0) body(int64_t{0}, count);
    return;
  }
  auto bounds = [&](int64_t part) { return std::min(count, (grains * part / parts) * grain); };
  std::array<std::thread, kMostParts> started;
  int64_t part = 1;
  try {
    for (; part < parts; ++part) {
      const int64_t begin = bounds(part), end = bounds(part + 1);
      started[static_cast<std::size_t>(part)] = std::thread([&body, begin, end] { body(begin, end); });
    }
  } catch (const std::exception&) {  // std::system_error: the system refused a thread
  }
  body(int64_t{0}, bounds(1));
  if (part < parts) body(bounds(part), count);
  for (std::thread& t : started)
    if (t.joinable()) t.join();
}

}  // namespace tarnx::parallel
