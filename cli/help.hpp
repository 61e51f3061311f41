#pragma once
// What the export table cannot say about an export: what each scalar
// selector's values mean, its default, and which statuses the export returns.
#include <optional>
#include <string>
#include <string_view>

#include "tools/export_table.hpp"

namespace tarnx::cli {

// The value a scalar input takes when the command line leaves it out, as the
// family's guide names it; none for inputs that must be given.
std::optional<std::string_view> default_value(std::string_view export_name, std::string_view arg_name);

// "dLinEqH(A: in float64 matrix, ..., matrixType: value int32 = 0, ...)".
std::string signature(const ExportInfo& e);

// tarnx help EXPORT: each argument's role, type, allowed values and their
// meaning, then the statuses the export can return.
std::string export_help(const ExportInfo& e);

}  // namespace tarnx::cli
