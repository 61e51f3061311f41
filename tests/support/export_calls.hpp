#pragma once
// Calls any export from the export table with inputs made from its argument
// kinds and names: the failure sweep, the concurrency test and the fuzzer all
// drive every export this way.
#include <functional>
#include <string>
#include <vector>

#include "frame/export_table.hpp"
#include "support/host.hpp"

namespace test {

// One prepared call: the handles and scalars it owns, and the slots to pass.
class PreparedCall {
 public:
  PreparedCall(const tarnx::ExportInfo& info, Host& host, int n = 4);
  int32_t call();
  const tarnx::ExportInfo& info() const { return *info_; }
  ZwArrayHandle handle(std::size_t i) const { return slots_[i].handle; }
  void* address() const { return address_; }
  std::vector<tarnx::ArgSlot>& slots() { return slots_; }

  // Checks what every call promises whatever its status: scratch handles
  // empty (one that only some paths use: empty, or exactly as passed), and
  // after a failure every array output empty and every floating scalar
  // result NaN. Returns a description of the first broken promise.
  std::string broken_promise(int32_t status) const;

  // The bytes of every output and result, for comparing two calls.
  std::vector<unsigned char> snapshot() const;

 private:
  const tarnx::ExportInfo* info_;
  void* address_;
  std::vector<tarnx::ArgSlot> slots_;
  std::vector<std::vector<unsigned char>> scalars_;  // storage for Ref and Result
  std::vector<std::vector<unsigned char>> passed_;   // path scratch blocks as passed
};

// The library's handle from dlopen, for dlsym of exports.
void* library_handle();

// Every status code the library may return.
bool known_status(int32_t status);

}  // namespace test
