// Linear fit through the exports: scale-free weights, robust lines, exact
// small cases, the stopping rules, the weight rules, and what a call leaves
// behind on success and on failure.
#include <cmath>
#include <limits>

#include "support/host.hpp"
#include "support/test_os.hpp"

namespace {

using namespace test;

template <class T> struct Fit;
#define TARNX_TEST_FIT(t, T)                                                                                   \
  template <> struct Fit<T> {                                                                                  \
    static int32_t call(ZwArrayHandle y, ZwArrayHandle x, ZwArrayHandle w, double* s, double* b, double* r,    \
                        int32_t m, double tol, double floor, int32_t* it, ZwArrayHandle work) {                 \
      return t##LinearFitH(y, x, w, s, b, r, m, tol, floor, it, work);                                         \
    }                                                                                                          \
  };
TARNX_TEST_FIT(s, float)
TARNX_TEST_FIT(d, double)

struct Outcome {
  int32_t status;
  double slope, intercept, residue;
  int32_t iterations;
  int32_t work_length;
};

template <class T> class LinearFitTest : public ::testing::Test {
 protected:
  Host host;
  ZwArrayHandle y_ = nullptr;
  double tolerance_ = 0, floor_ = 0;  // 0 takes the default

  // One call; the results start as values a call would never produce, so
  // that what the call writes (or fails to write) shows.
  Outcome fit(const std::vector<T>& y, const std::vector<T>& x, const std::vector<T>& w, int32_t method,
              int32_t limit = 50, ZwArrayHandle work = nullptr, bool with_work = true) {
    y_ = host.vector<T>(y);
    if (with_work && work == nullptr) work = host.vector<double>(std::vector<double>(5, 1.0));
    Outcome o{0, 12345, 12345, 12345, limit, 0};
    o.status = Fit<T>::call(y_, host.vector<T>(x), host.vector<T>(w), &o.slope, &o.intercept, &o.residue, method,
                            tolerance_, floor_, &o.iterations, work);
    o.work_length = work != nullptr ? length(work) : 0;
    return o;
  }
  std::vector<T> fitted() const { return vector_values<T>(y_); }

  static std::vector<T> line(const std::vector<T>& x, double slope, double intercept) {
    std::vector<T> y;
    for (T v : x) y.push_back(T(slope * v + intercept));
    return y;
  }
  static void expect_line(const Outcome& o, double slope, double intercept, double tol) {
    EXPECT_NEAR(o.slope, slope, tol);
    EXPECT_NEAR(o.intercept, intercept, tol);
  }
  void expect_failed(const Outcome& o, int32_t status) {
    EXPECT_EQ(o.status, status);
    EXPECT_EQ(length(y_), 0) << "Y is emptied on failure";
    EXPECT_TRUE(is_failure_nan(o.slope));
    EXPECT_TRUE(is_failure_nan(o.intercept));
    EXPECT_TRUE(is_failure_nan(o.residue));
    EXPECT_EQ(o.iterations, 0);
    EXPECT_EQ(o.work_length, 0);
  }
};
using FitTypes = ::testing::Types<float, double>;
TYPED_TEST_SUITE(LinearFitTest, FitTypes);

TYPED_TEST(LinearFitTest, WeightsAreScaleFree) {
  using T = TypeParam;
  const int n = 30;
  auto x = random_values<T>(n, 6), y = random_values<T>(n, 7), w = random_values<T>(n, 8);
  // Large enough that the sum of the float64 weights overflows unless they
  // are scaled; a power of two, so that the scaled weights are exact.
  const T big = std::ldexp(T(1), std::is_same_v<T, float> ? 100 : 1022);
  std::vector<T> wbig;
  for (T v : w) wbig.push_back(v * big);
  for (int32_t method : {0, 1, 2}) {
    const Outcome a = this->fit(y, x, w, method), b = this->fit(y, x, wbig, method);
    ASSERT_EQ(a.status, 0);
    ASSERT_EQ(b.status, 0);
    this->expect_line(b, a.slope, a.intercept, 1e-9);
    EXPECT_EQ(a.iterations, b.iterations);
    EXPECT_NEAR(b.residue / double(big), a.residue, 1e-9 * a.residue) << "the residue keeps the user's weights";
  }
}

TYPED_TEST(LinearFitTest, RobustMethodsShrugOffOneOutlier) {
  using T = TypeParam;
  // One set with a zero x: that point only drops out of the slope step.
  for (int first : {0, 1}) {
    std::vector<T> x;
    for (int i = first; i < first + 12; ++i) x.push_back(T(i));
    auto y = this->line(x, 2, -1);
    y[9] += T(1000);  // well off the middle: the bisquare start must see it stand out
    for (bool weighted : {false, true}) {
      std::vector<T> w;
      if (weighted) w = {1, 2, 1, 3, 1, 0, 1, 1, 2, 1, 1, 2};
      this->tolerance_ = 0;
      const Outcome ls = this->fit(y, x, w, 0);
      ASSERT_EQ(ls.status, 0);
      EXPECT_GT(std::abs(ls.intercept + 1), 10) << "least squares follows the outlier";
      this->tolerance_ = 1e-12;
      for (int32_t method : {1, 2}) {
        const Outcome o = this->fit(y, x, w, method);
        ASSERT_EQ(o.status, 0) << method;
        this->expect_line(o, 2, -1, 1e-4);
        EXPECT_NEAR(this->fitted()[9], 2.0 * x[9] - 1, 1e-3) << "the outlier's fitted value lies on the line";
      }
    }
  }
}

TYPED_TEST(LinearFitTest, TwoPointsAreExactWithoutIterating) {
  using T = TypeParam;
  for (int32_t method : {1, 2}) {
    const Outcome o = this->fit({1, 5}, {1, 3}, {}, method, 10);
    ASSERT_EQ(o.status, 0);
    EXPECT_EQ(o.slope, 2);
    EXPECT_EQ(o.intercept, -1);
    EXPECT_EQ(o.residue, 0);
    EXPECT_EQ(o.iterations, 0);
    EXPECT_EQ(this->fitted(), (std::vector<T>{1, 5}));
    this->expect_failed(this->fit({1, 5}, {3, 3}, {}, method), -20055);
  }
}

TYPED_TEST(LinearFitTest, IterationsStayWithinTheLimitAndResiduesAreHonest) {
  using T = TypeParam;
  const int n = 60;
  auto x = random_values<T>(n, 9), noise = random_values<T>(n, 10);
  std::vector<T> y;
  for (int i = 0; i < n; ++i) y.push_back(T(3 * x[i] + 0.5 + 0.1 * noise[i] + (i % 7 == 0 ? 4 : 0)));
  const Outcome ls = this->fit(y, x, {}, 0);
  auto mean_abs = [&](const Outcome& o) {
    double s = 0;
    for (int i = 0; i < n; ++i) s += std::abs(o.slope * x[i] + o.intercept - double(y[i]));
    return s / n;
  };
  for (int32_t method : {1, 2}) {
    for (int32_t limit : {1, 2, 100}) {
      const Outcome o = this->fit(y, x, {}, method, limit);
      ASSERT_EQ(o.status, 0);
      EXPECT_GE(o.iterations, 1);
      EXPECT_LE(o.iterations, limit);
      if (method == 1) {
        this->floor_ = 1e6;
        EXPECT_EQ(this->fit(y, x, {}, method, limit).iterations, 1) << "already below the residue floor";
        this->floor_ = 0;
        EXPECT_NEAR(o.residue, mean_abs(o), 1e-12);
        EXPECT_LE(o.residue, mean_abs(ls)) << "never worse than the least-squares start";
      } else {
        double s = 0;
        for (int i = 0; i < n; ++i) s += std::pow(o.slope * x[i] + o.intercept - double(y[i]), 2);
        EXPECT_NEAR(o.residue, s / n, 1e-12);
      }
    }
  }
  // A NaN tolerance or floor is not at or below 0, so it is no call for the
  // default: every stopping comparison with it is false. Method 1 then stops
  // after its first step, method 2 never sees convergence and runs out the limit.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<T> px{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, py{1, 2.1, 2.9, 4.2, 5, 6.1, 6.8, 8.3, 9, 30};
  this->tolerance_ = nan;
  EXPECT_EQ(this->fit(py, px, {}, 1, 100).iterations, 1);
  EXPECT_EQ(this->fit(py, px, {}, 2, 100).iterations, 100);
  this->tolerance_ = 0;
  EXPECT_LT(this->fit(py, px, {}, 2, 100).iterations, 100) << "the default does converge";
  this->floor_ = nan;
  EXPECT_EQ(this->fit(py, px, {}, 1, 100).iterations, 1);
  this->floor_ = 0;
}

TYPED_TEST(LinearFitTest, WeightRules) {
  using T = TypeParam;
  const std::vector<T> x{1, 2, 3, 4, 6, 7}, y{1.5, 2, 3.5, 3, 7, 6};
  const T nan = std::numeric_limits<T>::quiet_NaN(), inf = std::numeric_limits<T>::infinity();
  for (int32_t method : {0, 1, 2}) {
    const Outcome plain = this->fit(y, x, {}, method);
    const auto plain_fit = this->fitted();
    // All zero is an unweighted fit; equal weights give the unweighted line
    // too, which ties the paired sort's median to the host-sorted one.
    const Outcome zeros = this->fit(y, x, {0, 0, 0, 0, 0, 0}, method);
    ASSERT_EQ(zeros.status, 0);
    EXPECT_TRUE(same_bits(zeros.slope, plain.slope) && same_bits(zeros.intercept, plain.intercept) &&
                same_bits(zeros.residue, plain.residue) && zeros.iterations == plain.iterations);
    EXPECT_EQ(this->fitted(), plain_fit);
    const Outcome equal = this->fit(y, x, {-3, 3, 3, 3, 3, 3}, method);
    EXPECT_TRUE(same_bits(equal.slope, plain.slope) && same_bits(equal.intercept, plain.intercept));
    EXPECT_NEAR(equal.residue, 3 * plain.residue, 1e-12);
    this->expect_failed(this->fit(y, x, {0, 0, 2, 0, 0, 0}, method), -20141);
    this->expect_failed(this->fit(y, x, {1, 1, nan, 1, 1, 1}, method), -20068);
    this->expect_failed(this->fit(y, x, {1, 1, inf, 1, 1, 1}, method), -20068);
  }
  this->expect_failed(this->fit({1, 2, 3, 4}, {0, 0, 1, 2}, {}, 1), -20055);
  EXPECT_EQ(this->fit({1, 2, 3, 4}, {0, 0, 1, 2}, {}, 0).status, 0) << "only the slope step divides by x";
}

TYPED_TEST(LinearFitTest, FailuresEmptyYAndPoisonTheResults) {
  using T = TypeParam;
  const T big = std::numeric_limits<T>::max(), inf = std::numeric_limits<T>::infinity();
  const std::vector<T> x{1, 2, 3}, y{2, 4, 7};
  this->expect_failed(this->fit(y, x, {}, 3), -20061);
  this->expect_failed(this->fit(y, {1, 2}, {}, -1), -20061);  // the method is checked first
  this->expect_failed(this->fit(y, {1, 2}, {}, 0), -20002);
  this->expect_failed(this->fit(y, x, {1, 1}, 0), -20002);
  for (int32_t method : {0, 1, 2}) {
    this->expect_failed(this->fit({1}, {1}, {}, method), -20006);
    this->expect_failed(this->fit(y, {1, inf, 3}, {}, method), -20068);
    this->expect_failed(this->fit({2, big, 7}, x, {}, method), -20068);
    this->expect_failed(this->fit(y, {2, 2, 2}, {}, method), -20055);  // no spread in x, no line
    this->expect_failed(this->fit(y, x, {1, 2, 3}, method, 5, nullptr, false), -20999);
    ZwArrayHandle work = this->host.empty();
    FailNthResize fail(1);
    this->expect_failed(this->fit(y, x, {1, 2, 3}, method, 5, work), -20001);
  }
  EXPECT_EQ(this->fit(y, x, {}, 0, 5, nullptr, false).status, 0) << "a plain least-squares fit needs no work";
}

TYPED_TEST(LinearFitTest, ReusedWorkOfTheRightSizeIsNotResized) {
  using T = TypeParam;
  const std::vector<T> x{1, 2, 3, 4}, y{1, 3, 2, 5};
  ZwArrayHandle work = this->host.vector(std::vector<double>(12));
  const int64_t before = ZwrtResizeCount();
  const Outcome o = this->fit(y, x, {}, 2, 5, work);
  ASSERT_EQ(o.status, 0);
  EXPECT_EQ(ZwrtResizeCount() - before, 1) << "only the emptying on the way out";
  EXPECT_EQ(o.work_length, 0);
}

TEST(LinearFitDeathTest, HostWithoutQSortEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  Host host;
  // Work already of the size the fit wants, so that the first trip to the
  // host is the unweighted intercept step's sort.
  ZwArrayHandle work = host.vector(std::vector<double>(8));
  ZwArrayHandle y = host.vector<double>({1, 2, 4, 3}), x = host.vector<double>({1, 2, 3, 4});
  double slope, intercept, residue;
  int32_t iterations = 10;
  EXPECT_EXIT(
      {
        SetZWRTModule(os::open_library(os::kForeignModule));
        dLinearFitH(y, x, host.empty(), &slope, &intercept, &residue, 1, 0, 0, &iterations, work);
      },
      ::testing::ExitedWithCode(1), "Fatal Error: ZANWELLV.LIB could not locate \"QSort\"\\.");
}

}  // namespace
