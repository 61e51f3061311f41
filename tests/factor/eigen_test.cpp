// Eigenvalues and eigenvectors through the exports: eigenpair residuals
// against plain loops, closed forms, and the failure contract.
#include <cmath>

#include "support/host.hpp"

namespace {

using namespace test;
using cd = std::complex<double>;

// The general driver, and the symmetric (real) or Hermitian (complex) one
// behind one signature: the real self-adjoint drivers take no real workspace.
template <class T> struct Eigen;
#define TARNX_TEST_EIGEN(t, T, SelfAdjoint, ...)                                                  \
  template <> struct Eigen<T> {                                                                   \
    static int32_t general(ZwArrayHandle a, int32_t option, ZwArrayHandle w, ZwArrayHandle v,     \
                           ZwArrayHandle work, ZwArrayHandle rwork) {                             \
      return t##EigenVH(a, option, w, v, work, rwork);                                            \
    }                                                                                             \
    static int32_t self_adjoint(ZwArrayHandle a, int32_t option, ZwArrayHandle w, ZwArrayHandle v, \
                                ZwArrayHandle work, [[maybe_unused]] ZwArrayHandle rwork,         \
                                ZwArrayHandle iwork) {                                            \
      return SelfAdjoint(a, option, w, v, work, __VA_ARGS__ iwork);                               \
    }                                                                                             \
  };
TARNX_TEST_EIGEN(s, float, sSymEigenVH)
TARNX_TEST_EIGEN(d, double, dSymEigenVH)
TARNX_TEST_EIGEN(c, cfloat, cHermEigenVH, rwork, )
TARNX_TEST_EIGEN(z, cdouble, zHermEigenVH, rwork, )

template <class T> T conj_of(T x) {
  if constexpr (is_complex<T>) return std::conj(x);
  else return x;
}

template <class T> class EigenTest : public ::testing::Test {
 protected:
  using C = std::complex<RealOf<T>>;
  using R = RealOf<T>;
  Host host;
  ZwArrayHandle w = host.empty(), v = host.empty(), work = host.empty(), rwork = host.empty(),
                iwork = host.empty();

  void expect_scratch_empty() {
    EXPECT_EQ(length(work), 0);
    EXPECT_EQ(length(rwork), 0);
    EXPECT_EQ(length(iwork), 0);
  }
  // ||A v_j - lambda_j v_j|| small against ||A|| for every column, each of
  // unit length. `full` is the matrix the eigenpairs belong to.
  template <class Value>
  void expect_eigenpairs(int n, const std::vector<T>& full, const std::vector<Value>& values,
                         const std::vector<C>& vectors) {
    double norm_a = 0;
    for (T x : full) norm_a += std::norm(cd(x));
    norm_a = std::sqrt(norm_a);
    const double tol = 50.0 * n * epsilon<T>() * norm_a;
    for (int j = 0; j < n; ++j) {
      double residual = 0, length2 = 0;
      for (int i = 0; i < n; ++i) {
        cd av = 0;
        for (int k = 0; k < n; ++k) av += cd(full[i * n + k]) * cd(vectors[k * n + j]);
        residual += std::norm(av - cd(values[j]) * cd(vectors[i * n + j]));
        length2 += std::norm(cd(vectors[i * n + j]));
      }
      EXPECT_LE(std::sqrt(residual), tol) << "eigenpair " << j;
      EXPECT_NEAR(length2, 1.0, 20.0 * n * epsilon<T>()) << "eigenvector " << j;
    }
  }
};
TYPED_TEST_SUITE(EigenTest, ElementTypes);

TYPED_TEST(EigenTest, GeneralEigenpairsAndConjugateColumns) {
  using T = TypeParam;
  using C = typename TestFixture::C;
  for (int n : {1, 6, 50, 200}) {
    const auto values = random_values<T>(n * n, 20 + n);
    ZwArrayHandle a = this->host.template matrix<T>(n, n, values);
    ASSERT_EQ(Eigen<T>::general(a, 1, this->w, this->v, this->work, this->rwork), 0);
    this->expect_scratch_empty();
    EXPECT_EQ(matrix_values<T>(a), values) << "the input is never written";
    ASSERT_EQ(rows(this->v), n);
    const auto ev = vector_values<C>(this->w);
    const auto vec = matrix_values<C>(this->v);
    this->expect_eigenpairs(n, values, ev, vec);
    if constexpr (!is_complex<T>) {
      // Pairs come positive part first, with conjugate vector columns.
      for (int j = 0; j < n; ++j) {
        if (ev[j].imag() == 0) continue;
        ASSERT_GT(ev[j].imag(), 0);
        ASSERT_EQ(ev[j + 1], std::conj(ev[j]));
        for (int i = 0; i < n; ++i) EXPECT_EQ(vec[i * n + j + 1], std::conj(vec[i * n + j]));
        ++j;
      }
    }
  }
  // The rotation: i and -i, in consecutive places; option 0 gives no vectors.
  ZwArrayHandle rot = this->host.template matrix<T>(2, 2, {T(0), T(-1), T(1), T(0)});
  ASSERT_EQ(Eigen<T>::general(rot, 0, this->w, this->v, this->work, this->rwork), 0);
  auto ev = vector_values<C>(this->w);
  EXPECT_NEAR(std::abs(cd(ev[0]) - cd(0, 1)) * std::abs(cd(ev[0]) - cd(0, -1)), 0, 4 * epsilon<T>());
  if (is_complex<T>) EXPECT_NEAR(std::abs(cd(ev[1]) - std::conj(cd(ev[0]))), 0, 4 * epsilon<T>());
  else EXPECT_EQ(cd(ev[1]), std::conj(cd(ev[0])));
  EXPECT_EQ(rows(this->v), 0);
  EXPECT_EQ(cols(this->v), 0);
  this->expect_scratch_empty();
}

TYPED_TEST(EigenTest, SelfAdjointReadsTheLowerTriangleOnly) {
  using T = TypeParam;
  using R = typename TestFixture::R;
  using C = typename TestFixture::C;
  for (int n : {1, 7, 120}) {
    // Random lower triangle, real diagonal; the strict upper triangle holds
    // unrelated values, which must not be read.
    auto stored = random_values<T>(n * n, 30 + n), full = stored;
    for (int i = 0; i < n; ++i) {
      stored[i * n + i] = full[i * n + i] = T(std::real(stored[i * n + i]));
      for (int j = i + 1; j < n; ++j) full[i * n + j] = conj_of(stored[j * n + i]);
    }
    ZwArrayHandle a = this->host.template matrix<T>(n, n, stored);
    ASSERT_EQ(Eigen<T>::self_adjoint(a, 1, this->w, this->v, this->work, this->rwork, this->iwork), 0);
    this->expect_scratch_empty();
    const auto ev = vector_values<R>(this->w);
    for (int j = 0; j + 1 < n; ++j) EXPECT_LE(ev[j], ev[j + 1]) << "ascending";
    std::vector<C> vec;
    for (T x : matrix_values<T>(this->v)) vec.push_back(C(x));
    this->expect_eigenpairs(n, full, ev, vec);
  }
  // diag(3, 1, 2) gives 1, 2, 3; option 0 gives no vectors.
  ZwArrayHandle d = this->host.template matrix<T>(3, 3, {T(3), T(0), T(0), T(0), T(1), T(0), T(0), T(0), T(2)});
  ASSERT_EQ(Eigen<T>::self_adjoint(d, 0, this->w, this->v, this->work, this->rwork, this->iwork), 0);
  EXPECT_EQ(vector_values<R>(this->w), (std::vector<R>{1, 2, 3}));
  EXPECT_EQ(rows(this->v), 0);
}

TYPED_TEST(EigenTest, FailuresEmptyTheOutputsAndTheScratch) {
  using T = TypeParam;
  using R = typename TestFixture::R;
  const std::vector<T> ok{T(2), T(1), T(1), T(3)};
  for (bool general : {true, false}) {
    auto call = [&](ZwArrayHandle a, int32_t option, ZwArrayHandle work) {
      return general ? Eigen<T>::general(a, option, this->w, this->v, work, this->rwork)
                     : Eigen<T>::self_adjoint(a, option, this->w, this->v, work, this->rwork, this->iwork);
    };
    // Each failure follows a success on a 3 x 3 matrix, so that there are
    // outputs to empty.
    auto expect_failure = [&](int32_t want, ZwArrayHandle a, int32_t option, ZwArrayHandle work,
                              int64_t failing_resize = 0) {
      ASSERT_EQ(call(this->host.template matrix<T>(3, 3, std::vector<T>(9, T(1))), 1, this->work), 0);
      {
        FailNthResize fail(failing_resize);
        EXPECT_EQ(call(a, option, work), want);
      }
      EXPECT_EQ(length(this->w), 0);
      EXPECT_EQ(rows(this->v), 0);
      EXPECT_EQ(cols(this->v), 0);
      this->expect_scratch_empty();
    };
    expect_failure(-20003, this->host.template matrix<T>(0, 0, {}), 1, this->work);
    expect_failure(-20040, this->host.template matrix<T>(2, 3, std::vector<T>(6)), 2, this->work);
    expect_failure(-20061, this->host.template matrix<T>(2, 2, {T(NAN), T(0), T(0), T(0)}), 2, this->work);
    for (R bad : {R(NAN), R(INFINITY), std::numeric_limits<R>::max(), -std::numeric_limits<R>::max()})
      expect_failure(-20068, this->host.template matrix<T>(2, 2, {T(1), T(0), T(bad), T(1)}), 0, this->work);
    expect_failure(-20999, this->host.template matrix<T>(2, 2, ok), 1, nullptr);
    for (int64_t nth : {1, 2, 3})  // the eigenvalues, the eigenvectors, the first workspace
      expect_failure(-20001, this->host.template matrix<T>(2, 2, ok), 1, this->work, nth);
  }
}

}  // namespace
