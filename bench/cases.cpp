// Every benchmarked family beside the core calls it wraps.
//
// The raw side is what a C program holding the same matrix would run: it
// restores the input the core overwrites (a memcpy; the export must not
// destroy the host's input either, so it copies too), asks for the
// workspace size where the routine has a query, and makes the call. Its
// buffers are made once outside the timed loop; the export's outputs and
// scratch handles are reused from call to call, as a host loop would.
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>

#include "bench/core_calls.hpp"
#include "bench/harness.hpp"

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

// ---- products -------------------------------------------------------------------------------

struct MatrixProduct : Work {
  int32_t n;
  ZwArrayHandle a, b, c;
  std::vector<double> av, bv, craw;
  explicit MatrixProduct(int32_t n_)
      : n(n_), av(general_matrix(n, 1)), bv(general_matrix(n, 2)), craw(sq(n)) {
    a = arrays.matrix(n, n, av.data());
    b = arrays.matrix(n, n, bv.data());
    c = arrays.empty();
  }
  int32_t ours() override { return dMtrxMulH(a, b, c); }
  void raw() override {
    cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, n, n, n, 1.0, av.data(), n, bv.data(), n,
                0.0, craw.data(), n);
  }
  double disagreement() override {
    return relative_difference(matrix_values(c), craw.data(), sq(n));
  }
  double flops() const override { return 2.0 * n * n * n; }
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
  void raw() override {
    cblas_dgemv(CblasRowMajor, CblasNoTrans, n, n, 1.0, av.data(), n, xv.data(), 1, 0.0,
                yraw.data(), 1);
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

constexpr int32_t kRowMajor = 101, kNoTrans = 111, kLeft = 141, kUpper = 121, kCheck = 1;

struct BlasGemm : Work {
  int32_t n;
  ZwArrayHandle a, b, c;
  std::vector<double> av, bv, craw;
  const double alpha = 1, beta = 0;
  explicit BlasGemm(int32_t n_)
      : n(n_), av(general_matrix(n, 9)), bv(general_matrix(n, 10)), craw(sq(n)) {
    a = arrays.matrix(n, n, av.data());
    b = arrays.matrix(n, n, bv.data());
    c = arrays.matrix(n, n, craw.data());
  }
  int32_t ours() override {
    return zwblas_dgemm(a, b, c, &alpha, &beta, n, n, n, kNoTrans, kNoTrans, 0, 0, 0, 0, 0, 0, n, n,
                        n, kRowMajor, kCheck);
  }
  void raw() override {
    cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, n, n, n, alpha, av.data(), n, bv.data(),
                n, beta, craw.data(), n);
  }
  double disagreement() override {
    return relative_difference(matrix_values(c), craw.data(), sq(n));
  }
  double flops() const override { return 2.0 * n * n * n; }
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
  void raw() override {
    cblas_dgemv(CblasRowMajor, CblasNoTrans, n, n, alpha, av.data(), n, xv.data(), 1, beta,
                yraw.data(), 1);
  }
  double disagreement() override { return relative_difference(vector_values(y), yraw.data(), n); }
};

struct BlasSymm : Work {
  int32_t n;
  ZwArrayHandle a, b, c;
  std::vector<double> av, bv, craw;
  const double alpha = 1, beta = 0;
  explicit BlasSymm(int32_t n_)
      : n(n_), av(symmetric_matrix(n, 13)), bv(general_matrix(n, 14)), craw(sq(n)) {
    a = arrays.matrix(n, n, av.data());
    b = arrays.matrix(n, n, bv.data());
    c = arrays.matrix(n, n, craw.data());
  }
  int32_t ours() override {
    return zwblas_dsymm(a, b, c, &alpha, &beta, n, n, kLeft, kUpper, 0, 0, 0, 0, 0, 0, n, n, n,
                        kRowMajor, kCheck);
  }
  void raw() override {
    cblas_dsymm(CblasRowMajor, CblasLeft, CblasUpper, n, n, alpha, av.data(), n, bv.data(), n, beta,
                craw.data(), n);
  }
  double disagreement() override {
    return relative_difference(matrix_values(c), craw.data(), sq(n));
  }
  double flops() const override { return 2.0 * n * n * n; }
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
  explicit MatrixTwoNorm(int32_t n_)
      : n(n_), av(general_matrix(n, 16)), copy_(sq(n)), sraw(n), iwork(8 * static_cast<size_t>(n)) {
    a = arrays.matrix(n, n, av.data());
    s = arrays.scratch();
    work = arrays.scratch();
    real_work = arrays.scratch();
    int_work = arrays.scratch();
  }
  int32_t ours() override { return dMtrxNormH(a, 0, &result, s, work, real_work, int_work); }
  void raw() override {
    copy(copy_.data(), av);
    int info = 0, lwork = -1;
    double query = 0;
    dgesdd_("N", &n, &n, nullptr, &n, sraw.data(), nullptr, &n, nullptr, &n, &query, &lwork,
            iwork.data(), &info, 1);
    lwork = static_cast<int>(query);
    wraw.resize(static_cast<size_t>(lwork));  // sized once; later calls keep it
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
    work = arrays.scratch();
    pivots = arrays.scratch();
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
// which costs the same each time for a well-conditioned matrix.
struct Inverse : Work {
  int32_t n;
  ZwArrayHandle a, work, pivots;
  std::vector<double> av, raw_a, wraw;
  std::vector<int> ipiv;
  explicit Inverse(int32_t n_)
      : n(n_), av(dominant_matrix(n, 18)), raw_a(transposed(av, n, n)), ipiv(n) {
    a = arrays.matrix(n, n, av.data());
    work = arrays.scratch();
    pivots = arrays.scratch();
  }
  int32_t ours() override { return dInvMtrxH(a, 0, work, pivots); }
  void raw() override {
    int info = 0, lwork = -1;
    double query = 0;
    dgetrf_(&n, &n, raw_a.data(), &n, ipiv.data(), &info);
    dgetri_(&n, nullptr, &n, nullptr, &query, &lwork, &info);
    lwork = static_cast<int>(query);
    wraw.resize(static_cast<size_t>(lwork));
    dgetri_(&n, raw_a.data(), &n, ipiv.data(), wraw.data(), &lwork, &info);
  }
  double disagreement() override {
    return relative_difference(matrix_values(a), transposed(raw_a, n, n).data(), sq(n));
  }
  double flops() const override { return 2.0 * n * n * n; }
};

struct LinearSystem : Work {
  int32_t n;
  ZwArrayHandle a, b, x, workspace, pivots;
  std::vector<double> av, bv, raw_a, lu, rhs;
  std::vector<int> ipiv;
  explicit LinearSystem(int32_t n_)
      : n(n_),
        av(dominant_matrix(n, 19)),
        bv(random_values(n, 20)),
        raw_a(transposed(av, n, n)),
        lu(sq(n)),
        rhs(n),
        ipiv(n) {
    a = arrays.matrix(n, n, av.data());
    b = arrays.vector(n, bv.data());
    x = arrays.empty();
    workspace = arrays.scratch();
    pivots = arrays.scratch();
  }
  int32_t ours() override { return dLinEqH(a, b, 0, x, workspace, pivots); }
  void raw() override {
    copy(lu.data(), raw_a);
    copy(rhs.data(), bv);
    int info = 0, one = 1;
    dgesv_(&n, &one, lu.data(), &n, ipiv.data(), rhs.data(), &n, &info);
  }
  double disagreement() override { return relative_difference(vector_values(x), rhs.data(), n); }
};

// ---- eigen-decompositions -------------------------------------------------------------------

// The library gives the core the row-major block unchanged (the transpose)
// and takes the left vectors; the raw side makes the same call on the same
// bytes.
struct GeneralEigen : Work {
  int32_t n;
  ZwArrayHandle a, values, vectors, work, real_work;
  std::vector<double> av, copy_, wr, wi, vl, wraw;
  explicit GeneralEigen(int32_t n_)
      : n(n_), av(general_matrix(n, 21)), copy_(sq(n)), wr(n), wi(n), vl(sq(n)) {
    a = arrays.matrix(n, n, av.data());
    values = arrays.empty();
    vectors = arrays.empty();
    work = arrays.scratch();
    real_work = arrays.scratch();
  }
  int32_t ours() override { return dEigenVH(a, 1, values, vectors, work, real_work); }
  void raw() override {
    copy(copy_.data(), av);
    int info = 0, lwork = -1;
    double query = 0;
    dgeev_("V", "N", &n, nullptr, &n, nullptr, nullptr, nullptr, &n, nullptr, &n, &query, &lwork,
           &info, 1, 1);
    lwork = static_cast<int>(query);
    wraw.resize(static_cast<size_t>(lwork));
    dgeev_("V", "N", &n, copy_.data(), &n, wr.data(), wi.data(), vl.data(), &n, nullptr, &n,
           wraw.data(), &lwork, &info, 1, 1);
  }
  double disagreement() override {
    return spectrum_difference(complex_values(values), wr.data(), wi.data(), n);
  }
};

struct SymmetricEigen : Work {
  int32_t n;
  ZwArrayHandle a, values, vectors, work, int_work;
  std::vector<double> av, copy_, w, z, wraw;
  std::vector<int> isuppz, iwraw;
  explicit SymmetricEigen(int32_t n_)
      : n(n_),
        av(symmetric_matrix(n, 22)),
        copy_(sq(n)),
        w(n),
        z(sq(n)),
        isuppz(2 * static_cast<size_t>(n)) {
    a = arrays.matrix(n, n, av.data());
    values = arrays.empty();
    vectors = arrays.empty();
    work = arrays.scratch();
    int_work = arrays.scratch();
  }
  int32_t ours() override { return dSymEigenVH(a, 1, values, vectors, work, int_work); }
  void raw() override {
    copy(copy_.data(), av);
    int info = 0, found = 0, lwork = -1, liwork = -1, iquery = 0;
    double query = 0, abstol = 0;
    dsyevr_("V", "A", "U", &n, nullptr, &n, nullptr, nullptr, nullptr, nullptr, &abstol, &found,
            nullptr, nullptr, &n, nullptr, &query, &lwork, &iquery, &liwork, &info, 1, 1, 1);
    lwork = static_cast<int>(query);
    liwork = iquery;
    wraw.resize(static_cast<size_t>(lwork));
    iwraw.resize(static_cast<size_t>(liwork));
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
  explicit Schur(int32_t n_)
      : n(n_),
        av(general_matrix(n, 23)),
        raw_a(transposed(av, n, n)),
        copy_(sq(n)),
        wr(n),
        wi(n),
        vs(sq(n)) {
    a = arrays.matrix(n, n, av.data());
    z = arrays.empty();
    values = arrays.empty();
    work = arrays.scratch();
    real_work = arrays.scratch();
    int_work = arrays.scratch();
  }
  int32_t ours() override {
    copy(matrix_values(a), av);
    return dSchurH(a, 1, 0, z, values, work, real_work, int_work);
  }
  void raw() override {
    copy(copy_.data(), raw_a);
    int info = 0, sdim = 0, lwork = -1;
    double query = 0;
    dgees_("V", "N", nullptr, &n, nullptr, &n, &sdim, nullptr, nullptr, nullptr, &n, &query, &lwork,
           nullptr, &info, 1, 1);
    lwork = static_cast<int>(query);
    wraw.resize(static_cast<size_t>(lwork));
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
    values = arrays.empty();
    vectors = arrays.empty();
    work = arrays.scratch();
    real_work = arrays.scratch();
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

struct SingularValues : Work {
  int32_t n;
  ZwArrayHandle a, u, s, v, work, real_work, int_work;
  std::vector<double> av, copy_, sraw, uraw, vtraw, wraw;
  std::vector<int> iwork;
  explicit SingularValues(int32_t n_)
      : n(n_),
        av(general_matrix(n, 26)),
        copy_(sq(n)),
        sraw(n),
        uraw(sq(n)),
        vtraw(sq(n)),
        iwork(8 * static_cast<size_t>(n)) {
    a = arrays.matrix(n, n, av.data());
    u = arrays.empty();
    s = arrays.empty();
    v = arrays.empty();
    work = arrays.scratch();
    real_work = arrays.scratch();
    int_work = arrays.scratch();
  }
  int32_t ours() override { return dSVDH(a, 0, 0, u, s, v, work, real_work, int_work); }
  void raw() override {
    copy(copy_.data(), av);
    int info = 0, lwork = -1;
    double query = 0;
    dgesdd_("S", &n, &n, nullptr, &n, sraw.data(), nullptr, &n, nullptr, &n, &query, &lwork,
            iwork.data(), &info, 1);
    lwork = static_cast<int>(query);
    wraw.resize(static_cast<size_t>(lwork));
    dgesdd_("S", &n, &n, copy_.data(), &n, sraw.data(), uraw.data(), &n, vtraw.data(), &n,
            wraw.data(), &lwork, iwork.data(), &info, 1);
  }
  double disagreement() override { return relative_difference(vector_values(s), sraw.data(), n); }
};

template <class W>
std::function<std::unique_ptr<Work>(int32_t)> maker() {
  return [](int32_t n) -> std::unique_ptr<Work> { return std::make_unique<W>(n); };
}

// Sizes: 4 shows the frame's fixed cost, 100 and 500 meet NumPy and SciPy,
// 64, 512 and 1000 show how the ratio settles as the core's work grows.
const std::vector<int32_t> kSquare = {4, 64, 100, 500, 512};
const std::vector<int32_t> kCubic = {4, 64, 100, 500, 512, 1000};

}  // namespace

// One line per family. The factorizations, characteristics and matrix
// functions join here as they land.
const std::vector<Case>& cases() {
  static const std::vector<Case> table = {
      {"dMtrxMulH",
       "products",
       Target::Product,
       {4, 64, 100, 500, 512, 1000, 2000},
       maker<MatrixProduct>()},
      {"dMtrxVecMulH", "products", Target::Product, kSquare, maker<MatrixVectorProduct>()},
      {"dDotProdH", "products", Target::Product, {4, 64, 100, 500, 512, 4096}, maker<DotProduct>()},
      {"dOuterProdH", "products", Target::Product, kSquare, maker<OuterProduct>()},
      {"zwblas_dgemm", "blas", Target::Product, kCubic, maker<BlasGemm>()},
      {"zwblas_dgemv", "blas", Target::Product, kSquare, maker<BlasGemv>()},
      {"zwblas_dsymm", "blas", Target::Product, kCubic, maker<BlasSymm>()},
      {"dTransposeH",
       "elementary",
       Target::Copy,
       {4, 64, 100, 500, 512, 2048},
       maker<TransposeCopy>()},
      {"dMtrxNormH", "elementary", Target::Lapack, kCubic, maker<MatrixTwoNorm>()},
      {"dDeterminantH", "solve", Target::Lapack, kCubic, maker<Determinant>()},
      {"dInvMtrxH", "solve", Target::Lapack, kCubic, maker<Inverse>()},
      {"dLinEqH", "solve", Target::Lapack, kCubic, maker<LinearSystem>()},
      {"dEigenVH", "eigen", Target::Lapack, kCubic, maker<GeneralEigen>()},
      {"dSymEigenVH", "eigen", Target::Lapack, kCubic, maker<SymmetricEigen>()},
      {"dSchurH", "eigen", Target::Lapack, kCubic, maker<Schur>()},
      {"dGenEigenVH", "eigen", Target::Lapack, kSquare, maker<GeneralizedEigen>()},
      {"dSVDH", "svd", Target::Lapack, kCubic, maker<SingularValues>()},
  };
  return table;
}

}  // namespace bench
