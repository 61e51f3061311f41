#pragma once
// The two functions the library takes from the host's run-time engine. They
// are found by name in the host's module on every call, so that one loaded
// library can serve several host runtimes in turn.
#include <cstddef>
#include <cstdint>

struct ZwArrayBlock;

namespace tarnx::host {

using QSortCompare = int (*)(const void*, const void*);

int32_t NumericArrayResize(int32_t type_code, int32_t dimensions, ZwArrayBlock*** handle,
                           std::size_t elements);
void QSort(void* base, int32_t count, int32_t element_size, QSortCompare compare);

}  // namespace tarnx::host
