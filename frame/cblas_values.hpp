#pragma once
// The CBLAS enumeration values. The core's products take them, and the BLAS
// wrappers take them from their callers as they stand, so they are named once
// here for the library, its tests and its benchmarks.
#include <cstdint>

namespace tarnx::cblas {

enum : int32_t { RowMajor = 101, ColMajor = 102 };
enum : int32_t { NoTrans = 111, Trans = 112, ConjTrans = 113 };
enum : int32_t { Upper = 121, Lower = 122 };
enum : int32_t { NonUnit = 131, Unit = 132 };
enum : int32_t { Left = 141, Right = 142 };

}  // namespace tarnx::cblas
