// The finite screen, the layout copies and their split over threads, bit
// for bit.
#include "frame/layout.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>
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

// ---- the fast layout copies and the split over threads ----------------------------------------

// Every value a distinct bit pattern, zeros of both signs among them, so a
// misplaced or mistreated element shows.
template <class T> std::vector<T> numbered(std::size_t count) {
  std::vector<T> v(count);
  for (std::size_t i = 0; i < count; ++i) {
    const auto x = static_cast<tarnx::RealOf<T>>(i % 7 == 0 ? 0.0 : double(i) + 0.25);
    const auto sign = static_cast<tarnx::RealOf<T>>(i % 2 == 0 ? 1 : -1);
    if constexpr (tarnx::is_complex_v<T>) v[i] = T(sign * x, -sign * x);
    else v[i] = sign * x;
  }
  return v;
}

// The plain loop the copies must match bit for bit.
template <class T> std::vector<T> reference_copy(const std::vector<T>& src, int m, int n, bool conjugate) {
  std::vector<T> out(src.size());
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < n; ++j) {
      T v = src[static_cast<std::size_t>(i) * n + j];
      if constexpr (tarnx::is_complex_v<T>)
        if (conjugate) v = T(v.real(), -v.imag());
      out[static_cast<std::size_t>(j) * m + i] = v;
    }
  return out;
}

template <class T> bool same_bits(const std::vector<T>& a, const std::vector<T>& b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), sizeof(T) * a.size()) == 0;
}

// Room for `count` values in `storage`, starting `bytes` past a 64-byte line
// boundary: the copy lines its tiles up with the result's lines, so each
// place of the result in a line takes a different split into tiles.
template <class T> T* placed(std::vector<T>& storage, std::size_t count, std::size_t bytes) {
  storage.assign(count + 64 / sizeof(T) + 1, T{});
  const auto base = reinterpret_cast<uintptr_t>(storage.data());
  return reinterpret_cast<T*>(base + (bytes + 64 - base % 64) % 64);
}

template <class T> class LayoutCopies : public ::testing::Test {};
using ElementTypes = ::testing::Types<float, double, tarnx::cfloat, tarnx::cdouble>;
TYPED_TEST_SUITE(LayoutCopies, ElementTypes);

// Shapes on both sides of the tile's edge and of several tiles, at thread
// counts that cut the columns unevenly, and through the public entries.
TYPED_TEST(LayoutCopies, EveryShapeAroundTheTileAndEverySplitGivesThePlainLoopsBits) {
  using T = TypeParam;
  using U = tarnx::detail::UnitOf<T>;
  const int w = static_cast<int>(tarnx::detail::kTile<U>);
  const std::vector<int> sides = {1, w - 1, w, w + 1, 2 * w, 3 * w + 5};
  for (int m : sides)
    for (int n : sides) {
      SCOPED_TRACE(::testing::Message() << m << " x " << n);
      const auto src = numbered<T>(static_cast<std::size_t>(m) * n);
      for (bool conjugate : {false, true}) {
        if (conjugate && !tarnx::is_complex_v<T>) continue;
        const auto expected = reference_copy(src, m, n, conjugate);
        U flip{};
        if constexpr (tarnx::is_complex_v<T>)
          if (conjugate) flip = tarnx::detail::conjugating_flip<T>();
        for (int threads : {1, 2, 3, 7}) {
          std::vector<T> dst(src.size());
          tarnx::detail::layout_copy(src.data(), m, n, dst.data(), flip, threads);
          ASSERT_TRUE(same_bits(dst, expected)) << "threads " << threads << " conjugate " << conjugate;
        }
        for (std::size_t offset = 0; offset < 64; offset += alignof(T)) {
          std::vector<T> storage;
          T* out = placed(storage, src.size(), offset);
          tarnx::detail::layout_copy(src.data(), m, n, out, flip, 1);
          ASSERT_EQ(std::memcmp(out, expected.data(), sizeof(T) * expected.size()), 0) << "offset " << offset;
        }
        std::vector<T> dst(src.size());
        if constexpr (tarnx::is_complex_v<T>) {
          if (conjugate) ASSERT_EQ(ToColumnMajorConj(src.data(), m, n, dst.data()), 0);
          else ASSERT_EQ(ToColumnMajor(src.data(), m, n, dst.data()), 0);
        } else {
          ASSERT_EQ(ToColumnMajor(src.data(), m, n, dst.data()), 0);
        }
        ASSERT_TRUE(same_bits(dst, expected));
      }
    }
}

// Large enough that the public copy splits and writes past the caches: the
// result is still the plain loop's, whether the rows keep the stores aligned
// (an even number of doubles) or not.
TEST(LayoutCopy, LargeCopiesMatchThePlainLoop) {
  for (int m : {1250, 1251}) {
    const int n = 1300;
    const auto src = numbered<double>(static_cast<std::size_t>(m) * n);
    const auto expected = reference_copy(src, m, n, false);
    std::vector<double> dst(src.size());
    ASSERT_EQ(ToColumnMajor(src.data(), m, n, dst.data()), 0);
    EXPECT_TRUE(same_bits(dst, expected)) << m;
    std::fill(dst.begin(), dst.end(), 0.0);
    tarnx::detail::layout_copy(src.data(), m, n, dst.data(), tarnx::detail::Unit8{}, 3);
    EXPECT_TRUE(same_bits(dst, expected)) << m;
  }
}

// Power-of-two rows put every row of a tile in the same cache set and large
// blocks are written past the caches, the copy's other route: square, tall
// and wide shapes of 16 MB, and 2048 x 2048 doubles (32 MB), on one thread
// and on a split that cuts the wide bands unevenly.
TYPED_TEST(LayoutCopies, PowerOfTwoShapesPastTheCachesGiveThePlainLoopsBits) {
  using T = TypeParam;
  using U = tarnx::detail::UnitOf<T>;
  const int count_log2 = 24 - std::countr_zero(sizeof(T));  // 16 MB of elements
  std::vector<std::pair<int, int>> shapes;
  for (int rows_log2 : {count_log2 / 2, count_log2 / 2 - 2, count_log2 / 2 + 2})
    shapes.emplace_back(1 << rows_log2, 1 << (count_log2 - rows_log2));
  if constexpr (std::is_same_v<T, double>) shapes.emplace_back(2048, 2048);
  for (auto [m, n] : shapes) {
    SCOPED_TRACE(::testing::Message() << m << " x " << n);
    const auto src = numbered<T>(static_cast<std::size_t>(m) * n);
    const bool conjugate = tarnx::is_complex_v<T>;
    const auto expected = reference_copy(src, m, n, conjugate);
    U flip{};
    if constexpr (tarnx::is_complex_v<T>) flip = tarnx::detail::conjugating_flip<T>();
    // On a line boundary and at two places inside a line, all written past
    // the caches.
    for (auto [threads, offset] : {std::pair{1, 0}, std::pair{3, 16}, std::pair{1, 48}}) {
      std::vector<T> storage;
      T* out = placed(storage, src.size(), offset);
      tarnx::detail::layout_copy(src.data(), m, n, out, flip, threads);
      ASSERT_EQ(std::memcmp(out, expected.data(), sizeof(T) * expected.size()), 0)
          << "threads " << threads << " offset " << offset;
    }
  }
}

TYPED_TEST(ScreenPositions, AnySplitFindsTheOneRefusedValue) {
  using R = TypeParam;
  const int64_t n = 1000;
  std::vector<R> v(n, R(1));
  for (int threads : {1, 2, 3, 8}) {
    ASSERT_EQ(HasNonFinite(v.data(), n, threads), 0);
    ASSERT_EQ(tarnx::HasNaN(v.data(), n, threads), 0);
  }
  for (int64_t at : {int64_t{0}, int64_t{15}, int64_t{16}, int64_t{499}, int64_t{500}, int64_t{992}, n - 1}) {
    v[at] = std::numeric_limits<R>::quiet_NaN();
    for (int threads : {1, 2, 3, 8}) {
      ASSERT_EQ(HasNonFinite(v.data(), n, threads), 1) << at << " " << threads;
      ASSERT_EQ(tarnx::HasNaN(v.data(), n, threads), 1) << at << " " << threads;
    }
    v[at] = R(1);
  }
}

TEST(Split, EveryIndexOnceInWholeGrains) {
  for (int64_t count : {1, 5, 64, 65, 1000})
    for (int64_t grain : {1, 8, 64})
      for (int threads : {0, 1, 2, 3, 16}) {
        std::vector<int> seen(count, 0);
        std::vector<std::pair<int64_t, int64_t>> parts(64);
        std::atomic<int> next{0};
        tarnx::parallel::split(count, grain, threads, [&](int64_t begin, int64_t end) {
          parts[next++] = {begin, end};
          for (int64_t i = begin; i < end; ++i) ++seen[i];
        });
        ASSERT_TRUE(std::all_of(seen.begin(), seen.end(), [](int c) { return c == 1; }))
            << count << " " << grain << " " << threads;
        ASSERT_LE(next.load(), std::max(threads, 1));
        for (int p = 0; p < next; ++p) {
          ASSERT_LT(parts[p].first, parts[p].second);
          ASSERT_EQ(parts[p].first % grain, 0);
        }
      }
}

}  // namespace
