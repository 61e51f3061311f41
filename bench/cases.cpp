// Every benchmarked family beside the core calls it wraps.
//
// The raw side is what a C program holding the same matrix would run: it
// restores the input the core overwrites (a memcpy; the export must not
// destroy the host's input either, so it copies too), asks for the
// workspace size where the routine has a query, and makes the call. Where
// the library keeps a query's answer per size (frame/workspace.hpp), the raw
// side asks on its first call only, as a C program hoists the query out of
// its loop; elsewhere both sides ask on every call. Its
// buffers are made once outside the timed loop; the export's outputs and
// scratch handles are reused from call to call, as a host loop would.
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <limits>
#include <utility>

#include "bench/core_calls.hpp"
#include "frame/cblas_values.hpp"
#include "bench/harness.hpp"
#include "bench/raw_core.hpp"
#include "matfun/binary_power.hpp"
#include "matfun/exponential_kernel.hpp"
#include "matfun/log_pade.hpp"
#include "matfun/triangular_sqrt.hpp"

namespace bench {
namespace {

using std::size_t;

size_t sq(int32_t n) { return static_cast<size_t>(n) * static_cast<size_t>(n); }

double relative_difference(const double* a, const double* b, size_t count) {
  double diff = 0, scale = 1;
  for (size_t i = 0; i < count; ++i) {
    diff = std::max(diff, std::abs(a[i] - b[i]));
    scale = std::max(scale, std::abs(b[i]));
  }
  return diff / scale;
}

// Eigenvalues come in whatever order the core found them on its input; the
// library hands the core the row-major block (the transpose), so match each
// of ours to the nearest of the raw side's.
double spectrum_difference(const std::complex<double>* ours, const double* re, const double* im,
                           int32_t n) {
  double diff = 0, scale = 1;
  for (int32_t i = 0; i < n; ++i) {
    double nearest = INFINITY;
    for (int32_t j = 0; j < n; ++j)
      nearest = std::min(nearest, std::abs(ours[i] - std::complex<double>(re[j], im[j])));
    diff = std::max(diff, nearest);
    scale = std::max(scale, std::abs(ours[i]));
  }
  return diff / scale;
}

std::complex<double>* complex_values(ZwArrayHandle h) {
  return reinterpret_cast<std::complex<double>*>(vector_values(h));
}

void copy(double* dst, const std::vector<double>& src) {
  std::memcpy(dst, src.data(), src.size() * sizeof(double));
}

// ---- the element-type templates' pieces -----------------------------------------------------
//
// A family that exists in several element types is one template over the
// element type T and its export; Raw<T> maps to the s/d/c/z core routine.

using tarnx::blas_scalar;
using tarnx::is_complex_v;
using tarnx::workspace_size;
template <class T> using RealOf = tarnx::RealOf<T>;
template <class T> using ComplexOf = tarnx::ComplexOf<T>;

constexpr int kColMajor = tarnx::cblas::ColMajor, kTrans = tarnx::cblas::Trans,
              kConjTrans = tarnx::cblas::ConjTrans;

template <class T> void put(T* dst, const std::vector<T>& src) {
  std::memcpy(static_cast<void*>(dst), src.data(), src.size() * sizeof(T));
}

template <class T> double difference(const T* a, const T* b, size_t count) {
  double diff = 0, scale = 1;
  for (size_t i = 0; i < count; ++i) {
    diff = std::max(diff, static_cast<double>(std::abs(a[i] - b[i])));
    scale = std::max(scale, static_cast<double>(std::abs(b[i])));
  }
  return diff / scale;
}

// Nearest-match distance between two spectra found in different orders.
template <class C>
double spectra_apart(const C* ours, const std::vector<std::complex<double>>& raw) {
  double diff = 0, scale = 1;
  for (size_t i = 0; i < raw.size(); ++i) {
    const std::complex<double> v(static_cast<double>(std::real(ours[i])),
                                 static_cast<double>(std::imag(ours[i])));
    double nearest = INFINITY;
    for (const std::complex<double>& r : raw) nearest = std::min(nearest, std::abs(v - r));
    diff = std::max(diff, nearest);
    scale = std::max(scale, std::abs(v));
  }
  return diff / scale;
}

// Grows a raw workspace to a query's answer; later calls find it big enough.
template <class T> T* sized(std::vector<T>& buffer, int count) {
  if (buffer.size() < static_cast<size_t>(std::max(count, 1)))
    buffer.resize(static_cast<size_t>(std::max(count, 1)));
  return buffer.data();
}

template <class T> constexpr double flop_weight() { return is_complex_v<T> ? 4.0 : 1.0; }

// ---- products -------------------------------------------------------------------------------

template <class T, auto Export> struct MatrixProduct : Work {
  int32_t n;
  ZwArrayHandle a, b, c;
  std::vector<T> av, bv, craw;
  explicit MatrixProduct(int32_t n_)
      : n(n_), av(general_of<T>(n, 1)), bv(general_of<T>(n, 2)), craw(sq(n)) {
    a = arrays.matrix(n, n, av.data());
    b = arrays.matrix(n, n, bv.data());
    c = arrays.empty();
  }
  int32_t ours() override { return Export(a, b, c); }
  void raw() override {
    const T one(1), zero(0);
    Raw<T>::gemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, n, n, n, blas_scalar(one), av.data(),
                 n, bv.data(), n, blas_scalar(zero), craw.data(), n);
  }
  double disagreement() override { return difference(matrix_of<T>(c), craw.data(), sq(n)); }
  double flops() const override { return flop_weight<T>() * 2.0 * n * n * n; }
};

struct MatrixVectorProduct : Work {
  int32_t n;
  ZwArrayHandle a, x, y;
  std::vector<double> av, xv, yraw;
  explicit MatrixVectorProduct(int32_t n_)
      : n(n_), av(general_matrix(n, 3)), xv(random_values(n, 4)), yraw(n) {
    a = arrays.matrix(n, n, av.data());
    x = arrays.vector(n, xv.data());
    y = arrays.empty();
  }
  int32_t ours() override { return dMtrxVecMulH(a, x, y); }
  // The core reads the very blocks the export reads: two copies of an 8 MB
  // A in different places time apart by several percent, whatever reads them.
  void raw() override {
    cblas_dgemv(CblasRowMajor, CblasNoTrans, n, n, 1.0, matrix_of<double>(a), n, vector_of<double>(x), 1,
                0.0, yraw.data(), 1);
  }
  double disagreement() override { return relative_difference(vector_values(y), yraw.data(), n); }
};

struct DotProduct : Work {
  int32_t n;
  ZwArrayHandle x, y;
  std::vector<double> xv, yv;
  double result = 0, raw_result = 0;
  explicit DotProduct(int32_t n_) : n(n_), xv(random_values(n, 5)), yv(random_values(n, 6)) {
    x = arrays.vector(n, xv.data());
    y = arrays.vector(n, yv.data());
  }
  int32_t ours() override { return dDotProdH(x, y, &result); }
  void raw() override { raw_result = cblas_ddot(n, yv.data(), 1, xv.data(), 1); }
  double disagreement() override { return relative_difference(&result, &raw_result, 1); }
};

struct OuterProduct : Work {
  int32_t n;
  ZwArrayHandle x, y, c;
  std::vector<double> xv, yv, craw;
  explicit OuterProduct(int32_t n_)
      : n(n_), xv(random_values(n, 7)), yv(random_values(n, 8)), craw(sq(n)) {
    x = arrays.vector(n, xv.data());
    y = arrays.vector(n, yv.data());
    c = arrays.empty();
  }
  int32_t ours() override { return dOuterProdH(x, y, c); }
  void raw() override {
    for (int32_t i = 0; i < n; ++i) {
      double* row = craw.data() + static_cast<size_t>(i) * n;
      cblas_dcopy(n, yv.data(), 1, row, 1);
      cblas_dscal(n, xv[i], row, 1);
    }
  }
  double disagreement() override {
    return relative_difference(matrix_values(c), craw.data(), sq(n));
  }
};

// ---- BLAS entry points ----------------------------------------------------------------------

constexpr int32_t kRowMajor = tarnx::cblas::RowMajor, kNoTrans = tarnx::cblas::NoTrans,
                  kLeft = tarnx::cblas::Left, kUpper = tarnx::cblas::Upper, kCheck = 1;

// gemm and symm: C = A B on three n x n row-major matrices.
struct BlasMatrixProduct : Work {
  int32_t n;
  ZwArrayHandle a, b, c;
  std::vector<double> av, bv, craw;
  const double alpha = 1, beta = 0;
  BlasMatrixProduct(int32_t n_, std::vector<double> a_, std::vector<double> b_)
      : n(n_), av(std::move(a_)), bv(std::move(b_)), craw(sq(n)) {
    a = arrays.matrix(n, n, av.data());
    b = arrays.matrix(n, n, bv.data());
    c = arrays.matrix(n, n, craw.data());
  }
  double disagreement() override {
    return relative_difference(matrix_values(c), craw.data(), sq(n));
  }
  double flops() const override { return 2.0 * n * n * n; }
};

struct BlasGemm : BlasMatrixProduct {
  explicit BlasGemm(int32_t n_)
      : BlasMatrixProduct(n_, general_matrix(n_, 9), general_matrix(n_, 10)) {}
  int32_t ours() override {
    return zwblas_dgemm(a, b, c, &alpha, &beta, n, n, n, kNoTrans, kNoTrans, 0, 0, 0, 0, 0, 0, n, n,
                        n, kRowMajor, kCheck);
  }
  void raw() override {
    cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, n, n, n, alpha, av.data(), n, bv.data(),
                n, beta, craw.data(), n);
  }
};

struct BlasGemv : Work {
  int32_t n;
  ZwArrayHandle a, x, y;
  std::vector<double> av, xv, yraw;
  const double alpha = 1, beta = 0;
  explicit BlasGemv(int32_t n_)
      : n(n_), av(general_matrix(n, 11)), xv(random_values(n, 12)), yraw(n) {
    a = arrays.matrix(n, n, av.data());
    x = arrays.vector(n, xv.data());
    y = arrays.vector(n, yraw.data());
  }
  int32_t ours() override {
    return zwblas_dgemv(a, x, y, &alpha, &beta, kNoTrans, 1, 1, n, n, 0, 0, 0, 0, n, kRowMajor,
                        kCheck);
  }
  // The same blocks as the export, as for dMtrxVecMulH.
  void raw() override {
    cblas_dgemv(CblasRowMajor, CblasNoTrans, n, n, alpha, matrix_of<double>(a), n, vector_of<double>(x), 1,
                beta, yraw.data(), 1);
  }
  double disagreement() override { return relative_difference(vector_values(y), yraw.data(), n); }
};

struct BlasSymm : BlasMatrixProduct {
  explicit BlasSymm(int32_t n_)
      : BlasMatrixProduct(n_, symmetric_matrix(n_, 13), general_matrix(n_, 14)) {}
  int32_t ours() override {
    return zwblas_dsymm(a, b, c, &alpha, &beta, n, n, kLeft, kUpper, 0, 0, 0, 0, 0, 0, n, n, n,
                        kRowMajor, kCheck);
  }
  void raw() override {
    cblas_dsymm(CblasRowMajor, CblasLeft, CblasUpper, n, n, alpha, av.data(), n, bv.data(), n, beta,
                craw.data(), n);
  }
};

// ---- elementary -----------------------------------------------------------------------------

// The transpose is the layout copy itself; its yardstick is memcpy of the
// same bytes, the most any copy can hope for.
struct TransposeCopy : Work {
  int32_t n;
  ZwArrayHandle a, b;
  std::vector<double> av, braw;
  explicit TransposeCopy(int32_t n_) : n(n_), av(general_matrix(n, 15)), braw(sq(n)) {
    a = arrays.matrix(n, n, av.data());
    b = arrays.empty();
  }
  int32_t ours() override { return dTransposeH(a, b); }
  void raw() override { std::memcpy(braw.data(), av.data(), sq(n) * sizeof(double)); }
  double disagreement() override {
    // Not the same result by design: check ours against the plain definition.
    const double* out = matrix_values(b);
    double diff = 0;
    for (int32_t i = 0; i < n; ++i)
      for (int32_t j = 0; j < n; ++j)
        diff = std::max(diff, std::abs(out[static_cast<size_t>(j) * n + i] -
                                       av[static_cast<size_t>(i) * n + j]));
    return diff;
  }
};

struct MatrixTwoNorm : Work {
  int32_t n;
  ZwArrayHandle a, s, work, real_work, int_work;
  std::vector<double> av, copy_, sraw, wraw;
  std::vector<int> iwork;
  double result = 0, raw_result = 0;
  int lwork = -1;  // until the first call asks
  explicit MatrixTwoNorm(int32_t n_)
      : n(n_), av(general_matrix(n, 16)), copy_(sq(n)), sraw(n), iwork(8 * static_cast<size_t>(n)) {
    a = arrays.matrix(n, n, av.data());
    arrays.scratches(s, work, real_work, int_work);
  }
  int32_t ours() override { return dMtrxNormH(a, 0, &result, s, work, real_work, int_work); }
  void raw() override {
    copy(copy_.data(), av);
    int info = 0;
    if (lwork < 0) {
      double query = 0;
      dgesdd_("N", &n, &n, nullptr, &n, sraw.data(), nullptr, &n, nullptr, &n, &query, &lwork,
              iwork.data(), &info, 1);
      lwork = static_cast<int>(query);
      wraw.resize(static_cast<size_t>(lwork));
    }
    dgesdd_("N", &n, &n, copy_.data(), &n, sraw.data(), nullptr, &n, nullptr, &n, wraw.data(),
            &lwork, iwork.data(), &info, 1);
    raw_result = sraw[0];
  }
  double disagreement() override { return relative_difference(&result, &raw_result, 1); }
};

// ---- determinant, inverse, linear systems ---------------------------------------------------

struct Determinant : Work {
  int32_t n;
  ZwArrayHandle a, work, pivots;
  std::vector<double> av, lu;
  std::vector<int> ipiv;
  double result = 0, raw_result = 0;
  explicit Determinant(int32_t n_) : n(n_), av(dominant_matrix(n, 17)), lu(sq(n)), ipiv(n) {
    a = arrays.matrix(n, n, av.data());
    arrays.scratches(work, pivots);
  }
  int32_t ours() override { return dDeterminantH(a, 0, &result, work, pivots); }
  void raw() override {
    copy(lu.data(), av);
    int info = 0;
    dgetrf_(&n, &n, lu.data(), &n, ipiv.data(), &info);
    double det = 1;
    for (int32_t i = 0; i < n; ++i)
      det *= ipiv[i] != i + 1 ? -lu[static_cast<size_t>(i) * (n + 1)]
                              : lu[static_cast<size_t>(i) * (n + 1)];
    raw_result = det;
  }
  double disagreement() override {
    return std::abs(result - raw_result) / std::max(1.0, std::abs(raw_result));
  }
};

// The inverse works in place; both sides invert their matrix back and forth,
// which costs the same each time for a well-conditioned matrix. The library
// factors the row-major block (the transpose, whose inverse is the transpose
// of the inverse); the raw side holds the matrix column-major.
template <class T, auto Export> struct Inverse : Work {
  int32_t n;
  ZwArrayHandle a, work, pivots;
  std::vector<T> av, raw_a, wraw;
  std::vector<int> ipiv;
  explicit Inverse(int32_t n_)
      : n(n_), av(dominant_of<T>(n, 18)), raw_a(transposed_of(av, n, n)), ipiv(n) {
    a = arrays.matrix(n, n, av.data());
    arrays.scratches(work, pivots);
  }
  int32_t ours() override { return Export(a, 0, work, pivots); }
  void raw() override {
    int info = 0, lwork = -1;
    T query{};
    Raw<T>::getrf(&n, &n, raw_a.data(), &n, ipiv.data(), &info);
    Raw<T>::getri(&n, nullptr, &n, nullptr, &query, &lwork, &info);
    lwork = workspace_size(query);
    Raw<T>::getri(&n, raw_a.data(), &n, ipiv.data(), sized(wraw, lwork), &lwork, &info);
  }
  double disagreement() override {
    return difference(matrix_of<T>(a), transposed_of(raw_a, n, n).data(), sq(n));
  }
  double flops() const override { return flop_weight<T>() * 2.0 * n * n * n; }
};

// A square system A x = b from a well-conditioned A: the handles of the
// row-major inputs and the output, and the raw side's column-major A with
// room for the copies of A and b the core overwrites.
template <class T> struct SquareSystem : Work {
  int32_t n;
  ZwArrayHandle a, b, x;
  std::vector<T> av, bv, raw_a, lu, rhs;
  SquareSystem(int32_t n_, uint64_t seed)
      : n(n_),
        av(dominant_of<T>(n, seed)),
        bv(typed_values<T>(n, seed + 1)),
        raw_a(transposed_of(av, n, n)),
        lu(sq(n)),
        rhs(n) {
    a = arrays.matrix(n, n, av.data());
    b = arrays.vector(n, bv.data());
    x = arrays.empty();
  }
  void restore() {
    put(lu.data(), raw_a);
    put(rhs.data(), bv);
  }
  double disagreement() override { return difference(vector_of<T>(x), rhs.data(), n); }
};

template <class T, auto Export> struct LinearSystem : SquareSystem<T> {
  using S = SquareSystem<T>;
  using S::n;
  ZwArrayHandle workspace, pivots;
  std::vector<int> ipiv;
  explicit LinearSystem(int32_t n_) : S(n_, 19), ipiv(n_) { this->arrays.scratches(workspace, pivots); }
  int32_t ours() override { return Export(S::a, S::b, 0, S::x, workspace, pivots); }
  // The raw side hands the core the column-major A made once beforehand.
  void raw() override {
    S::restore();
    int info = 0, one = 1;
    Raw<T>::gesv(&n, &one, S::lu.data(), &n, ipiv.data(), S::rhs.data(), &n, &info);
  }
};

// Cholesky in place: the lower factor is the core's upper one of the
// row-major block, which it reads as the transpose. The export restores its
// input before each call, as the raw side does, since a factor is not a
// positive definite matrix to factor again. The raw side leaves the other
// triangle as the core leaves it; the export's clearing of it is its own cost.
template <class T, auto Export> struct Cholesky : Work {
  int32_t n;
  ZwArrayHandle a;
  std::vector<T> av, factor;
  explicit Cholesky(int32_t n_) : n(n_), av(hermitian_of<T>(n, 40, 2.0 * n)), factor(sq(n)) {
    a = arrays.matrix(n, n, av.data());
  }
  int32_t ours() override {
    put(matrix_of<T>(a), av);
    return Export(a, 0);
  }
  void raw() override {
    put(factor.data(), av);
    int info = 0;
    Raw<T>::potrf("U", &n, factor.data(), &n, &info);
  }
  double disagreement() override {
    const T* l = matrix_of<T>(a);
    double diff = 0;
    for (int32_t i = 0; i < n; ++i)
      for (int32_t j = 0; j <= i; ++j) {
        const size_t at = static_cast<size_t>(i) * n + j;
        diff = std::max(diff, static_cast<double>(std::abs(l[at] - factor[at])));
      }
    return diff;
  }
  double flops() const override { return flop_weight<T>() * n * n * n / 3.0; }
};

// LU with partial pivoting of the column-major copy; the export also unpacks
// L, U and P, which the raw side, holding the packed factor, has no need for.
template <class T, auto Export> struct LU : Work {
  int32_t n;
  ZwArrayHandle a, l, u, p, pivots, work, permutation;
  std::vector<T> av, raw_a, factor;
  std::vector<int> ipiv;
  explicit LU(int32_t n_)
      : n(n_), av(general_of<T>(n, 41)), raw_a(transposed_of(av, n, n)), factor(sq(n)), ipiv(n) {
    a = arrays.matrix(n, n, av.data());
    arrays.empties(l, u, p, pivots);
    arrays.scratches(work, permutation);
  }
  int32_t ours() override { return Export(a, l, u, p, pivots, work, permutation); }
  void raw() override {
    put(factor.data(), raw_a);
    int info = 0;
    Raw<T>::getrf(&n, &n, factor.data(), &n, ipiv.data(), &info);
  }
  double disagreement() override {
    const T* ours_u = matrix_of<T>(u);
    double diff = 0;
    for (int32_t i = 0; i < n; ++i)
      for (int32_t j = i; j < n; ++j)
        diff = std::max(diff, static_cast<double>(std::abs(ours_u[static_cast<size_t>(i) * n + j] -
                                                          factor[static_cast<size_t>(j) * n + i])));
    return diff;
  }
  double flops() const override { return flop_weight<T>() * 2.0 * n * n * n / 3.0; }
};

// QR without pivoting, full Q. The library hands the core the row-major
// block as it stands, A^T column-major, and takes the LQ factorization of
// that: R = L^T and Q = Q_l^T. The raw side makes the same two calls on the
// same bytes, each sized by its query.
template <class T, auto Export> struct QR : Work {
  int32_t n;
  ZwArrayHandle a, q, r, p, pivots, work, real_work;
  std::vector<T> av, b, tau, wraw;
  int needed = -1;  // until the first call asks
  explicit QR(int32_t n_) : n(n_), av(general_of<T>(n, 42)), b(sq(n)), tau(n) {
    a = arrays.matrix(n, n, av.data());
    arrays.empties(q, r, p, pivots);
    arrays.scratches(work, real_work);
  }
  int32_t ours() override { return Export(a, q, r, p, pivots, 0, 0, work, real_work); }
  void raw() override {
    put(b.data(), av);
    int info = 0;
    if (needed < 0) {
      int lwork = -1;
      T query{};
      Raw<T>::gelqf(&n, &n, nullptr, &n, nullptr, &query, &lwork, &info);
      needed = std::max(1, workspace_size(query));
      Raw<T>::unglq(&n, &n, &n, nullptr, &n, nullptr, &query, &lwork, &info);
      needed = std::max(needed, workspace_size(query));
    }
    T* w = sized(wraw, needed);
    Raw<T>::gelqf(&n, &n, b.data(), &n, tau.data(), w, &needed, &info);
    Raw<T>::unglq(&n, &n, &n, b.data(), &n, tau.data(), w, &needed, &info);
  }
  // Row i of Q is column i of the generated Q_l.
  double disagreement() override { return difference(matrix_of<T>(q), b.data(), sq(n)); }
  double flops() const override { return flop_weight<T>() * 8.0 * n * n * n / 3.0; }
};

// ---- eigen-decompositions -------------------------------------------------------------------

// The library gives the core the row-major block unchanged (the transpose)
// and takes the left vectors; the raw side makes the same call on the same
// bytes. Real types get their values as two real arrays, complex ones as one
// complex array with a real workspace of 2n.
template <class T, auto Export> struct GeneralEigen : Work {
  using R = RealOf<T>;
  int32_t n;
  ZwArrayHandle a, values, vectors, work, real_work;
  std::vector<T> av, copy_, w, vl, wraw;
  std::vector<R> wr, wi, rwork;
  int lwork = -1;  // until the first call asks
  explicit GeneralEigen(int32_t n_)
      : n(n_), av(general_of<T>(n, 21)), copy_(sq(n)), w(n), vl(sq(n)), wr(n), wi(n), rwork(2 * static_cast<size_t>(n)) {
    a = arrays.matrix(n, n, av.data());
    arrays.empties(values, vectors);
    work = arrays.scratch();
    // The real types' last argument is an input vector the host may leave
    // empty; the complex ones' a real scratch handle.
    real_work = is_complex_v<T> ? arrays.scratch() : arrays.empty();
  }
  int32_t ours() override { return Export(a, 1, values, vectors, work, real_work); }
  void raw() override {
    put(copy_.data(), av);
    int info = 0;
    T query{};
    if constexpr (is_complex_v<T>) {
      R rquery{};
      if (lwork < 0) {
        Raw<T>::geev("V", "N", &n, nullptr, &n, nullptr, nullptr, &n, nullptr, &n, &query, &lwork,
                     &rquery, &info);
        lwork = workspace_size(query);
      }
      Raw<T>::geev("V", "N", &n, copy_.data(), &n, w.data(), vl.data(), &n, nullptr, &n,
                   sized(wraw, lwork), &lwork, rwork.data(), &info);
    } else {
      if (lwork < 0) {
        Raw<T>::geev("V", "N", &n, nullptr, &n, nullptr, nullptr, nullptr, &n, nullptr, &n, &query,
                     &lwork, &info);
        lwork = workspace_size(query);
      }
      Raw<T>::geev("V", "N", &n, copy_.data(), &n, wr.data(), wi.data(), vl.data(), &n, nullptr,
                   &n, sized(wraw, lwork), &lwork, &info);
    }
  }
  double disagreement() override {
    std::vector<std::complex<double>> raw_values(n);
    for (int32_t i = 0; i < n; ++i) {
      if constexpr (is_complex_v<T>) raw_values[i] = std::complex<double>(w[i].real(), w[i].imag());
      else raw_values[i] = std::complex<double>(wr[i], wi[i]);
    }
    return spectra_apart(vector_of<ComplexOf<T>>(values), raw_values);
  }
};

// The Hermitian eigenproblem of the complex types, all values and vectors.
template <class T, auto Export> struct HermitianEigen : Work {
  using R = RealOf<T>;
  int32_t n;
  ZwArrayHandle a, values, vectors, work, real_work, int_work;
  std::vector<T> av, copy_, z, wraw;
  std::vector<R> w, rwraw;
  std::vector<int> isuppz, iwraw;
  int lwork = -1, lrwork = -1, liwork = -1;  // until the first call asks
  explicit HermitianEigen(int32_t n_)
      : n(n_), av(hermitian_of<T>(n, 43)), copy_(sq(n)), z(sq(n)), w(n), isuppz(2 * static_cast<size_t>(n)) {
    a = arrays.matrix(n, n, av.data());
    arrays.empties(values, vectors);
    arrays.scratches(work, real_work, int_work);
  }
  int32_t ours() override { return Export(a, 1, values, vectors, work, real_work, int_work); }
  void raw() override {
    put(copy_.data(), av);
    int info = 0, found = 0;
    const R abstol = 0;
    if (lwork < 0) {
      int iquery = 0;
      T query{};
      R rquery{};
      Raw<T>::heevr("V", "A", "U", &n, nullptr, &n, nullptr, nullptr, nullptr, nullptr, &abstol,
                    &found, nullptr, nullptr, &n, nullptr, &query, &lwork, &rquery, &lrwork, &iquery,
                    &liwork, &info);
      lwork = workspace_size(query);
      lrwork = static_cast<int>(rquery);
      liwork = iquery;
    }
    Raw<T>::heevr("V", "A", "U", &n, copy_.data(), &n, nullptr, nullptr, nullptr, nullptr, &abstol,
                  &found, w.data(), z.data(), &n, isuppz.data(), sized(wraw, lwork), &lwork,
                  sized(rwraw, lrwork), &lrwork, sized(iwraw, liwork), &liwork, &info);
  }
  double disagreement() override { return difference(vector_of<R>(values), w.data(), n); }
};

struct SymmetricEigen : Work {
  int32_t n;
  ZwArrayHandle a, values, vectors, work, int_work;
  std::vector<double> av, copy_, w, z, wraw;
  std::vector<int> isuppz, iwraw;
  int lwork = -1, liwork = -1;  // until the first call asks
  explicit SymmetricEigen(int32_t n_)
      : n(n_),
        av(symmetric_matrix(n, 22)),
        copy_(sq(n)),
        w(n),
        z(sq(n)),
        isuppz(2 * static_cast<size_t>(n)) {
    a = arrays.matrix(n, n, av.data());
    arrays.empties(values, vectors);
    arrays.scratches(work, int_work);
  }
  int32_t ours() override { return dSymEigenVH(a, 1, values, vectors, work, int_work); }
  void raw() override {
    copy(copy_.data(), av);
    int info = 0, found = 0;
    double abstol = 0;
    if (lwork < 0) {
      int iquery = 0;
      double query = 0;
      dsyevr_("V", "A", "U", &n, nullptr, &n, nullptr, nullptr, nullptr, nullptr, &abstol, &found,
              nullptr, nullptr, &n, nullptr, &query, &lwork, &iquery, &liwork, &info, 1, 1, 1);
      lwork = static_cast<int>(query);
      liwork = iquery;
      wraw.resize(static_cast<size_t>(lwork));
      iwraw.resize(static_cast<size_t>(liwork));
    }
    dsyevr_("V", "A", "U", &n, copy_.data(), &n, nullptr, nullptr, nullptr, nullptr, &abstol,
            &found, w.data(), z.data(), &n, isuppz.data(), wraw.data(), &lwork, iwraw.data(),
            &liwork, &info, 1, 1, 1);
  }
  double disagreement() override { return relative_difference(vector_values(values), w.data(), n); }
};

// The Schur form replaces A, so both sides put the matrix back before each
// call: a second decomposition of a triangular matrix would cost nothing.
struct Schur : Work {
  int32_t n;
  ZwArrayHandle a, z, values, work, real_work, int_work;
  std::vector<double> av, raw_a, copy_, wr, wi, vs, wraw;
  int lwork = -1;  // until the first call asks
  explicit Schur(int32_t n_)
      : n(n_),
        av(general_matrix(n, 23)),
        raw_a(transposed_of(av, n, n)),
        copy_(sq(n)),
        wr(n),
        wi(n),
        vs(sq(n)) {
    a = arrays.matrix(n, n, av.data());
    arrays.empties(z, values);
    arrays.scratches(work, real_work, int_work);
  }
  int32_t ours() override {
    copy(matrix_values(a), av);
    return dSchurH(a, 1, 0, z, values, work, real_work, int_work);
  }
  void raw() override {
    copy(copy_.data(), raw_a);
    int info = 0, sdim = 0;
    if (lwork < 0) {
      double query = 0;
      dgees_("V", "N", nullptr, &n, nullptr, &n, &sdim, nullptr, nullptr, nullptr, &n, &query,
             &lwork, nullptr, &info, 1, 1);
      lwork = static_cast<int>(query);
      wraw.resize(static_cast<size_t>(lwork));
    }
    dgees_("V", "N", nullptr, &n, copy_.data(), &n, &sdim, wr.data(), wi.data(), vs.data(), &n,
           wraw.data(), &lwork, nullptr, &info, 1, 1);
  }
  double disagreement() override {
    return spectrum_difference(complex_values(values), wr.data(), wi.data(), n);
  }
};

struct GeneralizedEigen : Work {
  int32_t n;
  ZwArrayHandle a, b, values, vectors, work, real_work;
  std::vector<double> av, bv, acopy, bcopy, alphar, alphai, beta, wraw;
  explicit GeneralizedEigen(int32_t n_)
      : n(n_),
        av(general_matrix(n, 24)),
        bv(dominant_matrix(n, 25)),
        acopy(sq(n)),
        bcopy(sq(n)),
        alphar(n),
        alphai(n),
        beta(n) {
    a = arrays.matrix(n, n, av.data());
    b = arrays.matrix(n, n, bv.data());
    arrays.empties(values, vectors);
    arrays.scratches(work, real_work);
  }
  int32_t ours() override { return dGenEigenVH(a, b, 0, values, vectors, work, real_work); }
  void raw() override {
    copy(acopy.data(), av);
    copy(bcopy.data(), bv);
    int info = 0, lwork = -1;
    double query = 0;
    dggev_("N", "N", &n, nullptr, &n, nullptr, &n, nullptr, nullptr, nullptr, nullptr, &n, nullptr,
           &n, &query, &lwork, &info, 1, 1);
    lwork = static_cast<int>(query);
    wraw.resize(static_cast<size_t>(lwork));
    dggev_("N", "N", &n, acopy.data(), &n, bcopy.data(), &n, alphar.data(), alphai.data(),
           beta.data(), nullptr, &n, nullptr, &n, wraw.data(), &lwork, &info, 1, 1);
  }
  double disagreement() override {
    std::vector<double> re(n), im(n);
    for (int32_t i = 0; i < n; ++i) {
      re[i] = alphar[i] / beta[i];
      im[i] = alphai[i] / beta[i];
    }
    return spectrum_difference(complex_values(values), re.data(), im.data(), n);
  }
};

// ---- singular value decomposition -----------------------------------------------------------

// One divide-and-conquer decomposition of the square row-major block as it
// stands, as a C program makes it: restore the copy, the workspace query
// (on the first run), the call. Job N leaves the vector buffers alone; the complex flavour takes
// a real workspace of the size the library gives it.
template <class T> struct RawSvd {
  using R = RealOf<T>;
  int n;
  std::vector<T> copy_, u, vt, work;
  std::vector<R> s, rwork;
  std::vector<int> iwork;
  int lwork = -1;  // until the first run asks; one job per object
  RawSvd(int32_t n_, bool vectors)
      : n(n_),
        copy_(sq(n)),
        u(vectors ? sq(n) : 0),
        vt(vectors ? sq(n) : 0),
        s(n),
        rwork(is_complex_v<T> ? static_cast<size_t>(n) * (5 * static_cast<size_t>(n) + 7) : 0),
        iwork(8 * static_cast<size_t>(n)) {}
  void run(const char* job, const std::vector<T>& input) {
    put(copy_.data(), input);
    int info = 0;
    if (lwork < 0) {
      T query{};
      call(job, nullptr, &query, -1, &info);
      lwork = workspace_size(query);
    }
    call(job, copy_.data(), sized(work, lwork), lwork, &info);
  }
  void call(const char* job, T* data, T* w, int lwork, int* info) {
    T* left = u.empty() ? nullptr : u.data();
    T* right = vt.empty() ? nullptr : vt.data();
    if constexpr (is_complex_v<T>)
      Raw<T>::gesdd(job, &n, &n, data, &n, s.data(), left, &n, right, &n, w, &lwork, rwork.data(),
                    iwork.data(), info);
    else
      Raw<T>::gesdd(job, &n, &n, data, &n, s.data(), left, &n, right, &n, w, &lwork, iwork.data(),
                    info);
  }
};

template <class T, auto Export> struct SingularValues : Work {
  using R = RealOf<T>;
  int32_t n;
  ZwArrayHandle a, u, s, v, work, real_work, int_work;
  std::vector<T> av;
  RawSvd<T> svd;
  explicit SingularValues(int32_t n_) : n(n_), av(general_of<T>(n, 26)), svd(n, true) {
    a = arrays.matrix(n, n, av.data());
    arrays.empties(u, s, v);
    arrays.scratches(work, real_work, int_work);
  }
  int32_t ours() override { return Export(a, 0, 0, u, s, v, work, real_work, int_work); }
  void raw() override { svd.run("S", av); }
  double disagreement() override { return difference(vector_of<R>(s), svd.s.data(), n); }
};

// ---- characteristics from the singular values or the inverse ---------------------------------

// The 2-norm condition number is s1 / sn from one values-only call.
template <class T, auto Export> struct TwoNormCondition : Work {
  using R = RealOf<T>;
  int32_t n;
  ZwArrayHandle a, values, copy_h, work, real_work, int_work, inverse_work, pivots;
  std::vector<T> av;
  RawSvd<T> svd;
  R result = 0, raw_result = 0;
  explicit TwoNormCondition(int32_t n_) : n(n_), av(general_of<T>(n, 44)), svd(n, false) {
    a = arrays.matrix(n, n, av.data());
    arrays.scratches(values, copy_h, work, real_work, int_work, inverse_work, pivots);
  }
  int32_t ours() override {
    return Export(a, 0, &result, values, copy_h, work, real_work, int_work, inverse_work, pivots);
  }
  void raw() override {
    svd.run("N", av);
    raw_result = svd.s[0] / svd.s[n - 1];
  }
  double disagreement() override { return difference(&result, &raw_result, 1); }
};

// The 1-norm condition number: ||A||_1 ||A^-1||_1 with the inverse by LU.
// The row-major block is A^T to the core, whose infinity norm is A's 1-norm.
template <class T, auto Export> struct OneNormCondition : Work {
  using R = RealOf<T>;
  int32_t n;
  ZwArrayHandle a, values, copy_h, work, real_work, int_work, inverse_work, pivots;
  std::vector<T> av, copy_, wraw;
  std::vector<R> lange_work;
  std::vector<int> ipiv;
  R result = 0, raw_result = 0;
  explicit OneNormCondition(int32_t n_)
      : n(n_), av(dominant_of<T>(n, 45)), copy_(sq(n)), lange_work(n), ipiv(n) {
    a = arrays.matrix(n, n, av.data());
    arrays.scratches(values, copy_h, work, real_work, int_work, inverse_work, pivots);
  }
  int32_t ours() override {
    return Export(a, 1, &result, values, copy_h, work, real_work, int_work, inverse_work, pivots);
  }
  void raw() override {
    put(copy_.data(), av);
    const R norm = Raw<T>::lange("I", &n, &n, copy_.data(), &n, lange_work.data());
    int info = 0, lwork = -1;
    T query{};
    Raw<T>::getrf(&n, &n, copy_.data(), &n, ipiv.data(), &info);
    Raw<T>::getri(&n, nullptr, &n, nullptr, &query, &lwork, &info);
    lwork = workspace_size(query);
    Raw<T>::getri(&n, copy_.data(), &n, ipiv.data(), sized(wraw, lwork), &lwork, &info);
    raw_result = norm * Raw<T>::lange("I", &n, &n, copy_.data(), &n, lange_work.data());
  }
  double disagreement() override { return difference(&result, &raw_result, 1); }
};

// The rank counts the values-only decomposition's values above the default
// tolerance, max(m, n) s1 eps.
template <class T, auto Export> struct Rank : Work {
  using R = RealOf<T>;
  int32_t n;
  ZwArrayHandle a, values, work, real_work, int_work;
  std::vector<T> av;
  RawSvd<T> svd;
  int32_t rank = -1, raw_rank = -2;
  explicit Rank(int32_t n_) : n(n_), av(general_of<T>(n, 46)), svd(n, false) {
    a = arrays.matrix(n, n, av.data());
    arrays.scratches(values, work, real_work, int_work);
  }
  int32_t ours() override { return Export(a, R(-1), &rank, values, work, real_work, int_work); }
  void raw() override {
    svd.run("N", av);
    const R tolerance = static_cast<R>(n) * svd.s[0] * std::numeric_limits<R>::epsilon();
    raw_rank = 0;
    while (raw_rank < n && svd.s[raw_rank] > tolerance) ++raw_rank;
  }
  double disagreement() override { return rank == raw_rank ? 0.0 : 1.0; }
};

// ---- pseudo-inverse and least squares ---------------------------------------------------------

// The pseudo-inverse from the thin decomposition of the row-major block,
// B = A^T = U S V^H to the core: pinv(B) = V S+ U^H, whose column-major
// layout is pinv(A) row-major. The export works in place, so it restores its
// input before each call, as the raw side restores its copy.
template <class T, auto Export> struct PseudoInverse : Work {
  using R = RealOf<T>;
  int32_t n;
  ZwArrayHandle a, values, factors, work, real_work, int_work;
  std::vector<T> av, xraw;
  RawSvd<T> svd;
  explicit PseudoInverse(int32_t n_)
      : n(n_), av(dominant_of<T>(n, 47)), xraw(sq(n)), svd(n, true) {
    a = arrays.matrix(n, n, av.data());
    arrays.scratches(values, factors, work, real_work, int_work);
  }
  int32_t ours() override {
    put(matrix_of<T>(a), av);
    return Export(a, R(-1), values, factors, work, real_work, int_work);
  }
  void raw() override {
    svd.run("S", av);
    std::vector<R>& s = svd.s;
    const R tolerance = static_cast<R>(n) * s[0] * std::numeric_limits<R>::epsilon();
    for (int32_t i = 0; i < n; ++i) s[i] = s[i] > tolerance ? R(1) / s[i] : R(0);
    // Row i of V^H scaled by s+_i: column by column, each one contiguous.
    for (int32_t j = 0; j < n; ++j) {
      T* column = svd.vt.data() + static_cast<size_t>(j) * n;
      for (int32_t i = 0; i < n; ++i) column[i] *= s[i];
    }
    const T one(1), zero(0);
    Raw<T>::gemm(kColMajor, kConjTrans, kConjTrans, n, n, n, blas_scalar(one), svd.vt.data(), n,
                 svd.u.data(), n, blas_scalar(zero), xraw.data(), n);
  }
  double disagreement() override { return difference(matrix_of<T>(a), xraw.data(), sq(n)); }
};

// Least squares with a tolerance: one call of the core's SVD-based solver on
// the column-major copy, rcond = eps max(m, n) as the library forms it.
template <class T, auto Export> struct LeastSquares : SquareSystem<T> {
  using S = SquareSystem<T>;
  using R = RealOf<T>;
  using S::n;
  ZwArrayHandle svd1, svd2, svd3, solve_ws, values;
  std::vector<T> wraw;
  std::vector<R> sraw, rwraw;
  std::vector<int> iwraw;
  int lwork = -1, lrwork = 0, liwork = 0;  // until the first call asks
  explicit LeastSquares(int32_t n_) : S(n_, 48), sraw(n_) {
    this->arrays.scratches(svd1, svd2, svd3, solve_ws, values);
  }
  int32_t ours() override {
    return Export(S::a, S::b, R(-1), S::x, svd1, svd2, svd3, solve_ws, values);
  }
  void raw() override {
    S::restore();
    const R rcond = std::numeric_limits<R>::epsilon() * static_cast<R>(n);
    int info = 0, rank = 0;
    if (lwork < 0) {
      T query{};
      R rquery{};
      gelsd(nullptr, nullptr, rcond, &rank, &query, -1, &rquery, &liwork, &info);
      lwork = workspace_size(query);
      lrwork = static_cast<int>(rquery);
    }
    gelsd(S::lu.data(), S::rhs.data(), rcond, &rank, sized(wraw, lwork), lwork,
          sized(rwraw, lrwork), sized(iwraw, liwork), &info);
  }
  void gelsd(T* a_, T* b_, R rcond, int* rank, T* w, int lwork, R* rw, int* iw, int* info) {
    int one = 1;
    if constexpr (is_complex_v<T>)
      Raw<T>::gelsd(&n, &n, &one, a_, &n, b_, &n, sraw.data(), &rcond, rank, w, &lwork, rw, iw, info);
    else
      Raw<T>::gelsd(&n, &n, &one, a_, &n, b_, &n, sraw.data(), &rcond, rank, w, &lwork, iw, info);
    (void)rw;
  }
};

// ---- matrix functions -------------------------------------------------------------------------

// The exponential's raw side is the same algorithm as a C program holding
// the matrix column-major would run it: balance (gebal, scaling only), then
// the library's own scaling, Pade sums, D^-1 N and squarings
// (scaled_pade_exponential) with gemm, axpy, scal and one gesv of the raw
// core as its steps, and the way back (gebak for the rows, a scal per column
// for the columns). Both sides therefore make the same products in the same
// order; the raw side copies N once more, into the buffer gesv solves in.
template <class T, auto Export> struct MatrixExponential : Work {
  using R = RealOf<T>;
  int32_t n;
  ZwArrayHandle a, workspace, scale_factors, balance_ws, solve_ws, pivots;
  std::vector<T> av, raw_a, x, num, den, power, spare;
  std::vector<R> scale;
  std::vector<int> ipiv;
  explicit MatrixExponential(int32_t n_)
      : n(n_),
        av(general_of<T>(n, 50)),
        raw_a(transposed_of(av, n, n)),
        x(sq(n)),
        num(sq(n)),
        den(sq(n)),
        power(sq(n)),
        spare(sq(n)),
        scale(n),
        ipiv(n) {
    a = arrays.matrix(n, n, av.data());
    arrays.scratches(workspace, scale_factors, balance_ws, solve_ws, pivots);
  }
  int32_t ours() override {
    put(matrix_of<T>(a), av);
    return Export(a, workspace, scale_factors, balance_ws, solve_ws, pivots);
  }
  // The library's steps on the raw core, column-major; gesv solves in
  // place of its right-hand side, so N goes where the squarings want it.
  struct RawSteps {
    std::vector<int>& ipiv;
    static void multiply(int32_t n, const T* p, const T* q, T* out) {
      const T one(1), zero(0);
      Raw<T>::gemm(kColMajor, CblasNoTrans, CblasNoTrans, n, n, n, blas_scalar(one), p, n, q, n,
                   blas_scalar(zero), out, n);
    }
    static void add_scaled(int32_t count, double c, const T* from, T* to) {
      const int parts = count * (is_complex_v<T> ? 2 : 1);
      Raw<R>::axpy(parts, static_cast<R>(c), reinterpret_cast<const R*>(from), 1,
                   reinterpret_cast<R*>(to), 1);
    }
    static void scale(int32_t count, R factor, T* x) { Raw<T>::rscal(count, factor, x, 1); }
    int32_t solve(T* den, int32_t n, const T* num, T* f) {
      if (f != num) std::memcpy(static_cast<void*>(f), num, sq(n) * sizeof(T));
      int info = 0;
      Raw<T>::gesv(&n, &n, den, &n, ipiv.data(), f, &n, &info);
      return info == 0 ? tarnx::Ok : tarnx::Singular;
    }
  };
  void raw() override {
    put(x.data(), raw_a);
    int ilo = 1, ihi = 1, info = 0;
    Raw<T>::gebal("S", &n, x.data(), &n, &ilo, &ihi, scale.data(), &info);
    R norm = 0;  // largest row sum of the column-major matrix
    for (int32_t i = 0; i < n; ++i) {
      R sum = 0;
      for (int32_t j = 0; j < n; ++j) sum += std::abs(x[static_cast<size_t>(j) * n + i]);
      norm = std::max(norm, sum);
    }
    RawSteps steps{ipiv};
    tarnx::scaled_pade_exponential(x.data(), n, static_cast<double>(norm),
                                   {num.data(), den.data(), power.data(), spare.data()}, steps);
    Raw<T>::gebak("S", "R", &n, &ilo, &ihi, scale.data(), &n, x.data(), &n, &info);
    for (int32_t j = 0; j < n; ++j)
      Raw<T>::rscal(n, R(1) / scale[j], x.data() + static_cast<size_t>(j) * n, 1);
  }
  double disagreement() override {
    return difference(matrix_of<T>(a), transposed_of(x, n, n).data(), sq(n));
  }
  // Balancing and its undoing each grow and empty the balance workspace.
  int64_t extra_resizes() const override { return 2; }
};

// A positive power by binary exponentiation: the library's order of
// products (squarings first, then square-and-multiply over three buffers),
// each product one gemm on the row-major blocks. 7 takes four products and
// the copies between buffers.
template <class T, auto Export> struct MatrixPower : Work {
  static constexpr int32_t kPower = 7;
  int32_t n;
  ZwArrayHandle a, power_ws, pinv1, pinv2, pinv3, pinv4, pinv5;
  std::vector<T> av, p, q, r, result;
  explicit MatrixPower(int32_t n_)
      : n(n_), av(general_of<T>(n, 51)), p(sq(n)), q(sq(n)), r(sq(n)), result(sq(n)) {
    // Entries of about 1 / sqrt(n) keep the seventh power near 1 at every size.
    const auto shrink = static_cast<RealOf<T>>(1.0 / std::sqrt(static_cast<double>(n)));
    for (T& v : av) v *= shrink;
    a = arrays.matrix(n, n, av.data());
    arrays.scratches(power_ws, pinv1, pinv2, pinv3, pinv4, pinv5);
  }
  int32_t ours() override {
    put(matrix_of<T>(a), av);
    return Export(a, kPower, power_ws, pinv1, pinv2, pinv3, pinv4, pinv5);
  }
  void raw() override {
    put(p.data(), av);
    const T one(1), zero(0);
    const size_t bytes = sq(n) * sizeof(T);
    auto multiply = [&](const T* x, const T* y, T* out) {
      Raw<T>::gemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, n, n, n, blas_scalar(one), x, n, y,
                   n, blas_scalar(zero), out, n);
    };
    auto copy_block = [&](const T* from, T* to) { std::memcpy(static_cast<void*>(to), from, bytes); };
    const T* out = tarnx::binary_power<T*>(p.data(), q.data(), r.data(), kPower, multiply, copy_block);
    copy_block(out, result.data());
  }
  double disagreement() override { return difference(matrix_of<T>(a), result.data(), sq(n)); }
};

// The generalized Schur form with both sets of vectors: one query and one
// gges on column-major copies of A and B, the layout a C program holds.
template <class T, auto Export> struct QZ : Work {
  using R = RealOf<T>;
  int32_t n;
  ZwArrayHandle a, b, q, z, values, work, real_work;
  std::vector<T> av, bv, raw_a, raw_b, s, t, vsl, vsr, alpha, beta, wraw;
  std::vector<R> alphar, alphai, beta_r, rwork;
  explicit QZ(int32_t n_)
      : n(n_),
        av(general_of<T>(n, 52)),
        bv(dominant_of<T>(n, 53)),
        raw_a(transposed_of(av, n, n)),
        raw_b(transposed_of(bv, n, n)),
        s(sq(n)),
        t(sq(n)),
        vsl(sq(n)),
        vsr(sq(n)),
        alpha(n),
        beta(n),
        alphar(n),
        alphai(n),
        beta_r(n),
        rwork(8 * static_cast<size_t>(n)) {
    a = arrays.matrix(n, n, av.data());
    b = arrays.matrix(n, n, bv.data());
    arrays.empties(q, z, values);
    work = arrays.scratch();
    real_work = is_complex_v<T> ? arrays.scratch() : arrays.empty();
  }
  int32_t ours() override {
    put(matrix_of<T>(a), av);
    put(matrix_of<T>(b), bv);
    return Export(a, b, 1, q, z, values, work, real_work);
  }
  void raw() override {
    put(s.data(), raw_a);
    put(t.data(), raw_b);
    int sdim = 0, info = 0, lwork = -1;
    T query{};
    gges(nullptr, nullptr, &query, lwork, &sdim, &info);
    lwork = workspace_size(query);
    gges(s.data(), t.data(), sized(wraw, lwork), lwork, &sdim, &info);
  }
  void gges(T* sa, T* tb, T* w, int lwork, int* sdim, int* info) {
    if constexpr (is_complex_v<T>)
      Raw<T>::gges("V", "V", "N", nullptr, &n, sa, &n, tb, &n, sdim, alpha.data(), beta.data(),
                   vsl.data(), &n, vsr.data(), &n, w, &lwork, rwork.data(), nullptr, info);
    else
      Raw<T>::gges("V", "V", "N", nullptr, &n, sa, &n, tb, &n, sdim, alphar.data(), alphai.data(),
                   beta_r.data(), vsl.data(), &n, vsr.data(), &n, w, &lwork, nullptr, info);
  }
  double disagreement() override {
    return std::max(difference(matrix_of<T>(a), transposed_of(s, n, n).data(), sq(n)),
                    difference(matrix_of<T>(z), transposed_of(vsr, n, n).data(), sq(n)));
  }
};

// ---- functions through the balanced complex Schur form ---------------------------------------

// The products of the triangular square root, made by the raw core.
template <class R> struct RawProduct {
  static void subtract(int32_t m, int32_t p, int32_t k, const std::complex<R>* x,
                       const std::complex<R>* y, std::complex<R>* c, size_t ld) {
    using C = std::complex<R>;
    const C minus_one(-1), one(1);
    const int l = static_cast<int>(ld);
    Raw<C>::gemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, m, p, k, blas_scalar(minus_one), x, l,
                 y, l, blas_scalar(one), c, l);
  }
};

// f(A) = D Q f(T) Q^H D^-1 as a C program holding A column-major would form
// it: gebal (scaling only), the query and gees with Schur vectors, then, once
// f(T) is known, two gemm and the way back (gebak for the rows, a scal per
// column for the columns). The triangular root works on a row-major upper
// triangle, so T is transposed once on the way in; the library keeps its
// blocks row-major throughout and pays for the layout in its balancing.
template <class C> struct RawSchurFrame {
  using R = RealOf<C>;
  int n = 0, ilo = 1, ihi = 1, lwork = -1;  // lwork: until the first call asks
  std::vector<C> x, q, t, temp, values, wraw;
  std::vector<R> scale, rwork;
  explicit RawSchurFrame(int32_t n_)
      : n(n_), x(sq(n)), q(sq(n)), t(sq(n)), temp(sq(n)), values(n), scale(n), rwork(n) {}
  // From the column-major `start` to T (row-major, in t) and Q.
  void enter(const std::vector<C>& start) {
    put(x.data(), start);
    int info = 0, sdim = 0;
    Raw<C>::gebal("S", &n, x.data(), &n, &ilo, &ihi, scale.data(), &info);
    if (lwork < 0) {
      C query{};
      Raw<C>::gees("V", "N", nullptr, &n, nullptr, &n, &sdim, nullptr, nullptr, &n, &query, &lwork,
                   nullptr, nullptr, &info);
      lwork = workspace_size(query);
    }
    Raw<C>::gees("V", "N", nullptr, &n, x.data(), &n, &sdim, values.data(), q.data(), &n,
                 sized(wraw, lwork), &lwork, rwork.data(), nullptr, &info);
    for (int32_t i = 0; i < n; ++i)
      for (int32_t j = 0; j < n; ++j)
        t[static_cast<size_t>(i) * n + j] = x[static_cast<size_t>(j) * n + i];
  }
  // x (column-major) = D Q f Q^H D^-1 for the row-major f.
  void leave(const C* f) {
    const C one(1), zero(0);
    Raw<C>::gemm(kColMajor, CblasNoTrans, kTrans, n, n, n, blas_scalar(one), q.data(), n, f, n,
                 blas_scalar(zero), temp.data(), n);
    Raw<C>::gemm(kColMajor, CblasNoTrans, kConjTrans, n, n, n, blas_scalar(one), temp.data(), n,
                 q.data(), n, blas_scalar(zero), x.data(), n);
    int info = 0;
    Raw<C>::gebak("S", "R", &n, &ilo, &ihi, scale.data(), &n, x.data(), &n, &info);
    for (int32_t j = 0; j < n; ++j)
      Raw<C>::rscal(n, R(1) / scale[j], x.data() + static_cast<size_t>(j) * n, 1);
  }
};

// The complex column-major copy of a row-major matrix of either kind.
template <class T> std::vector<ComplexOf<T>> complex_columns(const std::vector<T>& a, int32_t n) {
  std::vector<ComplexOf<T>> out(a.size());
  for (int32_t i = 0; i < n; ++i)
    for (int32_t j = 0; j < n; ++j)
      out[static_cast<size_t>(j) * n + i] = ComplexOf<T>(a[static_cast<size_t>(i) * n + j]);
  return out;
}

// A matrix function through the balanced complex Schur form: the export's
// handles and the raw side's frame, on a well-conditioned input.
template <class T, auto Export> struct SchurFunction : Work {
  using C = ComplexOf<T>;
  using R = RealOf<T>;
  int32_t n;
  ZwArrayHandle a, x, scale_factors, workspace, balance_ws, schur1, schur2;
  std::vector<T> av;
  std::vector<C> start;
  RawSchurFrame<C> frame;
  SchurFunction(int32_t n_, uint64_t seed)
      : n(n_), av(dominant_of<T>(n, seed)), start(complex_columns(av, n)), frame(n) {
    a = arrays.matrix(n, n, av.data());
    x = arrays.empty();
    arrays.scratches(scale_factors, workspace, balance_ws, schur1, schur2);
  }
  int32_t ours() override {
    return Export(a, x, scale_factors, workspace, balance_ws, schur1, schur2);
  }
  double disagreement() override {
    return difference(matrix_of<C>(x), transposed_of(frame.x, n, n).data(), sq(n));
  }
  // Balancing and its undoing each grow and empty the balance workspace.
  int64_t extra_resizes() const override { return 2; }
};

// The principal square root: the frame around one triangular root, which
// the raw side takes with the library's blocked recurrence over raw gemm
// products (the core has no triangular root of its own).
template <class T, auto Export> struct MatrixSquareRoot : SchurFunction<T, Export> {
  using S = SchurFunction<T, Export>;
  using S::frame;
  using S::n;
  std::vector<typename S::C> root;
  explicit MatrixSquareRoot(int32_t n_) : S(n_, 54), root(sq(n_)) {}
  void raw() override {
    frame.enter(S::start);
    using R = typename S::R;
    tarnx::triangular_square_root<R, RawProduct<R>>(frame.t.data(), n, root.data());
    frame.leave(root.data());
  }
};

// The principal logarithm by inverse scaling and squaring: triangular roots
// of T until ||T - I||_1 <= 1/4, the [m/m] Pade approximant of log(I + M) as
// m shifted triangular solves (trtrs) summed with axpy, 2^s by scal, the
// exact logarithms on the diagonal, and the frame's way back. The degree is
// the smallest whose scalar error at -||M|| meets the precision, as the
// library chooses it.
template <class T, auto Export> struct MatrixLogarithm : SchurFunction<T, Export> {
  using S = SchurFunction<T, Export>;
  using C = typename S::C;
  using R = typename S::R;
  using S::frame;
  using S::n;
  std::vector<C> spare, y, log_t, diagonal;
  explicit MatrixLogarithm(int32_t n_)
      : S(n_, 55), spare(sq(n_)), y(sq(n_)), log_t(sq(n_)), diagonal(n_) {}
  void raw() override {
    frame.enter(S::start);
    const size_t nn = sq(n);
    C* t = frame.t.data();
    C* other = spare.data();
    for (int32_t j = 0; j < n; ++j) diagonal[j] = t[static_cast<size_t>(j) * n + j];
    const int roots = tarnx::take_roots(t, other, n, y.data(), [this](const C* from, C* to) {
      tarnx::triangular_square_root<R, RawProduct<R>>(from, n, to);
    });
    for (int32_t j = 0; j < n; ++j) t[static_cast<size_t>(j) * n + j] -= C(1);
    long double nodes[tarnx::kMaxDegree], weights[tarnx::kMaxDegree];
    const int degree = tarnx::pade_degree<R>(tarnx::power_bounds(t, n, C(0), y.data()), nodes, weights);
    std::fill(log_t.begin(), log_t.end(), C(0));
    for (int k = 0; k < degree; ++k) {
      const R node = static_cast<R>(nodes[k]);
      for (size_t i = 0; i < nn; ++i) other[i] = node * t[i];
      for (int32_t j = 0; j < n; ++j) other[static_cast<size_t>(j) * n + j] += C(1);
      std::copy(t, t + nn, y.data());
      int info = 0;
      // Row-major upper blocks are column-major lower ones to the core.
      Raw<C>::trtrs("L", "N", "N", &n, &n, other, &n, y.data(), &n, &info);
      const C weight(static_cast<R>(weights[k]));
      Raw<C>::axpy(static_cast<int>(nn), &weight, y.data(), 1, log_t.data(), 1);
    }
    Raw<C>::rscal(static_cast<int>(nn), std::ldexp(R(1), roots), log_t.data(), 1);
    for (int32_t j = 0; j < n; ++j) {
      const C d = diagonal[j];
      log_t[static_cast<size_t>(j) * n + j] = C(std::log(std::abs(d)), std::atan2(d.imag(), d.real()));
    }
    frame.leave(log_t.data());
  }
};

template <class W>
std::function<std::unique_ptr<Work>(int32_t)> maker() {
  return [](int32_t n) -> std::unique_ptr<Work> { return std::make_unique<W>(n); };
}

// Sizes: 4 shows the frame's fixed cost, 100 and 500 meet NumPy and SciPy,
// 64, 512 and 1000 show how the ratio settles as the core's work grows; the
// thread-scaling runs time 4 and 1000 (and any larger size) only.
const std::vector<int32_t> kSizes = {4, 64, 100, 500, 512, 1000};

}  // namespace

// One line per entry: an export in one element type (the 1-norm condition
// number is a second entry of its export). The linear fit has no core
// counterpart and no entry. At 1000 the complex eigenvectors, the complex
// exponential, the Schur-based functions and QZ take seconds a call on each
// side; the scaling runs time them with the fewest pairs they allow.
const std::vector<Case>& cases() {
  using C = std::complex<float>;
  using Z = std::complex<double>;
  static const std::vector<Case> table = {
      {"dMtrxMulH",
       "products",
       Target::Product,
       {4, 64, 100, 500, 512, 1000, 2000},
       maker<MatrixProduct<double, dMtrxMulH>>()},
      {"sMtrxMulH", "products", Target::Product, kSizes, maker<MatrixProduct<float, sMtrxMulH>>()},
      {"zMtrxMulH", "products", Target::Product, kSizes, maker<MatrixProduct<Z, zMtrxMulH>>()},
      {"dMtrxVecMulH", "products", Target::Product, kSizes, maker<MatrixVectorProduct>()},
      {"dDotProdH", "products", Target::Product, {4, 64, 100, 500, 512, 4096}, maker<DotProduct>()},
      {"dOuterProdH", "products", Target::Product, kSizes, maker<OuterProduct>()},
      {"zwblas_dgemm", "blas", Target::Product, kSizes, maker<BlasGemm>()},
      {"zwblas_dgemv", "blas", Target::Product, kSizes, maker<BlasGemv>()},
      {"zwblas_dsymm", "blas", Target::Product, kSizes, maker<BlasSymm>()},
      {"dTransposeH",
       "elementary",
       Target::Copy,
       {4, 64, 100, 500, 512, 2048},
       maker<TransposeCopy>()},
      {"dMtrxNormH", "elementary", Target::Lapack, kSizes, maker<MatrixTwoNorm>()},
      {"dDeterminantH", "solve", Target::Lapack, kSizes, maker<Determinant>()},
      {"dInvMtrxH", "solve", Target::Lapack, kSizes, maker<Inverse<double, dInvMtrxH>>()},
      {"zInvMtrxH", "solve", Target::Lapack, kSizes, maker<Inverse<Z, zInvMtrxH>>()},
      {"dLinEqH", "solve", Target::Lapack, kSizes, maker<LinearSystem<double, dLinEqH>>()},
      {"sLinEqH", "solve", Target::Lapack, kSizes, maker<LinearSystem<float, sLinEqH>>()},
      {"cLinEqH", "solve", Target::Lapack, kSizes, maker<LinearSystem<C, cLinEqH>>()},
      {"zLinEqH", "solve", Target::Lapack, kSizes, maker<LinearSystem<Z, zLinEqH>>()},
      {"dCondNumberH", "solve", Target::Lapack, kSizes,
       maker<TwoNormCondition<double, dCondNumberH>>()},
      {"dCondNumberH_1norm", "solve", Target::Lapack, kSizes,
       maker<OneNormCondition<double, dCondNumberH>>()},
      {"dRankH", "solve", Target::Lapack, kSizes, maker<Rank<double, dRankH>>()},
      {"dPseudoInvMtrxH", "solve", Target::Lapack, kSizes,
       maker<PseudoInverse<double, dPseudoInvMtrxH>>()},
      {"dLSEqH", "solve", Target::Lapack, kSizes, maker<LeastSquares<double, dLSEqH>>()},
      {"dCholeskyH", "factor", Target::Lapack, kSizes, maker<Cholesky<double, dCholeskyH>>()},
      {"zCholeskyH", "factor", Target::Lapack, kSizes, maker<Cholesky<Z, zCholeskyH>>()},
      {"dLUH", "factor", Target::Lapack, kSizes, maker<LU<double, dLUH>>()},
      {"dQRH", "factor", Target::Lapack, kSizes, maker<QR<double, dQRH>>()},
      {"zQRH", "factor", Target::Lapack, kSizes, maker<QR<Z, zQRH>>()},
      {"dEigenVH", "eigen", Target::Lapack, kSizes, maker<GeneralEigen<double, dEigenVH>>()},
      {"sEigenVH", "eigen", Target::Lapack, kSizes, maker<GeneralEigen<float, sEigenVH>>()},
      {"zEigenVH", "eigen", Target::Lapack, kSizes, maker<GeneralEigen<Z, zEigenVH>>()},
      {"dSymEigenVH", "eigen", Target::Lapack, kSizes, maker<SymmetricEigen>()},
      {"zHermEigenVH", "eigen", Target::Lapack, kSizes,
       maker<HermitianEigen<Z, zHermEigenVH>>()},
      {"dSchurH", "eigen", Target::Lapack, kSizes, maker<Schur>()},
      {"dGenEigenVH", "eigen", Target::Lapack, kSizes, maker<GeneralizedEigen>()},
      {"dSVDH", "svd", Target::Lapack, kSizes, maker<SingularValues<double, dSVDH>>()},
      {"zSVDH", "svd", Target::Lapack, kSizes, maker<SingularValues<Z, zSVDH>>()},
      {"dMtrxExpH", "matfun", Target::Lapack, kSizes,
       maker<MatrixExponential<double, dMtrxExpH>>()},
      {"zMtrxExpH", "matfun", Target::Lapack, kSizes, maker<MatrixExponential<Z, zMtrxExpH>>()},
      {"dMtrxPowH", "matfun", Target::Lapack, kSizes, maker<MatrixPower<double, dMtrxPowH>>()},
      {"dMtrxSqrtH", "matfun", Target::Lapack, kSizes,
       maker<MatrixSquareRoot<double, dMtrxSqrtH>>()},
      {"dMtrxLnH", "matfun", Target::Lapack, kSizes, maker<MatrixLogarithm<double, dMtrxLnH>>()},
      {"dQZH", "eigen", Target::Lapack, kSizes, maker<QZ<double, dQZH>>()},
  };
  return table;
}

}  // namespace bench
