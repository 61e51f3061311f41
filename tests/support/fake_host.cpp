// Another host runtime, for telling which one the library used: plain
// malloc blocks with the host's layout, and a count of the resizes it served.
// Built as fakehost.so and zwffrt.so, and into the probe programs.
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {
std::atomic<long> resizes{0};

std::size_t offset_for(int32_t code, int32_t dims) {
  const std::size_t sizes = 4 * static_cast<std::size_t>(dims);
  const std::size_t align = (code == 10 || code == 13) ? 8 : 4;
  return (sizes + align - 1) / align * align;
}
std::size_t element_size(int32_t code) {
  switch (code) {
    case 10: case 12: return 8;
    case 13: return 16;
    default: return 4;
  }
}
}  // namespace

extern "C" {
__attribute__((visibility("default"))) void** AZNewHandle(std::size_t bytes) {
  auto** h = static_cast<void**>(std::malloc(sizeof(void*)));
  *h = std::calloc(1, bytes < 8 ? 8 : bytes);
  return h;
}

__attribute__((visibility("default"))) int32_t NumericArrayResize(int32_t code, int32_t dims, void*** handle,
                                                                  std::size_t n) {
  ++resizes;
  void** h = *handle;
  const std::size_t bytes = offset_for(code, dims) + n * element_size(code);
  void* block = std::realloc(*h, bytes < 8 ? 8 : bytes);
  if (block == nullptr) return 2;
  *h = block;
  return 0;
}

__attribute__((visibility("default"))) void QSort(void* base, int32_t n, int32_t size,
                                                  int (*cmp)(const void*, const void*)) {
  std::qsort(base, static_cast<std::size_t>(n), static_cast<std::size_t>(size), cmp);
}

__attribute__((visibility("default"))) long FakeHostResizeCount() { return resizes.load(); }
}
