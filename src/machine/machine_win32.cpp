#include "machine/machine_win32.h"

#include <bit>
#include <fcntl.h>
#include <io.h>
#include <iphlpapi.h>
#include <windows.h>
#include <winsock2.h>

#include "machine/install_folder_win32.h"
#include "machine/os_version_win32.h"
#include "machine/win32_owners.h"

namespace tarn::machine {

static_assert(kTcpStateDelete == MIB_TCP_STATE_DELETE_TCB);

// ---- Modules and the folders they stand in ----

void* WindowsModuleSystem::Load(const char16_t* path) {
    return LoadLibraryExW(Wide(path), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

void* WindowsModuleSystem::Find(void* module, const char* function) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), function));
}

void WindowsModuleSystem::Free(void* module) {
    FreeLibrary(static_cast<HMODULE>(module));
}

bool WindowsModuleSystem::InstallFolder(base::PathBuffer& folder) {
    return GetInstallFolder(folder);
}

bool WindowsModuleSystem::HostExecutableKnown() {
    base::PathBuffer folder;
    return GetHostFolder(folder);
}

bool WindowsModuleSystem::ManagedClientInstalled() {
    return productData_.IsManagedClientInstalled();
}

FileStart WindowsModuleSystem::ReadFileStart(const base::PathBuffer& path) {
    FileStart start;
    if (GetFileAttributesW(Wide(path.data())) == INVALID_FILE_ATTRIBUTES) {
        if (GetLastError() == ERROR_FILE_NOT_FOUND) start.state = FileStart::State::kAbsent;
        return start;
    }
    const int file = _wopen(Wide(path.data()), _O_RDONLY | _O_BINARY);
    if (file == -1) return start;
    const int count = _read(file, start.bytes.data(), static_cast<unsigned>(start.bytes.size()));
    _close(file);
    if (count < 0) return start;
    start.count = static_cast<std::size_t>(count);
    start.state = FileStart::State::kRead;
    return start;
}

std::uint32_t WindowsModuleSystem::SystemClassification() {
    return ClassifySystem(QuerySystemFacts());
}

HttpsInspectionFacts WindowsModuleSystem::HttpsFacts() {
    HttpsInspectionFacts facts;
    facts.baselineKnown = QueryIsOlderThanServicePackBaseline(facts.olderThanBaseline);
    facts.classification = SystemClassification();
    VersionRecord version;
    facts.productTypeKnown = QueryVersion(version);
    facts.productType = version.productType;
    return facts;
}

// ---- The local clock ----

// The conversions are the system's, not the C run-time's: that one would follow a TZ variable in the host's
// environment, which the clock does not.

TarnSystemTime WindowsLocalClock::Now() const {
    SYSTEMTIME now;
    GetLocalTime(&now);
    return std::bit_cast<TarnSystemTime>(now);
}

std::optional<std::int64_t> WindowsLocalClock::ToSeconds(const TarnSystemTime& local) const {
    const auto from = std::bit_cast<SYSTEMTIME>(local);
    SYSTEMTIME utc;
    if (TzSpecificLocalTimeToSystemTime(nullptr, &from, &utc) == 0) return std::nullopt;
    return SecondsFromUtc(std::bit_cast<TarnSystemTime>(utc));
}

std::optional<TarnSystemTime> WindowsLocalClock::ToLocal(std::int64_t seconds) const {
    const auto utc = UtcFromSeconds(seconds);
    if (!utc) return std::nullopt;
    const auto from = std::bit_cast<SYSTEMTIME>(*utc);
    SYSTEMTIME local;
    if (SystemTimeToTzSpecificLocalTime(nullptr, &from, &local) == 0) return std::nullopt;
    return std::bit_cast<TarnSystemTime>(local);
}

// ---- Ini files and connections ----

std::uint32_t WindowsMachine::ReadIniInteger(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                                             std::uint32_t defaultValue) {
    return GetPrivateProfileIntW(Wide(section), Wide(key), static_cast<INT>(defaultValue), Wide(file.data()));
}

std::size_t WindowsMachine::ReadIniText(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                                        std::span<char16_t> text) {
    return GetPrivateProfileStringW(Wide(section), Wide(key), L"", Wide(text.data()), static_cast<DWORD>(text.size()),
                                    Wide(file.data()));
}

bool WindowsMachine::SetTcpRow(const TcpTableRow& row) {
    MIB_TCPROW entry{};
    entry.dwState = row.state;
    entry.dwLocalAddr = row.localAddress;
    entry.dwLocalPort = row.localPort;
    entry.dwRemoteAddr = row.remoteAddress;
    entry.dwRemotePort = row.remotePort;
    return SetTcpEntry(&entry) == NO_ERROR;
}

}  // namespace tarn::machine
