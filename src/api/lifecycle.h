// Start-up and shut-down of the library: the order of the steps, and what a failing step undoes.
// Runs on the thread of the export, while no scan runs.
#ifndef TARN_API_LIFECYCLE_H
#define TARN_API_LIFECYCLE_H

#include <cstdint>

#include "api/library.h"

namespace tarn::api {

// From nothing to ready. mode: TARN_START_... A library that is ready is ended first; of one that is not, a running
// worker is stopped and loaded modules are unloaded. A step that fails or throws undoes the steps before it in reverse
// order; failing gives false.
bool Start(Library& library, std::uint8_t mode, std::uint32_t& error);

// Undoes Start. Safe before it and when called twice.
void Stop(Library& library, std::uint32_t& error);

// The lighter end: saves the category cache with the host's four arguments; modules and settings stay loaded.
void SaveForShutDown(Library& library, std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d);

}  // namespace tarn::api

#endif
