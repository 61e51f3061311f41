#pragma once
// Calls any export from the export table with inputs made from its argument
// kinds and names: the failure sweep, the concurrency test and the fuzzer all
// drive every export this way.
#include <functional>
#include <string>
#include <vector>

#include "tools/export_table.hpp"
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

  // Checks what every call promises whatever its status, for the last
  // call(): a known status; inputs (blocks and scalars by reference)
  // unchanged; scratch handles empty (one that only some paths use: empty,
  // or exactly as passed); output sizes within their blocks; and after a
  // failure every array output empty and every floating scalar result the
  // failure NaN. Returns a description of the first broken promise.
  std::string broken_promise(int32_t status) const;

  // The bytes of every output and result, for comparing two calls.
  std::vector<unsigned char> snapshot() const;

 private:
  const tarnx::ExportInfo* info_;
  void* address_;
  std::vector<tarnx::ArgSlot> slots_;
  std::vector<std::vector<unsigned char>> scalars_;  // storage for Ref and Result
  std::vector<std::vector<unsigned char>> passed_;   // what call() was given, to compare
  std::vector<void*> blocks_;                        // input blocks' addresses at call()
};

// The bytes a handle's dimension sizes say it holds.
std::vector<unsigned char> block_bytes(ZwArrayHandle h, tarnx::arg::Shape shape, tarnx::arg::Elem elem);

// The library's handle from dlopen, for dlsym of exports.
void* library_handle();


}  // namespace test
