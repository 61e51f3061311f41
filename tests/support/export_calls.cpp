#include "support/export_calls.hpp"

#include "frame/status.hpp"
#include "support/test_os.hpp"

#include <cmath>
#include <cstring>
#include <map>

namespace test {
namespace {

using tarnx::arg::Elem;
using tarnx::arg::Role;
using tarnx::arg::Shape;

// Scalar arguments by name: what a well-formed call passes. Names the table
// does not list here get 0.
int32_t default_int(std::string_view name, int n) {
  static const std::map<std::string_view, int> by_name = {
      {"layout", 101}, {"trans", 111}, {"transA", 111}, {"transB", 111}, {"side", 141},
      {"uplo", 121}, {"diag", 131}, {"incx", 1}, {"incy", 1}, {"checkArguments", 1},
      {"power", 3}, {"p", -3}, {"maxIterations", 50}, {"iterations", 50}, {"method", 0}, {"normType", 0}, {"mode", 0},
      {"computeVectors", 1},
  };
  for (std::string_view dim : {"M", "N", "K", "lda", "ldb", "ldc", "order", "n", "size"})
    if (name == dim) return n;
  auto it = by_name.find(name);
  return it != by_name.end() ? it->second : 0;
}

double default_real(std::string_view name) {
  if (name == "p" || name == "order") return 2.0;
  if (name == "tolerance" || name == "tol") return -1.0;
  return 1.0;
}

// A well-conditioned Hermitian positive definite matrix: a safe input for
// every operation that takes a matrix (solves, factorizations, functions).
template <class T> std::vector<T> good_matrix(int n) {
  std::vector<T> a(static_cast<std::size_t>(n) * n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      double v = i == j ? n + 1.0 : 1.0 / (1 + i + j);
      if constexpr (is_complex<T>) {
        const double im = i == j ? 0.0 : (i < j ? 0.25 : -0.25) / (1 + i + j);
        a[i * n + j] = T(RealOf<T>(v), RealOf<T>(im));
      } else {
        a[i * n + j] = T(v);
      }
    }
  return a;
}

template <class T> std::vector<T> good_vector(int n) {
  std::vector<T> v(n);
  for (int i = 0; i < n; ++i) v[i] = T(RealOf<T>(1.0 + i * 0.5));
  return v;
}

template <class T> ZwArrayHandle make_input(Host& host, Shape shape, int n) {
  return shape == Shape::Matrix ? host.matrix<T>(n, n, good_matrix<T>(n)) : host.vector<T>(good_vector<T>(n));
}

ZwArrayHandle input_handle(Host& host, Shape shape, Elem elem, int n) {
  switch (elem) {
    case Elem::F32: return make_input<float>(host, shape, n);
    case Elem::F64: return make_input<double>(host, shape, n);
    case Elem::C64: return make_input<cfloat>(host, shape, n);
    case Elem::C128: return make_input<cdouble>(host, shape, n);
    case Elem::I32: return shape == Shape::Matrix ? host.matrix<int32_t>(n, n, std::vector<int32_t>(n * n, 1))
                                                  : host.vector<int32_t>(std::vector<int32_t>(n, 1));
  }
  return nullptr;
}

void store_real(void* p, Elem elem, double v) {
  switch (elem) {
    case Elem::F32: { float f = float(v); std::memcpy(p, &f, 4); break; }
    case Elem::F64: std::memcpy(p, &v, 8); break;
    case Elem::C64: { float f[2] = {float(v), 0}; std::memcpy(p, f, 8); break; }
    case Elem::C128: { double d[2] = {v, 0}; std::memcpy(p, d, 16); break; }
    case Elem::I32: { int32_t i = int32_t(v); std::memcpy(p, &i, 4); break; }
  }
}

// The failure NaN's exact bits, in both parts of a complex result.
bool is_failure_nan(const void* p, Elem elem) {
  switch (elem) {
    case Elem::F32: case Elem::C64: {
      uint32_t w[2];
      std::memcpy(w, p, elem == Elem::F32 ? 4 : 8);
      return w[0] == 0x7FC00000u && (elem == Elem::F32 || w[1] == 0x7FC00000u);
    }
    case Elem::F64: case Elem::C128: {
      uint64_t w[2];
      std::memcpy(w, p, elem == Elem::F64 ? 8 : 16);
      return w[0] == 0x7FF8000000000000ull && (elem == Elem::F64 || w[1] == 0x7FF8000000000000ull);
    }
    case Elem::I32: return true;
  }
  return true;
}

bool is_empty(ZwArrayHandle h, Shape shape) {
  const auto* d = reinterpret_cast<const int32_t*>(*h);
  return shape == Shape::Matrix ? d[0] == 0 && d[1] == 0 : d[0] == 0;
}

}  // namespace

void* library_handle() {
  static void* lib = os::loaded_library(os::kLibraryFile);
  return lib;
}

PreparedCall::PreparedCall(const tarnx::ExportInfo& info, Host& host, int n)
    : info_(&info), address_(os::symbol(library_handle(), std::string(info.name).c_str())) {
  slots_.resize(info.args.size());
  scalars_.resize(info.args.size());
  passed_.resize(info.args.size());
  blocks_.resize(info.args.size());
  for (std::size_t i = 0; i < info.args.size(); ++i) {
    const auto& a = info.args[i];
    tarnx::ArgSlot& s = slots_[i];
    switch (a.kind.role) {
      case Role::In:
      case Role::InOut:
        s.handle = input_handle(host, a.kind.shape, a.kind.elem, n);
        break;
      case Role::Out:
      case Role::Scratch:
        s.handle = host.empty();
        break;
      case Role::PathScratch:
        // Not empty, so that a path that leaves it alone can be told from
        // one that empties it.
        s.handle = input_handle(host, Shape::Vector, a.kind.elem, 3);
        break;
      case Role::Value:
        std::memset(&s, 0, sizeof s);
        if (a.kind.elem == Elem::I32) s.i32 = default_int(a.name, n);
        else store_real(&s, a.kind.elem, default_real(a.name));
        break;
      case Role::Ref:
      case Role::Result:
      case Role::Update:
        scalars_[i].assign(16, 0);
        if (a.kind.role == Role::Ref) store_real(scalars_[i].data(), a.kind.elem, 1.0);
        if (a.kind.role == Role::Update) store_real(scalars_[i].data(), a.kind.elem, default_int(a.name, n));
        s.pointer = scalars_[i].data();
        break;
    }
  }
}

std::vector<unsigned char> PreparedCall::snapshot() const {
  std::vector<unsigned char> bytes;
  auto append = [&](const void* p, std::size_t n) {
    auto* b = static_cast<const unsigned char*>(p);
    bytes.insert(bytes.end(), b, b + n);
  };
  for (std::size_t i = 0; i < info_->args.size(); ++i) {
    const auto& a = info_->args[i];
    const std::size_t size = element_size(a.kind.elem);
    if (a.kind.role == Role::Out || a.kind.role == Role::InOut) {
      ZwArrayHandle h = slots_[i].handle;
      if (a.kind.shape == Shape::Matrix) {
        append(*h, 8 + size * static_cast<std::size_t>(rows(h)) * cols(h));
      } else {
        const std::size_t offset = vector_offset(a.kind.elem);
        append(*h, offset + size * static_cast<std::size_t>(length(h)));
      }
    } else if (a.kind.role == Role::Result || a.kind.role == Role::Update) {
      append(slots_[i].pointer, size);
    }
  }
  return bytes;
}

std::vector<unsigned char> block_bytes(ZwArrayHandle h, Shape shape, Elem elem) {
  const auto* block = reinterpret_cast<const unsigned char*>(*h);
  const auto* d = reinterpret_cast<const int32_t*>(block);
  const auto count = [](int32_t v) { return std::size_t(v < 0 ? 0 : v); };
  const std::size_t bytes = shape == Shape::Matrix
                                ? 8 + element_size(elem) * count(d[0]) * count(d[1])
                                : vector_offset(elem) + element_size(elem) * count(d[0]);
  return std::vector<unsigned char>(block, block + bytes);
}

int32_t PreparedCall::call() {
  // What must come back unchanged: input blocks (address and bytes), scalars
  // passed by reference, and workspace that the path taken may leave alone.
  for (std::size_t i = 0; i < info_->args.size(); ++i) {
    const auto& a = info_->args[i];
    passed_[i].clear();
    blocks_[i] = nullptr;
    if (a.kind.role == Role::In) {
      blocks_[i] = *slots_[i].handle;
      passed_[i] = block_bytes(slots_[i].handle, a.kind.shape, a.kind.elem);
    } else if (a.kind.role == Role::PathScratch && slots_[i].handle != nullptr) {
      passed_[i] = block_bytes(slots_[i].handle, Shape::Vector, a.kind.elem);
    } else if (a.kind.role == Role::Ref) {
      const auto* p = static_cast<const unsigned char*>(slots_[i].pointer);
      passed_[i].assign(p, p + 16);
    }
  }
  return info_->invoke(address_, slots_.data());
}

std::string PreparedCall::broken_promise(int32_t status) const {
  const std::string st = " (status " + std::to_string(status) + ")";
  if (!tarnx::is_known_status(status)) return std::string(info_->name) + ": status outside the code table" + st;
  for (std::size_t i = 0; i < info_->args.size(); ++i) {
    const auto& a = info_->args[i];
    const std::string what = std::string(info_->name) + " argument " + std::string(a.name) + ": ";
    const ZwArrayHandle h = slots_[i].handle;
    switch (a.kind.role) {
      case Role::In:
        if (*h != blocks_[i]) return what + "input block resized" + st;
        if (block_bytes(h, a.kind.shape, a.kind.elem) != passed_[i]) return what + "input changed" + st;
        break;
      case Role::Ref:
        if (std::memcmp(slots_[i].pointer, passed_[i].data(), 16) != 0) return what + "scalar input changed" + st;
        break;
      case Role::Scratch:
        if (h != nullptr && !is_empty(h, Shape::Vector))
          return what + "scratch handle left with " + std::to_string(length(h)) + " elements" + st;
        break;
      case Role::PathScratch:
        // A path that uses it empties it; the others leave it as passed.
        if (h != nullptr && !is_empty(h, Shape::Vector) && block_bytes(h, Shape::Vector, a.kind.elem) != passed_[i])
          return what + "scratch handle neither emptied nor left as passed" + st;
        break;
      case Role::Out:
      case Role::InOut:
        // Reading every element the sizes promise catches sizes that outrun
        // their block (under the sanitizers).
        (void)block_bytes(h, a.kind.shape, a.kind.elem);
        if (tarnx::failed(status) && !is_empty(h, a.kind.shape)) return what + "output not emptied after a failure" + st;
        break;
      case Role::Result:
      case Role::Update:
        if (tarnx::failed(status) && !is_failure_nan(slots_[i].pointer, a.kind.elem))
          return what + "result is not the failure NaN" + st;
        break;
      case Role::Value:
        break;
    }
  }
  return {};
}

}  // namespace test
