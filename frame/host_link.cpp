#include "frame/host_link.hpp"

#include <atomic>
#include <cstdio>

#include "frame/export.hpp"
#include "frame/platform.hpp"
#include "include/tarnx_linalg.h"

namespace tarnx::host {
namespace {

constexpr uint32_t kNoSlot = 0xFFFFFFFFu;
constexpr const char* kCaption = "Fatal Error";

struct HostFunctionRecord {
  std::atomic<void*> function;
  std::atomic<void*> module;
  char name[32];
};

HostFunctionRecord resize_record{nullptr, nullptr, "NumericArrayResize"};
HostFunctionRecord qsort_record{nullptr, nullptr, "QSort"};

std::atomic<void*> runtime_module{nullptr};
std::atomic<uint32_t> runtime_tls_index{kNoSlot};

// What one thread remembers of the process search. The answer can change
// only when an object is loaded or unloaded, so it is kept for as long as
// that has not happened. Within one export call the loaded-object count is
// read once: the call's resizes all see the process as it was when the
// call's first resize looked.
struct ProcessSearch {
  uint64_t generation = ~uint64_t{0};
  platform::Module module = nullptr;
  uint32_t call = 0;          // numbers this thread's export calls; 0 outside any
  uint32_t checked_call = 0;  // the call whose first search read the count
};
thread_local ProcessSearch process_search;

platform::Module search_process() {
  ProcessSearch& cache = process_search;
  if (cache.call != 0 && cache.checked_call == cache.call) return cache.module;
  const uint64_t generation = platform::loaded_objects_generation();
  cache.checked_call = cache.call;
  if (generation == cache.generation) return cache.module;

  platform::Module module = platform::main_program();
  if (platform::own_export(module, "gZWRTVersion") == nullptr &&
      platform::own_export(module, "AZNewHandle") == nullptr)
    module = platform::loaded_module("zwrt.so");
  if (module == nullptr) module = platform::loaded_module("zwffrt.so");

  cache.module = module;
  cache.generation = generation;
  return module;
}

platform::Module FindHostModule() {
  const uint32_t index = runtime_tls_index.load(std::memory_order_acquire);
  if (index != kNoSlot) {
    if (void* m = platform::thread_value(index)) return m;
  }
  if (void* m = runtime_module.load(std::memory_order_acquire)) return m;
  return search_process();
}

void* ResolveHostFunction(HostFunctionRecord& record) {
  platform::Module module = FindHostModule();
  if (module == nullptr)
    platform::fatal(kCaption, "ZANWELLV.LIB was not called from a Zanwell process.");
  void* function = record.function.load(std::memory_order_acquire);
  if (module != record.module.load(std::memory_order_acquire) || function == nullptr) {
    function = platform::own_export(module, record.name);
    // Function before module: a thread that sees the new module also sees
    // the function resolved from it.
    record.function.store(function, std::memory_order_release);
    record.module.store(module, std::memory_order_release);
  }
  if (function == nullptr) {
    char text[300];
    std::snprintf(text, sizeof text, "ZANWELLV.LIB could not locate \"%s\".", record.name);
    platform::fatal(kCaption, text);
  }
  return function;
}

}  // namespace

ExportCall::ExportCall() {
  ProcessSearch& cache = process_search;
  saved_ = cache.call;
  // Never 0, which stands for "outside an export call".
  cache.call = cache.checked_call + 1 != 0 ? cache.checked_call + 1 : 1;
}

ExportCall::~ExportCall() { process_search.call = saved_; }

// The call gates: resolve, then hand the caller's arguments straight on.
int32_t NumericArrayResize(int32_t type_code, int32_t dimensions, ZwArrayBlock*** handle,
                           std::size_t elements) {
  using Fn = int32_t (*)(int32_t, int32_t, ZwArrayBlock***, std::size_t);
  return reinterpret_cast<Fn>(ResolveHostFunction(resize_record))(type_code, dimensions, handle,
                                                                   elements);
}

void QSort(void* base, int32_t count, int32_t element_size, QSortCompare compare) {
  using Fn = void (*)(void*, int32_t, int32_t, QSortCompare);
  reinterpret_cast<Fn>(ResolveHostFunction(qsort_record))(base, count, element_size, compare);
}

}  // namespace tarnx::host

// The two hooks are one empty routine under two names.
extern "C" TARNX_API void SetZWRTModuleHook(void) {}
extern "C" TARNX_API void SetZWRTTLSIndexHook(void) __attribute__((alias("SetZWRTModuleHook")));

extern "C" TARNX_API void SetZWRTModule(void* module) {
  tarnx::host::runtime_module.store(module, std::memory_order_release);
  SetZWRTModuleHook();
}

extern "C" TARNX_API void SetZWRTTLSIndex(uint32_t tlsIndex) {
  tarnx::host::runtime_tls_index.store(tlsIndex, std::memory_order_release);
  SetZWRTModuleHook();
}
