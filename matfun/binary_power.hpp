#pragma once
// The order of products of binary exponentiation, apart from what a product
// is, so that the count of products can be checked on its own.
#include <cstdint>
#include <utility>

namespace tarnx {

// P^m for m >= 1 over three buffers that take turns: multiply(x, y, out)
// forms out = x y (never into one of its operands), copy(from, to) copies.
// The factors of two are squared away first, so a power of two takes
// exactly log2 m products and any other at most 2 floor(log2 m). Returns
// the buffer holding the result; `p` is clobbered.
template <class Buffer, class Multiply, class Copy>
Buffer binary_power(Buffer p, Buffer q, Buffer r, uint32_t m, Multiply multiply, Copy copy) {
  while (m % 2 == 0) {
    multiply(p, p, q);
    std::swap(p, q);
    m /= 2;
  }
  copy(p, r);
  for (uint32_t e = m / 2; e != 0; e /= 2) {
    multiply(p, p, q);
    std::swap(p, q);
    if (e % 2 == 1) {
      multiply(p, r, q);
      std::swap(r, q);
    }
  }
  return r;
}

}  // namespace tarnx
