#pragma once
// Empties a caller's scratch handle when the routine that sized it returns,
// on every path: the host keeps the handle, the library keeps nothing.
#include "frame/handle.hpp"

namespace tarnx {

template <class T> struct ScratchRelease {
  explicit ScratchRelease(Handle h) : handle(h) {}
  ScratchRelease(const ScratchRelease&) = delete;
  ScratchRelease& operator=(const ScratchRelease&) = delete;
  ~ScratchRelease() { release_scratch<T>(handle); }
  Handle handle;
};

}  // namespace tarnx
