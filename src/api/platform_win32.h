// The real Platform.
// Kept apart so that the library's life never sees a Windows type.
#ifndef TARN_API_PLATFORM_WIN32_H
#define TARN_API_PLATFORM_WIN32_H

#include "api/platform.h"
#include "base/local_time_win32.h"
#include "modules/module_system_win32.h"
#include "parental/live_sessions_win32.h"
#include "url/process_identity_win32.h"

namespace tarn::api {

class WindowsPlatform final : public Platform {
 public:
    modules::ModuleSystem& Modules() override { return modules_; }
    url::ProcessInspector& Processes() override { return processes_; }
    const base::LocalClock& Clock() override { return clock_; }
    parental::LiveSessionSource& LiveSessions() override { return liveSessions_; }
    std::uint32_t ReadIniInteger(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                                 std::uint32_t defaultValue) override;
    std::size_t ReadIniText(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                            std::span<char16_t> text) override;

 private:
    modules::WindowsModuleSystem modules_;
    url::WindowsProcessInspector processes_;
    base::WindowsLocalClock clock_;
    parental::WindowsLiveSessions liveSessions_;
};

}  // namespace tarn::api

#endif
