// Balancing scales each element once, by the power of two d(j) / d(i) or its
// inverse: bit for bit what one scalbn per part gives, near the factors'
// common range and far outside it, into the subnormals and back.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <limits>
#include <vector>

#include "matfun/balance.hpp"

namespace {

template <class T>
class BalanceScaling : public ::testing::Test {};
using ElementTypes = ::testing::Types<float, double, std::complex<float>, std::complex<double>>;
TYPED_TEST_SUITE(BalanceScaling, ElementTypes);

TYPED_TEST(BalanceScaling, EachElementIsScaledOnceLikeScalbn) {
  using T = TypeParam;
  using R = tarnx::RealOf<T>;
  const R tiny = std::numeric_limits<R>::min() * R(3.3);  // scaled down, it goes subnormal
  const R huge = std::numeric_limits<R>::max() / R(1.0e6);
  const std::vector<R> parts = {R(1), R(-0.7), tiny, -tiny, huge, R(0), R(1.0e-3), R(12345.678)};
  // Exponents inside the near range, and sets that reach past it.
  const std::vector<std::vector<int>> exponent_sets = {
      {0, 0, 0, 0}, {-45, -3, 7, 44}, {-120, 0, 90, 3}, {60, -60, 0, 1}};
  for (const auto& exponents : exponent_sets) {
    const int n = static_cast<int>(exponents.size());
    std::vector<R> d(n);
    for (int i = 0; i < n; ++i) d[i] = std::scalbn(R(1), exponents[i]);
    for (int sign : {1, -1})
      for (std::size_t shift = 0; shift < parts.size(); ++shift) {
        std::vector<T> a(static_cast<std::size_t>(n) * n), expected(a.size());
        for (std::size_t e = 0; e < a.size(); ++e) {
          // Every value at every place, over the shifts.
          const R re = parts[(e + shift) % parts.size()], im = parts[(e * 3 + shift + 1) % parts.size()];
          if constexpr (tarnx::is_complex_v<T>)
            a[e] = T(re, im);
          else
            a[e] = re;
        }
        for (int i = 0; i < n; ++i)
          for (int j = 0; j < n; ++j) {
            const int k = sign * (exponents[j] - exponents[i]);
            const T v = a[static_cast<std::size_t>(i) * n + j];
            T& out = expected[static_cast<std::size_t>(i) * n + j];
            if constexpr (tarnx::is_complex_v<T>)
              out = T(std::scalbn(v.real(), k), std::scalbn(v.imag(), k));
            else
              out = std::scalbn(v, k);
          }
        tarnx::balance::scale_two_sided(a.data(), n, d.data(), sign);
        EXPECT_EQ(std::memcmp(a.data(), expected.data(), sizeof(T) * a.size()), 0)
            << "exponents from " << exponents[0] << ", sign " << sign;
      }
  }
}

}  // namespace
