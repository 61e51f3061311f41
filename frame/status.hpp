#pragma once
// The status codes every export returns, named once in status_codes.def.
#include <cstdint>

namespace tarnx {

enum Status : int32_t {
#define TARNX_STATUS(name, code, meaning) name = code,
#include "frame/status_codes.def"
#undef TARNX_STATUS
};

inline bool failed(int32_t status) { return status < 0; }

// A short meaning of a code for people reading a terminal, null for a value
// that is no status of the library's.
constexpr const char* status_meaning(int32_t status) {
  switch (status) {
#define TARNX_STATUS(name, code, meaning) \
  case code: return meaning;
#include "frame/status_codes.def"
#undef TARNX_STATUS
    default: return nullptr;
  }
}

constexpr bool is_known_status(int32_t status) { return status_meaning(status) != nullptr; }

}  // namespace tarnx
