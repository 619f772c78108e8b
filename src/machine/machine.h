// The machine that the library runs on: the one interface behind which Windows stands, a fake in tests.
// It owns its parts, which live as long as it does. Scans call them from any thread at the same time, except where a
// part says otherwise. LiveSessions and Clock are also called under the parental-control lock,
// nothing else under one.
#ifndef TARN_MACHINE_MACHINE_H
#define TARN_MACHINE_MACHINE_H

#include <cstdint>
#include <span>

#include "base/bounded_text.h"
#include "machine/live_sessions.h"
#include "machine/local_time.h"
#include "machine/module_system.h"
#include "machine/process_inspector.h"
#include "machine/tcp_table.h"

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

    // Gives the row to the system's TCP table; with kTcpStateDelete that resets the connection. False for any error of
    // the system, which asks for administrative rights.
    virtual bool SetTcpRow(const TcpTableRow& row) = 0;
};

}  // namespace tarn::machine

#endif
