#pragma once
// The pieces the three line fits share: the weight rules, the closed-form
// weighted line, residue figures, weighted medians and the bisquare
// reweighting. Everything works in float64 whatever the element type; the
// buffers come from the caller's work handle.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "frame/host_link.hpp"
#include "frame/status.hpp"

namespace tarnx::fit {

struct Line {
  double slope = 0;
  double intercept = 0;
  double at(double x) const { return slope * x + intercept; }
};

// The line and the weighted x statistics it was formed from, which the
// leverage factors reuse.
struct LineSums {
  Line line;
  double weight_sum = 0;
  double mean_x = 0;
  double spread_x = 0;  // sum of v (x - mean_x)^2
};

// The user's weights as the fits see them: by magnitude, and divided by the
// largest one wherever they enter sums, so that no sum can overflow through
// the weights. The line is free of the scale; the residue figures put it
// back once, at the end.
template <class T> struct UserWeights {
  const T* w = nullptr;  // null: unweighted, also when every weight was zero
  double scale = 1;      // the largest |w|
  double normalized(int32_t i) const { return w != nullptr ? std::abs(static_cast<double>(w[i])) / scale : 1.0; }
};

// Refuses NaN and infinite weights; all weights zero means no weights (a
// plain fit, deliberately not an error), while a single non-zero weight
// leaves nothing to fit a line through.
template <class T> int32_t check_fit_weights(const T* w, int32_t n, UserWeights<T>& out) {
  out = UserWeights<T>{};
  if (w == nullptr) return Ok;
  int32_t zeros = 0;
  double largest = 0;
  for (int32_t i = 0; i < n; ++i) {
    const double v = static_cast<double>(w[i]);
    if (!std::isfinite(v)) return NotFinite;
    if (v == 0) ++zeros;
    largest = std::max(largest, std::abs(v));
  }
  if (zeros == n) return Ok;
  if (zeros == n - 1) return ZeroIncrement;
  out.w = w;
  out.scale = largest;
  return Ok;
}

template <class T> void normalize_weights(const UserWeights<T>& uw, int32_t n, double* v) {
  for (int32_t i = 0; i < n; ++i) v[i] = uw.normalized(i);
}

// The weighted least-squares line, slope = Cxy / Cxx and intercept =
// mean_y - slope mean_x, which is the raw-sum closed form rearranged. The
// centred sums are updated as the points arrive (one pass) because the raw
// sums lose every digit to cancellation once x or y sit far from zero. `v`
// null means unit weights. False when the weighted x values do not spread:
// no line y = slope x + intercept can be formed then.
template <class T> bool weighted_line_fit(const T* x, const T* y, int32_t n, const double* v, LineSums& out) {
  double sw = 0, mx = 0, my = 0, cxx = 0, cxy = 0;
  for (int32_t i = 0; i < n; ++i) {
    const double vi = v != nullptr ? v[i] : 1.0;
    if (vi == 0) continue;  // adds nothing, and the first ratio below would be 0/0
    sw += vi;
    const double share = vi / sw;
    const double xi = static_cast<double>(x[i]), yi = static_cast<double>(y[i]);
    const double dx = xi - mx;
    mx += share * dx;
    my += share * (yi - my);
    cxx += vi * dx * (xi - mx);
    cxy += vi * dx * (yi - my);
  }
  if (!(cxx > 0)) return false;
  out.line.slope = cxy / cxx;
  out.line.intercept = my - out.line.slope * mx;
  out.weight_sum = sw;
  out.mean_x = mx;
  out.spread_x = cxx;
  return true;
}

// Writes the fitted values over y and returns the mean (weighted) squared
// residual, in the one pass that reads each y before it is overwritten.
template <class T>
double fit_values_and_residue(const T* x, T* y, int32_t n, const UserWeights<T>& uw, const Line& line) {
  double sum = 0;
  for (int32_t i = 0; i < n; ++i) {
    const double fit = line.at(static_cast<double>(x[i]));
    const double r = fit - static_cast<double>(y[i]);
    y[i] = static_cast<T>(fit);
    sum += uw.normalized(i) * r * r;
  }
  return sum / n * uw.scale;
}

template <class T> void write_fit_values(const T* x, T* y, int32_t n, const Line& line) {
  for (int32_t i = 0; i < n; ++i) y[i] = static_cast<T>(line.at(static_cast<double>(x[i])));
}

template <class T>
double mean_absolute_residual(const T* x, const T* y, int32_t n, const UserWeights<T>& uw, const Line& line) {
  double sum = 0;
  for (int32_t i = 0; i < n; ++i)
    sum += uw.normalized(i) * std::abs(line.at(static_cast<double>(x[i])) - static_cast<double>(y[i]));
  return sum / n * uw.scale;
}

// A total order on float64 with NaN last, so that a NaN that slipped in
// through an overflow cannot break the sorts.
inline bool ordered_before(double a, double b) { return a < b || (!std::isnan(a) && std::isnan(b)); }

inline int compare_float64(const void* pa, const void* pb) {
  const double a = *static_cast<const double*>(pa), b = *static_cast<const double*>(pb);
  return static_cast<int>(ordered_before(b, a)) - static_cast<int>(ordered_before(a, b));
}

// A value and the weight it carries through the paired sort.
struct Weighted {
  double value;
  double weight;
};

// Sorts the pairs by value and walks the weights up from the smallest value
// to the first position where they reach half of `total`.
inline double weighted_median(Weighted* pairs, int32_t m, double total) {
  std::sort(pairs, pairs + m, [](const Weighted& a, const Weighted& b) { return ordered_before(a.value, b.value); });
  const double half = total / 2;
  double running = 0;
  for (int32_t i = 0; i + 1 < m; ++i) {
    running += pairs[i].weight;
    if (running >= half) return pairs[i].value;
  }
  return pairs[m - 1].value;
}

// The same rule with every weight 1, on bare values sorted by the host: the
// running count i + 1 first reaches m / 2 at i = ceil(m / 2) - 1.
inline double unweighted_median(double* values, int32_t m) {
  host::QSort(values, m, static_cast<int32_t>(sizeof(double)), compare_float64);
  return values[(m + 1) / 2 - 1];
}

// The median by selection: the element of rank n / 2, averaged for even n
// with the largest element below it. Reorders `values`.
inline double select_median(double* values, int32_t n) {
  double* mid = values + n / 2;
  std::nth_element(values, mid, values + n, ordered_before);
  if (n % 2 != 0) return *mid;
  const double below = *std::max_element(values, mid, ordered_before);
  return (*mid + below) / 2;
}

// b[i] = sqrt(1 / (1 - h[i])) from each point's leverage in the weighted
// straight-line design, h = v (1 / sum v + (x - mean x)^2 / spread); `v`
// null means unit weights. Leverages near 1 are capped so that a point the
// line must pass through still gets a finite factor.
template <class T> void leverage_factors(const T* x, int32_t n, const double* v, const LineSums& sums, double* b) {
  const double capped = std::sqrt(1.0 / (1.0 - 0.999));
  for (int32_t i = 0; i < n; ++i) {
    const double vi = v != nullptr ? v[i] : 1.0;
    const double dx = static_cast<double>(x[i]) - sums.mean_x;
    const double h = vi * (1.0 / sums.weight_sum + dx * dx / sums.spread_x);
    b[i] = h > 0.999 ? capped : std::sqrt(1.0 / (1.0 - h));
  }
}

// Turns the adjusted residuals in `a` into bisquare weights in place, using
// `copy` (which holds a copy of `a` on entry) for the two median
// selections. ZeroIncrement when the residual scale is zero or too few
// weights stay above zero to fit a line.
template <class T> int32_t bisquare_weights(double* a, double* copy, int32_t n, const UserWeights<T>& uw) {
  const double med = select_median(copy, n);
  double largest = 0;
  for (int32_t i = 0; i < n; ++i) {
    copy[i] = std::abs(a[i] - med);
    largest = std::max(largest, copy[i]);
  }
  // A median that dwarfs every deviation from it says the residuals sit on
  // one side of zero; measure them from zero instead.
  if (!(std::abs(med) < largest))
    for (int32_t i = 0; i < n; ++i) copy[i] = std::abs(a[i]);
  double s = select_median(copy, n);
  if (s == 0) {
    double sum = 0;
    for (int32_t i = 0; i < n; ++i) sum += copy[i];
    s = sum / n;
    if (s == 0) return ZeroIncrement;
  }
  const double width = 4.685 * s;
  int32_t zeros = 0;
  for (int32_t i = 0; i < n; ++i) {
    const double u = a[i] * 0.6745 / width;
    if (std::abs(u) < 1) {
      const double t = 1 - u * u;
      a[i] = t * t * uw.normalized(i);
    } else {
      a[i] = 0;
      ++zeros;
    }
  }
  return zeros >= n - 1 ? ZeroIncrement : Ok;
}

}  // namespace tarnx::fit
