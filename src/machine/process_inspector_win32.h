// The real ProcessInspector.
// Kept apart so that the rules never see a Windows type.
#ifndef TARN_MACHINE_PROCESS_INSPECTOR_WIN32_H
#define TARN_MACHINE_PROCESS_INSPECTOR_WIN32_H

#include "machine/process_inspector.h"

namespace tarn::machine {

class WindowsProcessInspector final : public ProcessInspector {
 public:
    bool GetProcessUser(std::uint32_t processId, ProcessUser& user) override;
    bool GetProcessImagePath(std::uint32_t processId, base::PathBuffer& path, std::uint32_t& error) override;
    [[nodiscard]] std::uint32_t CurrentProcessId() override;
    bool ToWide(std::string_view text, std::span<char16_t> wide) override;
};

}  // namespace tarn::machine

#endif
