#pragma once
// How an operation plans its workspace, in the same steps everywhere:
//
//  1. ask the core for its own workspace (LWORK = -1) and read the answer
//     with workspace_size (frame/core.hpp), through the query site's
//     QueryAnswers so that a loop at one size asks only once;
//  2. add up the parts the operation keeps in one scratch handle as a 64-bit
//     count (element_count, frame/counts.hpp), so that no product wraps;
//  3. size the handle with size_scratch: a null handle is InternalError, a
//     count no handle can hold or memory the host cannot give is OutOfMemory
//     (the resize refuses a count past int32 before the host is asked, and
//     leaves the block as it was);
//  4. read the parts as pointers once every resize is done, in the order
//     they were declared (carve_scratch does 3 and 4 for one handle).
//
// The core's info then becomes a status with status_from_info.
#include <array>
#include <cstddef>
#include <cstdint>

#include "frame/handle.hpp"
#include "frame/status.hpp"

namespace tarnx {

// The answers one workspace query site has had, kept per thread. The core's
// answer depends only on the routine and element type (the site's own) and
// on the sizes and job arguments (the key), yet at small sizes asking costs
// as much as the work: half a microsecond to a microsecond for a 4 x 4
// decomposition. A host loop at one size therefore asks once. A few entries
// replaced in turn keep a loop over a handful of sizes asking once per size.
// Each thread has its own, so calls on different threads share nothing and
// take no lock; a site declares it `static thread_local`, constant-initialized
// with nothing to destroy, so reaching it costs no guard.
template <std::size_t KeyLength, class Answer = int> class QueryAnswers {
 public:
  using Key = std::array<int64_t, KeyLength>;

  // Sets `answer` for `key`, from an earlier successful query or else from
  // `query(answer)`, which returns the core's info. Only an answer with info
  // 0 is kept; the info is returned (0 when the answer was known).
  template <class Query> int ask(const Key& key, Answer& answer, Query&& query) {
    for (const Entry& e : entries_)
      if (e.filled && e.key == key) {
        answer = e.answer;
        return 0;
      }
    const int info = query(answer);
    if (info == 0) {
      entries_[next_] = Entry{key, answer, true};
      next_ = (next_ + 1) % kEntries;
    }
    return info;
  }

 private:
  static constexpr std::size_t kEntries = 4;
  struct Entry {
    Key key{};
    Answer answer{};
    bool filled = false;
  };
  std::array<Entry, kEntries> entries_{};
  std::size_t next_ = 0;
};

// The core's info as a status: a negative info means the library passed an
// argument the core refused, which is the library's fault; a positive one is
// the outcome the routine documents for it (a zero pivot, no convergence...).
constexpr int32_t status_from_info(int info, int32_t positive_status) {
  return info < 0 ? InternalError : info > 0 ? positive_status : Ok;
}

// Sizes the scratch handle `h` to `count` elements of T; `data`, when given,
// receives the first element.
template <class T> int32_t size_scratch(Handle h, int64_t count, T** data = nullptr) {
  if (h == nullptr) return InternalError;
  return ResizeVector<T>(h, count, data);
}

// The start of each part of a workspace whose parts have the given element
// counts and lie one after another in that order; `total` is the count the
// handle needs.
template <std::size_t N> struct ScratchLayout {
  std::array<int64_t, N> offset{};
  int64_t total = 0;
  constexpr explicit ScratchLayout(const std::array<int64_t, N>& counts) {
    for (std::size_t i = 0; i < N; ++i) {
      offset[i] = total;
      total += counts[i];
    }
  }
  template <class T> std::array<T*, N> parts(T* base) const {
    std::array<T*, N> p{};
    for (std::size_t i = 0; i < N; ++i) p[i] = base + offset[i];
    return p;
  }
};

// Sizes `h` for parts of the given counts, in that order, and points `parts`
// at each: `auto [u, v] = ...` reads as the layout it declares. The pointers
// hold only until the next resize of any handle: carve last.
template <class T, std::size_t N>
int32_t carve_scratch(Handle h, const std::array<int64_t, N>& counts, std::array<T*, N>& parts) {
  const ScratchLayout<N> layout(counts);
  T* base = nullptr;
  if (int32_t status = size_scratch<T>(h, layout.total, &base); status != Ok) return status;
  parts = layout.parts(base);
  return Ok;
}

}  // namespace tarnx
