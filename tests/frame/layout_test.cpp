// The finite screen and the layout copies, bit for bit.
#include "frame/layout.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <vector>

namespace {

using tarnx::HasNonFinite;
using tarnx::ToColumnMajor;
using tarnx::ToColumnMajorConj;

TEST(Screen, Float64BoundsAreDeliberatelyAsymmetric) {
  auto refused = [](double v) { return HasNonFinite(&v, 1); };
  EXPECT_EQ(refused(std::bit_cast<double>(0x7FEFFFFFFFFFFFFFull)), 1);  // largest finite
  EXPECT_EQ(refused(std::bit_cast<double>(0x7FEFFFFFFFFFFFFEull)), 0);  // one unit below it
  EXPECT_EQ(refused(std::bit_cast<double>(0xFFEFFFFFFFFFFFFFull)), 1);  // most negative
  EXPECT_EQ(refused(std::bit_cast<double>(0xFFEFFFFFFFFFFFB0ull)), 1);  // the rounded bound itself
  EXPECT_EQ(refused(std::bit_cast<double>(0xFFEFFFFFFFFFFFAFull)), 0);  // just inside it
  EXPECT_EQ(refused(-1.7976931348622e+308), 0);
  EXPECT_EQ(refused(std::numeric_limits<double>::infinity()), 1);
  EXPECT_EQ(refused(std::numeric_limits<double>::quiet_NaN()), 1);
  EXPECT_EQ(refused(0.0), 0);
}

TEST(Screen, Float32AndComplexParts) {
  auto refused = [](float v) { return HasNonFinite(&v, 1); };
  EXPECT_EQ(refused(std::bit_cast<float>(0x7F7FFFFFu)), 1);
  EXPECT_EQ(refused(std::bit_cast<float>(0x7F7FFFFEu)), 0);  // 3.4028232635611926e+38
  EXPECT_EQ(refused(std::bit_cast<float>(0xFF7FFFFFu)), 1);
  EXPECT_EQ(refused(std::bit_cast<float>(0xFF7FFFFEu)), 0);
  std::vector<tarnx::cdouble> z = {{1, 2}, {3, std::numeric_limits<double>::quiet_NaN()}};
  EXPECT_EQ(HasNonFinite(z.data(), 2), 1);
  EXPECT_EQ(HasNonFinite(z.data(), 1), 0);
  EXPECT_EQ(HasNonFinite(z.data(), 0), 0);
}

TEST(LayoutCopy, TransposesAndRefusesEmptyShapes) {
  // Large enough to cross the copy's tiles in both directions.
  const int m = 37, n = 70;
  std::vector<double> src(m * n), dst(m * n, -1.0);
  for (int i = 0; i < m * n; ++i) src[i] = i;
  ASSERT_EQ(ToColumnMajor(src.data(), m, n, dst.data()), 0);
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < n; ++j) ASSERT_EQ(dst[j * m + i], src[i * n + j]);
  std::vector<double> back(m * n);
  ASSERT_EQ(ToColumnMajor(dst.data(), n, m, back.data()), 0);
  EXPECT_EQ(back, src);
  std::vector<double> untouched(4, 9.0);
  EXPECT_EQ(ToColumnMajor(src.data(), 0, 3, untouched.data()), -20003);
  EXPECT_EQ(untouched, std::vector<double>(4, 9.0));
}

TEST(LayoutCopy, ConjugatingCopyFlipsZeroToNegativeZero) {
  std::vector<tarnx::cfloat> src = {{1, 0}, {2, -3}}, dst(2);
  ASSERT_EQ(ToColumnMajorConj(src.data(), 1, 2, dst.data()), 0);
  EXPECT_EQ(std::bit_cast<uint32_t>(dst[0].imag()), 0x80000000u);
  EXPECT_EQ(dst[1], tarnx::cfloat(2, 3));
}

}  // namespace
