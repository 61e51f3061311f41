#pragma once
// What the library does when the process loads and unloads it and when a
// thread ends; the operating system's entry points (platform_*.cpp) call in.
#include <string>
#include <vector>

namespace tarnx::lifecycle {

// The OpenMP runtime is told to tolerate several copies of itself, and the
// numerical core is loaded from the first location that holds it. False when
// no location did; `tried` then names every directory looked in.
bool attach_process(std::vector<std::string>* tried);

// Frees the core, then its OpenMP runtime, and puts the variable back.
void detach_process();

// Releases the core's per-thread buffers of the calling thread.
void detach_thread();

}  // namespace tarnx::lifecycle
