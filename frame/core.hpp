#pragma once
// The numerical core, reached only through import slots.
//
// Each routine of core_routines.def gets one slot per element type. A slot
// starts empty; the first call binds it to the routine of the core module
// loaded at start-up and later calls go straight through. Algorithms call the
// typed wrappers, `Core<double>::getrf(...)` calling `dgetrf_`.
#include <atomic>
#include <cstddef>
#include <utility>

#include "frame/cblas_values.hpp"
#include "frame/traits.hpp"

namespace tarnx {

// Raised by a slot that cannot be bound (no core was loaded, or the core
// lacks the routine); the export boundary turns it into InternalError.
struct CoreUnavailable {
  const char* symbol;
};

struct CoreSlot {
  std::atomic<void*> entry;
  const char* name;
};

void* bind_core_slot(CoreSlot& slot);

inline void* core_entry(CoreSlot& slot) {
  void* f = slot.entry.load(std::memory_order_acquire);
  return f != nullptr ? f : bind_core_slot(slot);
}

namespace core_slots {
#define TARNX_CORE(id, api, ret, nchars, s, d, c, z, params, args) extern CoreSlot id[4];
#include "frame/core_routines.def"
#undef TARNX_CORE
}  // namespace core_slots

namespace detail {
// LAPACK's character arguments carry hidden lengths after the visible
// arguments; every one is a single character.
template <class Ret, std::size_t... I, class... A>
inline Ret call_core(void* f, std::index_sequence<I...>, A... a) {
  using Fn = Ret (*)(A..., decltype((void)I, std::size_t{})...);
  return reinterpret_cast<Fn>(f)(a..., ((void)I, std::size_t{1})...);
}
constexpr bool is_none(const char* s) {
  return s[0] == 'n' && s[1] == 'o' && s[2] == 'n' && s[3] == 'e' && s[4] == 0;
}
constexpr bool present(const char* s, const char* d, const char* c, const char* z, int index) {
  const char* names[4] = {s, d, c, z};
  return !is_none(names[index]);
}
}  // namespace detail

#define TARNX_EXPAND(...) __VA_ARGS__

template <class T> struct Core {
  using R = RealOf<T>;
#define TARNX_CORE(id, api, ret, nchars, s, d, c, z, params, args)                               \
  static ret api params {                                                                        \
    static_assert(detail::present(#s, #d, #c, #z, Traits<T>::index),                             \
                  "the core has no " #id " for this element type");                              \
    return detail::call_core<ret>(core_entry(core_slots::id[Traits<T>::index]),                  \
                                  std::make_index_sequence<nchars>{}, TARNX_EXPAND args);        \
  }
#include "frame/core_routines.def"
#undef TARNX_CORE
};

// The CBLAS values the library's own calls of the core's products use.
constexpr int kRowMajor = cblas::RowMajor;
constexpr int kNoTrans = cblas::NoTrans, kTrans = cblas::Trans, kConjTrans = cblas::ConjTrans;

// BLAS scalars: real ones by value, complex ones by address.
template <class T> inline auto blas_scalar(const T& v) {
  if constexpr (is_complex_v<T>) return &v;
  else return v;
}

// A workspace size from a query (LWORK = -1), truncated to an integer.
template <class T> inline int workspace_size(const T& query) {
  if constexpr (is_complex_v<T>) return static_cast<int>(query.real());
  else return static_cast<int>(query);
}

// Whether a core module was loaded at start-up.
bool core_loaded();

}  // namespace tarnx
