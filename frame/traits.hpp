#pragma once
// Per-element-type facts. Algorithms are written once as templates over the
// element type and ask these traits for everything that differs by type.
#include <bit>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace tarnx {

using cfloat = std::complex<float>;
using cdouble = std::complex<double>;

template <class T> struct Traits;

template <> struct Traits<float> {
  using Real = float;
  using Complex = cfloat;
  static constexpr bool is_complex = false;
  static constexpr int32_t type_code = 9;
  static constexpr int index = 0;  // position in s, d, c, z
  static constexpr char letter = 's';
  static constexpr float epsilon = std::numeric_limits<float>::epsilon();
  // The screen refuses the extreme finite magnitudes as already overflowed.
  static constexpr float screen_high = std::bit_cast<float>(0x7F7FFFFFu);
  static constexpr float screen_low = std::bit_cast<float>(0xFF7FFFFFu);
};

template <> struct Traits<double> {
  using Real = double;
  using Complex = cdouble;
  static constexpr bool is_complex = false;
  static constexpr int32_t type_code = 10;
  static constexpr int index = 1;
  static constexpr char letter = 'd';
  static constexpr double epsilon = std::numeric_limits<double>::epsilon();
  static constexpr double screen_high = std::bit_cast<double>(0x7FEFFFFFFFFFFFFFull);
  // Deliberately the rounded decimal -1.7976931348623e+308, not -DBL_MAX: the
  // negative side refuses the last few units of the range, the positive side
  // only the largest value itself.
  static constexpr double screen_low = -1.7976931348623e+308;
};

// A complex type has its real type's precision, epsilon and screen bounds;
// its host code, its position in s, d, c, z and its letter follow from the
// real type's: c (12) for float, z (13) for double.
template <class R> struct Traits<std::complex<R>> {
  using Real = R;
  using Complex = std::complex<R>;
  static constexpr bool is_complex = true;
  static constexpr int32_t type_code = Traits<R>::type_code + 3;
  static constexpr int index = Traits<R>::index + 2;
  static constexpr char letter = Traits<R>::index == 0 ? 'c' : 'z';
  static constexpr R epsilon = Traits<R>::epsilon;
  static constexpr R screen_high = Traits<R>::screen_high;
  static constexpr R screen_low = Traits<R>::screen_low;
};
static_assert(Traits<cfloat>::type_code == 12 && Traits<cfloat>::index == 2 && Traits<cfloat>::letter == 'c');
static_assert(Traits<cdouble>::type_code == 13 && Traits<cdouble>::index == 3 && Traits<cdouble>::letter == 'z');

// Pivots and permutations.
template <> struct Traits<int32_t> {
  static constexpr int32_t type_code = 3;
};

template <class T> using RealOf = typename Traits<T>::Real;
template <class T> using ComplexOf = typename Traits<T>::Complex;
template <class T> inline constexpr bool is_complex_v = Traits<T>::is_complex;

// The failure NaN written into every scalar output of a failed call.
inline constexpr double failure_nan_f64 = std::bit_cast<double>(0x7FF8000000000000ull);
inline constexpr float failure_nan_f32 = std::bit_cast<float>(0x7FC00000u);

template <class T> constexpr T failure_nan() {
  if constexpr (std::is_same_v<T, float>) return failure_nan_f32;
  else if constexpr (std::is_same_v<T, double>) return failure_nan_f64;
  else return T(failure_nan<RealOf<T>>(), failure_nan<RealOf<T>>());
}

// Complex conjugate that is the identity for real types.
template <class T> inline T conj_if(T v) {
  if constexpr (is_complex_v<T>) return std::conj(v);
  else return v;
}

}  // namespace tarnx

// Apply a macro to each element type: letter and C++ type.
#define TARNX_FOR_SDCZ(M) M(s, float) M(d, double) M(c, ::tarnx::cfloat) M(z, ::tarnx::cdouble)
#define TARNX_FOR_SD(M) M(s, float) M(d, double)
#define TARNX_FOR_CZ(M) M(c, ::tarnx::cfloat) M(z, ::tarnx::cdouble)
