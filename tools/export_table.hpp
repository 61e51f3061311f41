#pragma once
// The export table: every export of the library with its arguments, for the
// programs that load the library as a host does.
#include <cstddef>
#include <span>
#include <string_view>

#include "frame/export_kinds.hpp"

namespace tarnx {

struct ExportArg {
  arg::Desc kind;
  std::string_view name;
};

// One argument of a call made through the table: an array handle, a scalar
// by value of the argument's element type, or the address of a scalar.
union ArgSlot {
  ZwArrayHandle handle;
  int32_t i32;
  float f32;
  double f64;
  ZwComplex64 c64;
  ZwComplex128 c128;
  void* pointer;
};

struct ExportInfo {
  std::string_view name;
  std::span<const ExportArg> args;
  // Calls the export at `address` (found with dlsym) with one slot per argument.
  int32_t (*invoke)(void* address, const ArgSlot* args);
};

std::span<const ExportInfo> export_table();
const ExportInfo* find_export(std::string_view name);

const char* role_name(arg::Role role);
// What a role means to a caller, in a few words.
const char* role_meaning(arg::Role role);
const char* elem_name(arg::Elem elem);

}  // namespace tarnx
