// Determinant through the exports, against a permutation expansion and the
// product formula of a permuted triangular matrix.
#include "solve/reference.hpp"

namespace {

using namespace test;

template <class T> class DeterminantTest : public ::testing::Test {
 protected:
  Host host;
  ZwArrayHandle work = host.vector<T>({T(1), T(2)});  // scratch arrives non-empty
  ZwArrayHandle pivots = host.vector<int32_t>({7});

  int32_t det(ZwArrayHandle a, int32_t type, T* d) { return Solve<T>::det(a, type, d, work, pivots); }
  void expect_scratch_empty() {
    EXPECT_EQ(length(work), 0);
    EXPECT_EQ(length(pivots), 0);
  }
  void expect_near(T got, wide want, double scale, int n) {
    EXPECT_LE(std::abs(widen(got) - want), 32.0 * n * epsilon<T>() * scale) << widen(got) << " vs " << want;
  }
};
TYPED_TEST_SUITE(DeterminantTest, ElementTypes);

// |det A| is at most the product of the rows' 2-norms.
template <class T> double hadamard_bound(const std::vector<T>& a, int n) {
  double bound = 1;
  for (int i = 0; i < n; ++i) {
    double s = 0;
    for (int j = 0; j < n; ++j) s += std::norm(widen(a[i * n + j]));
    bound *= std::sqrt(s);
  }
  return bound;
}

TYPED_TEST(DeterminantTest, MatchesPermutationExpansionForEveryMatrixType) {
  using T = TypeParam;
  for (int n = 1; n <= 5; ++n) {
    const auto g = general_matrix<T>(n, 10 + n);
    ZwArrayHandle a = this->host.template matrix<T>(n, n, g);
    T d{};
    ASSERT_EQ(this->det(a, kGeneral, &d), 0);
    this->expect_near(d, permutation_expansion(g, n), hadamard_bound(g, n), n);
    EXPECT_TRUE(same_values(matrix_values<T>(a), g)) << "the input is never written";
    this->expect_scratch_empty();

    // From n = 3 on only the lower triangle counts; the closed forms of
    // n <= 2 read the whole matrix.
    const auto p = positive_definite_matrix<T>(n, 20 + n, n >= 3);
    ASSERT_EQ(this->det(this->host.template matrix<T>(n, n, p), kPositiveDefinite, &d), 0);
    this->expect_near(d, permutation_expansion(from_lower(p, n), n), hadamard_bound(from_lower(p, n), n), n);
    if constexpr (is_complex<T>) {
      EXPECT_EQ(d.imag(), 0);
    }
    this->expect_scratch_empty();

    // Triangular: the diagonal alone, whatever lies off it.
    T lower{}, upper{};
    ASSERT_EQ(this->det(a, kLower, &lower), 0);
    ASSERT_EQ(this->det(a, kUpper, &upper), 0);
    EXPECT_TRUE(same_bits(lower, upper));
    wide diag = 1;
    for (int i = 0; i < n; ++i) diag *= widen(g[i * n + i]);
    this->expect_near(lower, diag, std::abs(diag), n);
  }
}

TYPED_TEST(DeterminantTest, LargeMatrixMatchesProductFormula) {
  using T = TypeParam;
  // A = P U with U upper triangular (diagonal near 1, small entries above)
  // and P the cyclic shift of the rows: det A = (-1)^(n-1) prod diag(U).
  const int n = 60;
  auto u = triangle_of(random_values<T>(n * n, 31), n, false);
  wide want = n % 2 ? 1.0 : -1.0;
  for (int i = 0; i < n; ++i) {
    for (int j = i + 1; j < n; ++j) u[i * n + j] /= T(RealOf<T>(n));
    u[i * n + i] = T(RealOf<T>(1)) + u[i * n + i] / T(RealOf<T>(4));
    want *= widen(u[i * n + i]);
  }
  std::vector<T> a(n * n);
  for (int i = 0; i < n; ++i) std::copy_n(&u[((i + 1) % n) * n], n, &a[i * n]);
  T d{};
  ASSERT_EQ(this->det(this->host.template matrix<T>(n, n, a), kGeneral, &d), 0);
  this->expect_near(d, want, std::abs(want), n);
  this->expect_scratch_empty();
}

TYPED_TEST(DeterminantTest, FailuresGiveTheFailureNaNAndEmptyScratch) {
  using T = TypeParam;
  auto expect_failure = [&](ZwArrayHandle a, int32_t type, int32_t status) {
    T d(1);
    EXPECT_EQ(this->det(a, type, &d), status);
    EXPECT_TRUE(is_failure_nan(d));
    this->expect_scratch_empty();
  };
  expect_failure(this->host.empty(), kGeneral, -20003);
  expect_failure(this->host.template matrix<T>(3, 0, {}), kGeneral, -20003);
  expect_failure(this->host.template filled<T>(2, 3, T(1)), kGeneral, -20040);
  ZwArrayHandle three = this->host.template matrix<T>(3, 3, general_matrix<T>(3, 1));
  expect_failure(three, 4, -20061);
  expect_failure(three, -1, -20061);
  // Symmetric but indefinite: the Cholesky path refuses it from n = 3 on.
  expect_failure(this->host.template matrix<T>(3, 3, {1, 2, 0, 2, 1, 0, 0, 0, 1}), kPositiveDefinite, -20071);
  {
    FailNthResize fail(1);
    expect_failure(three, kGeneral, -20001);
  }
  {
    FailNthResize fail(2);  // the pivots
    expect_failure(three, kGeneral, -20001);
  }
  T d{};
  EXPECT_EQ(Solve<T>::det(three, kGeneral, &d, nullptr, this->pivots), -20999);
  EXPECT_TRUE(is_failure_nan(d));
  EXPECT_EQ(length(this->pivots), 0) << "a null work handle still lets the pivots be emptied";
  this->work = this->host.template vector<T>({T(1)});
  EXPECT_EQ(Solve<T>::det(three, kGeneral, &d, this->work, nullptr), -20999);
  EXPECT_EQ(length(this->work), 0);
  EXPECT_EQ(Solve<T>::det(three, kPositiveDefinite, &d, nullptr, nullptr), -20999);
  // n <= 2 never needs scratch, and takes no test of definiteness.
  ASSERT_EQ(Solve<T>::det(this->host.template matrix<T>(2, 2, {1, 2, 2, 1}), kPositiveDefinite, &d, nullptr, nullptr), 0);
  EXPECT_EQ(d, T(-3));
}

TYPED_TEST(DeterminantTest, SingularAndPermutationResultsAreExact) {
  using T = TypeParam;
  T d(1);
  // A zero column is an exactly zero pivot for the core: 0 with status 0.
  ASSERT_EQ(this->det(this->host.template matrix<T>(3, 3, {1, 0, 2, 3, 0, 4, 5, 0, 6}), kGeneral, &d), 0);
  EXPECT_TRUE(same_bits(d, T(0)));
  ASSERT_EQ(this->det(this->host.template matrix<T>(3, 3, {0, 1, 0, 1, 0, 0, 0, 0, 1}), kGeneral, &d), 0);
  EXPECT_EQ(d, T(-1));
  ASSERT_EQ(this->det(this->host.template matrix<T>(1, 1, {T(-2.5)}), kGeneral, &d), 0);
  EXPECT_EQ(d, T(-2.5));
}

TYPED_TEST(DeterminantTest, DiagonalProductIsPlainButWidenedForSinglePrecision) {
  using T = TypeParam;
  using R = RealOf<T>;
  const int n = 200;
  std::vector<T> a(n * n);
  for (int i = 0; i < n; ++i) a[i * n + i] = T(10);
  T d{};
  ASSERT_EQ(this->det(this->host.template matrix<T>(n, n, a), kLower, &d), 0);
  if constexpr (std::is_same_v<R, float>) {
    EXPECT_TRUE(same_bits(std::real(d), std::numeric_limits<float>::infinity()));
  } else {
    EXPECT_NEAR(std::real(d) / 1e200, 1.0, 1e-13);
  }
  if constexpr (is_complex<T>) {
    EXPECT_EQ(d.imag(), 0);
  }
  // The running product of 1e30 1e30 1e-30 1e-30 leaves float32 range
  // half-way, but is accumulated in float64 and rounded once.
  ASSERT_EQ(this->det(this->host.template matrix<T>(4, 4, {T(R(1e30)), 0, 0, 0, 0, T(R(1e30)), 0, 0,
                                                           0, 0, T(R(1e-30)), 0, 0, 0, 0, T(R(1e-30))}),
                      kUpper, &d), 0);
  EXPECT_NEAR(std::real(d), 1.0, 1e-5);
}

}  // namespace
