#pragma once
// The boundary between the host and an operation.
//
// TARNX_EXPORT(name, fn, "arg names", kinds...) defines the C export `name`
// with one parameter per kind and forwards to `fn`. On the way out it enforces
// what every export promises the host, whatever path the operation took:
// scratch handles come back empty, and after a failure every array output is
// empty and every scalar output holds the failure NaN. An operation still
// empties its own outputs where its contract says so; this is the one exit
// path behind all of them. Its target is the operation's front, `<Op>Front`:
// the checks in their order and the sizing of the outputs, then the work.
// Who empties which scratch handle is written down in frame/handle.hpp.
#include "include/tarnx_linalg.h"
#include "frame/core.hpp"
#include "frame/export_kinds.hpp"
#include "frame/handle.hpp"

namespace tarnx {

// The C type of an export parameter, and the type the operation receives.
template <class K> struct Param {
  using T = typename K::type;
  static constexpr arg::Role role = K::role;
  using type = CParam<K>;
  using internal_type = std::conditional_t<
      role == arg::Role::Value, T,
      std::conditional_t<role == arg::Role::Ref, const T*,
                         std::conditional_t<role == arg::Role::Result || role == arg::Role::Update,
                                            T*, Handle>>>;
  static internal_type to_internal(type a) {
    if constexpr (role == arg::Role::Value) return std::bit_cast<T>(a);
    else return reinterpret_cast<internal_type>(a);
  }
};
template <class K> using ParamOf = typename Param<K>::type;

// Registers the calling thread for the release of the core's per-thread
// buffers when it ends.
void note_calling_thread();

namespace host {
// The span of one export call on the calling thread (see host_link.cpp).
class ExportCall {
 public:
  ExportCall();
  ~ExportCall();
  ExportCall(const ExportCall&) = delete;
  ExportCall& operator=(const ExportCall&) = delete;

 private:
  uint32_t saved_;
};
}  // namespace host

namespace detail {
template <class K> inline void settle(ParamOf<K> a, int32_t status) {
  using T = typename K::type;
  if constexpr (K::role == arg::Role::Scratch) {
    release_scratch<T>(Param<K>::to_internal(a));
  } else if constexpr (K::role == arg::Role::Out || K::role == arg::Role::InOut) {
    Handle h = Param<K>::to_internal(a);
    if (status >= 0 || h == nullptr || *h == nullptr) return;
    if constexpr (K::shape == arg::Shape::Matrix) {
      if (rows(h) != 0 || cols(h) != 0) EmptyMatrix<T>(h);
    } else {
      if (length(h) != 0) EmptyVector<T>(h);
    }
  } else if constexpr ((K::role == arg::Role::Result || K::role == arg::Role::Update) &&
                       !std::is_same_v<T, int32_t>) {
    if (status < 0 && a != nullptr) *Param<K>::to_internal(a) = failure_nan<T>();
  }
}
}  // namespace detail

template <auto Fn, class... K> inline int32_t run(ParamOf<K>... a) {
  note_calling_thread();
  const host::ExportCall call;
  int32_t status;
  try {
    status = Fn(Param<K>::to_internal(a)...);
  } catch (const CoreUnavailable&) {
    status = InternalError;
  }
  (detail::settle<K>(a, status), ...);
  return status;
}

}  // namespace tarnx

#define TARNX_EXPORT_PARAM(i, K) ::tarnx::ParamOf<K> a##i
#define TARNX_EXPORT_ARG(i, K) a##i
#define TARNX_EXPORT(name, fn, names, ...)                                                     \
  extern "C" TARNX_API int32_t name(TARNX_FOR_EACH_INDEXED(TARNX_EXPORT_PARAM, TARNX_COMMA,    \
                                                           __VA_ARGS__)) {                     \
    return ::tarnx::run<fn, __VA_ARGS__>(                                                      \
        TARNX_FOR_EACH_INDEXED(TARNX_EXPORT_ARG, TARNX_COMMA, __VA_ARGS__));                   \
  }
