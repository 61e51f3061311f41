#pragma once
// A copy of an input block that ends exactly where a page that can be
// neither read nor written begins, as a host block at the end of a heap
// region can: touching one byte past the block faults instead of passing
// unnoticed. Only for inputs: the library never resizes them, so the host
// never frees or moves the block.
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "support/host.hpp"

namespace test {

class FencedBlock {
 public:
  FencedBlock(ZwArrayHandle source, std::size_t bytes) {
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    pages_ = (bytes + page - 1) / page + 1;
    base_ = static_cast<char*>(mmap(nullptr, pages_ * page, PROT_READ | PROT_WRITE,
                                    MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    EXPECT_NE(base_, MAP_FAILED);
    char* fence = base_ + (pages_ - 1) * page;
    EXPECT_EQ(mprotect(fence, page, PROT_NONE), 0);
    block_ = fence - bytes;
    std::memcpy(block_, *source, bytes);
    page_ = page;
  }
  ~FencedBlock() { munmap(base_, pages_ * page_); }
  FencedBlock(const FencedBlock&) = delete;
  FencedBlock& operator=(const FencedBlock&) = delete;
  ZwArrayHandle handle() { return reinterpret_cast<ZwArrayHandle>(&block_); }

 private:
  char* base_ = nullptr;
  void* block_ = nullptr;
  std::size_t pages_ = 0, page_ = 0;
};

}  // namespace test
