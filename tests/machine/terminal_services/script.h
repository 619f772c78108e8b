// What the scripted terminal services answer, and the account of the memory that they gave out.
// Plain data across the DLL boundary: the DLL and the test program have run-time libraries of their own.
#ifndef TARN_TESTS_MACHINE_TERMINAL_SERVICES_SCRIPT_H
#define TARN_TESTS_MACHINE_TERMINAL_SERVICES_SCRIPT_H

#include <cstddef>
#include <cstdint>

namespace tarn::machine {

struct TerminalServicesScript {
    struct Session {
        std::uint32_t id;
        const wchar_t* domain;  // null: the query fails
        const wchar_t* user;
    };
    Session sessions[8];
    std::uint32_t sessionCount;
    bool enumerationFails;
    bool countWithoutArray;
    bool withoutNul;  // texts end with their buffer
    std::int32_t unfreed;
    std::int32_t strayFrees;  // of what was not given out, or twice
    std::int32_t wrongCalls;  // arguments that this library must not give
};

inline constexpr const char* kTerminalServicesScript = "TarnTerminalServicesScript";
using TerminalServicesScriptFn = TerminalServicesScript* (*)();

}  // namespace tarn::machine

#endif
