// The finite screen and the layout copies, bit for bit.
#include "frame/layout.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

namespace {

using tarnx::HasNonFinite;
using tarnx::ToColumnMajor;
using tarnx::ToColumnMajorConj;

TEST(Screen, Float64BoundsAreDeliberatelyAsymmetric) {
  auto refused = [](double v) { return HasNonFinite(&v, 1); };
  double v0 = NAN;
  EXPECT_EQ(refused(std::bit_cast<double>(0x7FEFFFFFFFFFFFFFull)), 1);  // largest finite
  EXPECT_EQ(refused(std::bit_cast<double>(0x7FEFFFFFFFFFFFFEull)), 0);  // one unit below it
  EXPECT_EQ(refused(std::bit_cast<double>(0xFFEFFFFFFFFFFFFFull)), 1);  // most negative
  EXPECT_EQ(refused(std::bit_cast<double>(0xFFEFFFFFFFFFFFB0ull)), 1);  // the rounded bound itself
  EXPECT_EQ(refused(std::bit_cast<double>(0xFFEFFFFFFFFFFFAFull)), 0);  // just inside it
  EXPECT_EQ(refused(-1.7976931348622e+308), 0);
  EXPECT_EQ(refused(std::numeric_limits<double>::infinity()), 1);
  EXPECT_EQ(refused(std::numeric_limits<double>::quiet_NaN()), 1);
  EXPECT_EQ(refused(0.0), 0);
  EXPECT_EQ(HasNonFinite(&v0, 0), 0);  // an empty block holds nothing to refuse
}

// The screens test whole 64-byte steps at a time and the rest one by one: a
// refused value must be found in either, at every place, and the bounds must
// hold the same in both.
template <class R> class ScreenPositions : public ::testing::Test {};
using RealTypes = ::testing::Types<float, double>;
TYPED_TEST_SUITE(ScreenPositions, RealTypes);

TYPED_TEST(ScreenPositions, EveryPlaceOfEveryLength) {
  using R = TypeParam;
  using Bits = std::conditional_t<sizeof(R) == 4, uint32_t, uint64_t>;
  constexpr Bits sign = Bits(1) << (sizeof(R) * 8 - 1);
  const R largest = std::numeric_limits<R>::max(), nan = std::numeric_limits<R>::quiet_NaN();
  const R inside = std::bit_cast<R>(Bits(std::bit_cast<Bits>(largest) - 1));
  const R negative_nan = std::bit_cast<R>(Bits(std::bit_cast<Bits>(nan) | sign));
  const std::vector<R> refused = {nan, negative_nan, std::numeric_limits<R>::infinity(),
                                  -std::numeric_limits<R>::infinity(), largest, -largest,
                                  tarnx::Traits<R>::screen_low};
  for (int32_t n = 1; n <= 40; ++n)
    for (int32_t at = 0; at < n; ++at) {
      const R lowest_inside = std::nextafter(tarnx::Traits<R>::screen_low, R(0));
      std::vector<R> v(n, inside);
      v[at] = lowest_inside;
      ASSERT_EQ(HasNonFinite(v.data(), n), 0) << n << " " << at;
      for (R bad : refused) {
        v[at] = bad;
        ASSERT_EQ(HasNonFinite(v.data(), n), 1) << n << " " << at << " " << bad;
        ASSERT_EQ(tarnx::HasNaN(v.data(), n), bad != bad ? 1 : 0) << n << " " << at;
      }
      // The count is of complex elements: both parts of each are looked at,
      // nothing past them.
      std::vector<std::complex<R>> z(n + 1, {inside, lowest_inside});
      z[n] = {nan, nan};
      reinterpret_cast<R*>(z.data())[2 * at + 1] = nan;
      ASSERT_EQ(HasNonFinite(z.data(), n), 1);
      reinterpret_cast<R*>(z.data())[2 * at + 1] = R(0);
      ASSERT_EQ(HasNonFinite(z.data(), n), 0);
    }
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
