// Who asked: the account and the executable behind a process id.
// Any thread may ask.
#ifndef TARN_MACHINE_PROCESS_INSPECTOR_H
#define TARN_MACHINE_PROCESS_INSPECTOR_H

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string_view>

#include "base/bounded_text.h"

namespace tarn::machine {

// An account: its name, and its security identifier in packed form with zeros behind it.
struct ProcessUser {
    std::array<char16_t, 260> name{};
    std::array<std::uint8_t, 68> sid{};
};

// The system's answers about processes.
class ProcessInspector {
 public:
    virtual ~ProcessInspector() = default;

    // The account that the process runs as. The identifier stays zero when it is invalid or longer than 68 bytes.
    virtual bool GetProcessUser(std::uint32_t processId, ProcessUser& user) = 0;

    // The executable's path, in its long form where the system gives one; else it stands as it is and error is why, 0
    // otherwise. On failure error is the system's last one.
    virtual bool GetProcessImagePath(std::uint32_t processId, base::PathBuffer& path, std::uint32_t& error) = 0;

    [[nodiscard]] virtual std::uint32_t CurrentProcessId() = 0;

    // Text in the system code page as UTF-16, terminated; an empty one stays empty. False, with an empty text, when it
    // does not fit with its NUL or cannot be converted.
    virtual bool ToWide(std::string_view text, std::span<char16_t> wide) = 0;
};

// Turns "\Device\HarddiskVolume1\folder\file.exe" into "C:\folder\file.exe". dosDevice answers what a DOS device name
// stands for (at most 258 units), or nothing. False when no drive letter answers or the path has another form.
using DosDeviceQuery = std::function<bool(const char16_t* name, std::array<char16_t, 259>& target)>;
bool DrivePathFromDevicePath(std::u16string_view devicePath, const DosDeviceQuery& dosDevice, base::PathBuffer& path);

}  // namespace tarn::machine

#endif
