#include <windows.h>

#include "dll/stopwatch.h"

namespace tarn::dll_bench {

double Seconds() {
    LARGE_INTEGER frequency;
    LARGE_INTEGER now;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) / static_cast<double>(frequency.QuadPart);
}

}  // namespace tarn::dll_bench
