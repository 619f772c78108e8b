#include "system/footprint_win32.h"

#include <algorithm>
#include <array>
#include <vector>
#include <windows.h>
// clang-format off: these build on it
#include <tlhelp32.h>
#include <winternl.h>
// clang-format on

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

template <class Function>
Function NtdllFunction(const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
}

// The module in which a thread of this process started; null for one that is gone.
HMODULE StartModule(DWORD threadId) {
    constexpr auto kStartAddress = static_cast<THREADINFOCLASS>(9);
    using Query = LONG(WINAPI*)(HANDLE, THREADINFOCLASS, PVOID, ULONG, PULONG);
    static const auto query = NtdllFunction<Query>("NtQueryInformationThread");
    const HANDLE thread = OpenThread(THREAD_QUERY_INFORMATION, FALSE, threadId);
    if (thread == nullptr) return nullptr;
    void* start = nullptr;
    HMODULE module = nullptr;
    if (query(thread, kStartAddress, &start, sizeof start, nullptr) == 0)
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           static_cast<const wchar_t*>(start), &module);
    CloseHandle(thread);
    return module;
}

}  // namespace

std::size_t OwnHandleCount() {
    constexpr auto kSystemHandleInformation = static_cast<SYSTEM_INFORMATION_CLASS>(16);
    constexpr LONG kLengthMismatch = static_cast<LONG>(0xC0000004);
    using Query = LONG(WINAPI*)(SYSTEM_INFORMATION_CLASS, PVOID, ULONG, PULONG);
    static const auto query = NtdllFunction<Query>("NtQuerySystemInformation");
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

std::size_t ThreadsOf(HMODULE module) {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return 0;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    std::size_t count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more != FALSE; more = Thread32Next(snapshot, &entry))
        if (entry.th32OwnerProcessID == GetCurrentProcessId() && StartModule(entry.th32ThreadID) == module) ++count;
    CloseHandle(snapshot);
    return count;
}

std::size_t OwnPrivateBytes() {
    std::size_t bytes = 0;
    const unsigned char* at = nullptr;
    MEMORY_BASIC_INFORMATION region;
    while (VirtualQuery(at, &region, sizeof region) == sizeof region) {
        if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE) bytes += region.RegionSize;
        at = static_cast<const unsigned char*>(region.BaseAddress) + region.RegionSize;
    }
    return bytes;
}

std::size_t OwnHeapBlocks() {
    std::array<HANDLE, 64> heaps{};
    const DWORD count =
        std::min(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()), static_cast<DWORD>(heaps.size()));
    std::size_t blocks = 0;
    for (DWORD i = 0; i < count; ++i) {
        HeapLock(heaps[i]);
        PROCESS_HEAP_ENTRY entry{};
        while (HeapWalk(heaps[i], &entry) != FALSE) blocks += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? 1U : 0U;
        HeapUnlock(heaps[i]);
    }
    return blocks;
}

}  // namespace tarn::system_test
