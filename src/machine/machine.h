// What the life of the library needs of the system beyond its modules; one implementation per platform, a fake in
// tests. Reading files, the clock and processes is the edge's, deciding on what they say is the caller's.
#ifndef TARN_MACHINE_MACHINE_H
#define TARN_MACHINE_MACHINE_H

#include <cstdint>
#include <span>

#include "base/bounded_text.h"
#include "machine/live_sessions.h"
#include "machine/local_time.h"
#include "machine/module_system.h"
#include "machine/process_inspector.h"

namespace tarn::machine {

class Machine {
 public:
    virtual ~Machine() = default;

    virtual ModuleSystem& Modules() = 0;
    virtual ProcessInspector& Processes() = 0;
    virtual const LocalClock& Clock() = 0;
    virtual LiveSessionSource& LiveSessions() = 0;
    // The integer of an ini file's key; a missing file or key gives the default.
    virtual std::uint32_t ReadIniInteger(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                                         std::uint32_t defaultValue) = 0;
    // The text of an ini file's key, cut to fit and terminated; its length, 0 when there is none.
    virtual std::size_t ReadIniText(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                                    std::span<char16_t> text) = 0;
};

}  // namespace tarn::machine

#endif
