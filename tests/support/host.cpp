#include "support/host.hpp"

namespace test {

Host::Host(bool check_leaks) : handles_before_(ZwrtLiveHandles()), check_leaks_(check_leaks) {}

Host::~Host() {
  for (ZwArrayHandle h : owned_) AZDisposeHandle(reinterpret_cast<void**>(h));
  // The library resizes the handles it is given and never makes its own.
  if (check_leaks_) {
    EXPECT_EQ(ZwrtLiveHandles(), handles_before_);
  }
}

ZwArrayHandle Host::empty() { return raw(8); }

ZwArrayHandle Host::raw(std::size_t bytes) {
  auto h = reinterpret_cast<ZwArrayHandle>(AZNewHandle(bytes < 8 ? 8 : bytes));
  owned_.push_back(h);
  return h;
}

}  // namespace test
