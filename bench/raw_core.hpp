#pragma once
// The raw side's typed entry to the system OpenBLAS: Raw<double>::getrf
// calls dgetrf_, Raw<std::complex<float>>::gemm calls cblas_cgemm, with the
// argument lists of frame/core_routines.def, so one template per family
// serves all four element types. Each routine is looked up by name once and
// then called directly, as a C program linked against the library would; the
// library's own import slots and core module are not involved.
#include <dlfcn.h>

#include <cstdlib>
#include <cstdio>
#include <utility>

#include "frame/core.hpp"
#include "frame/traits.hpp"

namespace bench {

inline void* raw_symbol(int index, const char* s, const char* d, const char* c, const char* z) {
  const char* names[4] = {s, d, c, z};
  void* f = dlsym(RTLD_DEFAULT, names[index]);
  if (f == nullptr) {
    std::fprintf(stderr, "bench: the core has no %s\n", names[index]);
    std::abort();
  }
  return f;
}

template <class T> struct Raw {
  using R = tarnx::RealOf<T>;
#define TARNX_CORE(id, api, ret, nchars, s, d, c, z, params, args)                               \
  static ret api params {                                                                        \
    static_assert(tarnx::detail::present(#s, #d, #c, #z, tarnx::Traits<T>::index),               \
                  "the core has no " #id " for this element type");                              \
    static void* const f = raw_symbol(tarnx::Traits<T>::index, #s, #d, #c, #z);                   \
    return tarnx::detail::call_core<ret>(f, std::make_index_sequence<nchars>{},                  \
                                         TARNX_EXPAND args);                                     \
  }
#include "frame/core_routines.def"
#undef TARNX_CORE
};

}  // namespace bench
