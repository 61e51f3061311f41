// Output sizing as the host sees it: when the host is asked, and with what.

#include "support/host.hpp"

namespace {

using namespace test;

TEST(Resize, OutputOfTheRightShapeNeverCallsTheHost) {
  Host host;
  ZwArrayHandle a = host.matrix<double>(2, 3, {1, 2, 3, 4, 5, 6});
  ZwArrayHandle b = host.matrix<double>(3, 2, {1, 0, 0, 1, 1, 1});
  ZwArrayHandle c = host.filled<double>(2, 2, 0.0);
  const int64_t before = ZwrtResizeCount();
  ASSERT_EQ(dMtrxMulH(a, b, c), 0);
  EXPECT_EQ(ZwrtResizeCount(), before);
  ZwArrayHandle y = host.vector<double>({0, 0});
  ASSERT_EQ(dMtrxVecMulH(a, host.vector<double>({1, 1, 1}), y), 0);
  EXPECT_EQ(ZwrtResizeCount(), before);
  EXPECT_EQ(vector_values<double>(y), (std::vector<double>{6, 15}));
}

TEST(Resize, SameCountButOtherShapeCallsTheHost) {
  Host host;
  ZwArrayHandle c = host.filled<double>(2, 3, 0.0);
  const int64_t before = ZwrtResizeCount();
  ASSERT_EQ(dOuterProdH(host.vector<double>({1, 2, 3}), host.vector<double>({1, 2}), c), 0);
  EXPECT_EQ(ZwrtResizeCount(), before + 1);
  EXPECT_EQ(rows(c), 3);
  EXPECT_EQ(cols(c), 2);
  EXPECT_EQ(matrix_values<double>(c), (std::vector<double>{1, 2, 2, 4, 3, 6}));
}

TEST(Resize, SizeGuardRefusesWithoutAskingTheHost) {
  Host host;
  ZwArrayHandle c = host.filled<float>(1, 1, 7.0f);
  std::vector<float> big(46341, 1.0f);
  ZwArrayHandle x = host.vector<float>(big);
  const int64_t before = ZwrtResizeCount();
  EXPECT_EQ(sOuterProdH(x, x, c), -20001);  // 16 + 16 bits
  // Only the emptying of the failed output reached the host.
  EXPECT_EQ(ZwrtResizeCount(), before + 1);
  EXPECT_EQ(rows(c), 0);
  EXPECT_EQ(cols(c), 0);

  // 32768 x 32768 passes the guard (15 + 15 bits): the host is asked, and
  // here it refuses, which is what the call reports.
  std::vector<float> edge(32768, 1.0f);
  ZwArrayHandle e = host.vector<float>(edge);
  {
    FailNthResize fail(1);
    const int64_t at = ZwrtResizeCount();
    EXPECT_EQ(sOuterProdH(e, e, c), -20001);
    EXPECT_EQ(ZwrtResizeCount(), at + 1) << "the host was asked, the empty output needs no second call";
  }
  // 65536 x 1: 16 + 0 bits.
  std::vector<double> tall(65536, 2.0);
  ASSERT_EQ(dOuterProdH(host.vector<double>(tall), host.vector<double>({3.0}), c), 0);
  EXPECT_EQ(rows(c), 65536);
  EXPECT_EQ(cols(c), 1);
  EXPECT_EQ(matrix_data<double>(c)[65535], 6.0);
}

}  // namespace
