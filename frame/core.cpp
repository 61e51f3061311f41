#include "frame/core.hpp"

#include "frame/core_module.hpp"
#include "frame/export.hpp"
#include "frame/platform.hpp"

namespace tarnx {

namespace core_slots {
#define TARNX_CORE(id, api, ret, nchars, s, d, c, z, params, args) \
  CoreSlot id[4] = {{nullptr, #s}, {nullptr, #d}, {nullptr, #c}, {nullptr, #z}};
#include "frame/core_routines.def"
#undef TARNX_CORE
}  // namespace core_slots

namespace {
CoreSlot free_buffers_slot{nullptr, "MKL_Thread_Free_Buffers"};
}  // namespace

void release_thread_buffers() {
  if (!core_loaded()) return;
  void* f = free_buffers_slot.entry.load(std::memory_order_acquire);
  if (f == nullptr) {
    f = platform::reachable_symbol(core_module(), free_buffers_slot.name);
    if (f == nullptr) return;  // a core without per-thread buffers
    free_buffers_slot.entry.store(f, std::memory_order_release);
  }
  reinterpret_cast<void (*)()>(f)();
}

void* bind_core_slot(CoreSlot& slot) {
  void* f = platform::reachable_symbol(core_module(), slot.name);
  if (f == nullptr) throw CoreUnavailable{slot.name};
  slot.entry.store(f, std::memory_order_release);
  return f;
}

bool core_loaded() { return core_module() != nullptr; }

void note_calling_thread() { platform::call_at_thread_exit(release_thread_buffers); }

}  // namespace tarnx
