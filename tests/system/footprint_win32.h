// What the test process holds of the system: handles, threads, memory; to compare before and after.
// The figures come from the system's own lists.
#ifndef TARN_TESTS_SYSTEM_FOOTPRINT_WIN32_H
#define TARN_TESTS_SYSTEM_FOOTPRINT_WIN32_H

#include <cstddef>
#include <windows.h>

namespace tarn::system_test {

// From the system's list of all handles: a per-process counter is not kept everywhere. The system opens and closes some
// of its own in a process, so only what grows with each repetition is a leak.
std::size_t OwnHandleCount();
// The threads that started in this module; the system keeps some of its own in a process, now and then.
std::size_t ThreadsOf(HMODULE module);
// Committed memory that is this process's alone.
std::size_t OwnPrivateBytes();

}  // namespace tarn::system_test

#endif
