// Loads the library in a fresh process, as a host does, and reports what it
// saw on standard output, one "key=value" a line.
//   probe load LIB        start-up: the OpenMP variable and the core
//   probe nohost LIB      call with no host module in the process
//   probe missing LIB     call with a host module that lacks NumericArrayResize
//   probe zwffrt LIB DIR  call with only DIR/zwffrt.so loaded as host
//   probe main LIB ZWRT   call from a main program that exports the host
//   probe threads LIB     load, then start and end three threads; a core
//                         that counts its per-thread releases reports them
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "support/test_os.hpp"

#include "frame/handle_layout.hpp"

extern "C" void** AZNewHandle(std::size_t bytes);

// The probe exits without giving back what it made; that is not the
// library's leak, so a sanitized build of the probe does not report it.
extern "C" const char* __asan_default_options() { return "detect_leaks=0"; }
extern "C" long FakeHostResizeCount();

namespace {

void print_env(const char* key) {
  const char* v = test::os::env("KMP_DUPLICATE_LIB_OK");
  std::printf("%s=%s\n", key, v != nullptr ? v : "(unset)");
}

void** matrix(int32_t r, int32_t c, double value) {
  void** h = AZNewHandle(tarnx::layout::kMatrixOffset + sizeof(double) * static_cast<std::size_t>(r * c));
  auto* d = static_cast<int32_t*>(*h);
  d[0] = r;
  d[1] = c;
  auto* v = reinterpret_cast<double*>(static_cast<char*>(*h) + tarnx::layout::kMatrixOffset);
  for (int i = 0; i < r * c; ++i) v[i] = value;
  return h;
}

// One product through the library; its status says whether the core works.
int call_product(void* lib) {
  using Fn = int32_t (*)(void**, void**, void**);
  auto fn = reinterpret_cast<Fn>(test::os::symbol(lib, "dMtrxMulH"));
  void** a = matrix(2, 2, 1.0);
  void** b = matrix(2, 2, 2.0);
  void** c = matrix(0, 0, 0.0);
  const int32_t status = fn(a, b, c);
  const double* out = reinterpret_cast<double*>(static_cast<char*>(*c) + tarnx::layout::kMatrixOffset);
  std::printf("status=%d\n", status);
  if (status == 0) std::printf("c00=%g\n", out[0]);
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const std::string mode = argv[1];
  if (mode == "load") {
    print_env("before");
    void* lib = test::os::open_library(argv[2]);
    std::printf("loaded=%d\n", lib != nullptr);
    if (lib == nullptr) {
      std::printf("load_error=%s\n", test::os::load_error().c_str());
      print_env("after");
      return 3;
    }
    print_env("during");
    call_product(lib);
    test::os::close_library(lib);
    print_env("after");
    return 0;
  }
  void* lib = test::os::open_library(argv[2]);
  if (lib == nullptr) {
    std::printf("the library did not load: %s\n", argv[2]);
    return 3;
  }
  if (mode == "nohost") {
    call_product(lib);
  } else if (mode == "missing") {
    using Set = void (*)(void*);
    reinterpret_cast<Set>(test::os::symbol(lib, "SetZWRTModule"))(
        test::os::open_library(test::os::kForeignModule));
    call_product(lib);
  } else if (mode == "zwffrt" && argc > 3) {
    void* host = test::os::open_library(std::string(argv[3]) + "/zwffrt" + test::os::kModuleSuffix);
    using Count = long (*)();
    call_product(lib);
    std::printf("zwffrt_resizes=%ld\n", reinterpret_cast<Count>(test::os::symbol(host, "FakeHostResizeCount"))());
  } else if (mode == "main" && argc > 3) {
    void* zwrt = test::os::open_library(argv[3]);
    using Count = int64_t (*)();
    call_product(lib);
    std::printf("main_resizes=%ld\n", FakeHostResizeCount());
    std::printf("zwrt_resizes=%ld\n",
                static_cast<long>(reinterpret_cast<Count>(test::os::symbol(zwrt, "ZwrtResizeCount"))()));
  } else if (mode == "threads") {
    for (int i = 0; i < 3; ++i) std::thread([] {}).join();
    void* core = test::os::loaded_library((std::string("tarnx_core_140000") + test::os::kModuleSuffix).c_str());
    using Count = long (*)();
    auto count = reinterpret_cast<Count>(core != nullptr ? test::os::symbol(core, "CountingCoreFrees") : nullptr);
    std::printf("thread_frees=%ld\n", count != nullptr ? count() : -1L);
  }
  return 0;
}
