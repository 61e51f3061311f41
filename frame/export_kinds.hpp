#pragma once
// How each export's arguments are described: role, shape and element type.
// The library builds its exports from these descriptions, and the tools that
// load it as a host does (command-line host, tests, fuzzer) read them back.
#include <cstddef>
#include <cstdint>

#include "frame/handle_layout.hpp"
#include "frame/traits.hpp"
#include "include/tarnx_linalg.h"

namespace tarnx::arg {

enum class Role : uint8_t {
  In,       // array handle read by the call
  Out,      // array handle written by the call, emptied on failure
  InOut,    // array handle worked on in place, emptied on failure
  Scratch,  // 1-D workspace handle; may be null; empty after every call
  // 1-D workspace handle that only some paths use; may be null. A path that
  // uses it empties it before returning, every other path leaves it exactly
  // as the caller passed it. The operation, not the boundary, empties it.
  PathScratch,
  Value,    // scalar by value
  Ref,      // scalar input by reference
  Result,   // scalar output by reference; the failure NaN on failure
  Update,   // scalar by reference, read and then written (a limit in, a count out)
};
enum class Shape : uint8_t { Vector, Matrix, Scalar };
enum class Elem : uint8_t { F32, F64, C64, C128, I32 };

template <class T> constexpr Elem elem_of() {
  if constexpr (std::is_same_v<T, float>) return Elem::F32;
  else if constexpr (std::is_same_v<T, double>) return Elem::F64;
  else if constexpr (std::is_same_v<T, cfloat>) return Elem::C64;
  else if constexpr (std::is_same_v<T, cdouble>) return Elem::C128;
  else {
    static_assert(std::is_same_v<T, int32_t>);
    return Elem::I32;
  }
}

// Bytes of one element, and where a vector's elements start in its block
// (after the length, rounded up to the element's alignment).
constexpr std::size_t element_size(Elem e) {
  switch (e) {
    case Elem::F32: case Elem::I32: return 4;
    case Elem::F64: case Elem::C64: return 8;
    case Elem::C128: return 16;
  }
  return 16;
}
constexpr std::size_t vector_offset(Elem e) {
  switch (e) {
    case Elem::F32: return layout::kVectorOffset<float>;
    case Elem::F64: return layout::kVectorOffset<double>;
    case Elem::C64: return layout::kVectorOffset<cfloat>;
    case Elem::C128: return layout::kVectorOffset<cdouble>;
    case Elem::I32: return layout::kVectorOffset<int32_t>;
  }
  return layout::kMatrixOffset;
}

struct Desc {
  Role role;
  Shape shape;
  Elem elem;
};

template <Role R, Shape S, class T> struct Kind {
  static constexpr Role role = R;
  static constexpr Shape shape = S;
  using type = T;
  static constexpr Desc desc{R, S, elem_of<T>()};
};

}  // namespace tarnx::arg

namespace tarnx {

template <class T> struct CTypeOf { using type = T; };
template <> struct CTypeOf<cfloat> { using type = ZwComplex64; };
template <> struct CTypeOf<cdouble> { using type = ZwComplex128; };

// The C type of an export parameter of kind K.
template <class K>
using CParam = std::conditional_t<
    K::role == arg::Role::Value, typename CTypeOf<typename K::type>::type,
    std::conditional_t<K::role == arg::Role::Ref, const typename CTypeOf<typename K::type>::type*,
                       std::conditional_t<K::role == arg::Role::Result || K::role == arg::Role::Update,
                                          typename CTypeOf<typename K::type>::type*, ZwArrayHandle>>>;

template <class T> using InMatrix = arg::Kind<arg::Role::In, arg::Shape::Matrix, T>;
template <class T> using InVector = arg::Kind<arg::Role::In, arg::Shape::Vector, T>;
template <class T> using OutMatrix = arg::Kind<arg::Role::Out, arg::Shape::Matrix, T>;
template <class T> using OutVector = arg::Kind<arg::Role::Out, arg::Shape::Vector, T>;
template <class T> using InOutMatrix = arg::Kind<arg::Role::InOut, arg::Shape::Matrix, T>;
template <class T> using InOutVector = arg::Kind<arg::Role::InOut, arg::Shape::Vector, T>;
template <class T> using Scratch = arg::Kind<arg::Role::Scratch, arg::Shape::Vector, T>;
template <class T> using PathScratch = arg::Kind<arg::Role::PathScratch, arg::Shape::Vector, T>;
// The float64 real workspace of the singular value kernel: only the complex
// types use it, the real ones leave it as the caller passed it.
template <class T>
using KernelRealWork = std::conditional_t<is_complex_v<T>, Scratch<double>, PathScratch<double>>;
template <class T> using Value = arg::Kind<arg::Role::Value, arg::Shape::Scalar, T>;
template <class T> using Ref = arg::Kind<arg::Role::Ref, arg::Shape::Scalar, T>;
template <class T> using Result = arg::Kind<arg::Role::Result, arg::Shape::Scalar, T>;
template <class T> using Update = arg::Kind<arg::Role::Update, arg::Shape::Scalar, T>;
}  // namespace tarnx

// TARNX_FOR_EACH_INDEXED(M, sep, a, b, c) -> M(3, a) sep() M(2, b) sep() M(1, c), up to 24:
// the arguments keep their order and each gets a distinct number.
#define TARNX_ARGC(...) TARNX_ARGC_(__VA_ARGS__, 24, 23, 22, 21, 20, 19, 18, 17, 16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1)
#define TARNX_ARGC_(a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, a11, a12, a13, a14, a15, a16, a17, a18, a19, a20, a21, a22, a23, a24, n, ...) n
#define TARNX_CAT(a, b) TARNX_CAT_(a, b)
#define TARNX_CAT_(a, b) a##b
#define TARNX_FOR_EACH_INDEXED(M, sep, ...) TARNX_CAT(TARNX_FE_, TARNX_ARGC(__VA_ARGS__))(M, sep, __VA_ARGS__)
#define TARNX_FE_1(M, s, x) M(1, x)
#define TARNX_FE_2(M, s, x, ...) M(2, x) s() TARNX_FE_1(M, s, __VA_ARGS__)
#define TARNX_FE_3(M, s, x, ...) M(3, x) s() TARNX_FE_2(M, s, __VA_ARGS__)
#define TARNX_FE_4(M, s, x, ...) M(4, x) s() TARNX_FE_3(M, s, __VA_ARGS__)
#define TARNX_FE_5(M, s, x, ...) M(5, x) s() TARNX_FE_4(M, s, __VA_ARGS__)
#define TARNX_FE_6(M, s, x, ...) M(6, x) s() TARNX_FE_5(M, s, __VA_ARGS__)
#define TARNX_FE_7(M, s, x, ...) M(7, x) s() TARNX_FE_6(M, s, __VA_ARGS__)
#define TARNX_FE_8(M, s, x, ...) M(8, x) s() TARNX_FE_7(M, s, __VA_ARGS__)
#define TARNX_FE_9(M, s, x, ...) M(9, x) s() TARNX_FE_8(M, s, __VA_ARGS__)
#define TARNX_FE_10(M, s, x, ...) M(10, x) s() TARNX_FE_9(M, s, __VA_ARGS__)
#define TARNX_FE_11(M, s, x, ...) M(11, x) s() TARNX_FE_10(M, s, __VA_ARGS__)
#define TARNX_FE_12(M, s, x, ...) M(12, x) s() TARNX_FE_11(M, s, __VA_ARGS__)
#define TARNX_FE_13(M, s, x, ...) M(13, x) s() TARNX_FE_12(M, s, __VA_ARGS__)
#define TARNX_FE_14(M, s, x, ...) M(14, x) s() TARNX_FE_13(M, s, __VA_ARGS__)
#define TARNX_FE_15(M, s, x, ...) M(15, x) s() TARNX_FE_14(M, s, __VA_ARGS__)
#define TARNX_FE_16(M, s, x, ...) M(16, x) s() TARNX_FE_15(M, s, __VA_ARGS__)
#define TARNX_FE_17(M, s, x, ...) M(17, x) s() TARNX_FE_16(M, s, __VA_ARGS__)
#define TARNX_FE_18(M, s, x, ...) M(18, x) s() TARNX_FE_17(M, s, __VA_ARGS__)
#define TARNX_FE_19(M, s, x, ...) M(19, x) s() TARNX_FE_18(M, s, __VA_ARGS__)
#define TARNX_FE_20(M, s, x, ...) M(20, x) s() TARNX_FE_19(M, s, __VA_ARGS__)
#define TARNX_FE_21(M, s, x, ...) M(21, x) s() TARNX_FE_20(M, s, __VA_ARGS__)
#define TARNX_FE_22(M, s, x, ...) M(22, x) s() TARNX_FE_21(M, s, __VA_ARGS__)
#define TARNX_FE_23(M, s, x, ...) M(23, x) s() TARNX_FE_22(M, s, __VA_ARGS__)
#define TARNX_FE_24(M, s, x, ...) M(24, x) s() TARNX_FE_23(M, s, __VA_ARGS__)
#define TARNX_COMMA() ,
#define TARNX_NOTHING()
