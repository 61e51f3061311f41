#include "tools/export_table.hpp"

#include <array>
#include <string_view>
#include <vector>

namespace tarnx {
namespace {

using namespace std::literals;

// Splits "A B C" into the argument names, at compile time.
template <std::size_t N>
constexpr std::array<ExportArg, N> name_args(std::string_view names, std::array<arg::Desc, N> kinds) {
  std::array<ExportArg, N> out{};
  std::size_t pos = 0;
  for (std::size_t i = 0; i < N; ++i) {
    while (pos < names.size() && names[pos] == ' ') ++pos;
    std::size_t end = pos;
    while (end < names.size() && names[end] != ' ') ++end;
    out[i] = ExportArg{kinds[i], names.substr(pos, end - pos)};
    pos = end;
  }
  return out;
}

constexpr std::size_t count_names(std::string_view names) {
  std::size_t n = 0;
  bool in_word = false;
  for (char c : names) {
    if (c != ' ' && !in_word) ++n;
    in_word = c != ' ';
  }
  return n;
}

template <class K> CParam<K> unpack(const ArgSlot& s) {
  using C = CParam<K>;
  if constexpr (K::role == arg::Role::Value) {
    if constexpr (std::is_same_v<C, int32_t>) return s.i32;
    else if constexpr (std::is_same_v<C, float>) return s.f32;
    else if constexpr (std::is_same_v<C, double>) return s.f64;
    else if constexpr (std::is_same_v<C, ZwComplex64>) return s.c64;
    else return s.c128;
  } else if constexpr (std::is_same_v<C, ZwArrayHandle>) {
    return s.handle;
  } else {
    return static_cast<C>(s.pointer);
  }
}

template <class... K, std::size_t... I>
int32_t invoke_with(void* address, const ArgSlot* args, std::index_sequence<I...>) {
  using Fn = int32_t (*)(CParam<K>...);
  return reinterpret_cast<Fn>(address)(unpack<K>(args[I])...);
}

template <class... K> int32_t invoke(void* address, const ArgSlot* args) {
  return invoke_with<K...>(address, args, std::index_sequence_for<K...>{});
}

#define TARNX_EXPORT_DESC(i, K) K::desc
#define TARNX_EXPORT(name, fn, names, ...)                                                        \
  constexpr std::array<arg::Desc, TARNX_ARGC(__VA_ARGS__)> kinds_##name{                          \
      TARNX_FOR_EACH_INDEXED(TARNX_EXPORT_DESC, TARNX_COMMA, __VA_ARGS__)};                       \
  static_assert(count_names(names) == kinds_##name.size(), #name ": one name per argument");     \
  constexpr auto args_##name = name_args(names, kinds_##name);
#include "all_exports.inc"
#undef TARNX_EXPORT

#define TARNX_EXPORT(name, fn, names, ...) ExportInfo{#name##sv, args_##name, &invoke<__VA_ARGS__>},
const ExportInfo table[] = {
#include "all_exports.inc"
};
#undef TARNX_EXPORT

}  // namespace

std::span<const ExportInfo> export_table() { return table; }

const ExportInfo* find_export(std::string_view name) {
  for (const ExportInfo& e : table)
    if (e.name == name) return &e;
  return nullptr;
}

namespace {
// What each role is called in a signature, and what it means to a caller.
struct RoleWords {
  const char* name;
  const char* meaning;
};
RoleWords role_words(arg::Role role) {
  switch (role) {
    case arg::Role::In: return {"in", "read only"};
    case arg::Role::Out: return {"out", "written; emptied on failure"};
    case arg::Role::InOut: return {"inout", "read, then replaced by the result; emptied on failure"};
    case arg::Role::Scratch: return {"scratch", "workspace the library sizes and empties; NAME=null passes none"};
    // The same to a caller as any workspace: a handle it may pass null.
    case arg::Role::PathScratch:
      return {"scratch", "workspace only some paths use, emptied by those, else left as passed; NAME=null passes none"};
    case arg::Role::Value: return {"value", "scalar by value"};
    case arg::Role::Ref: return {"ref", "scalar read through a pointer"};
    case arg::Role::Result: return {"result", "scalar written through a pointer; NaN on failure"};
    case arg::Role::Update: return {"update", "scalar read, then written through a pointer"};
  }
  return {"?", "?"};
}
}  // namespace

const char* role_name(arg::Role role) { return role_words(role).name; }
const char* role_meaning(arg::Role role) { return role_words(role).meaning; }

const char* elem_name(arg::Elem elem) {
  switch (elem) {
    case arg::Elem::F32: return "float32";
    case arg::Elem::F64: return "float64";
    case arg::Elem::C64: return "complex64";
    case arg::Elem::C128: return "complex128";
    case arg::Elem::I32: return "int32";
  }
  return "?";
}

}  // namespace tarnx
