// Every export reads its array inputs up to their last element and not one
// byte further: each input block is placed so that it ends exactly where an
// inaccessible page begins, as a host block at the end of a heap region can.
// A read past the end then faults instead of passing unnoticed.
#include <cstdio>
#include <cstring>
#include <memory>

#include "support/export_calls.hpp"
#include "support/test_os.hpp"

namespace {

using namespace test;
using tarnx::arg::Elem;
using tarnx::arg::Role;
using tarnx::arg::Shape;

// A copy of an input block that ends at a page that cannot be read. Only
// inputs get one: the library never resizes them, so the host never frees
// the block.
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

std::size_t block_bytes(ZwArrayHandle h, Shape shape, Elem elem) {
  std::size_t size = 4;
  if (elem == Elem::F64 || elem == Elem::C64) size = 8;
  if (elem == Elem::C128) size = 16;
  if (shape == Shape::Matrix) return 8 + size * std::size_t(rows(h)) * cols(h);
  return (elem == Elem::F64 || elem == Elem::C128 ? 8 : 4) + size * std::size_t(length(h));
}

TEST(InputBounds, NoExportReadsPastTheEndOfAnInput) {
  int calls = 0;
  for (const int n : {1, 3, 4}) {
    for (const tarnx::ExportInfo& info : tarnx::export_table()) {
      Host host;
      PreparedCall clean(info, host, n);
      const int32_t clean_status = clean.call();
      PreparedCall call(info, host, n);
      std::vector<std::unique_ptr<FencedBlock>> fenced;
      for (std::size_t i = 0; i < info.args.size(); ++i) {
        const auto& a = info.args[i];
        if (a.kind.role != Role::In) continue;
        ZwArrayHandle h = call.handle(i);
        fenced.push_back(std::make_unique<FencedBlock>(h, block_bytes(h, a.kind.shape, a.kind.elem)));
        call.slots()[i].handle = fenced.back()->handle();
      }
      const int32_t status = call.call();
      ++calls;
      EXPECT_EQ(status, clean_status) << info.name << " n = " << n;
      EXPECT_TRUE(call.snapshot() == clean.snapshot()) << info.name << " n = " << n;
    }
  }
  std::printf("%d calls with fenced inputs\n", calls);
}

}  // namespace
