// Every export reads its array inputs up to their last element and not one
// byte further: each input block is placed so that it ends exactly where an
// inaccessible page begins, as a host block at the end of a heap region can.
// A read past the end then faults instead of passing unnoticed.
#include <cstdio>
#include <memory>

#include "support/export_calls.hpp"
#include "support/fenced_block.hpp"

namespace {

using namespace test;
using tarnx::arg::Role;

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
        fenced.push_back(std::make_unique<FencedBlock>(h, block_bytes(h, a.kind.shape, a.kind.elem).size()));
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
