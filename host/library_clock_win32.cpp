#include "host/library_clock_win32.h"

#include <atomic>
#include <cstdint>
#include <cstring>

namespace tarn::host {

namespace {

std::atomic<std::uint64_t> stopped{0};  // FILETIME units of local time; 0 = the clock runs

void WINAPI TellTime(SYSTEMTIME* time) {
    const std::uint64_t units = stopped;
    const FILETIME file{static_cast<DWORD>(units), static_cast<DWORD>(units >> 32)};
    if (units == 0 || FileTimeToSystemTime(&file, time) == 0) GetLocalTime(time);
}

template <class T>
T* At(HMODULE module, std::size_t offset) {
    return reinterpret_cast<T*>(reinterpret_cast<unsigned char*>(module) + offset);
}

// Where the loader put the address of an imported function; null when the module does not import that name.
void** FindImport(HMODULE module, const char* name) {
    const auto* dos = At<const IMAGE_DOS_HEADER>(module, 0);
    const auto* headers = At<const IMAGE_NT_HEADERS64>(module, static_cast<std::size_t>(dos->e_lfanew));
    const IMAGE_DATA_DIRECTORY& imports = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    if (imports.VirtualAddress == 0) return nullptr;
    for (const auto* library = At<const IMAGE_IMPORT_DESCRIPTOR>(module, imports.VirtualAddress); library->Name != 0;
         ++library) {
        const auto* names = At<const IMAGE_THUNK_DATA64>(module, library->OriginalFirstThunk);
        auto* slots = At<void*>(module, library->FirstThunk);
        for (std::size_t i = 0; names[i].u1.AddressOfData != 0; ++i) {
            if (IMAGE_SNAP_BY_ORDINAL64(names[i].u1.Ordinal)) continue;
            const auto* import =
                At<const IMAGE_IMPORT_BY_NAME>(module, static_cast<std::size_t>(names[i].u1.AddressOfData));
            if (std::strcmp(reinterpret_cast<const char*>(import->Name), name) == 0) return &slots[i];
        }
    }
    return nullptr;
}

}  // namespace

bool ReplaceClockOf(HMODULE module) {
    void** const slot = FindImport(module, "GetLocalTime");
    DWORD protection = 0;
    if (slot == nullptr || VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection) == 0) return false;
    *slot = reinterpret_cast<void*>(&TellTime);
    VirtualProtect(slot, sizeof *slot, protection, &protection);
    return true;
}

void SetLibraryClock(const TarnSystemTime& time) {
    SYSTEMTIME system{};
    static_assert(sizeof system == sizeof time);
    std::memcpy(&system, &time, sizeof system);
    FILETIME file{};
    if (SystemTimeToFileTime(&system, &file) != 0)
        stopped = static_cast<std::uint64_t>(file.dwHighDateTime) << 32 | file.dwLowDateTime;
}

}  // namespace tarn::host
