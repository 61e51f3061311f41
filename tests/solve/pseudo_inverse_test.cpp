// Pseudo-inverse through the exports, checked by the four Penrose
// conditions formed in double precision, and by closed forms.
#include "solve/reference.hpp"

namespace {

using namespace test;

template <class T> struct PseudoInverse;
#define TARNX_TEST_PINV(t, T)                                                                    \
  template <> struct PseudoInverse<T> {                                                          \
    template <class... H> static int32_t call(ZwArrayHandle a, RealOf<T> tol, H... h) {          \
      return t##PseudoInvMtrxH(a, tol, h...);                                                    \
    }                                                                                            \
  };
TARNX_TEST_PINV(s, float)
TARNX_TEST_PINV(d, double)
TARNX_TEST_PINV(c, cfloat)
TARNX_TEST_PINV(z, cdouble)
#undef TARNX_TEST_PINV

// Distance of the r x r matrix x from its conjugate transpose.
double asymmetry(const Dense& x, int r) { return distance(x, adjoint(x, r, r)); }

template <class T> T narrow(wide v) {
  if constexpr (is_complex<T>) return T(v);
  else return T(v.real());
}

template <class T> class PseudoInverseTest : public ::testing::Test {
 protected:
  using R = RealOf<T>;
  Host host;
  // Scratch handles arrive non-empty, so that emptying them is seen.
  ZwArrayHandle values = host.vector<R>({R(1)});
  ZwArrayHandle factors = host.vector<T>({T(1), T(2)});
  ZwArrayHandle work = host.vector<T>({T(3)});
  ZwArrayHandle real_work = host.vector<double>({4});
  ZwArrayHandle int_work = host.vector<int32_t>({5});

  // Runs the export on an m x n matrix; checks the shape it leaves and that
  // every scratch handle comes back empty.
  std::vector<T> pinv(int m, int n, const std::vector<T>& a, R tol, int32_t want = 0) {
    ZwArrayHandle h = host.matrix<T>(m, n, a);
    EXPECT_EQ(PseudoInverse<T>::call(h, tol, values, factors, work, real_work, int_work), want);
    EXPECT_EQ(rows(h), want < 0 ? 0 : n);
    EXPECT_EQ(cols(h), want < 0 ? 0 : m);
    for (ZwArrayHandle s : {values, factors, work, int_work}) EXPECT_EQ(length(s), 0);
    expect_kernel_real_work_settled<T>(real_work, 1);
    return want < 0 ? std::vector<T>{} : matrix_values<T>(h);
  }
};
TYPED_TEST_SUITE(PseudoInverseTest, ElementTypes);

TYPED_TEST(PseudoInverseTest, PenroseConditionsHold) {
  using T = TypeParam;
  struct Case { int m, n, rank; };
  // Full rank in both orientations, and products of thin factors whose
  // rank is below both dimensions.
  for (Case c : {Case{1, 1, 1}, Case{3, 5, 3}, Case{7, 4, 4}, Case{40, 25, 25}, Case{6, 9, 2},
                 Case{30, 20, 7}}) {
    std::vector<T> a;
    if (c.rank == std::min(c.m, c.n)) {
      a = random_values<T>(c.m * c.n, 100 + c.m);
    } else {
      const auto l = widen(random_values<T>(c.m * c.rank, 200 + c.m));
      const auto r = widen(random_values<T>(c.rank * c.n, 300 + c.n));
      for (const wide& v : multiply(l, r, c.m, c.rank, c.n)) a.push_back(narrow<T>(v));
    }
    const Dense x = widen(this->pinv(c.m, c.n, a, -1));
    const Dense wa = widen(a);
    const Dense ax = multiply(wa, x, c.m, c.n, c.m), xa = multiply(x, wa, c.n, c.m, c.n);
    const double tol = 50.0 * std::max(c.m, c.n) * epsilon<T>();
    SCOPED_TRACE(::testing::Message() << c.m << " x " << c.n << " rank " << c.rank);
    EXPECT_LE(distance(multiply(ax, wa, c.m, c.m, c.n), wa), tol * frobenius(wa));
    EXPECT_LE(distance(multiply(xa, x, c.n, c.n, c.m), x), tol * frobenius(x));
    EXPECT_LE(asymmetry(ax, c.m), tol * frobenius(ax));
    EXPECT_LE(asymmetry(xa, c.n), tol * frobenius(xa));
  }
}

TYPED_TEST(PseudoInverseTest, ClosedFormsAndTheTolerance) {
  using T = TypeParam;
  using R = RealOf<T>;
  EXPECT_EQ(this->pinv(1, 1, {T(4)}, -1), std::vector<T>{T(0.25)});
  EXPECT_EQ(this->pinv(1, 1, {T(0)}, 0), std::vector<T>{T(0)});  // never 1/0
  EXPECT_EQ(this->pinv(2, 3, std::vector<T>(6), -1), std::vector<T>(6));

  // diag(2, 1/2): a singular value equal to the tolerance is discarded.
  const std::vector<T> d = {T(2), T(0), T(0), T(0.5)};
  EXPECT_EQ(this->pinv(2, 2, d, R(0.5)), (std::vector<T>{T(0.5), T(0), T(0), T(0)}));
  EXPECT_EQ(this->pinv(2, 2, d, R(0.49)), (std::vector<T>{T(0.5), T(0), T(0), T(2)}));

  // The default tolerance is 2 * 1 * eps here: eps-sized values go, and a
  // value of 4 eps stays, with tolerance 0 keeping either.
  const R eps = epsilon<T>();
  EXPECT_EQ(this->pinv(2, 2, {T(1), T(0), T(0), T(2 * eps)}, -1)[3], T(0));
  EXPECT_EQ(this->pinv(2, 2, {T(1), T(0), T(0), T(4 * eps)}, -1)[3], T(1 / (4 * eps)));
  EXPECT_EQ(this->pinv(2, 2, {T(1), T(0), T(0), T(eps / 8)}, 0)[3], T(8 / eps));
}

TYPED_TEST(PseudoInverseTest, FailuresEmptyTheMatrix) {
  using T = TypeParam;
  this->pinv(0, 3, {}, -1, -20003);
  this->pinv(3, 0, {}, -1, -20003);
  auto a = random_values<T>(12, 7);
  for (int nth : {1, 2, 3}) {  // the singular values, the factors, the kernel's work
    FailNthResize fail(nth);
    this->pinv(3, 4, a, -1, -20001);
  }
  a[5] = nan_of<T>;
  this->pinv(3, 4, a, -1, -20068);

  ZwArrayHandle h = this->host.template matrix<T>(2, 2, {T(1), T(2), T(3), T(4)});
  EXPECT_EQ(PseudoInverse<T>::call(h, -1, nullptr, this->factors, this->work, this->real_work,
                                   this->int_work), -20999);
  EXPECT_EQ(rows(h), 0);
  EXPECT_EQ(length(this->factors), 0);
  h = this->host.template matrix<T>(2, 2, {T(1), T(2), T(3), T(4)});
  EXPECT_EQ(PseudoInverse<T>::call(h, -1, this->values, nullptr, this->work, this->real_work,
                                   this->int_work), -20999);
  EXPECT_EQ(cols(h), 0);
  EXPECT_EQ(length(this->values), 0);
}

}  // namespace
