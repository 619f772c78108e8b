// The real Machine.
// Kept apart so that the library's life never sees a Windows type.
#ifndef TARN_MACHINE_MACHINE_WIN32_H
#define TARN_MACHINE_MACHINE_WIN32_H

#include "machine/live_sessions_win32.h"
#include "machine/local_time_win32.h"
#include "machine/machine.h"
#include "machine/module_system_win32.h"
#include "machine/process_inspector_win32.h"

namespace tarn::machine {

class WindowsMachine final : public Machine {
 public:
    ModuleSystem& Modules() override { return modules_; }
    ProcessInspector& Processes() override { return processes_; }
    const LocalClock& Clock() override { return clock_; }
    LiveSessionSource& LiveSessions() override { return liveSessions_; }
    std::uint32_t ReadIniInteger(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                                 std::uint32_t defaultValue) override;
    std::size_t ReadIniText(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                            std::span<char16_t> text) override;

 private:
    WindowsModuleSystem modules_;
    WindowsProcessInspector processes_;
    WindowsLocalClock clock_;
    WindowsLiveSessions liveSessions_;
};

}  // namespace tarn::machine

#endif
