// The system's answers about a program, as a test wants them: who runs it and where it stands. The functions take the
// places of the library's imports; what they do not script they pass on.
#ifndef TARN_TESTS_SYSTEM_SCRIPTED_PROGRAM_WIN32_H
#define TARN_TESTS_SYSTEM_SCRIPTED_PROGRAM_WIN32_H

#include <array>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include <windows.h>

namespace tarn::system_test {

struct SystemScript {
    // Who knows the name of a process's executable.
    enum class ModuleName { kBoth, kOnlyKernel, kNeither, kFails };
    ModuleName moduleName = ModuleName::kBoth;
    std::wstring imageName;                     // what GetProcessImageFileNameW answers; empty = it fails
    std::array<std::wstring, 26> driveTargets;  // of the names "X:A" to "X:Z"
    std::vector<std::wstring> drivesAsked;
    bool refusesLongForm = false;
    std::vector<std::uint8_t> identifier;  // of every process's user; empty = the system's
    DWORD sizeError = ERROR_INSUFFICIENT_BUFFER;
    bool knowsAccounts = true;
};
inline SystemScript systemScript;

inline DWORD Answer(const std::wstring& text, wchar_t* buffer, DWORD size) {
    if (text.size() + 1 > size) return static_cast<DWORD>(text.size() + 1);
    std::memcpy(buffer, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    return static_cast<DWORD>(text.size());
}

inline DWORD WINAPI KernelsModuleName(HANDLE, HMODULE, wchar_t* path, DWORD size) {
    return Answer(L"C:\\kernel\\Reader.exe", path, size);
}
inline DWORD WINAPI FailingModuleName(HANDLE, HMODULE, wchar_t*, DWORD) {
    return 0;
}
inline DWORD WINAPI ImageName(HANDLE, wchar_t* path, DWORD size) {
    return systemScript.imageName.empty() ? 0 : Answer(systemScript.imageName, path, size);
}

template <class Function>
FARPROC AsProcedure(Function* function) {
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
}

inline FARPROC WINAPI FindProcedure(HMODULE module, const char* name) {
    FARPROC const real = GetProcAddress(module, name);
    if (reinterpret_cast<std::uintptr_t>(name) < 0x10000) return real;
    if (std::strcmp(name, "GetProcessImageFileNameW") == 0) return AsProcedure(ImageName);
    if (std::strcmp(name, "GetModuleFileNameExW") != 0) return real;
    switch (systemScript.moduleName) {
        case SystemScript::ModuleName::kBoth:
            return real;
        case SystemScript::ModuleName::kOnlyKernel:
            return module == GetModuleHandleW(L"kernel32.dll") ? AsProcedure(KernelsModuleName) : nullptr;
        case SystemScript::ModuleName::kNeither:
            return nullptr;
        case SystemScript::ModuleName::kFails:
            return AsProcedure(FailingModuleName);
    }
    return real;
}

inline DWORD WINAPI DriveTarget(const wchar_t* name, wchar_t* target, DWORD size) {
    systemScript.drivesAsked.emplace_back(name);
    EXPECT_EQ(size, 259U);
    if (std::wcslen(name) != 3 || name[0] != L'X' || name[1] != L':' || name[2] < L'A' || name[2] > L'Z') return 0;
    const std::wstring& answer = systemScript.driveTargets[static_cast<std::size_t>(name[2] - L'A')];
    return answer.empty() ? 0 : Answer(answer, target, size);
}

// Executables alone: the library's own folder has its long form in any case.
inline DWORD WINAPI LongForm(const wchar_t* path, wchar_t* longPath, DWORD size) {
    const std::wstring given = path;
    if (!given.ends_with(L".exe")) return GetLongPathNameW(path, longPath, size);
    if (systemScript.refusesLongForm) {
        SetLastError(ERROR_ACCESS_DENIED);
        return 0;
    }
    return Answer(given.substr(0, given.size() - 4) + L"-long.exe", longPath, size);
}

inline BOOL WINAPI TokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS kind, void* out, DWORD size, DWORD* needed) {
    if (systemScript.sizeError != ERROR_INSUFFICIENT_BUFFER && size == 0) {
        GetTokenInformation(token, kind, out, size, needed);  // the size is right, only the error is another
        SetLastError(systemScript.sizeError);
        return FALSE;
    }
    if (systemScript.identifier.empty()) return GetTokenInformation(token, kind, out, size, needed);
    *needed = sizeof(TOKEN_USER);
    if (size < *needed) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    const TOKEN_USER user{{systemScript.identifier.data(), 0}};
    std::memcpy(out, &user, sizeof user);
    return TRUE;
}

inline BOOL WINAPI AccountOf(const wchar_t*, PSID, wchar_t* name, DWORD* nameSize, wchar_t* domain, DWORD* domainSize,
                             SID_NAME_USE* use) {
    EXPECT_EQ(*nameSize, 260U);
    EXPECT_EQ(*domainSize, 256U);
    if (!systemScript.knowsAccounts) {
        SetLastError(ERROR_NONE_MAPPED);
        return FALSE;
    }
    *nameSize = Answer(L"Tester", name, *nameSize);
    *domainSize = Answer(L"HOUSE", domain, *domainSize);
    *use = SidTypeUser;
    return TRUE;
}

}  // namespace tarn::system_test

#endif
