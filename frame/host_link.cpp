#include "frame/host_link.hpp"

#include <atomic>
#include <iterator>
#include <cstdio>

#include "frame/export.hpp"
#include "frame/platform.hpp"
#include "include/tarnx_linalg.h"

namespace tarnx::host {
namespace {

constexpr uint32_t kNoSlot = 0xFFFFFFFFu;
constexpr const char* kCaption = "Fatal Error";

// A host function as found in one module. Published entries never change,
// so a reader that sees an entry sees a matching module and function even
// while threads served by different runtimes resolve at the same time.
struct Resolution {
  std::atomic<void*> module{nullptr};
  std::atomic<void*> function{nullptr};
  std::atomic<bool> published{false};
};

struct HostFunctionRecord {
  std::atomic<const Resolution*> current;  // the resolution last made
  const char* name;
  // Every module this function was found in, one entry per module; a
  // process has a handful of host runtimes at most.
  Resolution found[16];
  std::atomic<uint32_t> used;
};

HostFunctionRecord resize_record{{nullptr}, "NumericArrayResize", {}, {0}};
HostFunctionRecord qsort_record{{nullptr}, "QSort", {}, {0}};

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
    module = platform::loaded_module(platform::kHostRuntimeFile);
  if (module == nullptr) module = platform::loaded_module(platform::kSecondHostRuntimeFile);

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

// The entry already made for `module`, if any.
const Resolution* known_resolution(HostFunctionRecord& record, platform::Module module) {
  const uint32_t used = record.used.load(std::memory_order_acquire);
  for (uint32_t i = 0; i < used && i < std::size(record.found); ++i) {
    const Resolution& r = record.found[i];
    if (r.published.load(std::memory_order_acquire) && r.module.load(std::memory_order_relaxed) == module)
      return &r;
  }
  return nullptr;
}

void* ResolveHostFunction(HostFunctionRecord& record) {
  platform::Module module = FindHostModule();
  if (module == nullptr)
    platform::fatal(kCaption, "ZANWELLV.LIB was not called from a Zanwell process.");
  const Resolution* r = record.current.load(std::memory_order_acquire);
  if (r != nullptr && r->module.load(std::memory_order_relaxed) == module)
    return r->function.load(std::memory_order_relaxed);
  if ((r = known_resolution(record, module)) != nullptr) {
    record.current.store(r, std::memory_order_release);
    return r->function.load(std::memory_order_relaxed);
  }
  void* function = platform::own_export(module, record.name);
  if (function == nullptr) {
    char text[300];
    std::snprintf(text, sizeof text, "ZANWELLV.LIB could not locate \"%s\".", record.name);
    platform::fatal(kCaption, text);
  }
  const uint32_t slot = record.used.fetch_add(1, std::memory_order_acq_rel);
  // More runtimes than entries: the function is still right for this call,
  // it is only looked up again next time.
  if (slot >= std::size(record.found)) return function;
  Resolution& entry = record.found[slot];
  entry.module.store(module, std::memory_order_relaxed);
  entry.function.store(function, std::memory_order_relaxed);
  entry.published.store(true, std::memory_order_release);
  record.current.store(&entry, std::memory_order_release);
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

// The two hooks are one empty routine under two names. g++ (mingw's at
// least) wants the alias to carry the nothrow its target has implicitly;
// clang refuses an attribute the header's declaration does not have.
#if defined(__clang__)
#define TARNX_HOOK_ALIAS __attribute__((alias("SetZWRTModuleHook")))
#else
#define TARNX_HOOK_ALIAS __attribute__((nothrow, alias("SetZWRTModuleHook")))
#endif
extern "C" TARNX_API void SetZWRTModuleHook(void) {}
extern "C" TARNX_API void SetZWRTTLSIndexHook(void) TARNX_HOOK_ALIAS;
#undef TARNX_HOOK_ALIAS

extern "C" TARNX_API void SetZWRTModule(void* module) {
  tarnx::host::runtime_module.store(module, std::memory_order_release);
  SetZWRTModuleHook();
}

extern "C" TARNX_API void SetZWRTTLSIndex(uint32_t tlsIndex) {
  tarnx::host::runtime_tls_index.store(tlsIndex, std::memory_order_release);
  SetZWRTModuleHook();
}
