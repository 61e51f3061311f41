// libFuzzer target over every export of the export table.
//
// One input is one call. It names the export (its name followed by a NUL; a
// name that matches no export picks one by hash, so mutated inputs still land
// somewhere), then gives one header byte and, per argument, a mode byte with
// whatever that mode reads next. Mode 0, and every byte past the end of the
// input, keeps the well-formed argument that the test support makes for that
// export, so the empty tail of an input is a valid call and the fuzzer starts
// from the library's working paths and bends one argument at a time.
//
// After each call the promises that hold whatever the inputs are checked:
// the status is one of the library's codes; every scratch handle is empty;
// after a failure every array output is empty and every floating result holds
// the failure NaN; inputs and by-reference scalars are untouched; the library
// made and kept no handle and no byte. A broken promise aborts, so libFuzzer
// keeps the input as a crash.
#include <dlfcn.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "frame/status.hpp"
#include "support/export_calls.hpp"

namespace {

using tarnx::arg::Elem;
using tarnx::arg::Role;
using tarnx::arg::Shape;
using test::Host;

[[noreturn]] void broken(std::string_view export_name, const std::string& what) {
  std::fprintf(stderr, "\n*** %.*s: %s\n", int(export_name.size()), export_name.data(), what.c_str());
  std::fflush(stderr);
  std::abort();
}

// Reads the input front to back; past its end every read gives 0.
class Input {
 public:
  Input(const uint8_t* data, std::size_t size) : p_(data), end_(data + size) {}
  uint8_t byte() { return p_ < end_ ? *p_++ : 0; }
  int32_t i32() {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v |= uint32_t(byte()) << (8 * i);
    return static_cast<int32_t>(v);
  }
  // The export name: bytes up to a NUL, at most 40.
  std::string_view name() {
    const uint8_t* start = p_;
    while (p_ < end_ && *p_ != 0 && p_ - start < 40) ++p_;
    std::string_view s(reinterpret_cast<const char*>(start), std::size_t(p_ - start));
    if (p_ < end_ && *p_ == 0) ++p_;
    return s;
  }

 private:
  const uint8_t* p_;
  const uint8_t* end_;
};

// A component value: mostly small exact numbers, and one byte in eight a
// value that numerical code has to survive (NaN with and without sign and
// payload, infinities, the extreme finite magnitudes the screen refuses or
// just lets through, subnormals, negative zero, values whose square
// overflows or underflows).
template <class R> R component(uint8_t b) {
  using L = std::numeric_limits<R>;
  if (b < 224) return R(int(b) - 112) / R(16);
  switch (b - 224) {
    case 0: return L::quiet_NaN();
    case 1: return -L::quiet_NaN();
    case 2: return L::infinity();
    case 3: return -L::infinity();
    case 4: return L::max();
    case 5: return L::lowest();
    case 6: return std::nextafter(L::max(), R(0));
    case 7: return std::nextafter(L::lowest(), R(0));
    case 8: return L::min();
    case 9: return L::denorm_min();
    case 10: return -R(0);
    case 11: return std::sqrt(L::max()) * R(2);
    case 12: return -std::sqrt(L::max()) * R(2);
    case 13: return std::sqrt(L::min()) / R(2);
    case 14: return L::epsilon();
    case 15: return L::signaling_NaN();
    case 16: return std::is_same_v<R, double> ? R(-1.7976931348623e+308) : -L::max() / R(2);
    case 17: return R(1e6);
    case 18: return R(-1e-6);
    default: return R(b - 240);
  }
}

template <class T> T element(Input& in) {
  if constexpr (test::is_complex<T>) {
    using R = test::RealOf<T>;
    const R re = component<R>(in.byte());
    return T(re, component<R>(in.byte()));
  } else {
    return component<T>(in.byte());
  }
}

// Sizes near the edges of the resize guard, int32 extremes, every selector
// value and its neighbours.
constexpr int32_t kPalette[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, -1, -2, -3, 100, 101, 102, 103,
                                110, 111, 112, 113, 114, 120, 121, 122, 130, 131, 132,
                                140, 141, 142, 9, 16, 46341, 65536, INT_MAX, INT_MIN,
                                INT_MAX / 2, -65536, 1 << 20, 50, 2, 1, 46340, 46342, 65535, 65537};

// The long sides of thin blocks: any two of them multiply past int32 (or,
// 46340 x 46340, past what the resize guard lets through), as 65536 x 65537
// wraps to 65536 and 46341 x 46341 to a negative count.
constexpr int32_t kLongSides[] = {46340, 46341, 46342, 65535, 65536, 65537};

int32_t integer(Input& in) {
  // Now and then any int32.
  const uint8_t b = in.byte();
  if (b >= 0xF0) return in.i32();
  return kPalette[b % (sizeof kPalette / sizeof kPalette[0])];
}

// The byte that `integer` reads as `value` from the palette.
uint8_t palette_byte(int32_t value) {
  for (std::size_t i = 0; i < sizeof kPalette / sizeof kPalette[0]; ++i)
    if (kPalette[i] == value) return uint8_t(i);
  return 0;
}

int dim(Input& in) {
  const uint8_t b = in.byte();
  if (b < 0xF0) return b % 9;
  static const int big[] = {10, 12, 16, 17, 23, 31, 1, 0};
  return big[b % 8];
}

// A handle for an argument with the element type of the export's argument.
template <class T> ZwArrayHandle make_handle(Host& host, Shape shape, int r, int c, int fill, Input& in) {
  const std::size_t n = shape == Shape::Matrix ? std::size_t(r) * c : std::size_t(r);
  std::vector<T> v(n);
  if constexpr (std::is_same_v<T, int32_t>) {
    for (auto& x : v) x = fill == 0 ? 1 : integer(in);
  } else {
    for (std::size_t k = 0; k < n; ++k) {
      // fill 0: a diagonally dominant Hermitian matrix (safe for every
      // operation); 1: every element from the input; 2: the safe matrix
      // with one element from the input.
      const std::size_t i = shape == Shape::Matrix && c ? k / c : k, j = shape == Shape::Matrix && c ? k % c : 0;
      v[k] = i == j ? T(test::RealOf<T>(r + 1)) : T(test::RealOf<T>(1.0 / (1 + i + j)));
    }
    if (fill == 1)
      for (auto& x : v) x = element<T>(in);
    if (fill == 2 && n > 0) v[in.byte() % n] = element<T>(in);
  }
  return shape == Shape::Matrix ? host.matrix<T>(r, c, v) : host.vector<T>(v);
}

ZwArrayHandle handle_for(Host& host, Elem elem, Shape shape, int r, int c, int fill, Input& in) {
  switch (elem) {
    case Elem::F32: return make_handle<float>(host, shape, r, c, fill, in);
    case Elem::F64: return make_handle<double>(host, shape, r, c, fill, in);
    case Elem::C64: return make_handle<test::cfloat>(host, shape, r, c, fill, in);
    case Elem::C128: return make_handle<test::cdouble>(host, shape, r, c, fill, in);
    case Elem::I32: return make_handle<int32_t>(host, shape, r, c, fill, in);
  }
  return nullptr;
}

template <class R> void store_component(void* p, uint8_t b) {
  const R v = component<R>(b);
  std::memcpy(p, &v, sizeof v);
}

// A scalar of the argument's element type into `p` (a slot or a Ref cell).
void scalar(void* p, Elem elem, Input& in) {
  auto* bytes = static_cast<unsigned char*>(p);
  switch (elem) {
    case Elem::I32: { const int32_t v = integer(in); std::memcpy(p, &v, 4); break; }
    case Elem::F32: store_component<float>(p, in.byte()); break;
    case Elem::F64: store_component<double>(p, in.byte()); break;
    case Elem::C64: store_component<float>(p, in.byte()); store_component<float>(bytes + 4, in.byte()); break;
    case Elem::C128: store_component<double>(p, in.byte()); store_component<double>(bytes + 8, in.byte()); break;
  }
}



const tarnx::ExportInfo& pick_export(Input& in) {
  const auto table = tarnx::export_table();
  const std::string_view name = in.name();
  if (const tarnx::ExportInfo* e = tarnx::find_export(name)) return *e;
  uint32_t hash = 2166136261u;
  for (char ch : name) hash = (hash ^ uint8_t(ch)) * 16777619u;
  return table[hash % table.size()];
}

// Array-input modes from here up make a long thin block.
constexpr uint8_t kLongMode = 0xFC;

void run(const uint8_t* data, std::size_t size) {
  Input in(data, size);
  const tarnx::ExportInfo& info = pick_export(in);
  // Header: the size of the well-formed arguments (0 to 7), whether every
  // resize moves its block, and, with the top bit set, which of the call's
  // first eight resizes fails.
  const uint8_t header = in.byte();
  const int n = header & 7;
  const bool move = header & 8;
  const int fail_at = header & 0x80 ? ((header >> 4) & 7) + 1 : 0;

  const int64_t handles_before = ZwrtLiveHandles();
  const int64_t bytes_before = ZwrtLiveBytes();
  {
    Host host(false);
    test::PreparedCall call(info, host, n);
    if (call.address() == nullptr) broken(info.name, "in the table but not exported");
    auto& slots = call.slots();
    std::vector<std::vector<unsigned char>> ref_cells(info.args.size());

    for (std::size_t i = 0; i < info.args.size(); ++i) {
      const auto& a = info.args[i];
      const uint8_t mode = in.byte();
      if (mode == 0) continue;
      switch (a.kind.role) {
        case Role::In:
        case Role::InOut: {
          if (mode >= kLongMode) {
            // A valid block long on one side only: exports that multiply two
            // sizes meet products past int32 from small inputs.
            const int side = kLongSides[in.byte() % (sizeof kLongSides / sizeof kLongSides[0])];
            // Odd modes make a matrix one row long; a vector is long either way.
            const bool row = (mode & 1) && a.kind.shape == Shape::Matrix;
            slots[i].handle = handle_for(host, a.kind.elem, a.kind.shape, row ? 1 : side, row ? side : 1, 0, in);
            break;
          }
          const int r = dim(in);
          const int c = (mode & 1) ? r : dim(in);  // odd modes: square
          slots[i].handle = handle_for(host, a.kind.elem, a.kind.shape, r, c, (mode >> 1) % 3, in);
          break;
        }
        case Role::Out:
          // An output that already holds something, as reused outputs do
          // (right shape or not).
          if (mode & 1) {
            const int r = dim(in), c = dim(in);
            slots[i].handle = handle_for(host, a.kind.elem, a.kind.shape, r, c, 1, in);
          }
          break;
        case Role::Scratch:
        case Role::PathScratch:
          if (mode & 1) slots[i].handle = nullptr;
          else slots[i].handle = handle_for(host, a.kind.elem, Shape::Vector, dim(in), 0, 1, in);
          break;
        case Role::Value:
          // A call that turns the argument checks off promises sizes that
          // fit its handles and gets no protection by design; the fuzzer
          // keeps the checks on.
          if (a.name == "checkArguments") break;
          scalar(&slots[i], a.kind.elem, in);
          break;
        case Role::Ref:
        case Role::Update:
          ref_cells[i].assign(16, 0);
          scalar(ref_cells[i].data(), a.kind.elem, in);
          slots[i].pointer = ref_cells[i].data();
          break;
        case Role::Result:
          break;
      }
    }

    // Every array input moves to a block with a spare row after its
    // elements. The core's strided complex dot product (used by the positive
    // definite inverse, among others) reads one stride past the last element
    // it sums; from a host block that ends at a page boundary that read
    // faults. The library cannot stop the core from doing so; the slack keeps
    // the fuzzer on the library's own faults. docs/reliability.md has the
    // details.
    std::vector<ZwArrayHandle> slack_handles;
    for (std::size_t i = 0; i < info.args.size(); ++i) {
      const auto& a = info.args[i];
      if (a.kind.role != Role::In && a.kind.role != Role::InOut) continue;
      const std::vector<unsigned char> bytes = test::block_bytes(slots[i].handle, a.kind.shape, a.kind.elem);
      const auto* d = reinterpret_cast<const int32_t*>(bytes.data());
      const std::size_t row = element_size(a.kind.elem) * std::size_t(std::max(d[0], a.kind.shape == Shape::Matrix ? d[1] : 0) + 4);
      auto h = reinterpret_cast<ZwArrayHandle>(AZNewHandle(bytes.size() + row));
      std::memcpy(*h, bytes.data(), bytes.size());
      slack_handles.push_back(h);
      slots[i].handle = h;
    }
    struct Dispose {
      std::vector<ZwArrayHandle>& v;
      ~Dispose() {
        for (ZwArrayHandle h : v) AZDisposeHandle(reinterpret_cast<void**>(h));
      }
    } dispose{slack_handles};

    ZwrtMoveOnResize(move);
    if (fail_at) ZwrtFailNthResize(fail_at);
    const int32_t status = call.call();
    ZwrtFailNthResize(0);
    ZwrtMoveOnResize(0);

    // TARNX_FUZZ_TRACE=1 names each call, for reading a crash or slow input.
    static const bool trace = std::getenv("TARNX_FUZZ_TRACE") != nullptr;
    if (trace) std::fprintf(stderr, "%.*s -> %d\n", int(info.name.size()), info.name.data(), status);
    if (const std::string why = call.broken_promise(status); !why.empty()) broken(info.name, why);
  }
  if (ZwrtLiveHandles() != handles_before) broken(info.name, "handles leaked");
  if (ZwrtLiveBytes() != bytes_before) broken(info.name, "host memory leaked");
}

// A seed: the export's name, a NUL, a header for 4 x 4 arguments, then the
// argument bytes.
void write_seed(const std::string& dir, std::string_view name, const std::vector<uint8_t>& args,
                const std::string& suffix = "") {
  const std::string path = dir + "/" + std::string(name) + suffix;
  if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
    std::fwrite(name.data(), 1, name.size(), f);
    std::fputc(0, f);
    std::fputc(4, f);
    std::fwrite(args.data(), 1, args.size(), f);
    std::fclose(f);
  }
}

// For every export with two array inputs or with size arguments, seeds whose
// sizes multiply past int32: the first two array inputs become thin blocks
// long on one side (three pairs of orientations), a later input-output starts
// empty so that it is created from the sizes, and the sizes M, N and size
// take the same long values, K 1. Every other argument keeps its well-formed
// value.
void write_long_seeds(const std::string& dir, const tarnx::ExportInfo& info) {
  constexpr std::pair<int32_t, int32_t> kPairs[] = {{65536, 65537}, {65536, 65536}, {46341, 46341}};
  // Both columns (rows of C wrap in a Kronecker product), column and row
  // (the m x n of an outer or matrix product), both rows (columns wrap).
  constexpr int kOrientations[] = {0, 2, 3};
  std::set<std::vector<uint8_t>> written;
  auto side_byte = [](int32_t side) {
    for (std::size_t i = 0; i < sizeof kLongSides / sizeof kLongSides[0]; ++i)
      if (kLongSides[i] == side) return uint8_t(i);
    return uint8_t(0);
  };
  int seed = 0;
  for (const auto& [first, second] : kPairs)
    for (const int orientation : kOrientations) {
      std::vector<uint8_t> args;
      int arrays = 0, sizes = 0;
      for (const auto& a : info.args) {
        const bool array_input = a.kind.role == Role::In || a.kind.role == Role::InOut;
        if (array_input && arrays < 2) {
          const int32_t side = arrays == 0 ? first : second;
          const bool row = a.kind.shape == Shape::Matrix && ((orientation >> arrays) & 1);
          args.push_back(uint8_t(kLongMode | row));
          args.push_back(side_byte(side));
          ++arrays;
        } else if (a.kind.role == Role::InOut) {
          args.insert(args.end(), {2, 0, 0});  // an empty output, created from the sizes
        } else if (a.kind.role == Role::Value && a.kind.elem == Elem::I32 &&
                   (a.name == "M" || a.name == "N" || a.name == "size" || a.name == "K")) {
          args.push_back(1);  // any mode but 0 reads the value
          args.push_back(palette_byte(a.name == "K" ? 1 : a.name == "N" ? second : first));
          ++sizes;
        } else {
          args.push_back(0);
        }
      }
      if (arrays < 2 && sizes == 0) return;
      // Vectors have no orientation: their seeds would repeat.
      if (written.insert(args).second) write_seed(dir, info.name, args, "-long-" + std::to_string(seed++));
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // The calls resolve the library's exports through the loaded library.
  if (test::library_handle() == nullptr) {
    std::fprintf(stderr, "TARNX_LINALG.so is not loaded\n");
    std::abort();
  }
  // `TARNX_FUZZ_SEEDS=dir` writes one seed per export (its name, a NUL and
  // a header for 4 x 4 arguments) and stops: the committed corpus comes from
  // here, and new exports get a seed the same way.
  if (const char* dir = std::getenv("TARNX_FUZZ_SEEDS")) {
    for (const tarnx::ExportInfo& info : tarnx::export_table()) {
      write_seed(dir, info.name, {});
      write_long_seeds(dir, info);
    }
    std::exit(0);
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  run(data, size);
  return 0;
}
