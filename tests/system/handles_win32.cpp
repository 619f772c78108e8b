#include "system/handles_win32.h"

#include <vector>
#include <windows.h>
#include <winternl.h>

namespace tarn::system_test {
namespace {

struct HandleEntry {
    USHORT processId;
    USHORT traceIndex;
    UCHAR type;
    UCHAR attributes;
    USHORT value;
    PVOID object;
    ULONG access;
};
struct HandleList {
    ULONG count;
    HandleEntry entries[1];
};

}  // namespace

std::size_t OwnHandleCount() {
    constexpr auto kSystemHandleInformation = static_cast<SYSTEM_INFORMATION_CLASS>(16);
    constexpr LONG kLengthMismatch = static_cast<LONG>(0xC0000004);
    using Query = LONG(WINAPI*)(SYSTEM_INFORMATION_CLASS, PVOID, ULONG, PULONG);
    const auto query = reinterpret_cast<Query>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    std::vector<unsigned char> buffer(1 << 16);
    LONG status = 0;
    while ((status = query(kSystemHandleInformation, buffer.data(), static_cast<ULONG>(buffer.size()), nullptr)) ==
           kLengthMismatch)
        buffer.resize(buffer.size() * 2);
    if (status != 0) return 0;
    const auto* list = reinterpret_cast<const HandleList*>(buffer.data());
    std::size_t own = 0;
    for (ULONG i = 0; i < list->count; ++i)
        if (list->entries[i].processId == static_cast<USHORT>(GetCurrentProcessId())) ++own;
    return own;
}

}  // namespace tarn::system_test
