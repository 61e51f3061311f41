// Cholesky factorization in place: A = L L^H or A = U^H U.
#include <algorithm>

#include "frame/export.hpp"
#include "frame/parallel.hpp"
#include "frame/workspace.hpp"

namespace tarnx {
namespace {

constexpr int32_t kLowerFactor = 0;
constexpr int32_t kUpperFactor = 1;

// Factors the n x n row-major block in place. The core sees the block as its
// transpose, so asking it for the upper triangle reads and writes our lower
// one (and the reverse). For Hermitian A the transpose is the conjugate, and
// the conjugate of the core's factor read transposed is our factor: no copy
// and no conjugation is needed. Only the factor's triangle is read.
// On any failure the export empties the matrix: a half-overwritten input is
// never handed back.
template <class T> int32_t CholeskyFront(Handle a, int32_t factor_kind) {
  const int32_t n = rows(a);
  if (cols(a) != n) return NotSquare;
  if (n <= 0) return EmptyInput;
  if (factor_kind != kLowerFactor && factor_kind != kUpperFactor) return SelectorOutOfRange;
  T* const data = matrix_data<T>(a);
  const char* uplo = factor_kind == kLowerFactor ? "U" : "L";
  int order = n, info = 0;
  Core<T>::potrf(uplo, &order, data, &order, &info);
  if (int32_t status = status_from_info(info, NotPositiveDefinite); status != Ok) return status;

  // The other triangle still holds the caller's values: clear it. Rows i
  // and n-1-i together hold n-1 of them, so threads given equal numbers of
  // such pairs get equal shares.
  const auto clear_row = [&](int32_t i) {
    T* row = data + static_cast<std::size_t>(i) * n;
    if (factor_kind == kLowerFactor) std::fill(row + i + 1, row + n, T(0));
    else std::fill(row, row + i, T(0));
  };
  const int64_t bytes = static_cast<int64_t>(sizeof(T)) * element_count(n, n) / 2;
  parallel::split((n + 1) / 2, 1, parallel::threads_for(bytes), [&](int64_t begin, int64_t end) {
    for (int64_t pair = begin; pair < end; ++pair) {
      const int32_t i = static_cast<int32_t>(pair);
      clear_row(i);
      if (n - 1 - i != i) clear_row(n - 1 - i);
    }
  });
  return Ok;
}

}  // namespace

#include "factor/cholesky.exports"

}  // namespace tarnx
