#include <array>
#include <cstring>
#include <iphlpapi.h>
#include <memory>
#include <windows.h>
#include <winsock2.h>

#include "host/serve/client_process.h"

namespace tarn::host::serve {

namespace {

std::uint16_t PortOf(DWORD networkOrder) {
    return ntohs(static_cast<u_short>(networkOrder));
}

Endpoint EndpointOfRow(const void* address, std::size_t length, DWORD port) {
    Endpoint endpoint;
    endpoint.address.isIpv6 = length == 16;
    std::memcpy(endpoint.address.bytes.data(), address, length);
    endpoint.port = PortOf(port);
    return endpoint;
}

// The table grows while it is asked for, so its size is asked for again. The buffer stays, and with it its size.
const void* ReadTable(ULONG family, std::vector<std::uint8_t>& buffer) {
    for (int i = 0; i < 4; ++i) {
        DWORD size = static_cast<DWORD>(buffer.size());
        const DWORD error =
            GetExtendedTcpTable(buffer.data(), &size, FALSE, family, TCP_TABLE_OWNER_PID_CONNECTIONS, 0);
        if (error == NO_ERROR) return buffer.data();
        if (error != ERROR_INSUFFICIENT_BUFFER) return nullptr;
        buffer.resize(size + size / 4 + 4096);
    }
    return nullptr;
}

struct CloseHandleOf {
    void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using OwnedHandle = std::unique_ptr<void, CloseHandleOf>;

}  // namespace

bool ReadSystemConnections(std::vector<OwnedConnection>& connections) {
    static std::vector<std::uint8_t> buffer(65536);  // one thread calls
    const auto* four = static_cast<const MIB_TCPTABLE_OWNER_PID*>(ReadTable(AF_INET, buffer));
    for (DWORD i = 0; four != nullptr && i < four->dwNumEntries; ++i) {
        const MIB_TCPROW_OWNER_PID& row = four->table[i];
        connections.push_back({EndpointOfRow(&row.dwLocalAddr, 4, row.dwLocalPort),
                               EndpointOfRow(&row.dwRemoteAddr, 4, row.dwRemotePort), row.dwOwningPid});
    }
    const auto* six = static_cast<const MIB_TCP6TABLE_OWNER_PID*>(ReadTable(AF_INET6, buffer));
    for (DWORD i = 0; six != nullptr && i < six->dwNumEntries; ++i) {
        const MIB_TCP6ROW_OWNER_PID& row = six->table[i];
        connections.push_back({EndpointOfRow(row.ucLocalAddr, 16, row.dwLocalPort),
                               EndpointOfRow(row.ucRemoteAddr, 16, row.dwRemotePort), row.dwOwningPid});
    }
    return four != nullptr || six != nullptr;
}

// With the rights that the library asks for, and as far as it goes: up to the account's name.
bool KnowsSystemUser(std::uint32_t processId) {
    const OwnedHandle process(OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, processId));
    HANDLE opened = nullptr;
    if (!process || !OpenProcessToken(process.get(), TOKEN_QUERY, &opened)) return false;
    const OwnedHandle token(opened);
    alignas(TOKEN_USER) std::array<std::uint8_t, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> user{};
    DWORD length = 0;
    if (!GetTokenInformation(token.get(), TokenUser, user.data(), static_cast<DWORD>(user.size()), &length))
        return false;
    std::array<wchar_t, 257> name{};
    std::array<wchar_t, 257> domain{};
    auto nameLength = static_cast<DWORD>(name.size());
    auto domainLength = static_cast<DWORD>(domain.size());
    SID_NAME_USE use = SidTypeUnknown;
    return LookupAccountSidW(nullptr, reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid, name.data(),
                             &nameLength, domain.data(), &domainLength, &use) != 0;
}

bool HasClientsOutside() {
    static const bool isWine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    return isWine;
}

std::uint32_t OwnProcessId() {
    return GetCurrentProcessId();
}

}  // namespace tarn::host::serve
