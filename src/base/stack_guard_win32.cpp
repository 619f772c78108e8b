// What the stack protector needs at run time: the guard value, and the end of the process when a stack buffer was
// overrun. The names are the compiler's.
#include <cstdint>
#include <windows.h>

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" {
extern std::uintptr_t __stack_chk_guard;
std::uintptr_t __stack_chk_guard = 0x2B992DDFA232;  // until the module's constructors run
[[noreturn]] void __stack_chk_fail();
}

namespace {

// Runs while the module is loaded, before any other thread can be in its code. Asks for nothing that needs another
// module: the sources are those that change from process to process.
__attribute__((constructor, no_stack_protector)) void ChooseGuard() {
    FILETIME time{};
    GetSystemTimeAsFileTime(&time);
    LARGE_INTEGER counter{};
    QueryPerformanceCounter(&counter);
    std::uint64_t guard = std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
    guard ^= static_cast<std::uint64_t>(counter.QuadPart) << 16;
    guard ^= std::uint64_t{GetCurrentProcessId()} << 40 ^ std::uint64_t{GetCurrentThreadId()} << 8;
    guard ^= reinterpret_cast<std::uintptr_t>(&time) ^ reinterpret_cast<std::uintptr_t>(&__stack_chk_guard) << 4;
    guard *= 0x9E3779B97F4A7C15;  // spreads the bits that differ
    guard ^= guard >> 32;
    __stack_chk_guard = guard & ~std::uint64_t{0xFF};  // a text that overruns ends at the zero byte
}

}  // namespace

// At once, without handlers or clean-up: neither the stack nor what it refers to can be trusted any more.
extern "C" void __stack_chk_fail() {
    constexpr int kFastFail = 0x29;  // of Windows 8; an older system ends the process for an access violation
    __asm__ volatile("int %0" : : "i"(kFastFail), "c"(FAST_FAIL_STACK_COOKIE_CHECK_FAILURE));
    __builtin_unreachable();
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
