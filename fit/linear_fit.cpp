// Straight-line fit y = slope x + intercept by weighted least squares, least
// absolute residual, or bisquare-weighted least squares. The fitted values go
// over Y in place; the work handle holds every buffer the methods need.
#include <cstdint>

#include "fit/fit_pieces.hpp"
#include "frame/export.hpp"
#include "frame/layout.hpp"
#include "frame/workspace.hpp"

namespace tarnx {
namespace {

using fit::Line;
using fit::LineSums;
using fit::UserWeights;

enum Method : int32_t { LeastSquares = 0, LeastAbsoluteResidual = 1, Bisquare = 2 };

constexpr double kDefaultTolerance = 0.0001;
constexpr double kDefaultResidueFloor = 1e-12;

template <class T> struct FitData {
  const T* x;
  T* y;        // read as the data, then overwritten with the fitted values
  const T* w;  // null when no weights were given
  int32_t n;
};

struct FitResult {
  double slope = 0, intercept = 0, residue = 0;
  int32_t iterations = 0;
};

// ---- checks every method makes ------------------------------------------------------------

template <class T> int32_t check_fit_points(const FitData<T>& d) {
  if (d.n < 2) return TooFewPoints;
  if (HasNonFinite(d.x, d.n) || HasNonFinite(d.y, d.n)) return NotFinite;
  return Ok;
}

// Two points: the line through both, met exactly with no iteration.
template <class T> int32_t line_through_two_points(const FitData<T>& d, FitResult& r) {
  const double x0 = d.x[0], x1 = d.x[1], y0 = d.y[0], y1 = d.y[1];
  if (x0 == x1) return FitNotFormed;
  r.slope = (y0 - y1) / (x0 - x1);
  r.intercept = (x0 * y1 - x1 * y0) / (x0 - x1);
  r.residue = 0;
  r.iterations = 0;
  fit::write_fit_values(d.x, d.y, d.n, Line{r.slope, r.intercept});
  return Ok;
}

// ---- method 0 -------------------------------------------------------------------------------

template <class T> int32_t least_squares_fit(const FitData<T>& d, Handle work, FitResult& r) {
  if (int32_t status = check_fit_points(d); status != Ok) return status;
  UserWeights<T> uw;
  if (int32_t status = fit::check_fit_weights(d.w, d.n, uw); status != Ok) return status;
  double* v = nullptr;
  if (uw.w != nullptr) {
    if (int32_t status = size_scratch<double>(work, d.n, &v); status != Ok) return status;
    fit::normalize_weights(uw, d.n, v);
  }
  LineSums sums;
  if (!fit::weighted_line_fit(d.x, d.y, d.n, v, sums)) return FitNotFormed;
  r.slope = sums.line.slope;
  r.intercept = sums.line.intercept;
  r.residue = fit::fit_values_and_residue(d.x, d.y, d.n, uw, sums.line);
  return Ok;
}

// ---- method 1 -------------------------------------------------------------------------------

// The weighted least-squares line both robust fits start from. The
// normalized user weights go to `parked`, and `v` points at them (null
// without weights), for the steps that weigh the points the same way.
template <class T>
bool least_squares_start(const FitData<T>& d, const UserWeights<T>& uw, double* parked, const double*& v,
                         LineSums& start) {
  if (uw.w != nullptr) {
    fit::normalize_weights(uw, d.n, parked);
    v = parked;
  }
  return fit::weighted_line_fit(d.x, d.y, d.n, v, start);
}

// a is preferred over b when it has the smaller figure; a NaN figure never wins.
inline bool smaller_residual(double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); }

// One round of alternating weighted medians: the slope from the candidates
// (y - intercept) / x weighted by |x| |w|, then the intercept from y - slope x
// weighted by |w|. Zero weights carry nothing and are left out of the sorts.
template <class T> Line median_step(const FitData<T>& d, const UserWeights<T>& uw, const Line& from, fit::Weighted* pairs) {
  Line next;
  int32_t m = 0;
  double total = 0;
  for (int32_t i = 0; i < d.n; ++i) {
    const double xi = d.x[i];
    const double weight = std::abs(xi) * uw.normalized(i);
    if (weight == 0) continue;  // x = 0 says nothing about the slope
    pairs[m++] = fit::Weighted{(static_cast<double>(d.y[i]) - from.intercept) / xi, weight};
    total += weight;
  }
  next.slope = fit::weighted_median(pairs, m, total);

  if (uw.w == nullptr) {
    // Every weight is 1: the bare values go to the host's sort.
    double* values = reinterpret_cast<double*>(pairs);
    for (int32_t i = 0; i < d.n; ++i) values[i] = static_cast<double>(d.y[i]) - next.slope * static_cast<double>(d.x[i]);
    next.intercept = fit::unweighted_median(values, d.n);
    return next;
  }
  m = 0;
  total = 0;
  for (int32_t i = 0; i < d.n; ++i) {
    const double weight = uw.normalized(i);
    if (weight == 0) continue;
    pairs[m++] = fit::Weighted{static_cast<double>(d.y[i]) - next.slope * static_cast<double>(d.x[i]), weight};
    total += weight;
  }
  next.intercept = fit::weighted_median(pairs, m, total);
  return next;
}

template <class T>
int32_t least_absolute_residual_fit(const FitData<T>& d, Handle work, double tolerance, double residue_floor,
                                    int32_t limit, FitResult& r) {
  if (int32_t status = check_fit_points(d); status != Ok) return status;
  // A NaN is not at or below 0: it is used as given and the stopping tests
  // decide (every comparison with it is false).
  if (tolerance <= 0) tolerance = kDefaultTolerance;
  if (residue_floor <= 0) residue_floor = kDefaultResidueFloor;
  if (d.n == 2) return line_through_two_points(d, r);
  // The slope step divides by x: one zero x only leaves that point out,
  // two leave too little to go on.
  int32_t zero_x = 0;
  for (int32_t i = 0; i < d.n; ++i) zero_x += d.x[i] == 0;
  if (zero_x >= 2) return FitNotFormed;
  UserWeights<T> uw;
  if (int32_t status = fit::check_fit_weights(d.w, d.n, uw); status != Ok) return status;
  // n (value, weight) pairs; the bare values of the unweighted intercept
  // step reuse the front of the same space.
  double* space = nullptr;
  if (int32_t status = size_scratch<double>(work, 2 * static_cast<int64_t>(d.n), &space); status != Ok) return status;
  auto* pairs = reinterpret_cast<fit::Weighted*>(space);

  // The start: the least-squares line, with the normalized weights parked
  // in the work space until the medians need it.
  const double* v = nullptr;
  LineSums start;
  if (!least_squares_start(d, uw, space, v, start)) return FitNotFormed;
  const Line least_squares = start.line;
  const double r_least_squares = fit::mean_absolute_residual(d.x, d.y, d.n, uw, least_squares);

  Line before = least_squares, last;
  double r_old = r_least_squares, r_new;
  int32_t k = 0;
  for (;;) {
    ++k;
    last = median_step(d, uw, before, pairs);
    r_new = fit::mean_absolute_residual(d.x, d.y, d.n, uw, last);
    const bool improving = r_new <= r_old && r_new > residue_floor && r_old - r_new > r_old * tolerance;
    if (!(k < limit && improving)) break;
    before = last;
    r_old = r_new;
  }

  // Alternating medians can step past the optimum, so the answer is the
  // best of the last iterate, the one before it and the start.
  Line best = last;
  double r_best = r_new;
  if (smaller_residual(r_old, r_best)) {
    best = before;
    r_best = r_old;
  }
  if (smaller_residual(r_least_squares, r_best)) {
    best = least_squares;
    r_best = r_least_squares;
  }
  r.slope = best.slope;
  r.intercept = best.intercept;
  r.residue = r_best;
  r.iterations = k;
  fit::write_fit_values(d.x, d.y, d.n, best);
  return Ok;
}

// ---- method 2 -------------------------------------------------------------------------------

template <class T>
int32_t bisquare_fit(const FitData<T>& d, Handle work, double tolerance, int32_t limit, FitResult& r) {
  if (int32_t status = check_fit_points(d); status != Ok) return status;
  // A NaN is not at or below 0: it is used as given and the stopping tests
  // decide (every comparison with it is false).
  if (tolerance <= 0) tolerance = kDefaultTolerance;
  if (d.n == 2) return line_through_two_points(d, r);
  UserWeights<T> uw;
  if (int32_t status = fit::check_fit_weights(d.w, d.n, uw); status != Ok) return status;
  // Three buffers of n: the adjusted residuals that become the weights, the
  // leverage factors, and a copy for the median selections (which also holds
  // the normalized user weights until the iteration starts).
  double* space = nullptr;
  if (int32_t status = size_scratch<double>(work, 3 * static_cast<int64_t>(d.n), &space); status != Ok) return status;
  double* const adjusted = space;
  double* const leverage = space + d.n;
  double* const copy = space + 2 * static_cast<std::size_t>(d.n);

  const double* v = nullptr;
  LineSums start;
  if (!least_squares_start(d, uw, copy, v, start)) return FitNotFormed;
  fit::leverage_factors(d.x, d.n, v, start, leverage);

  Line line = start.line;
  int32_t k = 0;
  for (;;) {
    ++k;
    for (int32_t i = 0; i < d.n; ++i) {
      adjusted[i] = (static_cast<double>(d.y[i]) - line.slope * static_cast<double>(d.x[i]) - line.intercept) * leverage[i];
      copy[i] = adjusted[i];
    }
    // Too few points keep any weight, or what keeps weight has no spread in
    // x: the current line is as far as reweighting can take it.
    if (fit::bisquare_weights(adjusted, copy, d.n, uw) != Ok) break;
    LineSums refit;
    if (!fit::weighted_line_fit(d.x, d.y, d.n, adjusted, refit)) break;
    const Line previous = line;
    line = refit.line;
    // Either coefficient settling is enough to stop.
    if (k >= limit || std::abs(previous.slope - line.slope) <= std::abs(previous.slope) * tolerance ||
        std::abs(previous.intercept - line.intercept) <= std::abs(previous.intercept) * tolerance)
      break;
  }
  r.slope = line.slope;
  r.intercept = line.intercept;
  r.iterations = k;
  r.residue = fit::fit_values_and_residue(d.x, d.y, d.n, uw, line);
  return Ok;
}

// ---- the front ------------------------------------------------------------------------------

// Where the results go; `iterations` also brings in the iteration limit.
struct FitOutputs {
  double* slope;
  double* intercept;
  double* residue;
  int32_t* iterations;
  bool present() const { return slope != nullptr && intercept != nullptr && residue != nullptr && iterations != nullptr; }
};

template <class T>
int32_t dispatch_fit(Handle y, Handle x, Handle weights, int32_t method, double tolerance, double residue_floor,
                     const FitOutputs& out, Handle work, FitResult& r) {
  if (static_cast<uint32_t>(method) > Bisquare) return SelectorOutOfRange;
  const int32_t n = length(y);
  if (length(x) != n) return SizeMismatch;
  const bool weighted = length(weights) != 0;
  if (weighted && length(weights) != n) return SizeMismatch;
  if (!out.present()) return InternalError;
  const FitData<T> d{vector_data<T>(x), vector_data<T>(y), weighted ? vector_data<T>(weights) : nullptr, n};
  switch (method) {
    case LeastSquares: return least_squares_fit(d, work, r);
    case LeastAbsoluteResidual:
      return least_absolute_residual_fit(d, work, tolerance, residue_floor, *out.iterations, r);
    default: return bisquare_fit(d, work, tolerance, *out.iterations, r);
  }
}

template <class T>
int32_t LinearFitFront(Handle y, Handle x, Handle weights, double* slope, double* intercept, double* residue,
                       int32_t method, double tolerance, double residue_floor, int32_t* iterations, Handle work) {
  const FitOutputs out{slope, intercept, residue, iterations};
  FitResult r;
  const int32_t status = dispatch_fit<T>(y, x, weights, method, tolerance, residue_floor, out, work, r);
  // On failure the export empties Y and writes the failure NaN into the
  // float64 results; the count is ours to clear.
  if (iterations != nullptr) *iterations = failed(status) ? 0 : r.iterations;
  if (failed(status)) return status;
  *slope = r.slope;
  *intercept = r.intercept;
  *residue = r.residue;
  return status;
}

}  // namespace

#include "fit/linear_fit.exports"

}  // namespace tarnx
