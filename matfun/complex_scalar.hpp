#pragma once
// Complex scalars as the matrix functions need them: a modulus and a
// principal square root that neither overflow nor underflow in x^2 + y^2,
// the root also not losing its smaller part to cancellation.
// Where the plain formulas are exact and safe they are the ones used, so
// that ordinary values come out with the bits those formulas give.
#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>

namespace tarnx {

// x^2 + y^2 is trusted only inside the normal range: above it the square
// overflowed, below it the smaller square may have lost its digits.
template <class R> bool square_sum_in_range(R m) {
  return m >= std::numeric_limits<R>::min() && m <= std::numeric_limits<R>::max();
}

// |x + iy|: sqrt(x^2 + y^2) where that sum is in range, else the scaled
// hypotenuse. A NaN or an infinity gives what std::abs gives.
template <class R> R modulus(std::complex<R> v) {
  const R m = v.real() * v.real() + v.imag() * v.imag();
  return square_sum_in_range(m) ? std::sqrt(m) : std::abs(v);
}

// Principal square root of x + iy: real part non-negative, the imaginary
// part taking the sign of y (a zero y counts as positive). 0 gives 0 and a
// NaN anywhere gives NaN.
//
// The larger part is sqrt((|x| + r) / 2), r = |x + iy|, which never
// cancels. The smaller part, sqrt((r - |x|) / 2), cancels when |y| is small
// against |x|: it is kept while r - |x| is at least r / 2 (at most a
// doubling of r's rounding error) and otherwise taken as |y| / (2 larger),
// the same number without the subtraction. Where x^2 + y^2 would leave the
// normal range, x and y are scaled by an even power of two first and the
// larger part scaled back by half that power, both exact; the smaller part
// is then formed from y itself, which scaling might have pushed below the
// normal range.
template <class R> std::complex<R> principal_square_root(std::complex<R> v) {
  const R x = v.real(), y = v.imag();
  if (x == R(0) && y == R(0)) return std::complex<R>(R(0), R(0));
  R m = x * x + y * y;
  if (!std::isfinite(x) || !std::isfinite(y)) {
    // Propagated as the plain formula propagates it.
    const R r = std::sqrt(m);
    const R im = std::sqrt((r - x) / R(2));
    return std::complex<R>(std::sqrt((x + r) / R(2)), y < R(0) ? -im : im);
  }
  R xs = x, ys = y;
  int half = 0;
  if (!square_sum_in_range(m)) {
    half = std::ilogb(std::max(std::abs(x), std::abs(y))) / 2;
    xs = std::scalbn(x, -2 * half);
    ys = std::scalbn(y, -2 * half);
    m = xs * xs + ys * ys;
  }
  const R r = std::sqrt(m);
  const R ax = std::abs(xs);
  const R larger = std::scalbn(std::sqrt((ax + r) / R(2)), half);
  const R smaller = r >= R(2) * ax ? std::scalbn(std::sqrt((r - ax) / R(2)), half)
                                   : std::abs(y) / (R(2) * larger);
  const R im = x >= R(0) ? smaller : larger;
  return std::complex<R>(x >= R(0) ? larger : smaller, y < R(0) ? -im : im);
}

}  // namespace tarnx
