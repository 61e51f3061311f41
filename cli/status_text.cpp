#include "cli/status_text.hpp"

#include "frame/status.hpp"

namespace tarnx::cli {

const char* status_meaning(int32_t status) {
  if (const char* meaning = tarnx::status_meaning(status)) return meaning;
  return status < 0 ? "unknown failure" : "unknown warning";
}

}  // namespace tarnx::cli
