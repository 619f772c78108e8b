// A wtsapi32.dll that answers from a script. Each answer is a heap block of its exact size.
#include <cstdlib>
#include <cstring>
#include <set>
#include <windows.h>
#include <wtsapi32.h>

#include "script.h"

namespace {

tarn::machine::TerminalServicesScript script;
std::set<void*> given;

void* Give(const void* bytes, std::size_t count) {
    void* block = std::malloc(count);
    std::memcpy(block, bytes, count);
    given.insert(block);
    ++script.unfreed;
    return block;
}

}  // namespace

extern "C" {

__declspec(dllexport) tarn::machine::TerminalServicesScript* TarnTerminalServicesScript() {
    return &script;
}

__declspec(dllexport) BOOL WINAPI
    WTSEnumerateSessionsW(HANDLE server, DWORD reserved, DWORD version, PWTS_SESSION_INFOW* sessions, DWORD* count) {
    if (server != WTS_CURRENT_SERVER_HANDLE || reserved != 0 || version != 1) ++script.wrongCalls;
    if (script.enumerationFails) return FALSE;
    static wchar_t station[] = L"Console";
    WTS_SESSION_INFOW infos[8] = {};
    for (DWORD i = 0; i < script.sessionCount; ++i)
        infos[i] = {script.sessions[i].id, station, i == 0 ? WTSActive : WTSDisconnected};
    *count = script.sessionCount;
    *sessions = script.countWithoutArray
                    ? nullptr
                    : static_cast<PWTS_SESSION_INFOW>(Give(infos, script.sessionCount * sizeof infos[0]));
    return TRUE;
}

__declspec(dllexport) BOOL WINAPI
    WTSQuerySessionInformationW(HANDLE server, DWORD sessionId, WTS_INFO_CLASS what, LPWSTR* text, DWORD* bytes) {
    if (server != WTS_CURRENT_SERVER_HANDLE || (what != WTSDomainName && what != WTSUserName)) ++script.wrongCalls;
    for (DWORD i = 0; i < script.sessionCount; ++i) {
        if (script.sessions[i].id != sessionId) continue;
        const wchar_t* answer = what == WTSDomainName ? script.sessions[i].domain : script.sessions[i].user;
        if (answer == nullptr) return FALSE;
        const std::size_t units = wcslen(answer) + (script.withoutNul ? 0 : 1);
        *bytes = static_cast<DWORD>(units * sizeof(wchar_t));
        *text = static_cast<LPWSTR>(Give(answer, *bytes));
        return TRUE;
    }
    ++script.wrongCalls;
    return FALSE;
}

__declspec(dllexport) void WINAPI WTSFreeMemory(PVOID memory) {
    if (given.erase(memory) == 0) {
        ++script.strayFrees;
        return;
    }
    --script.unfreed;
    std::free(memory);
}
}
