#include "cli/invoke.hpp"

#include <utility>

#include "frame/export_kinds.hpp"

namespace tarnx::cli {
namespace {

template <class T> struct CScalar { using type = T; };
template <> struct CScalar<cfloat> { using type = ZwComplex64; };
template <> struct CScalar<cdouble> { using type = ZwComplex128; };

template <class K> struct CParam {
  using C = typename CScalar<typename K::type>::type;
  static constexpr arg::Role role = K::role;
  using type = std::conditional_t<
      role == arg::Role::Value, C,
      std::conditional_t<role == arg::Role::Ref, const C*,
                         std::conditional_t<role == arg::Role::Result, C*, ZwArrayHandle>>>;

  static type from(const Slot& s) {
    if constexpr (role == arg::Role::Value) {
      if constexpr (std::is_same_v<C, int32_t>) return s.i;
      else if constexpr (std::is_same_v<C, float>) return s.f;
      else if constexpr (std::is_same_v<C, double>) return s.d;
      else if constexpr (std::is_same_v<C, ZwComplex64>) return s.c;
      else return s.z;
    } else {
      return static_cast<type>(s.p);
    }
  }
};

template <class... K> int32_t invoke(void* function, const Slot* args) {
  using Fn = int32_t (*)(typename CParam<K>::type...);
  auto fn = reinterpret_cast<Fn>(function);
  return [&]<std::size_t... I>(std::index_sequence<I...>) {
    return fn(CParam<K>::from(args[I])...);
  }(std::index_sequence_for<K...>{});
}

struct Entry {
  std::string_view name;
  Invoker invoker;
};

}  // namespace
}  // namespace tarnx::cli

namespace tarnx {
namespace {
using cli::invoke;
using namespace std::literals;
#define TARNX_EXPORT(name, fn, names, ...) cli::Entry{#name##sv, &invoke<__VA_ARGS__>},
const cli::Entry invokers[] = {
#include "all_exports.inc"
};
#undef TARNX_EXPORT
}  // namespace

cli::Invoker cli::find_invoker(std::string_view name) {
  for (const Entry& e : invokers)
    if (e.name == name) return e.invoker;
  return nullptr;
}

}  // namespace tarnx
