#pragma once
// A copy of an input block that ends exactly where a page that can be
// neither read nor written begins, as a host block at the end of a heap
// region can: touching one byte past the block faults instead of passing
// unnoticed. Only for inputs: the library never resizes them, so the host
// never frees or moves the block.
#include <cstring>

#include "support/host.hpp"
#include "support/test_os.hpp"

namespace test {

class FencedBlock {
 public:
  FencedBlock(ZwArrayHandle source, std::size_t bytes) {
    const std::size_t page = os::page_size();
    pages_ = (bytes + page - 1) / page + 1;
    base_ = os::allocate_pages(pages_);
    EXPECT_NE(base_, nullptr);
    char* fence = base_ + (pages_ - 1) * page;
    EXPECT_TRUE(os::fence_page(fence));
    block_ = fence - bytes;
    std::memcpy(block_, *source, bytes);
  }
  ~FencedBlock() { os::free_pages(base_, pages_); }
  FencedBlock(const FencedBlock&) = delete;
  FencedBlock& operator=(const FencedBlock&) = delete;
  ZwArrayHandle handle() { return reinterpret_cast<ZwArrayHandle>(&block_); }

 private:
  char* base_ = nullptr;
  void* block_ = nullptr;
  std::size_t pages_ = 0;
};

}  // namespace test
