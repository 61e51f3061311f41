// The host stand-in's memory manager and sort.
#include "zwrt.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int32_t kNoError = 0;
constexpr int32_t kFullError = 2;  // the host's "memory is full"
constexpr int32_t kArgError = 1;

// Each block records its usable size just before the part the host hands
// out, so a resize knows how much to keep, and the room it has: like a
// host's memory manager, a block shrinks in place and grows back into its
// room without a trip to the allocator.
struct Header {
  size_t bytes;
  size_t capacity;
};

std::atomic<int64_t> live_handles{0};
std::atomic<int64_t> live_bytes{0};
std::atomic<int64_t> resize_count{0};
std::atomic<int64_t> fail_at{0};
std::atomic<int> move_on_resize{0};
std::atomic<int> poison_new_bytes{1};

void* block_alloc(size_t bytes) {
  auto* h = static_cast<Header*>(std::malloc(sizeof(Header) + (bytes ? bytes : 1)));
  if (h == nullptr) return nullptr;
  h->bytes = bytes;
  h->capacity = bytes;
  live_bytes += static_cast<int64_t>(bytes);
  return h + 1;
}

size_t block_size(void* p) { return (static_cast<Header*>(p) - 1)->bytes; }

void block_free(void* p) {
  if (p == nullptr) return;
  live_bytes -= static_cast<int64_t>(block_size(p));
  std::free(static_cast<Header*>(p) - 1);
}

// Grows or shrinks a block in place while it has the room, else where the
// allocator puts it; the kept bytes come along either way.
void* block_resize(void* p, size_t bytes) {
  Header* h = static_cast<Header*>(p) - 1;
  const size_t old_bytes = h->bytes;
  if (bytes > h->capacity) {
    h = static_cast<Header*>(std::realloc(h, sizeof(Header) + bytes));
    if (h == nullptr) return nullptr;
    h->capacity = bytes;
  }
  h->bytes = bytes;
  live_bytes.fetch_add(static_cast<int64_t>(bytes) - static_cast<int64_t>(old_bytes),
                       std::memory_order_relaxed);
  return h + 1;
}

// Where the elements start: after the dimension sizes, rounded up to the
// element's alignment.
bool element_layout(int32_t type_code, int32_t dims, size_t* element_size, size_t* offset) {
  size_t align;
  switch (type_code) {
    case 1: case 5: *element_size = 1; align = 1; break;   // int8, uint8
    case 2: case 6: *element_size = 2; align = 2; break;   // int16, uint16
    case 3: case 7: *element_size = 4; align = 4; break;   // int32, uint32
    case 4: case 8: *element_size = 8; align = 8; break;   // int64, uint64
    case 9: *element_size = 4; align = 4; break;           // float32
    case 10: *element_size = 8; align = 8; break;          // float64
    case 12: *element_size = 8; align = 4; break;          // complex float32
    case 13: *element_size = 16; align = 8; break;         // complex float64
    default: return false;
  }
  if (dims < 1) return false;
  const size_t sizes = 4 * static_cast<size_t>(dims);
  *offset = (sizes + align - 1) & ~(align - 1);  // align is a power of two
  return true;
}

// ZWRT_MOVE_BLOCKS=1 in the environment moves every block on every resize,
// so a whole test suite can run again against stale-pointer mistakes.
// ZWRT_POISON=0 leaves new bytes as the allocator gives them, as a real
// host's memory manager does; the benchmarks use it, so that the poisoning,
// a pass over every byte a resize adds, is not counted as the library's.
__attribute__((constructor)) void read_environment() {
  const char* move = std::getenv("ZWRT_MOVE_BLOCKS");
  if (move != nullptr && move[0] == '1') move_on_resize = 1;
  const char* poison = std::getenv("ZWRT_POISON");
  if (poison != nullptr && poison[0] == '0') poison_new_bytes = 0;
}

}  // namespace

extern "C" {

const int32_t gZWRTVersion = 0x14008000;

ZWRT_API void** AZNewHandle(size_t bytes) {
  void* block = block_alloc(bytes);
  if (block == nullptr) return nullptr;
  std::memset(block, 0, bytes);
  auto** handle = static_cast<void**>(std::malloc(sizeof(void*)));
  *handle = block;
  ++live_handles;
  return handle;
}

ZWRT_API int32_t AZDisposeHandle(void** handle) {
  if (handle == nullptr) return kArgError;
  block_free(*handle);
  std::free(handle);
  --live_handles;
  return kNoError;
}

ZWRT_API int32_t NumericArrayResize(int32_t type_code, int32_t dims, ZwArrayHandle* handle,
                                    size_t elements) {
  // The counters only number the calls; no other memory is ordered by them.
  const int64_t count = resize_count.fetch_add(1, std::memory_order_relaxed) + 1;
  const int64_t fail = fail_at.load(std::memory_order_relaxed);
  if (fail > 0 && count == fail) return kFullError;
  size_t element_size, offset;
  if (handle == nullptr || !element_layout(type_code, dims, &element_size, &offset)) return kArgError;
  size_t bytes;
  if (__builtin_mul_overflow(elements, element_size, &bytes) ||
      __builtin_add_overflow(bytes, offset, &bytes) || bytes > (size_t{1} << 40))
    return kFullError;

  if (*handle == nullptr) {
    void** created = AZNewHandle(bytes);
    if (created == nullptr) return kFullError;
    *handle = reinterpret_cast<ZwArrayHandle>(created);
    return kNoError;
  }
  void** h = reinterpret_cast<void**>(*handle);
  void* old_block = *h;
  const size_t old_bytes = old_block ? block_size(old_block) : 0;
  const bool move = move_on_resize.load(std::memory_order_relaxed) != 0;
  if (!move && old_block != nullptr && old_bytes == bytes) return kNoError;
  const size_t kept = old_bytes < bytes ? old_bytes : bytes;
  void* block;
  if (move || old_block == nullptr) {
    block = block_alloc(bytes);
    if (block == nullptr) return kFullError;
    if (kept) std::memcpy(block, old_block, kept);
    if (old_block != nullptr) {
      std::memset(old_block, 0xEE, old_bytes);  // a stale pointer reads garbage
      block_free(old_block);
    }
  } else {
    block = block_resize(old_block, bytes);
    if (block == nullptr) return kFullError;  // the old block is kept as it was
  }
  // New bytes are poisoned (NaN for every float type), so that a result that
  // depends on memory the library never wrote shows up in the tests.
  if (bytes > kept && poison_new_bytes.load(std::memory_order_relaxed) != 0)
    std::memset(static_cast<char*>(block) + kept, 0xFF, bytes - kept);
  *h = block;
  return kNoError;
}

ZWRT_API void QSort(void* base, int32_t count, int32_t element_size,
                    int (*compare)(const void*, const void*)) {
  if (base == nullptr || count < 2 || element_size < 1) return;
  std::qsort(base, static_cast<size_t>(count), static_cast<size_t>(element_size), compare);
}

ZWRT_API void ZwrtFailNthResize(int64_t n) { fail_at = n > 0 ? resize_count.load() + n : 0; }
ZWRT_API void ZwrtMoveOnResize(int enabled) { move_on_resize = enabled != 0; }
ZWRT_API int64_t ZwrtResizeCount(void) { return resize_count.load(); }
ZWRT_API int64_t ZwrtLiveHandles(void) { return live_handles.load(); }
ZWRT_API int64_t ZwrtLiveBytes(void) { return live_bytes.load(); }

}  // extern "C"
