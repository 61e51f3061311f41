#include "cli/help.hpp"

#include <span>
#include <vector>

#include "cli/call.hpp"
#include "cli/status_text.hpp"
#include "frame/cblas_values.hpp"
#include "frame/status.hpp"

namespace tarnx::cli {
namespace {

// The operation's name without its element-type letter: "LinEqH" for
// "zLinEqH", "gemm" for "zwblas_dgemm".
std::string_view operation(std::string_view export_name) {
  constexpr std::string_view blas = "zwblas_";
  if (export_name.starts_with(blas)) return export_name.substr(blas.size() + 1);
  if (export_name.size() > 1 && std::string_view("sdcz").find(export_name[0]) != std::string_view::npos)
    return export_name.substr(1);
  return export_name;
}

bool names(std::string_view list, std::string_view word) {
  if (list.empty()) return true;
  std::size_t start = 0;
  while (start <= list.size()) {
    const std::size_t end = std::min(list.find(' ', start), list.size());
    if (list.substr(start, end - start) == word) return true;
    start = end + 1;
  }
  return false;
}

struct Note {
  std::string_view args;        // space-separated argument names
  std::string_view operations;  // space-separated; empty: every export with the argument
  std::string_view fallback;    // default value; empty: must be given
  std::string_view values;      // allowed values and what they mean
};

// Selectors and the scalar inputs whose meaning is not plain from the name.
constexpr Note notes[] = {
    {"matrixType", "", "0",
     "0 general (LU), 1 symmetric/Hermitian positive definite (Cholesky; lower triangle read), "
     "2 lower triangular, 3 upper triangular; others -20061"},
    {"factorKind", "CholeskyH", "0", "0 lower L with A = L L^H, 1 upper U with A = U^H U; others -20061"},
    {"pivoting", "QRH", "0", "0 no pivoting, anything else column pivoting (A P = Q R)"},
    {"mode", "QRH", "0", "0 full (Q m x m), 1 economy (Q m x k), 2 R only; others -20061"},
    {"mode", "SVDH", "0", "0 economy, 1 full; others -20061 (checked even for values only)"},
    {"valuesOnly", "SVDH", "0", "0 U and V too, anything else the singular values only"},
    {"computeVectors", "", "1", "0 the vectors are emptied, anything else they are computed"},
    {"sortOrder", "SchurH", "0",
     "0 as computed, 1 real part ascending, 2 real part descending, 3 modulus ascending, "
     "4 modulus descending; others (read as unsigned) -20061"},
    {"option", "", "0", "0 eigenvalues only, 1 eigenvectors too; others -20061"},
    {"normType", "CondNumberH", "0",
     "0 s1/sk from the singular values, 1 with the 1-norm, 2 with the Frobenius norm, "
     "3 with the infinity norm (1 to 3 need a square matrix); others -20061"},
    {"type", "MtrxNormH", "0",
     "0 2-norm (largest singular value), 1 largest column sum, 2 Frobenius, 3 largest row sum; "
     "others -20061"},
    {"type", "SpecialMtrxH", "",
     "0 identity (size x size), 1 diag(x), 2 Toeplitz (x, y), 3 Vandermonde (x), "
     "4 companion (x, at least 2 coefficients), 5 Hankel (x, y); others -20061"},
    {"size", "SpecialMtrxH", "", "rows and columns of the identity (type 0); unused by the others"},
    {"p", "VectorNormH", "",
     "order: inf largest |x(i)|, -inf smallest, 1 sum, 2 Euclidean, any other (sum |x(i)|^p)^(1/p); "
     "0 gives -20141, NaN -20104"},
    {"p", "MtrxPowH", "", "any int32 exponent; negative ones use the pseudo-inverse"},
    {"tolerance", "RankH", "",
     "singular values above it count; negative: max(m, n) s1 eps, 0: every non-zero one"},
    {"tolerance", "PseudoInvMtrxH", "", "singular values at or below it are zeroed; negative: a default"},
    {"tolerance", "LSEqH LSEqSetH", "",
     "relative: singular values not above t s1 max(m, n) are dropped; 0 or less: machine epsilon"},
    {"method", "LinearFitH", "0", "0 least squares, 1 least absolute residual, 2 bisquare; others -20061"},
    {"tolerance", "LinearFitH", "0", "relative stopping tolerance of methods 1 and 2; 0 or less: 0.0001"},
    {"residueFloor", "LinearFitH", "0", "method 1 stops at or below this mean residual; 0 or less: 1e-12"},
    {"iterations", "LinearFitH", "",
     "in: the most iterations methods 1 and 2 may take; out: the number taken"},
    // Workspaces one element type never reads stay in its signature so that
    // the four match; as inputs they may be left out.
    {"realWork intWork", "EigenVH GenEigenVH QZH SchurH", "[]",
     "not read by this element type; any array, empty when left out"},
    {"checkArguments", "", "", "1 check sizes, offsets and extents first (an empty output is created); "
                               "0 pass them to the core unchecked"},
    {"incx incy", "", "", "step between the vector's elements; 0 gives -20141"},
};

const Note* find_note(std::string_view export_name, std::string_view arg_name) {
  const std::string_view op = operation(export_name);
  for (const Note& n : notes)
    if (names(n.args, arg_name) && names(n.operations, op)) return &n;
  return nullptr;
}

// The BLAS wrappers' selectors, described from the values the library itself
// names, so that the help cannot drift from what the wrappers accept.
struct Choice {
  int32_t value;
  std::string_view meaning;
};
constexpr Choice kLayouts[] = {{cblas::RowMajor, "row-major"}, {cblas::ColMajor, "column-major"}};
constexpr Choice kTransposes[] = {{cblas::NoTrans, "none"}, {cblas::Trans, "transpose"},
                                  {cblas::ConjTrans, "conjugate transpose"}};
constexpr Choice kTriangles[] = {{cblas::Upper, "upper"}, {cblas::Lower, "lower triangle"}};
constexpr Choice kDiagonals[] = {{cblas::NonUnit, "non-unit"}, {cblas::Unit, "unit diagonal"}};
constexpr Choice kSides[] = {{cblas::Left, "A on the left"}, {cblas::Right, "on the right"}};
struct Selector {
  std::string_view args;  // space-separated argument names
  std::span<const Choice> choices;
};
constexpr Selector selectors[] = {{"layout", kLayouts},    {"trans transA transB", kTransposes},
                                  {"uplo", kTriangles},    {"diag", kDiagonals},
                                  {"side", kSides}};

// "101 row-major, 102 column-major; others -20061" for `layout`; empty for an
// argument that is no such selector.
std::string selector_values(std::string_view arg_name) {
  for (const Selector& sel : selectors) {
    if (!names(sel.args, arg_name)) continue;
    std::string out;
    for (const Choice& c : sel.choices)
      out += (out.empty() ? "" : ", ") + std::to_string(c.value) + " " + std::string(c.meaning);
    return out + "; others " + std::to_string(SelectorOutOfRange);
  }
  return {};
}

struct Statuses {
  std::string_view operations;
  std::vector<int32_t> codes;  // in the order the export checks them, where it has one
};

// Every export that needs the core may also answer -20999 when the core could
// not be loaded; that is said once, below the list.
const std::vector<Statuses>& statuses() {
  static const std::vector<Statuses> table = {
      {"MtrxMulH MtrxVecMulH VecMtrxMulH", {-20039, -20004, -20001}},
      {"DotProdH", {-20002, -20003}},
      {"OuterProdH KronProdH", {-20003, -20001}},
      {"TransposeH TraceH MeanH RMSH", {-20003, -20001}},
      {"VectorNormH", {-20003, -20104, -20141}},
      {"MtrxNormH", {-20003, -20061, -20999, -20001, -20068, -20062}},
      {"SpecialMtrxH", {-20003, -20006, -20001, -20061}},
      {"CholeskyH", {-20040, -20003, -20061, -20071, -20999}},
      {"LUH", {-20003, -20001, -20999, 20003}},
      {"QRH", {-20003, -20061, -20001, -20068, -20999}},
      {"SVDH", {-20003, -20061, -20001, -20068, -20999, -20062}},
      {"SchurH", {-20003, -20040, -20061, -20001, -20068, -20999, -20062, -20073, -20074}},
      {"EigenVH SymEigenVH HermEigenVH", {-20003, -20040, -20061, -20001, -20068, -20999, -20062}},
      {"GenEigenVH", {-20003, -20040, -20070, -20061, -20001, -20068, -20999, -20062}},
      {"QZH", {-20003, -20040, -20070, -20001, -20068, -20999, -20062, -20074, -20073}},
      {"MtrxLnH", {-20003, -20040, -20001, -20068, -20999, -20062, -20041, 20006}},
      {"DeterminantH", {-20003, -20040, -20061, -20999, -20001, -20071}},
      {"InvMtrxH", {-20003, -20040, -20061, -20999, -20001, -20041, -20071}},
      {"LinEqH LinEqSetH", {-20003, -20040, -20002, -20001, -20061, -20068, -20999, -20041, -20071}},
      {"CondNumberH", {-20003, -20061, -20040, -20999, -20001, -20068, -20062}},
      {"RankH PseudoInvMtrxH", {-20003, -20999, -20001, -20068, -20062}},
      {"LSEqH LSEqSetH", {-20003, -20002, -20068, -20999, -20001, -20062, 20001}},
      {"MtrxExpH", {-20003, -20040, -20999, -20001, -20068, -20041}},
      {"MtrxSqrtH", {-20003, -20040, -20001, -20999, -20068, -20062, 20006}},
      {"MtrxPowH", {-20040, -20003, -20999, -20001, -20068, -20062}},
      {"LinearFitH", {-20061, -20002, -20999, -20006, -20068, -20055, -20141, -20001}},
      {"gemm gemv symm hemm symv hemv trmm trmv",
       {-20003, -20059, -20039, -20017, -20001, -20058, -20141, -20061, -20999}},
  };
  return table;
}

std::string kind_text(arg::Desc k) {
  std::string s = std::string(role_name(k.role)) + ' ' + elem_name(k.elem);
  if (k.shape == arg::Shape::Matrix) s += " matrix";
  if (k.shape == arg::Shape::Vector) s += " vector";
  return s;
}


}  // namespace

std::optional<std::string_view> default_value(std::string_view export_name, std::string_view arg_name) {
  const Note* n = find_note(export_name, arg_name);
  if (n == nullptr || n->fallback.empty()) return std::nullopt;
  return n->fallback;
}

std::string signature(const ExportInfo& e) {
  std::string s(e.name);
  s += '(';
  for (std::size_t i = 0; i < e.args.size(); ++i) {
    if (i > 0) s += ", ";
    s += std::string(e.args[i].name) + ": " + kind_text(e.args[i].kind);
    if (!is_input(e.args[i].kind.role)) continue;
    if (const auto d = default_value(e.name, e.args[i].name)) s += " = " + std::string(*d);
  }
  return s + ')';
}

std::string export_help(const ExportInfo& e) {
  std::string out = signature(e) + "\n\narguments:\n";
  for (const ExportArg& a : e.args) {
    out += "  " + std::string(a.name) + ": " + kind_text(a.kind) + " - " + role_meaning(a.kind.role) + "\n";
    const Note* n = is_scratch(a.kind.role) ? nullptr : find_note(e.name, a.name);
    if (n != nullptr) {
      out += "      " + std::string(n->values) + "\n";
      if (!n->fallback.empty()) out += "      default " + std::string(n->fallback) + " when left out\n";
    } else if (const std::string values = selector_values(a.name); !values.empty()) {
      out += "      " + values + "\n";
    }
  }
  const std::string_view op = operation(e.name);
  for (const Statuses& s : statuses()) {
    if (!names(s.operations, op)) continue;
    out += "\nstatuses:\n  0: success\n";
    for (int32_t code : s.codes) out += "  " + std::to_string(code) + ": " + status_meaning(code) + "\n";
    break;
  }
  out += "\nEvery export that needs the numerical core answers -20999 when the core could not be loaded.\n";
  return out;
}

}  // namespace tarnx::cli
