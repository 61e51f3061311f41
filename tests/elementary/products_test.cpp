// Products through the exports, against plain reference loops.
#include <cmath>

#include "elementary/api.hpp"

namespace {

using namespace test;

template <class T> using Products = Api<T>;

template <class T> class ProductsTest : public ::testing::Test {
 protected:
  using P = Products<T>;
  Host host;
  // |a - b| within a few units of the working precision, scaled by the size.
  void expect_close(const std::vector<T>& got, const std::vector<T>& want, int32_t terms) {
    ASSERT_EQ(got.size(), want.size());
    const double tol = 8.0 * terms * epsilon<T>();
    for (std::size_t i = 0; i < got.size(); ++i)
      EXPECT_LE(std::abs(std::complex<double>(got[i]) - std::complex<double>(want[i])), tol) << "element " << i;
  }
};
TYPED_TEST_SUITE(ProductsTest, ElementTypes);

TYPED_TEST(ProductsTest, MatrixProductMatchesReferenceLoop) {
  using T = TypeParam;
  for (auto [m, k, n] : {std::tuple{1, 1, 1}, {3, 5, 2}, {17, 9, 33}, {64, 64, 64}}) {
    auto av = random_values<T>(m * k, 1), bv = random_values<T>(k * n, 2);
    ZwArrayHandle a = this->host.template matrix<T>(m, k, av), b = this->host.template matrix<T>(k, n, bv);
    ZwArrayHandle c = this->host.empty();
    ASSERT_EQ(Products<T>::mul(a, b, c), 0);
    ASSERT_EQ(rows(c), m);
    ASSERT_EQ(cols(c), n);
    std::vector<T> want(m * n);
    for (int i = 0; i < m; ++i)
      for (int j = 0; j < n; ++j)
        for (int l = 0; l < k; ++l) want[i * n + j] += av[i * k + l] * bv[l * n + j];
    this->expect_close(matrix_values<T>(c), want, k);
    EXPECT_EQ(matrix_values<T>(a), av) << "inputs are never written";
  }
}

TYPED_TEST(ProductsTest, MatrixProductEdgeShapes) {
  using T = TypeParam;
  ZwArrayHandle c = this->host.empty();
  // An empty inner dimension gives NaN, not zeros.
  ASSERT_EQ(Products<T>::mul(this->host.template matrix<T>(2, 0, {}), this->host.template matrix<T>(0, 3, {}), c), 0);
  ASSERT_EQ(rows(c), 2);
  ASSERT_EQ(cols(c), 3);
  for (T v : matrix_values<T>(c)) EXPECT_TRUE(is_failure_nan(v));
  // No rows: an empty result of the right shape.
  ASSERT_EQ(Products<T>::mul(this->host.template matrix<T>(0, 3, {}), this->host.template filled<T>(3, 2, T(1)), c), 0);
  EXPECT_EQ(rows(c), 0);
  EXPECT_EQ(cols(c), 2);
  // The inner-dimension check comes before the sign check.
  ZwArrayHandle bad = this->host.template matrix<T>(-1, 3, {});
  EXPECT_EQ(Products<T>::mul(this->host.template filled<T>(2, 3, T(1)), this->host.template filled<T>(2, 3, T(1)), c), -20039);
  EXPECT_EQ(rows(c), 0);
  EXPECT_EQ(cols(c), 0);
  EXPECT_EQ(Products<T>::mul(bad, this->host.template matrix<T>(3, 2, std::vector<T>(6)), c), -20004);
  EXPECT_EQ(Products<T>::mul(this->host.template matrix<T>(2, -1, {}), bad, c), -20004);
}

TYPED_TEST(ProductsTest, MatrixVectorProductsDoNotConjugate) {
  using T = TypeParam;
  const int m = 7, n = 5;
  auto av = random_values<T>(m * n, 3), xv = random_values<T>(n, 4), wv = random_values<T>(m, 5);
  ZwArrayHandle a = this->host.template matrix<T>(m, n, av);
  ZwArrayHandle y = this->host.empty();
  ASSERT_EQ(Products<T>::mv(a, this->host.template vector<T>(xv), y), 0);
  std::vector<T> want(m);
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < n; ++j) want[i] += av[i * n + j] * xv[j];
  this->expect_close(vector_values<T>(y), want, n);

  ASSERT_EQ(Products<T>::vm(this->host.template vector<T>(wv), a, y), 0);
  std::vector<T> want_t(n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) want_t[j] += wv[i] * av[i * n + j];
  this->expect_close(vector_values<T>(y), want_t, m);

  EXPECT_EQ(Products<T>::mv(a, this->host.template vector<T>(wv), y), -20039);
  EXPECT_EQ(length(y), 0);
  // A with rows but no columns gives an empty y.
  ASSERT_EQ(Products<T>::mv(this->host.template matrix<T>(3, 0, {}), this->host.template vector<T>({}), y), 0);
  EXPECT_EQ(length(y), 0);
}

TYPED_TEST(ProductsTest, DotProductConjugatesSecondOperand) {
  using T = TypeParam;
  for (int n : {1, 2, 3, 8, 101}) {
    auto xv = random_values<T>(n, 6), yv = random_values<T>(n, 7);
    T got{};
    ASSERT_EQ(Products<T>::dot(this->host.template vector<T>(xv), this->host.template vector<T>(yv), c_ptr(&got)), 0);
    T want{};
    for (int i = 0; i < n; ++i) {
      if constexpr (is_complex<T>) want += xv[i] * std::conj(yv[i]);
      else want += xv[i] * yv[i];
    }
    this->expect_close({got}, {want}, n);
  }
  T r{};
  EXPECT_EQ(Products<T>::dot(this->host.template vector<T>({T(1), T(2), T(3)}), this->host.template vector<T>(std::vector<T>(4)), c_ptr(&r)), -20002);
  EXPECT_TRUE(is_failure_nan(r));
  r = T(1);
  EXPECT_EQ(Products<T>::dot(this->host.template vector<T>({}), this->host.template vector<T>({}), c_ptr(&r)), -20003);
  EXPECT_TRUE(is_failure_nan(r));
}

TYPED_TEST(ProductsTest, OuterAndKroneckerProducts) {
  using T = TypeParam;
  auto xv = random_values<T>(4, 8), yv = random_values<T>(3, 9);
  ZwArrayHandle c = this->host.empty();
  ASSERT_EQ(Products<T>::outer(this->host.template vector<T>(xv), this->host.template vector<T>(yv), c), 0);
  std::vector<T> want;
  for (T xi : xv)
    for (T yj : yv) want.push_back(xi * yj);
  this->expect_close(matrix_values<T>(c), want, 1);
  EXPECT_EQ(Products<T>::outer(this->host.template vector<T>(xv), this->host.template vector<T>({}), c), -20003);
  EXPECT_EQ(rows(c), 0);
  EXPECT_EQ(cols(c), 0);

  const int p = 2, q = 3, r = 3, s = 5;  // s = 5 exercises the unrolled loop's tail
  auto av = random_values<T>(p * q, 10), bv = random_values<T>(r * s, 11);
  ASSERT_EQ(Products<T>::kron(this->host.template matrix<T>(p, q, av), this->host.template matrix<T>(r, s, bv), c), 0);
  ASSERT_EQ(rows(c), p * r);
  ASSERT_EQ(cols(c), q * s);
  auto got = matrix_values<T>(c);
  for (int i = 0; i < p; ++i)
    for (int j = 0; j < q; ++j)
      for (int k = 0; k < r; ++k)
        for (int l = 0; l < s; ++l)
          EXPECT_EQ(got[(i * r + k) * q * s + j * s + l], av[i * q + j] * bv[k * s + l]);
  EXPECT_EQ(Products<T>::kron(this->host.template matrix<T>(0, 2, {}), this->host.template matrix<T>(r, s, bv), c), -20003);
  EXPECT_EQ(rows(c), 0);
}

TYPED_TEST(ProductsTest, FailedResizeGivesOutOfMemoryAndEmptyOutput) {
  using T = TypeParam;
  auto av = random_values<T>(6, 12);
  ZwArrayHandle a = this->host.template matrix<T>(2, 3, av), b = this->host.template matrix<T>(3, 2, av);
  ZwArrayHandle c = this->host.template filled<T>(1, 1, T(5));
  {
    FailNthResize fail(1);
    EXPECT_EQ(Products<T>::mul(a, b, c), -20001);
  }
  EXPECT_EQ(rows(c), 0);
  EXPECT_EQ(cols(c), 0);
  {
    FailNthResize fail(1);
    EXPECT_EQ(Products<T>::kron(a, b, c), -20001);
  }
  EXPECT_EQ(rows(c), 0);
  ZwArrayHandle y = this->host.template vector<T>({T(1)});
  {
    FailNthResize fail(1);
    EXPECT_EQ(Products<T>::mv(a, this->host.template vector<T>(std::vector<T>(3)), y), -20001);
  }
  EXPECT_EQ(length(y), 0);
}

TEST(ProductsBits, ComplexFloatDotSumsInItsLaneOrder) {
  Host host;
  // Values chosen so that float32 rounding differs between summation orders.
  std::vector<cfloat> x, y;
  for (int i = 0; i < 7; ++i) {
    x.emplace_back(1.0f + 1e-7f * i * i, 3e7f / (i + 1));
    y.emplace_back(1e8f / (i + 3), 0.5f - 1e-6f * i);
  }
  float re[4] = {}, im[4] = {};
  int i = 0;
  for (; i + 2 <= 7; i += 2)
    for (int e = 0; e < 2; ++e) {
      re[2 * e] += x[i + e].real() * y[i + e].real();
      re[2 * e + 1] += x[i + e].imag() * y[i + e].imag();
      im[2 * e] += x[i + e].imag() * y[i + e].real();
      im[2 * e + 1] += x[i + e].real() * y[i + e].imag();
    }
  re[0] += x[6].real() * y[6].real();
  re[1] += x[6].imag() * y[6].imag();
  im[0] += x[6].imag() * y[6].real();
  im[1] += x[6].real() * y[6].imag();
  const cfloat want((re[0] + re[2]) + (re[1] + re[3]), (im[0] + im[2]) - (im[1] + im[3]));
  cfloat got;
  ASSERT_EQ(cDotProdH(host.vector(x), host.vector(y), c_ptr(&got)), 0);
  EXPECT_TRUE(same_bits(got, want)) << got << " vs " << want;
}

TEST(ProductsBits, ZDotOfIAndIIsOne) {
  Host host;
  cdouble got;
  ASSERT_EQ(zDotProdH(host.vector<cdouble>({{0, 1}}), host.vector<cdouble>({{0, 1}}), c_ptr(&got)), 0);
  EXPECT_EQ(got, cdouble(1, 0));
}

TEST(ProductsBits, KroneckerOfRowAndColumn) {
  Host host;
  ZwArrayHandle c = host.empty();
  ASSERT_EQ(dKronProdH(host.matrix<double>(1, 2, {1, 2}), host.matrix<double>(2, 1, {1, 1}), c), 0);
  EXPECT_EQ(rows(c), 2);
  EXPECT_EQ(cols(c), 2);
  EXPECT_EQ(matrix_values<double>(c), (std::vector<double>{1, 2, 1, 2}));
}

}  // namespace
