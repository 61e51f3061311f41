// The host stand-in's resize is part of every timed call, so its cheap path
// is pinned down here: a block shrinks in place and grows back into its
// room, keeping what it held, and a real failure leaves the block alone.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "frame/handle_layout.hpp"
#include "zwrt.h"

namespace {

constexpr int32_t kFloat64 = 10;
constexpr int32_t kHostFull = 2;

bool blocks_move() {
  const char* move = std::getenv("ZWRT_MOVE_BLOCKS");
  return move != nullptr && move[0] == '1';
}

double* values(ZwArrayHandle h) {
  return reinterpret_cast<double*>(reinterpret_cast<char*>(*h) + tarnx::layout::kMatrixOffset);
}

class HostStandIn : public testing::Test {
 protected:
  void SetUp() override { h_ = reinterpret_cast<ZwArrayHandle>(AZNewHandle(8)); }
  void TearDown() override { AZDisposeHandle(reinterpret_cast<void**>(h_)); }
  int32_t resize(std::size_t n) { return NumericArrayResize(kFloat64, 1, &h_, n); }
  ZwArrayHandle h_ = nullptr;
};

TEST_F(HostStandIn, ShrinkAndRegrowKeepTheBlockAndItsHead) {
  ASSERT_EQ(resize(64), 0);
  for (int i = 0; i < 64; ++i) values(h_)[i] = i;
  ZwArrayBlock* before = *h_;
  ASSERT_EQ(resize(4), 0);
  ASSERT_EQ(resize(64), 0);
  if (!blocks_move()) {
    EXPECT_EQ(*h_, before);  // no allocator trip within the room
  }
  for (int i = 0; i < 4; ++i) EXPECT_EQ(values(h_)[i], i);
}

TEST_F(HostStandIn, RegrownBytesArePoisoned) {
  if (const char* p = std::getenv("ZWRT_POISON"); p != nullptr && p[0] == '0') {
    GTEST_SKIP() << "poisoning is off";
  }
  ASSERT_EQ(resize(16), 0);
  std::memset(values(h_), 0, 16 * sizeof(double));
  ASSERT_EQ(resize(0), 0);
  ASSERT_EQ(resize(16), 0);
  uint64_t bits;
  std::memcpy(&bits, &values(h_)[15], sizeof bits);
  EXPECT_EQ(bits, ~uint64_t{0});  // stale contents of the room do not show through
}

TEST_F(HostStandIn, LiveBytesFollowTheLogicalSize) {
  const int64_t start = ZwrtLiveBytes();
  ASSERT_EQ(resize(100), 0);
  EXPECT_EQ(ZwrtLiveBytes() - start, 100 * 8);
  ASSERT_EQ(resize(0), 0);
  ASSERT_EQ(resize(10), 0);
  EXPECT_EQ(ZwrtLiveBytes() - start, 10 * 8);
}

TEST_F(HostStandIn, OverflowingSizeFailsAndLeavesTheBlock) {
  ASSERT_EQ(resize(3), 0);
  values(h_)[2] = 7.0;
  ZwArrayBlock* before = *h_;
  EXPECT_EQ(resize(SIZE_MAX / 4), kHostFull);
  EXPECT_EQ(*h_, before);
  EXPECT_EQ(values(h_)[2], 7.0);
}

}  // namespace
