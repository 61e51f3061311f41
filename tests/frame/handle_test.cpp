// Output sizing as the host sees it: when the host is asked, with what, and
// where the elements land in its blocks.

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

template <class T> class ElementOffset : public ::testing::Test {};
TYPED_TEST_SUITE(ElementOffset, ElementTypes);

// A vector's elements start after its length, rounded up to the element's
// alignment; a matrix's always at block + 8.
TYPED_TEST(ElementOffset, ResultsLandWhereTheHostLooks) {
  using T = TypeParam;
  Host host;
  ZwArrayHandle y = host.empty();
  ZwArrayHandle a = host.matrix<T>(2, 1, {T(3), T(4)});
  int32_t status;
  if constexpr (std::is_same_v<T, float>) status = sMtrxVecMulH(a, host.vector<T>({T(2)}), y);
  else if constexpr (std::is_same_v<T, double>) status = dMtrxVecMulH(a, host.vector<T>({T(2)}), y);
  else if constexpr (std::is_same_v<T, cfloat>) status = cMtrxVecMulH(a, host.vector<T>({T(2)}), y);
  else status = zMtrxVecMulH(a, host.vector<T>({T(2)}), y);
  ASSERT_EQ(status, 0);
  const std::size_t expected_offset = (std::is_same_v<T, double> || std::is_same_v<T, cdouble>) ? 8 : 4;
  T first;
  std::memcpy(&first, reinterpret_cast<char*>(*y) + expected_offset, sizeof(T));
  EXPECT_EQ(first, T(6));
  EXPECT_EQ(length(y), 2);
}

}  // namespace
