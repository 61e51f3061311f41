#pragma once
// Calling an export whose signature is known only from the export table.
//
// Each export gets a small caller, generated from the same export list that
// builds the library, which casts the looked-up address to the export's exact
// C prototype and passes the argument slots with their proper C types. So
// scalars by value (floats and complex structs included) travel exactly as a
// compiled host would pass them.
#include <cstdint>
#include <string_view>

#include "tarnx_linalg.h"

namespace tarnx::cli {

// One argument as passed: a handle or pointer, or a scalar by value.
union Slot {
  void* p;
  int32_t i;
  float f;
  double d;
  ZwComplex64 c;
  ZwComplex128 z;
};

using Invoker = int32_t (*)(void* function, const Slot* args);

// The caller for an export of the table; null for an unknown name.
Invoker find_invoker(std::string_view name);

}  // namespace tarnx::cli
