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

struct ExportInfo {
  std::string_view name;
  std::span<const ExportArg> args;
};

std::span<const ExportInfo> export_table();
const ExportInfo* find_export(std::string_view name);

const char* role_name(arg::Role role);
const char* elem_name(arg::Elem elem);

}  // namespace tarnx
