// How many handles the test process holds, from the system's own list: a per-process counter is not kept everywhere.
#ifndef TARN_TESTS_SYSTEM_HANDLES_WIN32_H
#define TARN_TESTS_SYSTEM_HANDLES_WIN32_H

#include <cstddef>

namespace tarn::system_test {

std::size_t OwnHandleCount();

}  // namespace tarn::system_test

#endif
