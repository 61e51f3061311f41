// Exports that multiply two sizes, given small inputs whose size product
// leaves int32: 65536 x 1 against 65537 x 1 is a valid Kronecker product of
// two small blocks whose row count, 4295032832, wraps to 65536 in 32 bits.
// Such a size is none a handle can hold, so the call is refused with -20001
// before anything is sized from it: the output comes back empty, the host
// is never asked for the memory, and no byte past any input is touched (the
// inputs end at a fence page) or written.
#include <functional>
#include <memory>
#include <string>

#include "blas/api.hpp"
#include "elementary/api.hpp"
#include "support/fenced_block.hpp"

namespace {

using namespace test;

template <class T> class SizeOverflowTest : public ::testing::Test {
 protected:
  Host host;

  ZwArrayHandle vector(int32_t n) {
    return fence(host.template vector<T>(std::vector<T>(n, T(1))),
                 vector_offset<T>() + sizeof(T) * static_cast<std::size_t>(n));
  }
  ZwArrayHandle matrix(int32_t r, int32_t c) {
    const std::size_t count = static_cast<std::size_t>(r) * c;
    return fence(host.template matrix<T>(r, c, std::vector<T>(count, T(1))), 8 + sizeof(T) * count);
  }

  enum class Output { Matrix, EmptyMatrix, EmptyVector };

  // Calls `call` with an output (by default a matrix of one element) and
  // checks the refusal.
  void expect_refused(const std::string& what, const std::function<int32_t(ZwArrayHandle)>& call,
                      Output kind = Output::Matrix) {
    ZwArrayHandle out = kind == Output::Matrix ? host.template filled<T>(1, 1, T(5)) : host.empty();
    const int64_t bytes = ZwrtLiveBytes();
    EXPECT_EQ(call(out), -20001) << what;
    EXPECT_EQ(rows(out), 0) << what;
    if (kind != Output::EmptyVector) {
      EXPECT_EQ(cols(out), 0) << what;
    }
    EXPECT_LE(ZwrtLiveBytes(), bytes) << what << ": the host was asked for memory";
    for (const auto& f : fenced_)
      EXPECT_EQ(std::memcmp(*f.copy->handle(), *f.source, f.bytes), 0) << what << ": an input was written";
  }

 private:
  struct Fenced {
    ZwArrayHandle source;
    std::size_t bytes;
    std::unique_ptr<FencedBlock> copy;
  };
  // A copy of the block behind a fence page; the original stays for comparison.
  ZwArrayHandle fence(ZwArrayHandle source, std::size_t bytes) {
    fenced_.push_back({source, bytes, std::make_unique<FencedBlock>(source, bytes)});
    return fenced_.back().copy->handle();
  }
  std::vector<Fenced> fenced_;
};
TYPED_TEST_SUITE(SizeOverflowTest, ElementTypes);

// Rows or columns of C that wrap (65536 x 65537 to 65536, 65536 x 65536 to
// 0, 65535 x 65537 to -1), or pass 2^31 - 1 just (46341 x 46341), or fit 32
// bits but not the resize's guard (46340 x 46340, and a 65536 x 65537 C).
TYPED_TEST(SizeOverflowTest, KroneckerProduct) {
  const auto kron = Api<TypeParam>::kron;
  for (auto [p, r] : {std::pair{65536, 65537}, {65536, 65536}, {65535, 65537}, {46341, 46341}, {46340, 46340}}) {
    const std::string sizes = std::to_string(p) + " (x) " + std::to_string(r);
    ZwArrayHandle column_a = this->matrix(p, 1), column_b = this->matrix(r, 1);
    this->expect_refused("columns " + sizes, [&](ZwArrayHandle c) { return kron(column_a, column_b, c); });
    ZwArrayHandle row_a = this->matrix(1, p), row_b = this->matrix(1, r);
    this->expect_refused("rows " + sizes, [&](ZwArrayHandle c) { return kron(row_a, row_b, c); });
  }
  ZwArrayHandle a = this->matrix(65536, 1), b = this->matrix(1, 65537);
  this->expect_refused("column (x) row", [&](ZwArrayHandle c) { return kron(a, b, c); });
}

TYPED_TEST(SizeOverflowTest, OuterAndMatrixProducts) {
  using A = Api<TypeParam>;
  for (auto [m, n] : {std::pair{65536, 65537}, {46341, 46341}}) {
    ZwArrayHandle x = this->vector(m), y = this->vector(n);
    this->expect_refused("outer " + std::to_string(m), [&](ZwArrayHandle c) { return A::outer(x, y, c); });
    ZwArrayHandle column = this->matrix(m, 1), row = this->matrix(1, n);
    this->expect_refused("product " + std::to_string(m), [&](ZwArrayHandle c) { return A::mul(column, row, c); });
  }
}

TYPED_TEST(SizeOverflowTest, SpecialMatrices) {
  const auto special = Api<TypeParam>::special;
  constexpr int kIdentity = 0, kDiagonal = 1, kToeplitz = 2, kVandermonde = 3, kCompanion = 4, kHankel = 5;
  ZwArrayHandle none = this->vector(0), x = this->vector(46341), coefficients = this->vector(46342);
  ZwArrayHandle long_x = this->vector(65536), long_y = this->vector(65537);
  const std::tuple<const char*, int, int, ZwArrayHandle, ZwArrayHandle> cases[] = {
      {"identity", kIdentity, 46341, none, none},     {"identity", kIdentity, 65537, none, none},
      {"diagonal", kDiagonal, 0, x, none},            {"Vandermonde", kVandermonde, 0, x, none},
      {"companion", kCompanion, 0, coefficients, none}, {"Toeplitz", kToeplitz, 0, long_x, long_y},
      {"Hankel", kHankel, 0, long_x, long_y}};
  for (const auto& [what, type, size, in_x, in_y] : cases)
    this->expect_refused(what, [&](ZwArrayHandle c) { return special(type, size, in_x, in_y, c); });
}

// An empty C or y is created to hold the result: 65536 x 65537 for C, and
// 65537 (65536 - 1) + 1 elements for y taken 65537 apart.
TYPED_TEST(SizeOverflowTest, BlasOutputsCreatedFromTheSizes) {
  using T = TypeParam;
  using B = Blas<T>;
  constexpr int32_t kRowMajor = 101, kNoTrans = 111, kCheck = 1;
  T one(1), zero(0);
  ZwArrayHandle a = this->matrix(65536, 1), b = this->matrix(1, 65537), x = this->vector(1);
  this->expect_refused("gemm", [&](ZwArrayHandle c) {
    return B::gemm(a, b, c, c_ptr(&one), c_ptr(&zero), 65536, 65537, 1, kNoTrans, kNoTrans, 0, 0, 0, 0, 0, 0,
                   1, 65537, 0, kRowMajor, kCheck);
  }, TestFixture::Output::EmptyMatrix);
  this->expect_refused("gemv", [&](ZwArrayHandle y) {
    return B::gemv(a, x, y, c_ptr(&one), c_ptr(&zero), kNoTrans, 1, 65537, 65536, 1, 0, 0, 0, 0, 1, kRowMajor,
                   kCheck);
  }, TestFixture::Output::EmptyVector);
}

}  // namespace
